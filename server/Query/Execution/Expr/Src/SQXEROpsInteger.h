#pragma once

#include <cmath>
#include <limits>

#include "SQXEROpFunction.h"
#include "SQXEROpsArithmetic.h"

namespace sqxer {

// Functions of whole numbers, and of decimals as if they were: INTEGER has 32 bits; of a NUMERIC
// those that work on bits take 64, its fraction cut.

/// A decimal as an integer of 64 bits, truncated. Error 59161 (name, limit) beyond them.
inline int64 WholeNumberOf(const VelmarNumber& number, const wchar_t* name) {
  const VelmarNumber whole =
      number.isNegative() ? VelmarNumber::ceiling(number) : VelmarNumber::floor(number);
  int64 value = std::numeric_limits<int64>::min();
  if (!whole.TryScaled(0, value) && whole != VelmarNumber(value)) [[unlikely]]
    SUGThrow(ErrorMessage(kOverflow, {name, L"9223372036854775807"}));
  return value;
}

/// A decimal as NUMERIC(precision, scale) holds it: rounded half away from zero. Error 59038
/// (precision, scale) for more digits before the point than it has room for.
struct FitNumericOp {
  using Operands = std::tuple<VelmarNumber>;
  static constexpr const wchar_t* kName = L"FitNumeric";
  static constexpr bool kOnBytes = false;
  FitNumericOp(int digits, int places)
      : precision(digits),
        scale(places),
        unit(PowerOfTen(-places)),
        half(VelmarNumber::Multiply(PowerOfTen(-places - 1), VelmarNumber(5))),
        limit(PowerOfTen(digits - places)),
        isLimited(digits - places <= kMostExponent) {}

  VelmarNumber Apply(const VelmarNumber& number) const {
    VelmarNumber rounded = number;
    if (number.decimalPlaces() > scale || scale < 0) {
      const VelmarNumber moved = number.isNegative() ? VelmarNumber::Minus(number, half)
                                                     : VelmarNumber::Plus(number, half);
      rounded = VelmarNumber::Minus(moved, VelmarNumber::Mod(moved, unit));
    }
    if (isLimited && VelmarNumber::absolute(rounded) >= limit) [[unlikely]]
      SUGThrow(ErrorMessage(59038, {std::to_wstring(precision), std::to_wstring(scale)},
                            number.asString()));
    return rounded;
  }

  /// As far as decimals go.
  static VelmarNumber PowerOfTen(int exponent) {
    return VelmarNumber::FromParts({0, 1, std::clamp(exponent, -kMostExponent, kMostExponent)});
  }

