#pragma once

#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

#include "SQXEROpsConvert.h"

namespace sqxer {

/// What an explicit cast makes of one value, free of nodes. `Apply` is false when the target cannot
/// hold the value; `out` then stays as it was.
template <class Op>
concept CastOp = requires(const typename Op::From& value, typename Op::To& out) {
  { Op::Apply(value, out) } -> std::same_as<bool>;
};

/// The value as it stands.
template <class Value>
struct CastToItself {
  using From = Value;
  using To = Value;
  static bool Apply(const Value& value, Value& out) {
    out = value;
    return true;
  }
};

/// A conversion that every value has.
template <ConversionOp Op>
struct CastAlways {
  using From = typename Op::From;
  using To = typename Op::To;
  static bool Apply(const From& value, To& out) {
    out = Op::Apply(value);
    return true;
  }
};

template <class FromType, class ToType>
struct CastInteger {
  using From = FromType;
  using To = ToType;
  static bool Apply(From value, To& out) {
    if (!std::in_range<To>(value)) return false;
    out = static_cast<To>(value);
    return true;
  }
};

/// Whether a number lies between the limits of an integer type. A fraction beyond the greatest
/// value is out already, although it would be cut off. No NaN is within.
template <class Integer>
bool WithinInteger(float64 value) {
  using Limits = std::numeric_limits<Integer>;
  return value >= float64{Limits::min()} && value <= float64{Limits::max()};
}

/// Truncated toward zero, within the limits.
template <class ToType>
struct CastFloat64ToInteger {
  using From = float64;
  using To = ToType;
  static bool Apply(From value, To& out) {
    if (!WithinInteger<To>(value)) return false;
    out = static_cast<To>(value);
    return true;
  }
};

/// Held to the limits as a double, so that a decimal is out where its double is.
template <class ToType>
struct CastNumberToInteger {
  using From = VelmarNumber;
  using To = ToType;
  static bool Apply(const From& value, To& out) {
    if (!WithinInteger<To>(value.asDouble())) return false;
    out = static_cast<To>(value.asInt4());
    return true;
  }
};

/// The nearest float; only an infinity becomes one.
struct CastFloat64ToFloat32 {
  using From = float64;
  using To = float32;
  static bool Apply(From value, To& out) {
    const auto nearest = static_cast<float32>(value);
    if (std::isinf(nearest) && !std::isinf(value)) return false;
    out = nearest;
    return true;
  }
};

struct CastNumberToFloat32 {
  using From = VelmarNumber;
  using To = float32;
  static bool Apply(const From& value, To& out) {
    return CastFloat64ToFloat32::Apply(value.asDouble(), out);
  }
};

/// The decimal of the same value. NaN, infinities and what lies beyond decimals are none.
struct CastFloat64ToNumber {
  using From = float64;
  using To = VelmarNumber;
  static bool Apply(float64 value, VelmarNumber& out) {
    constexpr float64 kBeyond = 1e128;
    if (!(std::fabs(value) < kBeyond)) return false;
    out = VelmarNumber(value);
    return true;
  }
};

/// A truth value out of a text: true, t, yes, y, on, 1 and their opposites, in any letter case and
/// with blanks around them.
struct SQXEREXPR_API TextToTruth {
  static bool Apply(std::wstring_view text, bool& out);
};

/// 0 and 1 only.
template <class FromType>
struct CastToBit {
  using From = FromType;
  using To = uint8;
  static bool Apply(const From& value, To& out) {
    if (value != From(0) && value != From(1)) return false;
    out = value == From(1);
    return true;
  }
};

}  // namespace sqxer
