#pragma once

#include "Utility/Export.h"
#include "Utility/SUDataConvert.h"
#include "Utility/XeRecordMetaData.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Converts stored text of one form (fixed or varying, one byte or four a character) into stored
/// text of four bytes a character, fixed or varying; which of them is decided once, at
/// construction. A byte stands for the character of the same number.
class XEUTILITY_API XeFieldConverter {
 public:
  /// Both types are text types; lengths count characters. `narrowSource`: one byte a character.
  XeFieldConverter(XeDataType sourceType, uint32 sourceLength, bool narrowSource,
                   XeDataType targetType, uint32 targetLength);

  /// Converts the stored value at `source` into the stored form at `target`; a non-zero
  /// `sourceNull` leaves the target an empty text (all blanks in a fixed one). Texts longer than
  /// the target are cut. A fixed source ends at its first zero character, and loses its trailing
  /// blanks on the way to a varying target; a fixed target is filled up with blanks. A zero
  /// character follows the last one: the target has room for the declared length and that
  /// terminator.
  void Convert(const uint8* source, uint8 sourceNull, uint8* target) const;

 private:
  using ConvertFunction = void (*)(const XeFieldConverter&, const uint8*, uint8, uint8*);
  ConvertFunction convert_;
  uint32 sourceLength_;
  uint32 targetLength_;
  friend struct FieldConversion;
};

}  // namespace sqxer
