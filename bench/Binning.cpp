// The bins of a million doubles, of which some are NULL: over all of them, beyond the memory that
// binning takes by default, and in groups of 5 rows. By hand: two passes over the group's values in
// an array, and for equal depth a sorted copy and a search for each row.
#include <algorithm>
#include <random>

#include "BenchRows.h"
#include "SQXERExprAggregate.h"
#include "SQXERExprConstant.h"

namespace sqxer::bench {
namespace {

constexpr uint32 kBins = 20;

BenchRows& Input() {
  static BenchRows rows({{XeDoubleData, 8, L"x"}},
                        [random = std::mt19937(5)](BenchRecord& row) mutable {
                          row.Set(0, random() * 0.25);
                          row.SetNull(0, random() % 64 == 0);
                        });
  return rows;
}

/// What a row's bin adds to the sum that is checked; 0 is no bin.
uint64 Weigh(uint32 bin, std::size_t row) { return uint64{bin} * (row % 7 + 1); }

uint64 BinByAggregate(Aggregate& aggregate, BenchRecord& target, std::size_t groupSize) {
  BenchRows& input = Input();
  uint64 sum = 0;
  for (std::size_t from = 0; from < BenchRows::kCount; from += groupSize) {
    aggregate.Initialize(true);
    for (std::size_t i = from; i < from + groupSize; ++i) aggregate.Compute(input.Record(i), 0);
    aggregate.Finalize();
    for (std::size_t i = from; i < from + groupSize; ++i) {
      aggregate.Output(target.bytes());
      uint32 bin;
      std::memcpy(&bin, target.bytes() + aggregate.GetTargetOffset(), sizeof bin);
      if (target.bytes()[aggregate.GetTargetNullOffset()] == 0) sum += Weigh(bin, i);
    }
  }
  return sum;
}

/// The same values side by side, as a program for them alone would hold them.
struct Arrays {
  std::vector<float64> values;
  std::vector<uint8> nulls;
};
const Arrays& InputByHand() {
  static const Arrays arrays = [] {
    Arrays made;
    Input().VisitByHand([&](const BenchRows::Row& row) {
      made.values.push_back(row.Get<float64>(0));
      made.nulls.push_back(row.IsNull(0));
    });
    return made;
  }();
  return arrays;
}

uint64 WidthByHand(std::size_t groupSize) {
  const auto& [values, nulls] = InputByHand();
  uint64 sum = 0;
  for (std::size_t from = 0; from < values.size(); from += groupSize) {
    float64 lower = HUGE_VAL, upper = -HUGE_VAL;
    for (std::size_t i = from; i < from + groupSize; ++i) {
      if (nulls[i] != 0) continue;
      lower = std::min(lower, values[i]);
      upper = std::max(upper, values[i]);
    }
    for (std::size_t i = from; i < from + groupSize; ++i) {
      if (nulls[i] != 0) continue;
      uint32 bin = 0;
      if (upper > lower) {
        const float64 place = (values[i] - lower) * kBins / (upper - lower);
        bin = std::min(static_cast<uint32>(place), kBins - 1);
      }
      sum += Weigh(bin + 1, i);
    }
  }
  return sum;
}

uint64 DepthByHand(std::size_t groupSize) {
  const auto& [values, nulls] = InputByHand();
  uint64 sum = 0;
  std::vector<float64> sorted;
  for (std::size_t from = 0; from < values.size(); from += groupSize) {
    sorted.clear();
    for (std::size_t i = from; i < from + groupSize; ++i) {
      if (nulls[i] == 0) sorted.push_back(values[i]);
    }
    std::sort(sorted.begin(), sorted.end());
    for (std::size_t i = from; i < from + groupSize; ++i) {
      if (nulls[i] != 0) continue;
      const auto first = std::lower_bound(sorted.begin(), sorted.end(), values[i]);
      const auto place = static_cast<uint64>(first - sorted.begin());
      sum += Weigh(static_cast<uint32>(place * kBins / sorted.size()) + 1, i);
    }
  }
  return sum;
}

void TimeBoth(const std::string& name, BinKind kind, std::size_t groupSize,
              uint64 (*byHand)(std::size_t)) {
  benchmark::RegisterBenchmark(("Tree" + name).c_str(), [=](benchmark::State& state) {
    BenchRecord target;
    target.Add(XeUInt4Data, 4, true, L"bin");
    MetaDataInfo info;
    const auto aggregate =
        BindAggregate(std::make_unique<Bin>(new UInt16Vector{0}, nullptr, nullptr, false,
                                            new ConstantInt32(kBins), kind),
                      Input().layout(), target.layout(), 0, info);
    Time(state, byHand(groupSize), [&] { return BinByAggregate(*aggregate, target, groupSize); });
  })->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark(("HandWritten" + name).c_str(), [=](benchmark::State& state) {
    Time(state, byHand(groupSize), [=] { return byHand(groupSize); });
  })->Unit(benchmark::kMillisecond);
}

[[maybe_unused]] const bool registered = [] {
  TimeBoth("BinWidth", BinKind::kRegular, BenchRows::kCount, &WidthByHand);
  TimeBoth("BinWidthGroupsOf5", BinKind::kRegular, 5, &WidthByHand);
  TimeBoth("BinDepth", BinKind::kEqualDepth, BenchRows::kCount, &DepthByHand);
  TimeBoth("BinDepthGroupsOf5", BinKind::kEqualDepth, 5, &DepthByHand);
  return true;
}();

}  // namespace
}  // namespace sqxer::bench
