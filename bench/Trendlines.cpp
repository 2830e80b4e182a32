// Fitting a trend line: the fit alone beside a loop written by hand, and a whole group through the
// aggregate. Times are those of a million points (linear, exponential) or a hundred thousand.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "BenchRecord.h"
#include "SQXERExprAggregate.h"

namespace sqxer::bench {
namespace {

struct Points {
  std::vector<float64> x, y;

  explicit Points(std::size_t count) {
    std::mt19937 random(1);
    for (std::size_t i = 0; i < count; ++i) {
      x.push_back(static_cast<float64>(i % 1000) * 0.25);
      y.push_back(3 * x[i] + 1 + static_cast<float64>(random() % 1000) * 0.01);
    }
  }
};

/// What the fit is measured against: the sums, and nothing for accuracy.
LinearModel FitByHand(const Points& points) {
  const auto n = static_cast<float64>(points.x.size());
  float64 sumX = 0, sumY = 0, sumXX = 0, sumXY = 0;
  for (std::size_t i = 0; i < points.x.size(); ++i) {
    sumX += points.x[i];
    sumY += points.y[i];
    sumXX += points.x[i] * points.x[i];
    sumXY += points.x[i] * points.y[i];
  }
  const float64 slope = (sumXY - sumX * sumY / n) / (sumXX - sumX * sumX / n);
  return {slope, (sumY - slope * sumX) / n};
}

void LinearFit(benchmark::State& state, LinearModel (*fit)(const Points&)) {
  const Points points(1'000'000);
  for (auto _ : state) benchmark::DoNotOptimize(fit(points));
}
BENCHMARK_CAPTURE(LinearFit, Node,
                  [](const Points& p) { return ComputeLinearRegression(p.x, p.y); });
BENCHMARK_CAPTURE(LinearFit, HandWritten, &FitByHand);

/// Compute, Finalize and Output of every row of a group.
void Group(benchmark::State& state, TrendlineParameter::ModelType type, uint32 degree,
           std::size_t count) {
  const Points points(count);
  BenchRecord record;
  record.Add(XeDoubleData, 8, true, L"x");
  record.Add(XeDoubleData, 8, true, L"y");
  Trendline line(new UInt16Vector{0, 1}, nullptr, nullptr, false,
                 {type, TrendlineParameter::kValue, degree});
  RExpression* none = nullptr;
  MetaDataInfo info;
  static_cast<Aggregate&>(line).Bind(record.layout(), none, info);
  line.SetTargetDescriptor(record.layout(), 0);
  for (auto _ : state) {
    line.Initialize(false);
    for (std::size_t i = 0; i < count; ++i) {
      record.Set(0, points.x[i]);
      record.Set(1, points.y[i]);
      line.Compute(record.bytes(), record.layout().GetBinaryRecordSize());
    }
    line.Finalize();
    for (std::size_t i = 0; i < count; ++i) line.Output(record.bytes());
  }
}
BENCHMARK_CAPTURE(Group, Linear, TrendlineParameter::kLinear, 1u, 1'000'000);
BENCHMARK_CAPTURE(Group, Exponential, TrendlineParameter::kExponential, 1u, 1'000'000);
BENCHMARK_CAPTURE(Group, Cubic, TrendlineParameter::kPolynomial, 3u, 100'000);

}  // namespace
}  // namespace sqxer::bench
