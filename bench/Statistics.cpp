// Statistics of four million rows: through aggregates, and beside them the same formulas in a loop
// written by hand over the same records. Both must give the same to the last bit.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "BenchRecord.h"
#include "SQXERExprAggregate.h"

namespace sqxer::bench {
namespace {

constexpr std::size_t kRows = 4'000'000;

/// Records of two doubles that can be NULL (none is), one behind the other.
struct Rows {
  BenchRecord record;
  std::vector<uint8> bytes;
  uint32 size, x, xNull, y, yNull;

  Rows() {
    record.Add(XeDoubleData, 8, true, L"x");
    record.Add(XeDoubleData, 8, true, L"y");
    size = record.layout().GetBinaryRecordSize();
    const auto& xField = *record.layout().GetFieldDescriptor(0);
    const auto& yField = *record.layout().GetFieldDescriptor(1);
    x = xField.GetDataOffset();
    xNull = xField.GetNullOffset();
    y = yField.GetDataOffset();
    yNull = yField.GetNullOffset();
    bytes.reserve(size * kRows);
    std::mt19937 random(1);
    std::uniform_real_distribution<float64> uniform(0, 100);
    for (std::size_t i = 0; i < kRows; ++i) {
      const float64 value = uniform(random);
      record.Set(0, value);
      record.Set(1, 3 * value + uniform(random));
      bytes.insert(bytes.end(), record.bytes(), record.bytes() + size);
    }
  }

  template <class Visit>
  void ForEach(Visit visit) {
    for (uint8* row = bytes.data(); row != bytes.data() + bytes.size(); row += size) visit(row);
  }
};

Rows& AllRows() {
  static Rows rows;
  return rows;
}

float64 Load(const uint8* at) {
  float64 value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

float64 StddevByHand(Rows& rows) {
  float64 sum = 0, squares = 0;
  uint32 n = 0;
  rows.ForEach([&](const uint8* row) {
    if (row[rows.xNull] != 0) return;
    const float64 value = Load(row + rows.x);
    ++n;
    sum += value;
    squares += value * value;
  });
  return std::sqrt((squares - sum * sum / n) / (n - 1));
}

float64 CorrelationByHand(Rows& rows) {
  float64 xMean = 0, yMean = 0, xx = 0, yy = 0, xy = 0;
  uint32 n = 0;
  rows.ForEach([&](const uint8* row) {
    if (row[rows.xNull] != 0 || row[rows.yNull] != 0) return;
    const float64 x = Load(row + rows.x), y = Load(row + rows.y);
    ++n;
    const float64 xDelta = x - xMean, yDelta = y - yMean;
    xMean += xDelta / n;
    yMean += yDelta / n;
    xy += (x - xMean) * yDelta;
    xx += xDelta * (x - xMean);
    yy += (y - yMean) * yDelta;
  });
  const uint32 divisor = n - 1;
  return xy / divisor / (std::sqrt(xx / divisor) * std::sqrt(yy / divisor));
}

float64 ByAggregate(Rows& rows, Aggregate& aggregate) {
  aggregate.Initialize(false);
  rows.ForEach([&](uint8* row) { aggregate.Compute(row, rows.size); });
  aggregate.Finalize();
  aggregate.Output(rows.record.bytes());
  return Load(rows.record.bytes() + rows.x);
}

/// The result goes where x stands in the record.
std::unique_ptr<Aggregate> Bound(Aggregate* generic) {
  XeRecordMetaData& layout = AllRows().record.layout();
  MetaDataInfo info;
  return BindAggregate(std::unique_ptr<Aggregate>(generic), layout, layout, 0, info);
}

std::unique_ptr<Aggregate> MakeStddev() {
  return Bound(new Stddev(new UInt16Vector{0}, nullptr, nullptr, false, true));
}
std::unique_ptr<Aggregate> MakeCorrelation() {
  return Bound(new Correlation(new UInt16Vector{0, 1}, nullptr, nullptr, false));
}

using ByHand = float64 (*)(Rows&);
using Make = std::unique_ptr<Aggregate> (*)();

template <class Way>
void Time(benchmark::State& state, float64 expected, Way way) {
  for (auto _ : state) {
    if (way() != expected) {
      state.SkipWithError("the two ways do not agree");
      return;
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64>(kRows));
}

template <ByHand byHand, Make make>
void HandWritten(benchmark::State& state) {
  Rows& rows = AllRows();
  Time(state, ByAggregate(rows, *make()), [&] { return byHand(rows); });
}

template <ByHand byHand, Make make>
void Tree(benchmark::State& state) {
  Rows& rows = AllRows();
  const std::unique_ptr<Aggregate> aggregate = make();
  Time(state, byHand(rows), [&] { return ByAggregate(rows, *aggregate); });
}

BENCHMARK(HandWritten<StddevByHand, MakeStddev>)
    ->Name("HandWrittenStddev")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Tree<StddevByHand, MakeStddev>)->Name("TreeStddev")->Unit(benchmark::kMillisecond);
BENCHMARK(HandWritten<CorrelationByHand, MakeCorrelation>)
    ->Name("HandWrittenCorrelation")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(Tree<CorrelationByHand, MakeCorrelation>)
    ->Name("TreeCorrelation")
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace sqxer::bench
