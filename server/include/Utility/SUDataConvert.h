#pragma once

#include "Utility/DateTimeMetaData.h"
#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

struct DataConvertParams {
  int charDataToDataCode = 0;
  int charDataFromDataCode = 0;
  bool bTwoByteToFourByte = false;
  bool bAvoidPaddingToChar = false;
  bool bAvoidRtrimToVarChar = false;
};

/// A value converter: parameters, source, source length and scale, destination and its length; it
/// sets `result` (0 converted, 1 cut to the destination's length, 2 not convertible) and the
/// produced length in bytes. Lengths of text count characters. Fixed-width converters ignore
/// parameters and lengths.
using DataConvert_t = void (*)(DataConvertParams params, const uint8* source, uint32 sourceLength,
                               uint8 sourceScale, uint8* destination, uint32 destinationLength,
                               uint8& result, unsigned long& producedLength);

/// The server's value converters. Pointers need not be aligned; source and destination may not
/// overlap unless equal.
class XEUTILITY_API SUDataConvert {
 public:
#define SQXER_CONVERTER(name)                                                                      \
  static void name(DataConvertParams params, const uint8* source, uint32 sourceLength,             \
                   uint8 sourceScale, uint8* destination, uint32 destinationLength, uint8& result, \
                   unsigned long& producedLength)
  SQXER_CONVERTER(ConvertInt8ToInt32);
  SQXER_CONVERTER(ConvertUnsignedInt8ToInt32);
  SQXER_CONVERTER(ConvertInt16ToInt32);
  SQXER_CONVERTER(ConvertUnsignedInt16ToInt32);
  SQXER_CONVERTER(ConvertInt8ToFloat64);
  SQXER_CONVERTER(ConvertUnsignedInt8ToFloat64);
  SQXER_CONVERTER(ConvertInt16ToFloat64);
  SQXER_CONVERTER(ConvertUnsignedInt16ToFloat64);
  SQXER_CONVERTER(ConvertInt32ToFloat64);
  SQXER_CONVERTER(ConvertUnsignedInt32ToFloat64);
  SQXER_CONVERTER(ConvertFloat32ToFloat64);
  SQXER_CONVERTER(ConvertNumericToFloat64);
  /// Narrow (one byte a character) fixed text to a varying text of the same width.
  SQXER_CONVERTER(ConvertCharToVarChar);
  /// Wide fixed text to wide fixed text: copied, cut or padded with blanks, then a zero character
  /// where the destination has room for it (`bAvoidPaddingToChar` leaves the padding out).
  SQXER_CONVERTER(ConvertXeCharToXeChar);
  /// Wide fixed text to a stored varying text; trailing blanks go unless `bAvoidRtrimToVarChar`.
  SQXER_CONVERTER(ConvertXeCharToVarXeChar);
  /// Stored varying text to stored varying text of another declared length.
  SQXER_CONVERTER(ConvertLongVarXeCharToVarXeChar);
  SQXER_CONVERTER(ConvertDateToDateTime);
  SQXER_CONVERTER(ConvertTimeToDateTime);
  SQXER_CONVERTER(ConvertTimeStampToDateTime);
#undef SQXER_CONVERTER

  /// The server's default formats (ISO 8601).
  static const DateTimeMetaData& GetDefaultDateMetaData();
  static const DateTimeMetaData& GetDefaultDateTimeMetaData();
};

/// The parameters of plain widening. A constant in memory, because the compiler builds a temporary
/// member by member and then waits for those stores when it loads the whole.
inline constexpr DataConvertParams kPlainWidening{};

/// Calls a converter the way plain widening does: all-zero parameters and zero lengths.
inline void WidenValue(DataConvert_t convert, const uint8* source, void* destination) {
  uint8 result = 0;
  unsigned long produced = 0;
  convert(kPlainWidening, source, 0, 0, static_cast<uint8*>(destination), 0, result, produced);
}

}  // namespace sqxer
