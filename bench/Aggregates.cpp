// One Compute of each basic aggregate, without DISTINCT.
#include <benchmark/benchmark.h>

#include <string>

#include "BenchRecord.h"
#include "SQXERExprAggregate.h"
#include "Utility/VelmarNumber.h"

namespace sqxer::bench {
namespace {

template <class Generic, class... Flags>
std::unique_ptr<Aggregate> Make(BenchRecord& input, uint16 column, Flags... flags) {
  auto generic = std::make_unique<Generic>(new UInt16Vector{column}, nullptr, nullptr, flags...);
  RExpression* typed = nullptr;
  MetaDataInfo info;
  static_cast<Aggregate&>(*generic).Bind(input.layout(), typed, info);
  if (typed == nullptr) return generic;
  return std::unique_ptr<Aggregate>(static_cast<Aggregate*>(typed));
}

void Run(benchmark::State& state, std::unique_ptr<Aggregate> (*make)(BenchRecord&)) {
  BenchRecord input;
  input.Add(XeInt4Data, 4, true, L"i");
  input.Add(XeDoubleData, 8, true, L"x");
  input.Add(XeNumericData, 0, true, L"n");
  input.Add(XeVarCharData, 20, true, L"s");
  input.Set(0, int32{0});
  input.Set(1, 0.5);
  input.Set(2, VelmarNumber(1.25));
  input.SetText(3, L"sparrow");
  std::unique_ptr<Aggregate> aggregate = make(input);
  aggregate->Initialize(false);
  const uint32 size = input.layout().GetBinaryRecordSize();
  for (auto _ : state) benchmark::DoNotOptimize(aggregate->Compute(input.bytes(), size));
}

BENCHMARK_CAPTURE(Run, SumInt32, [](BenchRecord& r) { return Make<Sum>(r, 0, false, false); });
BENCHMARK_CAPTURE(Run, SumFloat64, [](BenchRecord& r) { return Make<Sum>(r, 1, false, false); });
BENCHMARK_CAPTURE(Run, SumNumber, [](BenchRecord& r) { return Make<Sum>(r, 2, false, false); });
BENCHMARK_CAPTURE(Run, AvgFloat64, [](BenchRecord& r) { return Make<Avg>(r, 1, false); });
BENCHMARK_CAPTURE(Run, MaxInt32, [](BenchRecord& r) { return Make<Max>(r, 0, false); });
BENCHMARK_CAPTURE(Run, MaxText, [](BenchRecord& r) { return Make<Max>(r, 3, false); });
BENCHMARK_CAPTURE(Run, Count,
                  [](BenchRecord& r) { return Make<Count>(r, 0, false, false, false); });

}  // namespace
}  // namespace sqxer::bench
