#pragma once

#include <array>
#include <cstddef>

#include "Utility/XeTypes.h"

namespace sqxer {

/// The most digits that a decimal number has.
inline constexpr int kDecimalDigits = 38;

/// 1 to 10^38.
inline constexpr std::array<uint128, kDecimalDigits + 1> kPowersOfTen = [] {
  std::array<uint128, kDecimalDigits + 1> powers{};
  uint128 power = 1;
  for (uint128& entry : powers) {
    entry = power;
    power *= 10;
  }
  return powers;
}();

/// The same as a number with a sign, for exponents from 0 to 38.
constexpr int128 PowerOfTen128(int exponent) {
  return static_cast<int128>(kPowersOfTen[static_cast<std::size_t>(exponent)]);
}

/// Whether an integer has no more digits than a decimal number.
constexpr bool HasDecimalDigits(int128 value) {
  return value < PowerOfTen128(kDecimalDigits) && value > -PowerOfTen128(kDecimalDigits);
}

}  // namespace sqxer
