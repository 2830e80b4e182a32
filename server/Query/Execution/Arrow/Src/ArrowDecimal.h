#pragma once

#include <array>
#include <cstring>

#include "Utility/DecimalPowers.h"
#include "Utility/VelmarNumber.h"

namespace sqxer {

/// The coefficients of Arrow's decimals.
using ArrowInt128 = int128;

inline constexpr int kArrowDigits = kDecimalDigits;

/// 1 to 10^38.
inline constexpr std::array<ArrowInt128, kArrowDigits + 1> kArrowPowers = [] {
  std::array<ArrowInt128, kArrowDigits + 1> powers{1};
  for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * 10;
  return powers;
}();

inline VelmarNumber::Parts ToNumberParts(ArrowInt128 coefficient, int exponent) {
  return {static_cast<int64>(coefficient >> 64), static_cast<uint64>(coefficient), exponent};
}
inline ArrowInt128 CoefficientOf(const VelmarNumber::Parts& parts) {
  return static_cast<ArrowInt128>(parts.high) << 64 | parts.low;
}

}  // namespace sqxer
