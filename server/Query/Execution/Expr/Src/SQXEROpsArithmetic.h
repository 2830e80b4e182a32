#pragma once

#include <algorithm>
#include <cmath>
#include <concepts>
#include <limits>
#include <type_traits>
#include <vector>

#include "Utility/ColumnVector.h"
#include "Utility/DecimalPowers.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// The zero text of error arguments.
inline constexpr const wchar_t* S_ZERO = L"0";

/// The limits that overflow errors quote.
inline constexpr const wchar_t* kInt32LimitText = L"2147483647";
inline constexpr const wchar_t* kUInt32LimitText = L"4294967295";
/// One digit above the largest finite double as it is usually printed: callers match this text.
inline constexpr const wchar_t* kFloat64LimitText = L"1.7976931348623158e+308";

/// Why an operation refuses its operands: an error code and its arguments.
struct OpError {
  int code;
  /// Null for an error without arguments.
  const wchar_t* name;
  const wchar_t* limit;

  std::vector<XeString> Arguments() const {
    return name == nullptr ? std::vector<XeString>{} : std::vector<XeString>{name, limit};
  }
  bool operator==(const OpError&) const = default;
};

inline constexpr int kDivisionByZero = 59008;
inline constexpr int kOverflow = 59161;
inline constexpr int kBelowZero = 59162;

/// A stateless operation on two values. `Apply(a, b, out)` is false when the result leaves the
/// type; `out` may be the same object as an operand, and holds the wrapped result after a refusal
/// where the operation says so.
template <class Op, class T>
concept BinaryOp = requires(const T& a, const T& b, T& out) {
  { Op::Apply(a, b, out) } -> std::same_as<bool>;
};

/// One that can refuse: `Failure(b)` tells the error, from the right operand.
template <class Op, class T>
concept FallibleBinaryOp = BinaryOp<Op, T> && requires(const T& b) {
  { Op::Failure(b) } -> std::same_as<OpError>;
};

/// A stateless operation on one value, which never refuses.
template <class Op, class T>
concept UnaryOp = requires(const T& a, T& out) {
  Op::Apply(a, out);
};

/// False for an infinity; a NaN is a value.
inline bool WithinFloat64(float64 value) {
  return !(std::fabs(value) > std::numeric_limits<float64>::max());
}

/// The least and greatest result of integers, whatever their type.
using WideBounds = ColumnBounds<int128>;

// What the operations on integers share. `Unchecked` is the result where it is known to be in
// range, `Wide` that in 128 bits, which `TryWide` checks; `Bounds` are those of the results for
// operands within the given ones. Decimals of one scale are integers: `kAlignsScales` where both
// operands have to have the same one, which then is that of the result too; it is the sum of theirs
// otherwise.

struct IntegerSum {
  static constexpr bool kAlignsScales = true;
  template <std::integral T>
  static constexpr T Unchecked(T a, T b) {
    return static_cast<T>(static_cast<std::make_unsigned_t<T>>(a) +
                          static_cast<std::make_unsigned_t<T>>(b));
  }
  static constexpr int128 Wide(int128 a, int128 b) {
    return static_cast<int128>(static_cast<uint128>(a) + static_cast<uint128>(b));
  }
  static bool TryWide(int128 a, int128 b, int128& out) {
    return !__builtin_add_overflow(a, b, &out);
  }
  static constexpr WideBounds Bounds(const ColumnBounds<int64>& a, const ColumnBounds<int64>& b) {
    return {int128{a.least} + b.least, int128{a.greatest} + b.greatest};
  }
};

struct IntegerDifference {
  static constexpr bool kAlignsScales = true;
  template <std::integral T>
  static constexpr T Unchecked(T a, T b) {
    return static_cast<T>(static_cast<std::make_unsigned_t<T>>(a) -
                          static_cast<std::make_unsigned_t<T>>(b));
  }
  static constexpr int128 Wide(int128 a, int128 b) {
    return static_cast<int128>(static_cast<uint128>(a) - static_cast<uint128>(b));
  }
  static bool TryWide(int128 a, int128 b, int128& out) {
    return !__builtin_sub_overflow(a, b, &out);
  }
  static constexpr WideBounds Bounds(const ColumnBounds<int64>& a, const ColumnBounds<int64>& b) {
    return {int128{a.least} - b.greatest, int128{a.greatest} - b.least};
  }
};

