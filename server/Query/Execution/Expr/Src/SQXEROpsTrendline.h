#pragma once

#include <cmath>
#include <span>
#include <vector>

#include "Utility/Export.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// What a trend line is, and what is asked of it.
struct TrendlineParameter {
  enum ModelType : uint8 {
    kLinear = 0,
    kPower = 1,
    kExponential = 2,
    kLogarithmic = 3,
    kPolynomial = 4,
    kMovingAverage = 5,
  };
  enum ResultType : uint8 {
    /// Per row, the fitted y at the row's x.
    kValue = 0,
    /// Per group, the text of the model.
    kModel = 1,
    /// Per row, the fitted y at the row's number in its group, from 1.
    kSequence = 2,
  };
  static constexpr uint32 kMostDegrees = 6;

  ModelType modelType = kLinear;
  ResultType resultType = kValue;
  /// Of a polynomial, 1 to kMostDegrees.
  uint32 numOfDegrees = 1;
};

/// x * slope + intercept.
struct LinearModel {
  float64 slope;
  float64 intercept;

  float64 operator()(float64 x) const { return x * slope + intercept; }
};

/// a * b^x.
struct ExponentialModel {
  float64 a;
  float64 b;

  float64 operator()(float64 x) const { return a * std::pow(b, x); }
};

/// The sum of coefficient k times x^k, computed in decimal.
struct PolynomialModel {
  std::span<const VelmarNumber> coefficients;

  /// Error 59161 beyond the range of decimals.
  SQXEREXPR_API float64 operator()(float64 x) const;
};

/// The least-squares fits of n > 0 points; x and y must be of one length. Computed about the means,
/// so that a common offset of the points costs no digits. A coefficient of a line is NaN or
/// infinite where the squares leave the range of doubles.

/// Error 59168 when all x are equal.
SQXEREXPR_API LinearModel ComputeLinearRegression(std::span<const float64> x,
                                                  std::span<const float64> y);
/// The line through (x, log10 y), taken back to powers. Error 59165 for a y that is not above 0,
/// 59168, and 59164 when a or b leaves the range of doubles.
SQXEREXPR_API ExponentialModel ComputeExponentialRegression(std::span<const float64> x,
                                                            std::span<const float64> y);
/// Solves the normal equations in decimal. `coefficients` becomes those of the powers 0 to
/// `degree`. Error 59167 when there are not more distinct x than `degree`, or when 38 digits do not
/// hold the polynomial: the values that it gives would be off by more than a millionth of the
/// spread of y. Error 59161 when a sum leaves the range of decimals.
SQXEREXPR_API void ComputePolynomialRegression(std::span<const float64> x,
                                               std::span<const float64> y, uint32 degree,
                                               std::vector<VelmarNumber>& coefficients);

/// How well a model fits.
struct TrendlineStatistics {
  /// What a quotient of nothing, or by zero, is.
  static constexpr float64 kNone = -1.0;

  int64 degreesOfFreedom;
  float64 standardError;
  float64 rSquared;
};

/// `degree` is that of the polynomial, or 1 for another model.
SQXEREXPR_API TrendlineStatistics ComputeTrendlineStatistics(uint32 degree,
                                                             std::span<const float64> y,
                                                             std::span<const float64> fitted);

}  // namespace sqxer
