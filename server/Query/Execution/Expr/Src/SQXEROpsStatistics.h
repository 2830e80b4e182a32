#pragma once

#include <cmath>

#include "SQXEROpsAggregate.h"

namespace sqxer {

/// The sum of (value - mean)^2, computed as squares - sum * sum / count. Where the mean is large
/// beside the deviations most digits cancel, and what is left can fall below zero.
template <AccumulatorValue T>
float64 SquaredDeviations(const T& sum, const T& squares, uint32 count) {
  if constexpr (std::same_as<T, VelmarNumber>) {
    // The difference is taken in decimal: it may be the last few of many digits.
    const VelmarNumber mean = VelmarNumber::Divide(SquareUnchecked(sum), VelmarNumber(count));
    return VelmarNumber::Minus(squares, mean).asDouble();
  } else {
    const float64 s = sum;
    return static_cast<float64>(squares) - s * s / count;
  }
}

/// The deviation whose square is the share of `divisor` in the squared deviations. Not a number
/// when these came out below zero.
inline float64 Deviation(float64 squaredDeviations, float64 divisor) {
  return std::sqrt(squaredDeviations / divisor);
}

/// The standard error of a mean: sample deviation / sqrt(count). Infinite or not a number for a
/// count of 1.
template <AccumulatorValue T>
float64 StandardError(const T& sum, const T& squares, uint32 count) {
  const float64 n = count;
  return Deviation(SquaredDeviations(sum, squares, count), n - 1) / std::sqrt(n);
}

/// Takes a value into a mean; `count` includes it. Returns how far it was from the mean before.
inline float64 MoveMean(float64& mean, float64 value, uint32 count) {
  const float64 delta = value - mean;
  mean += delta / count;
  return delta;
}

/// How two variables deviate together, with means that move with each pair of values.
struct CoMoment {
  /// The sum of (x - mean of x)(y - mean of y).
  float64 C = 0;
  float64 x_mean = 0;
  float64 y_mean = 0;
  /// How far the last pair was from the means before.
  float64 x_delta = 0;
  float64 y_delta = 0;

  /// `count` includes the pair.
  void Add(float64 x, float64 y, uint32 count) {
    x_delta = MoveMean(x_mean, x, count);
    y_delta = MoveMean(y_mean, y, count);
    C += (x - x_mean) * y_delta;
  }
  /// Takes in the pairs of another; both have some.
  void Merge(const CoMoment& other, float64 count, float64 otherCount) {
    const float64 share = otherCount / (count + otherCount);
    x_delta = other.x_mean - x_mean;
    y_delta = other.y_mean - y_mean;
    C += other.C + x_delta * y_delta * (count * share);
    x_mean += x_delta * share;
    y_mean += y_delta * share;
  }
};

/// How each of the two deviates: the sums of the squared deviations from their means.
struct PairMoments {
  float64 x_M2 = 0;
  float64 y_M2 = 0;

  /// A pair that `moment` has just taken.
  void Add(float64 x, float64 y, const CoMoment& moment) {
    x_M2 += moment.x_delta * (x - moment.x_mean);
    y_M2 += (y - moment.y_mean) * moment.y_delta;
  }
  /// Takes in the deviations of pairs that `moment` has just taken.
  void Merge(const PairMoments& other, const CoMoment& moment, float64 count, float64 otherCount) {
    const float64 weight = count * (otherCount / (count + otherCount));
    x_M2 += other.x_M2 + moment.x_delta * moment.x_delta * weight;
    y_M2 += other.y_M2 + moment.y_delta * moment.y_delta * weight;
  }
};

/// The correlation of two variables. Not a number when one of them does not deviate.
inline float64 CorrelationOf(float64 covariance, float64 xDeviation, float64 yDeviation) {
  return covariance / (xDeviation * yDeviation);
}

/// What a line is fitted to: the sums over rows of x and y.
struct LineSums {
  float64 sumX_ = 0;
  float64 sumY_ = 0;
  float64 sumXY_ = 0;
  float64 sumXSquares_ = 0;

  void Add(float64 x, float64 y) {
    sumX_ += x;
    sumY_ += y;
    sumXY_ += x * y;
    sumXSquares_ += x * x;
  }
  void Merge(const LineSums& other) {
    sumX_ += other.sumX_;
    sumY_ += other.sumY_;
    sumXY_ += other.sumXY_;
    sumXSquares_ += other.sumXSquares_;
  }
  /// The sum of (x - mean of x)(y - mean of y) over `count` rows.
  float64 CoMoment(uint32 count) const { return sumXY_ - sumY_ * sumX_ / count; }
  /// The slope of the least-squares line of y on x. Infinite or not a number for a constant x.
  float64 Slope(uint32 count) const {
    return CoMoment(count) / SquaredDeviations(sumX_, sumXSquares_, count);
  }
};

}  // namespace sqxer
