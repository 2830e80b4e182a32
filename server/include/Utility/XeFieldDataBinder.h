#pragma once

#include "Utility/Export.h"
#include "Utility/SUDataConvert.h"
#include "Utility/XeRecordMetaData.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Converts stored text of one form into stored text of another (fixed or varying, one byte or four
/// a character), decided once at construction.
class XEUTILITY_API XeFieldConverter {
 public:
  /// Both types are text types; lengths count characters. `narrowSource`: one byte a character.
  XeFieldConverter(XeDataType sourceType, uint32 sourceLength, bool narrowSource,
                   XeDataType targetType, uint32 targetLength);

  /// Converts the stored value at `source` into the stored form at `target`; a non-zero
  /// `sourceNull` leaves the target an empty text. The target has room for the declared length and
  /// a terminator.
  void Convert(const uint8* source, uint8 sourceNull, uint8* target) const;

 private:
  XeDataType sourceType_;
  uint32 sourceLength_;
  bool narrowSource_;
  XeDataType targetType_;
  uint32 targetLength_;
};

}  // namespace sqxer
