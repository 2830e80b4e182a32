#pragma once

#include <concepts>
#include <limits>

#include "Utility/Export.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// A conversion of one value into another, free of nodes: the conversion nodes, constant folding
/// and aggregates call the same ones.
template <class Op>
concept ConversionOp = requires(const typename Op::From& value) {
  { Op::Apply(value) } -> std::same_as<typename Op::To>;
  { Op::kResult } -> std::convertible_to<XeDataType>;
};

/// The conversion that the language itself defines: exact to the double, the bit pattern kept from
/// signed to unsigned.
template <class FromType, class ToType, XeDataType result>
struct PlainConversion {
  using From = FromType;
  using To = ToType;
  static constexpr XeDataType kResult = result;
  static To Apply(From value) { return static_cast<To>(value); }
};

using BitToInt32 = PlainConversion<uint8, int32, XeInt4Data>;
using BitToUInt32 = PlainConversion<uint8, uint32, XeUInt4Data>;
using BitToFloat64 = PlainConversion<uint8, float64, XeDoubleData>;
using Int16ToInt32 = PlainConversion<int16, int32, XeInt4Data>;
using Float32ToFloat64 = PlainConversion<float32, float64, XeDoubleData>;
using Int32ToUInt32 = PlainConversion<int32, uint32, XeUInt4Data>;
using Int32ToFloat64 = PlainConversion<int32, float64, XeDoubleData>;
using UInt32ToFloat64 = PlainConversion<uint32, float64, XeDoubleData>;

/// Truncates toward zero; outside 32 bits the nearest limit, as VelmarNumber::asInt4 does, and 0
/// for NaN.
struct Float64ToInt32 {
  using From = float64;
  using To = int32;
  static constexpr XeDataType kResult = XeInt4Data;
  static int32 Apply(float64 value) {
    using Limits = std::numeric_limits<int32>;
    if (value >= float64{Limits::max()}) return Limits::max();
    if (value <= float64{Limits::min()}) return Limits::min();
    return value == value ? static_cast<int32>(value) : 0;
  }
};

/// The decimal number of the same value. From a double: 59161 for NaN and infinities.
template <class FromType>
struct ToNumber {
  using From = FromType;
  using To = VelmarNumber;
  static constexpr XeDataType kResult = XeNumericData;
  static VelmarNumber Apply(From value) { return VelmarNumber(value); }
};
using Int32ToNumber = ToNumber<int32>;
using UInt32ToNumber = ToNumber<uint32>;
using Float64ToNumber = ToNumber<float64>;

struct BitToNumber {
  using From = uint8;
  using To = VelmarNumber;
  static constexpr XeDataType kResult = XeNumericData;
  static VelmarNumber Apply(uint8 value) { return VelmarNumber(uint32{value}); }
};

/// The nearest double.
struct NumberToFloat64 {
  using From = VelmarNumber;
  using To = float64;
  static constexpr XeDataType kResult = XeDoubleData;
  static float64 Apply(const VelmarNumber& value) { return value.asDouble(); }
};

/// A date at 00:00:00; a time on 1900-01-01.
template <class FromType>
struct ToDateTime {
  using From = FromType;
  using To = XeDateTime;
  static constexpr XeDataType kResult = XeDateTimeData;
  static XeDateTime Apply(const From& value) { return XeDateTime(value); }
};
using DateToDateTime = ToDateTime<XeDate>;
using TimeToDateTime = ToDateTime<XeTime>;

/// Texts in the server's default formats. Error 59172 (text, type name) for a text that does not
/// read.
struct SQXEREXPR_API TextToDate {
  using From = XeString;
  using To = XeDate;
  static constexpr XeDataType kResult = XeDateData;
  static XeDate Apply(const XeString& text);
};
struct SQXEREXPR_API TextToTime {
  using From = XeString;
  using To = XeTime;
  static constexpr XeDataType kResult = XeTimeData;
  static XeTime Apply(const XeString& text);
};
struct SQXEREXPR_API TextToDateTime {
  using From = XeString;
  using To = XeDateTime;
  static constexpr XeDataType kResult = XeDateTimeData;
  static XeDateTime Apply(const XeString& text);
};

}  // namespace sqxer
