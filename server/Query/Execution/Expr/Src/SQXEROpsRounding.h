#pragma once

#include <array>
#include <cmath>

#include "Utility/XeTypes.h"

namespace sqxer {

/// The share of a decimal place beyond which a remainder counts as the whole place: a double does
/// not hold decimal fractions exactly, and the more digits `v` has before its point, the fewer it
/// has behind.
inline float64 CalculateFudgeFactor(float64 v) {
  static constexpr std::array<float64, 15> kNines = {
      0.9,           0.99,           0.999,           0.9999,           0.99999,
      0.999999,      0.9999999,      0.99999999,      0.999999999,      0.9999999999,
      0.99999999999, 0.999999999999, 0.9999999999999, 0.99999999999999, 0.999999999999999};
  constexpr float64 kMostDigits = 14;
  const float64 digits = std::trunc(std::log10(std::fabs(v)) + 1);
  if (digits < 1) return kNines[14];
  if (digits <= kMostDigits) return kNines[static_cast<std::size_t>(kMostDigits - digits)];
  // Back to eleven nines on purpose: callers rely on amounts this large being left as they are.
  return kNines[10];
}

/// Ten to the n-th power, n not below zero.
inline float64 PowerOfTen(int64 n) {
  // As far as doubles hold it exactly, which is what the library gives too.
  static constexpr std::array<float64, 23> kExact = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                     1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                     1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  return n < std::ssize(kExact) ? kExact[static_cast<std::size_t>(n)]
                                : std::pow(10.0, static_cast<float64>(n));
}

/// x rounded to n decimal digits, or to tens (-1), hundreds (-2) and so on.
///
/// Halves of positive numbers go away from zero and those of negative ones toward it, because what
/// makes up for binary fractions is added, and never subtracted, before the test. Callers rely on
/// both: on 1.005 going to 1.01, and on the results that negative halves have always had.
struct RoundOp {
  static float64 Apply(float64 x, int32 n) {
    constexpr float64 kNearlyHalf = 1e-11;
    float64 whole;
    if (n < 0) {
      const float64 power = PowerOfTen(-int64{n});
      const float64 rest = std::modf(x / power, &whole) + kNearlyHalf;
      if (rest >= 0.5) return power + whole * power;
      if (rest <= -0.5) return whole * power - power;
      return whole * power;
    }
    const float64 power = PowerOfTen(n);
    const float64 fraction = std::modf(x, &whole);
    const float64 slack = 1 - CalculateFudgeFactor(whole);
    float64 places;
    // The slack counts twice: once scaled, once as it is.
    const float64 rest = slack + std::modf((fraction + slack) * power, &places);
    if (rest >= 0.5) {
      places += 1;
    } else if (rest <= -0.5) {
      places -= 1;
    }
    return whole + places / power;
  }
};

/// x without its digits beyond the n-th decimal, or (n below zero) without its last digits before
/// the point. A remainder that is a whole place but for the error of binary fractions is carried.
struct TruncateOp {
  static float64 Apply(float64 x, int32 n) {
    float64 whole;
    if (n < 0) {
      const float64 power = PowerOfTen(-int64{n});
      std::modf(x / power, &whole);
      return power * whole;
    }
    const float64 power = PowerOfTen(n);
    const float64 fraction = std::modf(x, &whole);
    float64 places;
    const float64 rest = std::modf(fraction * power, &places);
    const float64 nearlyOne = CalculateFudgeFactor(whole);
    if (rest >= nearlyOne) {
      places += 1;
    } else if (-rest >= nearlyOne) {
      places -= 1;
    }
    return whole + places / power;
  }
};

}  // namespace sqxer
