#include "SQXEROpsTrendline.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include "SQXERMatrix.h"
#include "Utility/ErrorMessage.h"
#include "Utility/XeAssert.h"

namespace sqxer {

namespace {

/// The sums of the values that term(i) gives for every i < n. Kept in lanes, because an addition
/// would wait for the one before it; rounding errors then grow with a part of the terms, too.
template <std::size_t kSums, class Term>
std::array<float64, kSums> SumOver(std::size_t n, Term term) {
  constexpr std::size_t kLanes = 4;
  std::array<std::array<float64, kLanes>, kSums> lanes{};
  std::size_t i = 0;
  for (; i + kLanes <= n; i += kLanes) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      const std::array<float64, kSums> terms = term(i + lane);
      for (std::size_t s = 0; s < kSums; ++s) lanes[s][lane] += terms[s];
    }
  }
  std::array<float64, kSums> sums{};
  for (; i < n; ++i) {
    const std::array<float64, kSums> terms = term(i);
    for (std::size_t s = 0; s < kSums; ++s) sums[s] += terms[s];
  }
  for (std::size_t s = 0; s < kSums; ++s) {
    sums[s] += (lanes[s][0] + lanes[s][1]) + (lanes[s][2] + lanes[s][3]);
  }
  return sums;
}

/// The mean of n > 0 values: equal ones have exactly their value.
float64 Mean(std::span<const float64> values) {
  const float64 origin = values[0];
  const auto [sum] =
      SumOver<1>(values.size(), [&](std::size_t i) { return std::array{values[i] - origin}; });
  return origin + sum / static_cast<float64>(values.size());
}

/// What rounding may make of the values that a polynomial gives, as a part of the spread of y.
constexpr float64 kMostRounding = 1e-6;
/// What one operation on decimals adds to that, as a part of its result.
constexpr float64 kDecimalRounding = 1e-37;

/// The value nearest to the mean. Where a mean has all the digits of a double, it has few, and what
/// is computed from the distances to it comes out in few.
float64 MiddleValue(std::span<const float64> values) {
  const float64 mean = Mean(values);
  return *std::min_element(values.begin(), values.end(), [mean](float64 a, float64 b) {
    return std::fabs(a - mean) < std::fabs(b - mean);
  });
}

/// The root of the sum of the squared distances from the mean.
float64 Spread(std::span<const float64> values) {
  const float64 mean = Mean(values);
  const auto [squares] = SumOver<1>(values.size(), [&](std::size_t i) {
    return std::array{(values[i] - mean) * (values[i] - mean)};
  });
  return std::sqrt(squares);
}

/// Points as a polynomial sees them: the distances from originX and originY. Powers of numbers far
/// from zero and close together are all but multiples of each other; those of the distances are
/// not.
struct CentredPoints {
  std::span<const float64> x;
  std::span<const float64> y;
  VelmarNumber originX{MiddleValue(x)};
  VelmarNumber originY{MiddleValue(y)};
};

/// left * coefficients = right.
struct NormalEquations {
  Matrix left;
  Matrix right;
};

NormalEquations MakeNormalEquations(const CentredPoints& points, uint8 terms) {
  const auto lastPower = static_cast<uint8>(2 * (terms - 1));
  // The matrix repeats the sum of the k-th powers where row and column come to k.
  Matrix powerSums(1, static_cast<uint8>(lastPower + 1));
  NormalEquations equations{Matrix(terms, terms), Matrix(terms, 1)};
  for (std::size_t i = 0; i < points.x.size(); ++i) {
    const VelmarNumber at = VelmarNumber::Minus(VelmarNumber(points.x[i]), points.originX);
    const VelmarNumber value = VelmarNumber::Minus(VelmarNumber(points.y[i]), points.originY);
    VelmarNumber power = VelmarNumber::one;
    for (uint8 k = 0;; ++k) {
      powerSums.Increment(0, k, power);
      if (k < terms) equations.right.Increment(k, 0, VelmarNumber::Multiply(value, power));
      if (k == lastPower) break;
      power = VelmarNumber::Multiply(power, at);
    }
  }
  for (uint8 i = 0; i < terms; ++i) {
    for (uint8 j = 0; j < terms; ++j) {
      equations.left.Set(i, j, powerSums.Get(0, static_cast<uint8>(i + j)));
    }
  }
  return equations;
}

