#pragma once

#include <cerrno>
#include <cmath>
#include <concepts>

#include "SQXEROpsArithmetic.h"
#include "SQXEROpsLogarithm.h"

namespace sqxer {

/// What came of a mathematical function.
enum class MathOutcome {
  kDone,
  kOutsideDomain,
  kOverflow,
  /// The square root of a negative number.
  kNegativeRoot,
};

/// A stateless function of one value, that always has a result or may have none. The second kind
/// gives the name by which its errors call it.
template <class Op, class T>
concept TotalMathOp = requires(const T& x) {
  { Op::Apply(x) } -> std::same_as<T>;
};
template <class Op, class T>
concept PartialMathOp = requires(const T& x, T& out) {
  { Op::Apply(x, out) } -> std::same_as<MathOutcome>;
  { Op::kName } -> std::convertible_to<const wchar_t*>;
};
template <class Op, class T>
concept MathOp = TotalMathOp<Op, T> || PartialMathOp<Op, T>;
/// One of doubles that has a loop without branches. ApplyToAll is false where it refuses some of
/// `count` values, as Refuses tells; the results of the others stand in `out` all the same.
template <class Op>
concept LoopMathOp = requires(const float64* x, float64* out, uint32 count) {
  { Op::Refuses(*x) } -> std::same_as<bool>;
  { Op::ApplyToAll(x, out, count) } -> std::same_as<bool>;
};

/// Raises the error of an outcome: 59010 (name), 59161 (name, limit) or 59009 (the argument).
[[noreturn]] SQXEREXPR_API void RaiseMathError(MathOutcome outcome, const wchar_t* name,
                                               float64 argument);

inline float64 AsFloat64(float64 value) { return value; }
inline float64 AsFloat64(const VelmarNumber& value) { return value.asDouble(); }

/// The checked form: writes the result, or raises the error.
template <class Op, class T>
requires MathOp<Op, T>
inline void ApplyMath(const T& x, T& out) {
  if constexpr (TotalMathOp<Op, T>) {
    out = Op::Apply(x);
  } else {
    const MathOutcome outcome = Op::Apply(x, out);
    if (outcome != MathOutcome::kDone) [[unlikely]]
      RaiseMathError(outcome, Op::kName, AsFloat64(x));
  }
}

/// What the mathematics library told of its last call, before which errno was cleared. A range
/// error with a zero result is an underflow, which is a result like any other.
inline MathOutcome OutcomeOfLibrary(float64 result) {
  if (errno == 0) [[likely]]
    return MathOutcome::kDone;
  if (errno == EDOM) return MathOutcome::kOutsideDomain;
  return errno == ERANGE && result != 0 ? MathOutcome::kOverflow : MathOutcome::kDone;
}

/// A function of the library, Op::Compute, whose domain alone is checked.
template <class Op>
struct DomainChecked {
  static MathOutcome Apply(float64 x, float64& out) {
    errno = 0;
    out = Op::Compute(x);
    return errno == EDOM ? MathOutcome::kOutsideDomain : MathOutcome::kDone;
  }
};

template <class T>
struct AbsOp;
template <class T>
struct CeilOp;
template <class T>
struct FloorOp;
template <class T>
struct SquareOp;
template <class T>
struct SqrtOp;
template <class T>
struct ModOp;

template <>
struct AbsOp<float64> {
  static float64 Apply(float64 x) { return std::fabs(x); }
};
template <>
struct AbsOp<VelmarNumber> {
  static VelmarNumber Apply(const VelmarNumber& x) { return VelmarNumber::absolute(x); }
  template <class T>
  static constexpr T Scaled(T x) {
    return x < 0 ? ScaledNegation(x) : x;
  }
};

template <>
struct CeilOp<float64> {
  static float64 Apply(float64 x) { return std::ceil(x); }
};
template <>
struct CeilOp<VelmarNumber> {
  static VelmarNumber Apply(const VelmarNumber& x) { return VelmarNumber::ceiling(x); }
};

template <>
struct FloorOp<float64> {
  static float64 Apply(float64 x) { return std::floor(x); }
};
template <>
struct FloorOp<VelmarNumber> {
  static VelmarNumber Apply(const VelmarNumber& x) { return VelmarNumber::floor(x); }
};

/// Refuses an infinite square, whatever it came from.
template <>
struct SquareOp<float64> {
  static constexpr const wchar_t* kName = L"Square";
  static MathOutcome Apply(float64 x, float64& out) {
    return WithinFloat64(out = x * x) ? MathOutcome::kDone : MathOutcome::kOverflow;
  }
};
template <>
struct SquareOp<VelmarNumber> {
  static VelmarNumber Apply(const VelmarNumber& x) { return VelmarNumber::Multiply(x, x); }
};

template <>
struct SqrtOp<float64> : DomainChecked<SqrtOp<float64>> {
  static constexpr const wchar_t* kName = L"Sqrt";
  static float64 Compute(float64 x) { return std::sqrt(x); }
  static MathOutcome Apply(float64 x, float64& out) {
    return Refuses(x) ? MathOutcome::kNegativeRoot : DomainChecked::Apply(x, out);
  }
  static bool Refuses(float64 x) { return x < 0; }
  SQXEREXPR_API static bool ApplyToAll(const float64* x, float64* out, uint32 count);
};
template <>
struct SqrtOp<VelmarNumber> {
  static constexpr const wchar_t* kName = L"Sqrt";
  static MathOutcome Apply(const VelmarNumber& x, VelmarNumber& out) {
    if (x.isNegative()) return MathOutcome::kNegativeRoot;
    out = VelmarNumber::sqrt(x);
    return MathOutcome::kDone;
  }
};

struct ExpOp {
  static constexpr const wchar_t* kName = L"Exp";
  static MathOutcome Apply(float64 x, float64& out) {
    errno = 0;
    out = std::exp(x);
    return OutcomeOfLibrary(out);
  }
};

/// base to the power of exponent. Refuses zero to a negative power.
struct PowOp {
  static constexpr const wchar_t* kName = L"Power";
  static MathOutcome Apply(float64 base, float64 exponent, float64& out) {
    if (base == 0 && exponent < 0) return MathOutcome::kOutsideDomain;
    errno = 0;
    out = std::pow(base, exponent);
    return OutcomeOfLibrary(out);
  }
};

// Logarithms overflow at zero.
struct LogOp {
  static constexpr const wchar_t* kName = L"Log";
  static MathOutcome Apply(float64 x, float64& out) {
    if (Refuses(x)) [[unlikely]]
      return x < 0 ? MathOutcome::kOutsideDomain : MathOutcome::kOverflow;
    out = NaturalLogarithm(x);
    return MathOutcome::kDone;
  }
  static bool Refuses(float64 x) { return x <= 0; }
  SQXEREXPR_API static bool ApplyToAll(const float64* x, float64* out, uint32 count);
};
/// A logarithm of the library, Op::Compute.
template <class Op>
struct LibraryLogarithm {
  static MathOutcome Apply(float64 x, float64& out) {
    errno = 0;
    out = Op::Compute(x);
    if (errno == EDOM) return MathOutcome::kOutsideDomain;
    return errno == ERANGE && x == 0 ? MathOutcome::kOverflow : MathOutcome::kDone;
  }
};
struct Log10Op : LibraryLogarithm<Log10Op> {
  static constexpr const wchar_t* kName = L"Log10";
  static float64 Compute(float64 x) { return std::log10(x); }
};
struct Log2Op : LibraryLogarithm<Log2Op> {
  static constexpr const wchar_t* kName = L"Log2";
  static float64 Compute(float64 x) { return std::log2(x); }
};
struct CbrtOp {
  static float64 Apply(float64 x) {
    const float64 root = std::cbrt(x);
    if (root == 0 || !std::isfinite(root)) return root;
    // A step of Newton's: the library's last digit may be wrong, of cubes too.
    return root - (root * root * root - x) / (3 * root * root);
  }
};

/// The remainder of the division truncated toward zero, with the sign of a. Refuses a zero divisor.
template <>
struct ModOp<float64> {
  static bool Apply(float64 a, float64 b, float64& out) {
    if (b == 0.0) return false;
    out = std::fmod(a, b);
    return true;
  }
  static constexpr OpError Failure(float64) { return {kDivisionByZero, nullptr, nullptr}; }
};
template <>
struct ModOp<VelmarNumber> {
  static bool Apply(const VelmarNumber& a, const VelmarNumber& b, VelmarNumber& out) {
    if (b.isZero()) return false;
    out = VelmarNumber::Mod(a, b);
    return true;
  }
  static OpError Failure(const VelmarNumber&) { return {kDivisionByZero, nullptr, nullptr}; }
};

/// -1, 0 or 1; zero of either sign is 0.
struct SignOp {
  static int32 Apply(float64 x) {
    // Not below zero and not zero: so a NaN is positive, which callers that count by sign rely on.
    return x < 0 ? -1 : x == 0 ? 0 : 1;
  }
};

/// Bit n (1 is the lowest) of the whole number at or below x, taken as 32-bit two's complement.
/// Refuses n below 1; bits above the 32nd are 0, and so are all bits of what has no 64-bit form.
struct ExtractBitOp {
  static bool Apply(float64 x, int32 n, float64& out) {
    if (n < 1) return false;
    constexpr float64 kLimit = 9223372036854775808.0;
    const float64 whole = std::floor(x);
    const int64 value = whole >= -kLimit && whole < kLimit ? static_cast<int64>(whole) : 0;
    const uint64 bits = static_cast<uint32>(value);
    out = n <= 32 ? static_cast<float64>(bits >> (n - 1) & 1) : 0.0;
    return true;
  }
  static constexpr OpError Failure() { return {kBelowZero, L"ExtractBit", L"1"}; }
};

}  // namespace sqxer
