#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sqxer {

using int8 = std::int8_t;
using uint8 = std::uint8_t;
using int16 = std::int16_t;
using uint16 = std::uint16_t;
using int32 = std::int32_t;
using uint32 = std::uint32_t;
using int64 = std::int64_t;
using uint64 = std::uint64_t;
__extension__ typedef __int128 int128;
__extension__ typedef unsigned __int128 uint128;
using float32 = float;
using float64 = double;

/// Text of the server: 32-bit wide characters, one Unicode code point each.
using XeString = std::wstring;
static_assert(sizeof(wchar_t) == 4, "text is held in 32-bit characters");

/// Column indexes of a record layout.
using UInt16Vector = std::vector<uint16>;

/// The data types. The values are fixed: they are exchanged with the rest of the server and index
/// tables.
enum XeDataType : int {
  XeBitData = 0,
  XeCharData = 1,
  XeVarCharData = 2,
  XeLongVarCharData = 3,
  XeBinaryData = 4,
  XeVarBinaryData = 5,
  XeLongVarBinaryData = 6,
  XeInt1Data = 7,
  XeUInt1Data = 8,
  XeInt2Data = 9,
  XeUInt2Data = 10,
  XeInt4Data = 11,
  XeUInt4Data = 12,
  XeFloatData = 13,
  XeDoubleData = 14,
  XeMoneyData = 15,
  XeNumericData = 16,
  XeDecimalData = 17,
  XeDateData = 18,
  XeTimeData = 19,
  XeDateTimeData = 20,
  XeTimeStampData = 21,
  XeIntervalData = 22,
  XeObjectData = 23,
  XeBoolean = 24,
  /// The type of a node that is not bound yet, and "no second type" in error reports.
  XeUnknown = 25,
  XeMaxType = 26,
};

/// A text value as nodes exchange it: a count of characters and where they start. It does not own
/// the characters and they need no terminator.
struct RefLongVarChar {
  uint32 length_;
  wchar_t* buffer_;
};

/// A binary value as nodes exchange it: a count of bytes and where they start. Not owning.
struct RefLongVarBinary {
  uint32 length_;
  uint8* buffer_;
};

/// The stored form of a text of varying length: the count, directly followed by the characters.
struct LongVarChar {
  uint32 length_;
  wchar_t buffer_[1];
};

/// Bytes between the start of a stored LongVarChar (or binary of varying length) and its first
/// character.
inline constexpr uint32 kLongVarPrefix = sizeof(uint32);

}  // namespace sqxer
