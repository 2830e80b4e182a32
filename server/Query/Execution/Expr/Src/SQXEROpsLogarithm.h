#pragma once

#include <array>
#include <bit>
#include <limits>

#include "Utility/XeTypes.h"

namespace sqxer {

/// The tables of NaturalLogarithm, computed when this is compiled, in integers alone.
struct LogarithmTables {
  /// Intervals between two powers of two, in the order of the bits of doubles.
  static constexpr int kIntervalBits = 7;
  static constexpr std::size_t kIntervals = std::size_t{1} << kIntervalBits;
  /// The bits of the double with which the intervals start, so that one of them has 1 within.
  static constexpr uint64 kFirstBits = 0x3FE6F00000000000;
  /// Digits behind the point of the reciprocals and of the leading parts: so few that products with
  /// the first and sums of the second are exact.
  static constexpr int kReciprocalBits = 12;
  static constexpr int kLeadingBits = 42;

  /// Of a number in each interval the reciprocal, and minus its logarithm as a sum of two doubles.
  std::array<float64, kIntervals> reciprocals{};
  std::array<float64, kIntervals> leading{};
  std::array<float64, kIntervals> rests{};
  /// The logarithm of 2 in the same way.
  float64 leadingOfTwo = 0;
  float64 restOfTwo = 0;

  constexpr LogarithmTables() {
    const Fixed two = LogarithmOf(2, 1);
    Split(two, leadingOfTwo, restOfTwo);
    constexpr int64 one = int64{1} << kReciprocalBits;
    for (std::size_t i = 0; i < kIntervals; ++i) {
      constexpr uint64 width = uint64{1} << (52 - kIntervalBits);
      const uint64 bits = kFirstBits + i * width;
      const bool hasOne = bits < kBitsOfOne && kBitsOfOne < bits + width;
      const auto middle = std::bit_cast<float64>(bits + width / 2);
      // About 1 the logarithm must come of the distance from it alone.
      const float64 nearest = one / middle + 0.5;
      const int64 reciprocal = hasOne ? one : static_cast<int64>(nearest);
      reciprocals[i] = static_cast<float64>(reciprocal) / one;
      Split(LogarithmOf(one, reciprocal), leading[i], rests[i]);
    }
  }

 private:
  __extension__ using Fixed = __int128;
  static constexpr int kFixedBits = 100;
  static constexpr uint64 kBitsOfOne = 0x3FF0000000000000;

  /// ln(a / b) = 2 artanh((a - b) / (a + b)), for numbers below 2^13.
  static constexpr Fixed LogarithmOf(int64 a, int64 b) {
    const int64 up = a - b;
    const int64 down = a + b;
    Fixed power = (Fixed{1} << kFixedBits) / down * up;
    Fixed sum = 0;
    for (int odd = 1; power != 0; odd += 2) {
      sum += power / odd;
      power = power / (Fixed{down} * down) * (Fixed{up} * up);
    }
    return 2 * sum;
  }
  static constexpr void Split(Fixed value, float64& leadingPart, float64& rest) {
    constexpr int dropped = kFixedBits - kLeadingBits;
    const Fixed whole = (value + (Fixed{1} << (dropped - 1))) >> dropped;
    leadingPart = static_cast<float64>(static_cast<int64>(whole)) / (int64{1} << kLeadingBits);
    constexpr float64 unit = 1.0 / (int64{1} << 50) / (int64{1} << 50);
    static_assert(kFixedBits == 100);
    rest = static_cast<float64>(static_cast<int64>(value - (whole << dropped))) * unit;
  }
};
inline constexpr LogarithmTables kLogarithms;

/// The natural logarithm of a positive number, within 0.52 units of the last digit on every
/// machine; +infinity and NaN are their own. Of zero and of negative numbers the result is some
/// number without meaning. There are no branches, so that loops over it can be vectorised.
///
/// x is 2^k z, z about 1, and z (1 + r) / c for the interval of z, where 1 / c has few digits. Then
/// ln x = k ln 2 + ln c + ln(1 + r), and the leading parts of all three add up without rounding.
inline float64 NaturalLogarithm(float64 x) {
  using Tables = LogarithmTables;
  constexpr int kExponentBits = 52;
  constexpr uint64 kBias = 1023;
  // A subnormal number has less digits, but a logarithm like any other.
  constexpr auto kScale = static_cast<float64>(uint64{1} << 54);
  const bool isSubnormal = x < std::numeric_limits<float64>::min();
  const float64 scaled = x * (isSubnormal ? kScale : 1.0);
  const auto bits = std::bit_cast<uint64>(scaled);
  const uint64 place = bits - Tables::kFirstBits + (kBias << kExponentBits);
  const uint64 exponent = place >> kExponentBits;
  const std::size_t interval =
      place >> (kExponentBits - Tables::kIntervalBits) & (Tables::kIntervals - 1);
  const auto z = std::bit_cast<float64>(bits - ((exponent - kBias) << kExponentBits));

  // 2^52 and the exponent as its last digits, without a conversion of 64 bits.
  constexpr uint64 kBitsOfWhole = uint64{kBias + kExponentBits} << kExponentBits;
  constexpr float64 kWhole = uint64{1} << kExponentBits;
  const float64 k = std::bit_cast<float64>(kBitsOfWhole + exponent) - kWhole -
                    (isSubnormal ? kBias + 54.0 : kBias + 0.0);

  const float64 reciprocal = kLogarithms.reciprocals[interval];
  // In two parts, of which each product is exact.
  constexpr uint64 kUpper = ~((uint64{1} << (Tables::kReciprocalBits + 1)) - 1);
  const auto upper = std::bit_cast<float64>(std::bit_cast<uint64>(z) & kUpper);
  const float64 r1 = upper * reciprocal - 1;
  const float64 r2 = (z - upper) * reciprocal;
  const float64 r = r1 + r2;
  const float64 lostOfR = (r1 - r) + r2;

  const float64 whole = k * kLogarithms.leadingOfTwo + kLogarithms.leading[interval];
  const float64 sum = whole + r;
  const float64 lost = (whole - sum) + r;
  const float64 rest = k * kLogarithms.restOfTwo + kLogarithms.rests[interval];

  // ln(1 + r) - r, as far as |r| < 2^-7.8 lets it count.
  const float64 square = r * r;
  const float64 tail = square * (r * square * ((1.0 / 5 - r * (1.0 / 6)) + square * (1.0 / 7)) +
                                 (r * (1.0 / 3) - square * (1.0 / 4) - 0.5));
  const float64 result = sum + (lost + rest + (lostOfR + tail));
  return x < std::numeric_limits<float64>::infinity() ? result : x;
}

}  // namespace sqxer