/// Solves the equations. `error` becomes that of the fitted values: the root of the sum of its
/// squares over the points.
Matrix Solve(const NormalEquations& equations, float64& error) {
  const Matrix inverse = equations.left.Inverse();
  Matrix solution = Matrix::Multiply(inverse, equations.right);
  // What rounding has left of the right side, solved for in turn, gives the errors of the
  // coefficients, and the product of both the squares of those of the values.
  const Matrix product = Matrix::Multiply(equations.left, solution);
  Matrix rest = equations.right;
  for (uint8 k = 0; k < rest.GetRows(); ++k) {
    rest.Increment(k, 0, VelmarNumber::negate(product.Get(k, 0)));
  }
  const Matrix correction = Matrix::Multiply(inverse, rest);
  float64 squares = 0;
  for (uint8 k = 0; k < rest.GetRows(); ++k) {
    squares += rest.Get(k, 0).asDouble() * correction.Get(k, 0).asDouble();
    solution.Increment(k, 0, correction.Get(k, 0));
  }
  error = std::sqrt(std::fabs(squares));
  return solution;
}

/// The same of what rounding does where the polynomial is expanded and computed from powers of x.
float64 ExpansionError(const CentredPoints& points, std::span<const VelmarNumber> coefficients) {
  float64 farthest = 0;
  for (const float64 x : points.x) farthest = std::max(farthest, std::fabs(x));
  farthest += std::fabs(points.originX.asDouble());
  float64 size = 0;
  for (std::size_t k = coefficients.size(); k-- > 0;) {
    size = size * farthest + std::fabs(coefficients[k].asDouble());
  }
  return kDecimalRounding * size * std::sqrt(static_cast<float64>(points.x.size()));
}

/// Makes a polynomial in x - origin one in x.
void ExpandPowers(std::vector<VelmarNumber>& coefficients, const VelmarNumber& origin) {
  const VelmarNumber shift = VelmarNumber::negate(origin);
  const std::size_t last = coefficients.size() - 1;
  for (std::size_t done = 0; done < last; ++done) {
    for (std::size_t k = last; k-- > done;) {
      coefficients[k] += VelmarNumber::Multiply(coefficients[k + 1], shift);
    }
  }
}

bool HasDistinctValues(std::span<const float64> values, std::size_t wanted) {
  std::array<float64, TrendlineParameter::kMostDegrees + 1> seen;
  std::size_t count = 0;
  XE_ASSERT(wanted <= seen.size());
  for (const float64 value : values) {
    if (std::find(seen.begin(), seen.begin() + count, value) != seen.begin() + count) continue;
    seen[count++] = value;
    if (count == wanted) return true;
  }
  return false;
}

/// The line through positions all equal (error 59168), or so near to or so far from each other that
/// doubles do not hold the squares of their distances: over the distances in units of the greatest.
LinearModel FitInUnits(std::span<const float64> x, std::span<const float64> y, float64 origin) {
  float64 unit = 0;
  for (const float64 position : x) unit = std::max(unit, std::fabs(position - origin));
  if (unit == 0) SUGThrow(ErrorMessage(59168));
  std::vector<float64> distances(x.size());
  std::ranges::transform(x, distances.begin(),
                         [&](float64 position) { return (position - origin) / unit; });
  const LinearModel line = ComputeLinearRegression(distances, y);
  const float64 slope = line.slope / unit;
  return {slope, line.intercept - slope * origin};
}

}  // namespace