struct IntegerProduct {
  static constexpr bool kAlignsScales = false;
  template <std::integral T>
  static constexpr T Unchecked(T a, T b) {
    return static_cast<T>(static_cast<std::make_unsigned_t<T>>(a) *
                          static_cast<std::make_unsigned_t<T>>(b));
  }
  template <class A, class B>
  static constexpr int128 Wide(A a, B b) {
    if constexpr (sizeof(A) + sizeof(B) <= sizeof(int128)) {
      // One multiplication of machine words, which cannot overflow.
      return int128{a} * b;
    } else {
      return static_cast<int128>(static_cast<uint128>(int128{a}) * static_cast<uint128>(int128{b}));
    }
  }
  static bool TryWide(int128 a, int128 b, int128& out) {
    return !__builtin_mul_overflow(a, b, &out);
  }
  static constexpr WideBounds Bounds(const ColumnBounds<int64>& a, const ColumnBounds<int64>& b) {
    const int128 products[] = {int128{a.least} * b.least, int128{a.least} * b.greatest,
                               int128{a.greatest} * b.least, int128{a.greatest} * b.greatest};
    return {*std::min_element(products, products + 4), *std::max_element(products, products + 4)};
  }
};

/// -a, which wraps.
constexpr int64 ScaledNegation(int64 a) { return static_cast<int64>(0 - static_cast<uint64>(a)); }
constexpr int128 ScaledNegation(int128 a) {
  return static_cast<int128>(0 - static_cast<uint128>(a));
}

template <class T>
struct AddOp;
template <class T>
struct SubtractOp;
template <class T>
struct MultiplyOp;
template <class T>
struct DivideOp;
template <class T>
struct NegateOp;

/// Writes the wrapped sum before it refuses.
template <>
struct AddOp<int32> : IntegerSum {
  static bool Apply(int32 a, int32 b, int32& out) { return !__builtin_add_overflow(a, b, &out); }
  static constexpr OpError Failure(int32) { return {kOverflow, L"AddInt", kInt32LimitText}; }
};

/// Writes nothing when it refuses.
template <>
struct AddOp<uint32> : IntegerSum {
  static bool Apply(uint32 a, uint32 b, uint32& out) {
    uint32 sum;
    if (__builtin_add_overflow(a, b, &sum)) return false;
    out = sum;
    return true;
  }
  static constexpr OpError Failure(uint32) { return {kOverflow, L"AddUInt", kUInt32LimitText}; }
};

/// Refuses an infinite sum, whatever it came from.
template <>
struct AddOp<float64> {
  static bool Apply(float64 a, float64 b, float64& out) { return WithinFloat64(out = a + b); }
  static constexpr OpError Failure(float64) { return {kOverflow, L"AddFloat", kFloat64LimitText}; }
};

/// The decimal type raises its own overflow, here and below.
template <>
struct AddOp<VelmarNumber> : IntegerSum {
  static bool Apply(const VelmarNumber& a, const VelmarNumber& b, VelmarNumber& out) {
    out = VelmarNumber::Plus(a, b);
    return true;
  }
};

/// Writes the wrapped difference before it refuses.
template <>
struct SubtractOp<int32> : IntegerDifference {
  static bool Apply(int32 a, int32 b, int32& out) { return !__builtin_sub_overflow(a, b, &out); }
  static constexpr OpError Failure(int32) { return {kOverflow, L"SubtractInt", kInt32LimitText}; }
};

/// Refuses a difference below zero, and then writes nothing.
template <>
struct SubtractOp<uint32> : IntegerDifference {
  static bool Apply(uint32 a, uint32 b, uint32& out) {
    if (a < b) return false;
    out = a - b;
    return true;
  }
  static constexpr OpError Failure(uint32) { return {kBelowZero, L"SubtractUInt", S_ZERO}; }
};

/// Never refuses, unlike the addition: queries rely on getting the infinity as a value.
template <>
struct SubtractOp<float64> {
  static bool Apply(float64 a, float64 b, float64& out) {
    out = a - b;
    return true;
  }
};

