#pragma once

#include <cmath>
#include <concepts>
#include <cstring>
#include <limits>
#include <type_traits>

#include "SQXEROpsArithmetic.h"

namespace sqxer {

/// Reads and writes a value at any address.
template <class T>
T LoadValue(const uint8* source) {
  T value;
  std::memcpy(&value, source, sizeof(T));
  return value;
}

template <class T>
void StoreValue(uint8* target, const T& value) {
  std::memcpy(target, &value, sizeof(T));
}

/// A type in which the numeric aggregates compute.
template <class T>
concept AccumulatorValue = std::same_as<T, int32> || std::same_as<T, uint32> ||
    std::same_as<T, float64> || std::same_as<T, VelmarNumber>;

/// a + b; integers wrap.
template <AccumulatorValue T>
T AddUnchecked(const T& a, const T& b) {
  if constexpr (std::is_integral_v<T>) {
    return IntegerSum::Unchecked(a, b);
  } else if constexpr (std::same_as<T, VelmarNumber>) {
    return VelmarNumber::Plus(a, b);
  } else {
    return a + b;
  }
}

/// a - b; integers wrap.
template <AccumulatorValue T>
T SubtractUnchecked(const T& a, const T& b) {
  if constexpr (std::is_integral_v<T>) {
    return IntegerDifference::Unchecked(a, b);
  } else if constexpr (std::same_as<T, VelmarNumber>) {
    return VelmarNumber::Minus(a, b);
  } else {
    return a - b;
  }
}

/// a squared; integers wrap.
template <AccumulatorValue T>
T SquareUnchecked(const T& a) {
  if constexpr (std::is_integral_v<T>) {
    return IntegerProduct::Unchecked(a, a);
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

/// What a moving window comes to. `Add` puts a value into the sum and is false when that leaves the
/// type; `Result` is that of a window of `count` > 0 values.
template <class Op, class T>
concept WindowOp = requires(T& sum, const T& value, uint32 count) {
  { Op::Add(sum, value) } -> std::same_as<bool>;
  { Op::Result(sum, count) } -> std::same_as<T>;
};

/// The sum. Only the signed one is checked: an unsigned sum that wraps is right again once the
/// window has moved on, and callers rely on it.
template <AccumulatorValue T>
struct MovingSumOp {
  static bool Add(T& sum, const T& value) {
    if constexpr (std::same_as<T, int32>) {
      return AddOp<int32>::Apply(sum, value, sum);
    } else {
      sum = AddUnchecked(sum, value);
      return true;
    }
  }
  static T Result(const T& sum, uint32) { return sum; }
};

/// The mean; its sum is never checked, like that of every mean.
template <AccumulatorValue T>
struct MovingAvgOp {
  static bool Add(T& sum, const T& value) {
    sum = AddUnchecked(sum, value);
    return true;
  }
  static T Result(const T& sum, uint32 count) {
    if constexpr (std::same_as<T, int32>) {
      // The 32 bits of the sum are divided as an unsigned number, so that a negative sum of two and
      // more values has a large positive mean: callers rely on these values.
      return static_cast<T>(static_cast<uint32>(sum) / count);
    } else {
      return DivideByCount(sum, count);
    }
  }
};

/// Moves a window over the last `size` values by one value. The window is a ring of `size` slots;
/// `count` values have gone in before, and `sum` is that of the window. False when the operation
/// refuses the value; the window is then of no use any more.
template <class Op, AccumulatorValue T>
requires WindowOp<Op, T>
bool SlideWindow(T* slots, uint32 size, uint32 count, const T& value, T& sum) {
  // The value goes in before the oldest goes out: a sum that leaves the type between the two is
  // refused, and callers rely on the error.
  if (!Op::Add(sum, value)) return false;
  T& slot = slots[count % size];
  if (count >= size) sum = SubtractUnchecked(sum, slot);
  slot = value;
  return true;
}

}  // namespace sqxer