  int precision;
  int scale;
  VelmarNumber unit;
  VelmarNumber half;
  /// The least number without room, if there is one.
  VelmarNumber limit;
  bool isLimited;
  static constexpr int kMostExponent = 90;
};

/// A decimal as BIGINT holds it, a whole number of 64 bits, the fraction cut as CAST to INTEGER
/// cuts it. Error 59161 ("CastToBigint", limit) beyond them.
struct FitBigintOp {
  using Operands = std::tuple<VelmarNumber>;
  static constexpr const wchar_t* kName = L"CastToBigint";
  static constexpr bool kOnBytes = false;
  static VelmarNumber Apply(const VelmarNumber& number) {
    return VelmarNumber(WholeNumberOf(number, kName));
  }
};

/// A text as BIGINT: a whole number of digits alone, with blanks around it and a sign. Errors 59172
/// (text, type) for any other text, 59161 ("CastToBigint", limit) beyond 64 bits.
struct BigintOfTextOp {
  using Operands = std::tuple<TextOperand>;
  static constexpr const wchar_t* kName = L"CastToBigint";
  static constexpr bool kOnBytes = true;
  template <class Text>
  static VelmarNumber Apply(const Text& text) {
    const auto* first = text.buffer_;
    const auto* last = text.buffer_ + text.length_;
    const auto isBlank = [](auto c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    while (first != last && isBlank(*first)) ++first;
    while (first != last && isBlank(last[-1])) --last;
    const bool isNegative = first != last && *first == '-';
    if (isNegative || (first != last && *first == '+')) ++first;
    if (first == last) Refuse(text);
    // Downwards, where there is one more.
    int64 value = 0;
    for (; first != last; ++first) {
      if (*first < '0' || *first > '9') Refuse(text);
      if (__builtin_mul_overflow(value, int64{10}, &value) ||
          __builtin_sub_overflow(value, static_cast<int64>(*first - '0'), &value)) {
        Overflow();
      }
    }
    if (!isNegative && __builtin_sub_overflow(int64{0}, value, &value)) Overflow();
    return VelmarNumber(value);
  }

 private:
  template <class Text>
  [[noreturn]] static void Refuse(const Text& text) {
    SUGThrow(ErrorMessage(
        59172, {XeString(text.buffer_, text.buffer_ + text.length_), XeString(L"BIGINT")}));
  }
  [[noreturn]] static void Overflow() {
    SUGThrow(ErrorMessage(kOverflow, {kName, L"9223372036854775807"}));
  }
};

/// How bits are combined. Shifts count modulo the number of bits.
struct AndBits {
  static constexpr const wchar_t* kName = L"BitAnd";
  static auto Apply(auto a, auto b) { return a & b; }
};
struct OrBits {
  static constexpr const wchar_t* kName = L"BitOr";
  static auto Apply(auto a, auto b) { return a | b; }
};
struct XorBits {
  static constexpr const wchar_t* kName = L"BitXor";
  static auto Apply(auto a, auto b) { return a ^ b; }
};
struct ShiftLeft {
  static constexpr const wchar_t* kName = L"ShiftLeft";
  static auto Apply(auto a, auto b) {
    return static_cast<decltype(a)>(std::make_unsigned_t<decltype(a)>(a)
                                    << (b & (sizeof a * 8 - 1)));
  }
};
struct ShiftRight {
  static constexpr const wchar_t* kName = L"ShiftRight";
  static auto Apply(auto a, auto b) { return a >> (b & (sizeof a * 8 - 1)); }
};

template <class Bits, class T>
struct BitsOp;
template <class Bits>
struct BitsOp<Bits, int32> {
  using Operands = std::tuple<int32, int32>;
  static constexpr const wchar_t* kName = Bits::kName;
  static constexpr bool kOnBytes = false;
  static constexpr bool kIsPlain = true;
  static int32 Apply(int32 a, int32 b) { return Bits::Apply(a, b); }
};
template <class Bits>
struct BitsOp<Bits, VelmarNumber> {
  using Operands = std::tuple<VelmarNumber, VelmarNumber>;
  static constexpr const wchar_t* kName = Bits::kName;
  static constexpr bool kOnBytes = false;
  static VelmarNumber Apply(const VelmarNumber& a, const VelmarNumber& b) {
    return VelmarNumber(Bits::Apply(WholeNumberOf(a, kName), WholeNumberOf(b, kName)));
  }
};

template <class T>
struct BitNotOp {
  using Operands = std::tuple<T>;
  static constexpr const wchar_t* kName = L"BitNot";
  static constexpr bool kOnBytes = false;
  static T Apply(const T& a) {
    if constexpr (std::same_as<T, VelmarNumber>) {
      return VelmarNumber(~WholeNumberOf(a, kName));
    } else {
      return ~a;
    }
  }
};

/// The quotient without its fraction. Error 59008 for a divisor of 0.
struct DivOp {
  using Operands = std::tuple<VelmarNumber, VelmarNumber>;
  static constexpr const wchar_t* kName = L"Div";
  static constexpr bool kOnBytes = false;
  static VelmarNumber Apply(const VelmarNumber& a, const VelmarNumber& b) {
    return VelmarNumber::Divide(VelmarNumber::Minus(a, VelmarNumber::Mod(a, b)), b);
  }
};

/// The greatest number that divides both, 0 of 0 and 0. Of fractions too: 0.5 of 1.5 and 2.
template <class T>
struct GcdOp;
template <>
struct GcdOp<VelmarNumber> {
  using Operands = std::tuple<VelmarNumber, VelmarNumber>;
  static constexpr const wchar_t* kName = L"Gcd";
  static constexpr bool kOnBytes = false;
  static VelmarNumber Apply(VelmarNumber a, VelmarNumber b) {
    while (!b.isZero()) {
      const VelmarNumber rest = VelmarNumber::Mod(a, b);
      a = b;
      b = rest;
    }
    return VelmarNumber::absolute(a);
  }
};
template <>
struct GcdOp<int32> {
  using Operands = std::tuple<int32, int32>;
  static constexpr const wchar_t* kName = L"Gcd";
  static constexpr bool kOnBytes = false;
  static int32 Apply(int32 a, int32 b) { return Checked(OfLong(a, b), kName); }
  static int64 OfLong(int64 a, int64 b) {
    while (b != 0) {
      const int64 rest = a % b;
      a = b;
      b = rest;
    }
    return a < 0 ? -a : a;
  }
  static int32 Checked(int64 value, const wchar_t* name) {
    if (value > std::numeric_limits<int32>::max()) [[unlikely]]
      SUGThrow(ErrorMessage(kOverflow, {name, kInt32LimitText}));
    return static_cast<int32>(value);
  }
};

/// The least number that both divide, 0 where one of them is 0.
template <class T>
struct LcmOp {
  using Operands = std::tuple<T, T>;
  static constexpr const wchar_t* kName = L"Lcm";
  static constexpr bool kOnBytes = false;
  static T Apply(const T& a, const T& b) {
    if constexpr (std::same_as<T, VelmarNumber>) {
      if (a.isZero() || b.isZero()) return VelmarNumber::zero;
      const VelmarNumber gcd = GcdOp<VelmarNumber>::Apply(a, b);
      return VelmarNumber::absolute(VelmarNumber::Multiply(VelmarNumber::Divide(a, gcd), b));
    } else {
      if (a == 0 || b == 0) return 0;
      const int64 product = int64{a} / GcdOp<int32>::OfLong(a, b) * b;
      return GcdOp<int32>::Checked(product < 0 ? -product : product, kName);
    }
  }
};

/// In which of so many equal buckets between two bounds a number lies, from 1: 0 before the first
/// bound, one more than there are from the second on. The bounds may descend. Error 59037 for equal
/// or infinite bounds, no bucket, or NaN.
template <class T>
struct WidthBucketOp {
  using Operands = std::tuple<T, T, T, CountOperand>;
  static constexpr const wchar_t* kName = L"WidthBucket";
  static constexpr bool kOnBytes = false;
  static int32 Apply(const T& value, const T& low, const T& high, int32 count) {
    if (count < 1 || count == std::numeric_limits<int32>::max() || !IsNumber(value, low, high))
        [[unlikely]]
      SUGThrow(ErrorMessage(59037));
    const bool ascends = low < high;
    if (ascends ? value < low : value > low) return 0;
    if (ascends ? value >= high : value <= high) return count + 1;
    return Place(value, low, high, count) + 1;
  }

