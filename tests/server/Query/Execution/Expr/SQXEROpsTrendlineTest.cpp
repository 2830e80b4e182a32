#include <boost/multiprecision/cpp_int.hpp>
#include <cmath>
#include <random>

#include "SQXEROpsTrendline.h"
#include "support/Asserts.h"
#include "support/Sanitizers.h"

namespace sqxer::test {
namespace {

/// A value as this test computes: without any rounding.
using Exact = boost::multiprecision::cpp_rational;

/// Points of few digits: (x[i] / scaleX, y[i] / scaleY).
struct DecimalPoints {
  std::vector<int64> x, y;
  int64 scaleX, scaleY;

  std::vector<float64> Doubles(const std::vector<int64>& values, int64 scale) const {
    std::vector<float64> doubles;
    for (const int64 value : values) {
      doubles.push_back(static_cast<float64>(value) / static_cast<float64>(scale));
    }
    return doubles;
  }
};

/// The least-squares solution of the normal equations, by elimination. Integers keep the fractions
/// short: x is taken from the first x, which changes no fitted value.
std::vector<Exact> FittedValues(const DecimalPoints& points, uint32 degree) {
  const std::size_t terms = degree + 1;
  std::vector<std::vector<Exact>> rows(terms, std::vector<Exact>(terms + 1));
  for (std::size_t i = 0; i < points.x.size(); ++i) {
    std::vector<Exact> powers(1, 1);
    while (powers.size() < 2 * terms) powers.push_back(powers.back() * (points.x[i] - points.x[0]));
    for (std::size_t r = 0; r < terms; ++r) {
      for (std::size_t c = 0; c < terms; ++c) rows[r][c] += powers[r + c];
      rows[r][terms] += powers[r] * points.y[i];
    }
  }
  for (std::size_t pivot = 0; pivot < terms; ++pivot) {
    for (std::size_t r = 0; r < terms; ++r) {
      if (r == pivot) continue;
      const Exact factor = rows[r][pivot] / rows[pivot][pivot];
      for (std::size_t c = pivot; c <= terms; ++c) rows[r][c] -= factor * rows[pivot][c];
    }
  }
  std::vector<Exact> values;
  for (const int64 x : points.x) {
    Exact value = 0;
    for (std::size_t k = terms; k-- > 0;) {
      value = value * (x - points.x[0]) + rows[k][terms] / rows[k][k];
    }
    values.push_back(value / points.scaleY);
  }
  return values;
}

/// Sums of squares around the mean, and around the fitted values.
struct Squares {
  Exact total, rest;

  Squares(const DecimalPoints& points, const std::vector<Exact>& fitted) {
    Exact mean = 0;
    for (const int64 y : points.y) mean += Exact(y) / points.scaleY;
    mean /= points.y.size();
    for (std::size_t i = 0; i < points.y.size(); ++i) {
      const Exact y = Exact(points.y[i]) / points.scaleY;
      total += (y - mean) * (y - mean);
      rest += (y - fitted[i]) * (y - fitted[i]);
    }
  }
};

TEST(ComputePolynomialRegression, AgreesWithRationalFits) {
  std::mt19937_64 random(20);
  const auto any = [&](int64 limit) {
    return static_cast<int64>(random() % static_cast<uint64>(limit));
  };
  const auto oneOf = [&](std::initializer_list<int64> list) {
    return list.begin()[any(std::ssize(list))];
  };
  int accepted = 0;
  constexpr int kGroups = ShareOfCases(1000);
  for (int group = 0; group < kGroups; ++group) {
    const auto degree = static_cast<uint32>(1 + any(6));
    DecimalPoints points{{}, {}, oneOf({1, 1, 100}), oneOf({1, 1, 1000})};
    const int64 offsetX = oneOf({0, -50, 2000, 100000, 1700000000, 1000000000000});
    const int64 offsetY = oneOf({0, 1000, 1000000000, 1000000000000});
    const int64 stepX = oneOf({1, 3, 500, 1000000});
    for (int64 n = degree + 2 + any(12), x = offsetX; n-- > 0; x += any(1 + stepX)) {
      points.x.push_back(x);
      points.y.push_back(offsetY + any(100));
    }
    // More distinct x than the degree, whatever has been drawn.
    for (uint32 i = 0; i <= degree; ++i) {
      points.x.push_back(offsetX + 7 * i);
      points.y.push_back(offsetY + any(100) + i);
    }
    const std::vector<float64> x = points.Doubles(points.x, points.scaleX);
    const std::vector<float64> y = points.Doubles(points.y, points.scaleY);
    std::vector<VelmarNumber> coefficients;
    try {
      ComputePolynomialRegression(x, y, degree, coefficients);
    } catch (const ErrorMessage& error) {
      // The formula is one in x, whose powers are too large for what they add up to.
      EXPECT_EQ(error.GetCode(), 59167);
      EXPECT_GT(degree * std::log10(x[0]), 25) << "degree " << degree << ", x from " << x[0];
      continue;
    }
    ++accepted;
    SCOPED_TRACE("group " + std::to_string(group) + " of degree " + std::to_string(degree));
    const std::vector<Exact> exact = FittedValues(points, degree);
    const Squares squares(points, exact);
    const auto spread = std::sqrt(static_cast<float64>(squares.total));
    std::vector<float64> fitted;
    for (std::size_t i = 0; i < x.size(); ++i) {
      fitted.push_back(PolynomialModel{coefficients}(x[i]));
      const auto error = static_cast<float64>(Exact(fitted[i]) - exact[i]);
      // A value is the nearest double at best.
      const float64 unit = std::nextafter(std::fabs(y[i]), HUGE_VAL) - std::fabs(y[i]);
      ASSERT_LE(std::fabs(error), 1e-6 * spread + unit) << i;
    }
    const auto rSquared = static_cast<float64>(1 - squares.rest / squares.total);
    ASSERT_NEAR(ComputeTrendlineStatistics(degree, y, fitted).rSquared, rSquared, 1e-5);
  }
  EXPECT_GT(accepted, kGroups * 3 / 4);
}

}  // namespace
}  // namespace sqxer::test