LinearModel ComputeLinearRegression(std::span<const float64> x, std::span<const float64> y) {
  XE_ASSERT(x.size() == y.size());
  const auto n = static_cast<float64>(x.size());
  // From here on x and y are taken from these, and their own means are all but zero. Without that
  // sumXX and n * meanX * meanX would agree in most of their digits.
  const float64 originX = Mean(x);
  const float64 originY = Mean(y);
  const auto [sumX, sumY, sumXX, sumXY] = SumOver<4>(x.size(), [&](std::size_t i) {
    const float64 dx = x[i] - originX;
    const float64 dy = y[i] - originY;
    return std::array{dx, dy, dx * dx, dx * dy};
  });
  const float64 meanX = sumX / n;
  const float64 meanY = sumY / n;
  const float64 sxy = sumXY - n * meanX * meanY;
  const float64 sxx = sumXX - n * meanX * meanX;
  if (sxx == 0 || std::isinf(sxx)) return FitInUnits(x, y, originX);
  const float64 slope = sxy / sxx;
  return {slope, (originY + meanY) - slope * (originX + meanX)};
}

ExponentialModel ComputeExponentialRegression(std::span<const float64> x,
                                              std::span<const float64> y) {
  std::vector<float64> logarithms(y.size());
  for (std::size_t i = 0; i < y.size(); ++i) {
    if (!(y[i] > 0)) SUGThrow(ErrorMessage(59165));
    logarithms[i] = std::log10(y[i]);
  }
  const LinearModel line = ComputeLinearRegression(x, logarithms);
  errno = 0;
  const ExponentialModel model{std::pow(10, line.intercept), std::pow(10, line.slope)};
  if (errno == ERANGE) SUGThrow(ErrorMessage(59164));
  return model;
}

float64 PolynomialModel::operator()(float64 x) const {
  const VelmarNumber at(x);
  VelmarNumber value = coefficients.back();
  for (std::size_t k = coefficients.size() - 1; k-- > 0;) {
    value = VelmarNumber::Plus(VelmarNumber::Multiply(value, at), coefficients[k]);
  }
  return value.asDouble();
}

void ComputePolynomialRegression(std::span<const float64> x, std::span<const float64> y,
                                 uint32 degree, std::vector<VelmarNumber>& coefficients) {
  XE_ASSERT(x.size() == y.size());
  // With so few distinct x a power is a sum of multiples of the others. Decimals of 38 digits would
  // not always show that as a pivot of exactly zero.
  if (!HasDistinctValues(x, degree + 1)) SUGThrow(ErrorMessage(59167));
  const auto terms = static_cast<uint8>(degree + 1);
  const CentredPoints points{x, y};
  float64 error;
  const Matrix solution = Solve(MakeNormalEquations(points, terms), error);
  coefficients.resize(terms);
  for (uint8 k = 0; k < terms; ++k) coefficients[k] = solution.Get(k, 0);
  // What there is to tell of y is how it spreads, however large it is.
  error += ExpansionError(points, coefficients);
  if (!(error <= kMostRounding * Spread(y))) SUGThrow(ErrorMessage(59167));
  ExpandPowers(coefficients, points.originX);
  coefficients[0] += points.originY;
}

TrendlineStatistics ComputeTrendlineStatistics(uint32 degree, std::span<const float64> y,
                                               std::span<const float64> fitted) {
  XE_ASSERT(y.size() == fitted.size());
  constexpr float64 kNone = TrendlineStatistics::kNone;
  const int64 degreesOfFreedom = std::ssize(y) - (int64{degree} + 1);
  if (y.empty()) return {degreesOfFreedom, kNone, kNone};
  const float64 mean = Mean(y);
  const auto [sse, sst] = SumOver<2>(y.size(), [&](std::size_t i) {
    const float64 rest = y[i] - fitted[i];
    const float64 deviation = y[i] - mean;
    return std::array{rest * rest, deviation * deviation};
  });
  return {degreesOfFreedom,
          degreesOfFreedom < 1 ? kNone : std::sqrt(sse / static_cast<float64>(degreesOfFreedom)),
          sst == 0 ? kNone : 1 - sse / sst};
}

}  // namespace sqxer
