// Ranks of a million doubles (some of them NULL, many equal): all of them, in groups of 1 and of
// 10 rows, and the first ten. By hand: std::sort over values with their places, then a walk.
#include <algorithm>
#include <random>

#include "BenchRows.h"
#include "SQXERExprAggregate.h"
#include "SQXERExprConstant.h"

namespace sqxer::bench {
namespace {

constexpr uint32 kFirst = 10;

BenchRows& Input() {
  static BenchRows rows({{XeDoubleData, 8, L"x"}},
                        [random = std::mt19937(5)](BenchRecord& row) mutable {
                          row.Set(0, static_cast<float64>(random() % 300'000) * 0.25);
                          row.SetNull(0, random() % 64 == 0);
                        });
  return rows;
}

/// What a row's rank adds to the sum that is checked; 0 is no rank.
uint64 Weigh(uint32 rank, std::size_t row) { return uint64{rank} * (row % 7 + 1); }

/// The same sum from an aggregate that is driven through groups of a size.
uint64 RankByAggregate(Aggregate& aggregate, BenchRecord& target, std::size_t groupSize) {
  uint64 sum = 0;
  for (std::size_t from = 0; from < BenchRows::kCount; from += groupSize) {
    aggregate.Initialize(true);
    for (std::size_t i = from; i < from + groupSize; ++i) aggregate.Compute(Input().Record(i), 0);
    aggregate.Finalize();
    for (std::size_t i = from; i < from + groupSize; ++i) {
      aggregate.Output(target.bytes());
      uint32 rank;
      std::memcpy(&rank, target.bytes() + aggregate.GetTargetOffset(), sizeof rank);
      if (target.bytes()[aggregate.GetTargetNullOffset()] == 0) sum += Weigh(rank, i);
    }
  }
  return sum;
}

/// Ranks up to `last` among the rows of each group, the smallest value first. NULLs come last and
/// share a rank when that is wanted.
uint64 RankByHand(std::size_t groupSize, uint32 last, bool ranksNulls) {
  struct Place {
    float64 value;
    uint32 row;
    bool isNull;
  };
  std::vector<Place> places;
  std::vector<uint32> ranks;
  uint64 sum = 0;
  std::size_t row = 0;
  Input().VisitByHand([&](const BenchRows::Row& values) {
    places.push_back(
        {values.Get<float64>(0), static_cast<uint32>(row++ % groupSize), values.IsNull(0)});
    if (places.size() < groupSize) return;
    const auto before = [](const Place& a, const Place& b) {
      return a.isNull != b.isNull ? b.isNull : !a.isNull && a.value < b.value;
    };
    std::sort(places.begin(), places.end(), before);
    ranks.assign(groupSize, 0);
    uint32 rank = 1;
    for (uint32 i = 0; i < groupSize && (ranksNulls || !places[i].isNull); ++i) {
      if (i > 0 && before(places[i - 1], places[i])) rank = i + 1;
      if (rank > last) break;
      ranks[places[i].row] = rank;
    }
    for (std::size_t i = 0; i < groupSize; ++i) sum += Weigh(ranks[i], row - groupSize + i);
    places.clear();
  });
  return sum;
}

void TimeBoth(const std::string& name, std::unique_ptr<Aggregate> (*make)(), std::size_t groupSize,
              uint32 last, bool ranksNulls) {
  const auto byHand = [=] { return RankByHand(groupSize, last, ranksNulls); };
  benchmark::RegisterBenchmark(("Tree" + name).c_str(), [=](benchmark::State& state) {
    BenchRecord target;
    target.Add(XeUInt4Data, 4, true, L"rank");
    MetaDataInfo info;
    const auto aggregate = BindAggregate(make(), Input().layout(), target.layout(), 0, info);
    Time(state, byHand(), [&] { return RankByAggregate(*aggregate, target, groupSize); });
  })->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark(("HandWritten" + name).c_str(), [=](benchmark::State& state) {
    Time(state, byHand(), byHand);
  })->Unit(benchmark::kMillisecond);
}

std::unique_ptr<Aggregate> MakeRank() {
  return std::make_unique<Rank>(new UInt16Vector{0}, nullptr, nullptr, false,
                                std::vector{kAscending}, false, false);
}
std::unique_ptr<Aggregate> MakeFirst() {
  return std::make_unique<PreferredN>(new UInt16Vector{0}, nullptr, nullptr, false,
                                      PreferredN::BottomN, new ConstantInt32(kFirst));
}

[[maybe_unused]] const bool registered = [] {
  constexpr uint32 kAll = BenchRows::kCount;
  TimeBoth("Rank", &MakeRank, kAll, kAll, true);
  TimeBoth("RankGroupsOf10", &MakeRank, 10, kAll, true);
  TimeBoth("RankGroupsOf1", &MakeRank, 1, kAll, true);
  TimeBoth("FirstTen", &MakeFirst, kAll, kFirst, false);
  return true;
}();

}  // namespace
}  // namespace sqxer::bench