 private:
  static bool IsNumber(const T& value, const T& low, const T& high) {
    if constexpr (std::same_as<T, float64>) {
      if (std::isnan(value) || !std::isfinite(low) || !std::isfinite(high)) return false;
    }
    return !(low == high);
  }
  static int32 Place(const T& value, const T& low, const T& high, int32 count) {
    if constexpr (std::same_as<T, float64>) {
      // Halves, where the range of the bounds is beyond doubles.
      const float64 unit = std::isinf(high - low) ? 0.5 : 1;
      const float64 place = (value * unit - low * unit) / (high * unit - low * unit) * count;
      return static_cast<int32>(std::clamp<float64>(place, 0, count - 1));
    } else {
      const VelmarNumber way =
          VelmarNumber::Multiply(VelmarNumber::Minus(value, low), VelmarNumber(count));
      return VelmarNumber::Divide(way, VelmarNumber::Minus(high, low)).asInt4();
    }
  }
};

/// The logarithm of the second number to the base of the first. Error 59010 ("Log") outside its
/// domain.
struct LogOfBaseOp {
  using Operands = std::tuple<float64, float64>;
  static constexpr const wchar_t* kName = L"LogOfBase";
  static constexpr bool kOnBytes = false;
  static float64 Apply(float64 base, float64 x) {
    if (!(base > 0) || base == 1 || !(x > 0)) {
      if (!std::isnan(base) && !std::isnan(x)) SUGThrow(ErrorMessage(59010, {L"Log"}));
    }
    if (base == 10) return std::log10(x);
    if (base == 2) return std::log2(x);
    const float64 quotient = std::log(x) / std::log(base);
    // Powers of whole numbers have whole logarithms.
    const float64 whole = std::nearbyint(quotient);
    return std::pow(base, whole) == x ? whole : quotient;
  }
};

struct IsNanOp {
  using Operands = std::tuple<float64>;
  static constexpr const wchar_t* kName = L"IsNan";
  static constexpr bool kOnBytes = false;
  static bool Apply(float64 x) { return std::isnan(x); }
};
struct IsFiniteOp {
  using Operands = std::tuple<float64>;
  static constexpr const wchar_t* kName = L"IsFinite";
  static constexpr bool kOnBytes = false;
  static bool Apply(float64 x) { return std::isfinite(x); }
};
struct IsInfiniteOp {
  using Operands = std::tuple<float64>;
  static constexpr const wchar_t* kName = L"IsInfinite";
  static constexpr bool kOnBytes = false;
  static bool Apply(float64 x) { return std::isinf(x); }
};

}  // namespace sqxer
