#pragma once

#include <cmath>
#include <concepts>
#include <limits>
#include <type_traits>

#include "Utility/VelmarNumber.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// A type in which the numeric aggregates compute.
template <class T>
concept AccumulatorValue = std::same_as<T, int32> || std::same_as<T, uint32> ||
    std::same_as<T, float64> || std::same_as<T, VelmarNumber>;

/// a + b; integers wrap.
template <AccumulatorValue T>
T AddUnchecked(const T& a, const T& b) {
  if constexpr (std::is_integral_v<T>) {
    return static_cast<T>(static_cast<uint32>(a) + static_cast<uint32>(b));
  } else if constexpr (std::same_as<T, VelmarNumber>) {
    return VelmarNumber::Plus(a, b);
  } else {
    return a + b;
  }
}

/// a squared; integers wrap.
template <AccumulatorValue T>
T SquareUnchecked(const T& a) {
  if constexpr (std::is_integral_v<T>) {
    return static_cast<T>(static_cast<uint32>(a) * static_cast<uint32>(a));
  } else if constexpr (std::same_as<T, VelmarNumber>) {
    return VelmarNumber::Multiply(a, a);
  } else {
    return a * a;
  }
}

/// sum / count for count > 0; integers truncate toward zero.
template <AccumulatorValue T>
T DivideByCount(const T& sum, uint32 count) {
  if constexpr (std::is_integral_v<T>) {
    // 64 bits hold both operands whatever their signs.
    return static_cast<T>(int64{sum} / int64{count});
  } else if constexpr (std::same_as<T, VelmarNumber>) {
    return VelmarNumber::Divide(sum, VelmarNumber(count));
  } else {
    return sum / count;
  }
}

/// The standard error of a mean from the sum, the sum of squares and the count:
/// sqrt((squares - sum * sum / count) / (count - 1)) / sqrt(count). Infinite or not a number for a
/// count of 1.
template <AccumulatorValue T>
float64 StandardError(const T& sum, const T& squares, uint32 count) {
  const float64 n = count;
  float64 deviation;
  if constexpr (std::same_as<T, VelmarNumber>) {
    // The difference is taken in decimal: it may be the last few of many digits.
    const VelmarNumber mean = VelmarNumber::Divide(SquareUnchecked(sum), VelmarNumber(count));
    deviation = VelmarNumber::Minus(squares, mean).asDouble();
  } else {
    const float64 s = sum;
    deviation = static_cast<float64>(squares) - s * s / n;
  }
  return std::sqrt(deviation / (n - 1)) / std::sqrt(n);
}

/// The order in which values are ranked: a NaN equals a NaN and follows every number.
inline bool SortsBefore(float64 a, float64 b) { return a < b || (std::isnan(b) && !std::isnan(a)); }

/// The values below and above which a type has none: where the search for a maximum and a minimum
/// starts.
template <AccumulatorValue T>
T LowestValue() {
  if constexpr (std::same_as<T, VelmarNumber>) {
    return VelmarNumber::velmarnumberMin;
  } else if constexpr (std::same_as<T, float64>) {
    // Not lowest(): a column of infinities has an infinite range.
    return -std::numeric_limits<float64>::infinity();
  } else {
    return std::numeric_limits<T>::min();
  }
}

template <AccumulatorValue T>
T HighestValue() {
  if constexpr (std::same_as<T, VelmarNumber>) {
    return VelmarNumber::velmarnumberMax;
  } else if constexpr (std::same_as<T, float64>) {
    return std::numeric_limits<float64>::infinity();
  } else {
    return std::numeric_limits<T>::max();
  }
}

}  // namespace sqxer
