#pragma once

#include <array>
#include <cmath>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// The powers of ten that doubles hold exactly.
inline constexpr std::array<float64, 23> kExactPowersOfTen = {
    1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

/// The share of a decimal place beyond which a remainder counts as the whole place: a double does
/// not hold decimal fractions exactly, and the more digits `v`, a whole number, has before its
/// point, the fewer it has behind.
inline float64 CalculateFudgeFactor(float64 v) {
  // By the digits of v. Back to eleven nines behind the last on purpose: callers rely on amounts
  // that large being left as they are.
  static constexpr std::array<float64, 16> kNines = {
      0.999999999999999, 0.99999999999999, 0.9999999999999, 0.999999999999, 0.99999999999,
      0.9999999999,      0.999999999,      0.99999999,      0.9999999,      0.999999,
      0.99999,           0.9999,           0.999,           0.99,           0.9,
      0.99999999999};
  const float64 size = std::fabs(v);
  std::size_t digits = 0;
  // NaN counts as large. All comparisons are made, as amounts of mixed sizes would mislead a loop
  // that ends at the right one.
  for (std::size_t i = 0; i + 1 < kNines.size(); ++i) digits += size < kExactPowersOfTen[i] ? 0 : 1;
  return kNines[digits];
}

/// Ten to the n-th power, n not below zero.
inline float64 PowerOfTen(int64 n) {
  // What the library gives too, as far as the table goes.
  return n < std::ssize(kExactPowersOfTen) ? kExactPowersOfTen[static_cast<std::size_t>(n)]
                                           : std::pow(10.0, static_cast<float64>(n));
}

// What follows has no branches, and everything is computed before one of two is taken: so loops
// over many values can be vectorised.

/// x without its fraction, which goes to `fraction` with the sign of x: std::modf, inline.
inline float64 SplitWhole(float64 x, float64& fraction) {
  const float64 whole = std::trunc(x);
  const float64 rest = x - whole;
  // Of an infinity the rest is no number.
  fraction = std::copysign(x == whole ? 0.0 : rest, x);
  return whole;
}

/// What changes no number when it is added, zeros of either sign included.
inline constexpr float64 kNothing = -0.0;

/// A rounding to n decimal digits, or to tens (-1), hundreds (-2) and so on. `power` is ten to the
/// number of digits; ApplyToAll is a loop over `count` values.
template <class Op>
struct RoundingOp {
  static float64 Apply(float64 x, int32 n) {
    return n < 0 ? Op::ToTens(x, PowerOfTen(-int64{n})) : Op::ToPlaces(x, PowerOfTen(n));
  }
};

/// x rounded.
///
/// Halves of positive numbers go away from zero and those of negative ones toward it, because what
/// makes up for binary fractions is added, and never subtracted, before the test. Callers rely on
/// both: on 1.005 going to 1.01, and on the results that negative halves have always had.
struct RoundOp : RoundingOp<RoundOp> {
  static constexpr const wchar_t* kName = L"Round";
  SQXEREXPR_API static void ApplyToAll(const float64* x, int32 n, float64* out, uint32 count);
  static float64 ToTens(float64 x, float64 power) {
    constexpr float64 kNearlyHalf = 1e-11;
    float64 fraction;
    const float64 whole = SplitWhole(x / power, fraction);
    return whole * power + StepOf(fraction + kNearlyHalf, power);
  }
  static float64 ToPlaces(float64 x, float64 power) {
    float64 fraction;
    const float64 whole = SplitWhole(x, fraction);
    const float64 slack = 1 - CalculateFudgeFactor(whole);
    // The slack counts twice: once scaled, once as it is.
    float64 rest;
    const float64 places = SplitWhole((fraction + slack) * power, rest);
    return whole + (places + StepOf(rest + slack, 1)) / power;
  }

 private:
  static float64 StepOf(float64 rest, float64 unit) {
    return rest >= 0.5 ? unit : rest <= -0.5 ? -unit : kNothing;
  }
};

/// x without its digits beyond the n-th decimal, or (n below zero) without its last digits before
/// the point. A remainder that is a whole place but for the error of binary fractions is carried.
struct TruncateOp : RoundingOp<TruncateOp> {
  static constexpr const wchar_t* kName = L"Truncate";
  SQXEREXPR_API static void ApplyToAll(const float64* x, int32 n, float64* out, uint32 count);
  static float64 ToTens(float64 x, float64 power) { return power * std::trunc(x / power); }
  static float64 ToPlaces(float64 x, float64 power) {
    float64 fraction;
    const float64 whole = SplitWhole(x, fraction);
    float64 rest;
    const float64 places = SplitWhole(fraction * power, rest);
    const float64 nearlyOne = CalculateFudgeFactor(whole);
    const float64 step = rest >= nearlyOne ? 1.0 : rest <= -nearlyOne ? -1.0 : kNothing;
    return whole + (places + step) / power;
  }
};

}  // namespace sqxer