template <>
struct SubtractOp<VelmarNumber> : IntegerDifference {
  static bool Apply(const VelmarNumber& a, const VelmarNumber& b, VelmarNumber& out) {
    out = VelmarNumber::Minus(a, b);
    return true;
  }
};

/// Writes the wrapped product before it refuses.
template <>
struct MultiplyOp<int32> : IntegerProduct {
  static bool Apply(int32 a, int32 b, int32& out) { return !__builtin_mul_overflow(a, b, &out); }
  static constexpr OpError Failure(int32) { return {kOverflow, L"MultiplyInt", kInt32LimitText}; }
};

/// Writes the wrapped product before it refuses. The error has the plain name of the operator:
/// callers match it.
template <>
struct MultiplyOp<uint32> : IntegerProduct {
  static bool Apply(uint32 a, uint32 b, uint32& out) { return !__builtin_mul_overflow(a, b, &out); }
  static constexpr OpError Failure(uint32) { return {kOverflow, L"Multiply", kUInt32LimitText}; }
};

/// Refuses an infinite product, whatever it came from.
template <>
struct MultiplyOp<float64> {
  static bool Apply(float64 a, float64 b, float64& out) { return WithinFloat64(out = a * b); }
  static constexpr OpError Failure(float64) {
    return {kOverflow, L"MultiplyFloat", kFloat64LimitText};
  }
};

template <>
struct MultiplyOp<VelmarNumber> : IntegerProduct {
  static bool Apply(const VelmarNumber& a, const VelmarNumber& b, VelmarNumber& out) {
    out = VelmarNumber::Multiply(a, b);
    return true;
  }
};

/// Truncates toward zero. Refuses a zero divisor, and the one quotient that has no 32-bit form; the
/// output keeps what it held.
template <>
struct DivideOp<int32> {
  static bool Apply(int32 a, int32 b, int32& out) {
    // The processor traps on both.
    if (b == 0 || (b == -1 && a == std::numeric_limits<int32>::min())) return false;
    out = a / b;
    return true;
  }
  static constexpr OpError Failure(int32 b) {
    return b == 0 ? OpError{kDivisionByZero, nullptr, nullptr}
                  : OpError{kOverflow, L"DivideInt", kInt32LimitText};
  }
};

template <>
struct DivideOp<uint32> {
  static bool Apply(uint32 a, uint32 b, uint32& out) {
    if (b == 0) return false;
    out = a / b;
    return true;
  }
  static constexpr OpError Failure(uint32) { return {kDivisionByZero, nullptr, nullptr}; }
};

/// Refuses zero of either sign; an infinite quotient of other divisors is a value.
template <>
struct DivideOp<float64> {
  static bool Apply(float64 a, float64 b, float64& out) {
    if (b == 0.0) return false;
    out = a / b;
    return true;
  }
  static constexpr OpError Failure(float64) { return {kDivisionByZero, nullptr, nullptr}; }
};

template <>
struct DivideOp<VelmarNumber> {
  static bool Apply(const VelmarNumber& a, const VelmarNumber& b, VelmarNumber& out) {
    if (b.isZero()) return false;
    out = VelmarNumber::Divide(a, b);
    return true;
  }
  static OpError Failure(const VelmarNumber&) { return {kDivisionByZero, nullptr, nullptr}; }
};

/// Wraps: the smallest value stays itself.
template <>
struct NegateOp<int32> {
  static void Apply(int32 a, int32& out) { out = static_cast<int32>(0u - static_cast<uint32>(a)); }
};

/// Modulo 2^32 on purpose: callers that negate twice get their value back.
template <>
struct NegateOp<uint32> {
  static void Apply(uint32 a, uint32& out) { out = 0u - a; }
};

template <>
struct NegateOp<float64> {
  static void Apply(float64 a, float64& out) { out = -a; }
};

/// `Scaled` is the same of an integer of some scale, which has that number with the other sign.
template <>
struct NegateOp<VelmarNumber> {
  static VelmarNumber Apply(const VelmarNumber& a) { return VelmarNumber::negate(a); }
  static void Apply(const VelmarNumber& a, VelmarNumber& out) { out = Apply(a); }
  template <class T>
  static constexpr T Scaled(T a) {
    return ScaledNegation(a);
  }
};

}  // namespace sqxer
