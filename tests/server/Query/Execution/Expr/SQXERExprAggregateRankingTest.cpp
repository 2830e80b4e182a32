// The aggregates that give each row its place in the group: every row's result, in input order.

#include <algorithm>
#include <random>

#include "AggregateTesting.h"
#include "SQXERExprConstant.h"

namespace sqxer::test {
namespace {

constexpr auto NIL = std::nullopt;
constexpr float64 kNaN = std::numeric_limits<float64>::quiet_NaN();

/// Makes a percentile (no tiles) or an ntile over columns of a record.
Aggregate* MakePlaces(int32 tiles, SortOrder_t order = kAscending, UInt16Vector columns = {0},
                      UInt16Vector distinct = {}) {
  auto* const read = new UInt16Vector(columns);
  auto* const breaks = new UInt16Vector(distinct);
  if (tiles == 0) return new Percentile(read, nullptr, breaks, false, {order});
  return new Ntile(read, nullptr, breaks, false, new ConstantInt32(tiles), {order});
}

XeDataType ResultType(int32 tiles) { return tiles == 0 ? Double : UInt4; }

TEST(RankingAggregates, GiveEachRowItsPlace) {
  constexpr int32 kPercentile = 0, kManyTiles = std::numeric_limits<int32>::max();
  const struct {
    int32 tiles;
    Values rows, expected;
    SortOrder_t order = kAscending;
  } kCases[] = {
      {kPercentile, {10, 20, 30}, {1, 0.5, 0}},
      {kPercentile, {30, 10, 20}, {1, 0, 0.5}, kDescending},
      {kPercentile, {20, 30, 10, 20}, {1 / 3., 0, 1, 1 / 3.}},
      {kPercentile, {NIL, 7, NIL}, {NIL, 1, NIL}},
      {kPercentile, {NIL, 1, NIL, 2}, {NIL, 0, NIL, 1}, kDescending},
      {kPercentile, {kNaN, 1, kNaN, HUGE_VAL}, {0, 1, 0, 2 / 3.}},
      {kPercentile, {}, {}},
      {4, {1, 2, 3, 4, 5, 6, 7, 8}, {1, 1, 2, 2, 3, 3, 4, 4}},
      {4, {1, 2, 3, 4, 5, 6, 7, 8}, {4, 4, 3, 3, 2, 2, 1, 1}, kDescending},
      {3, {4, 3, 2, 1, NIL}, {3, 3, 2, 1, NIL}},
      {3, {NIL, NIL}, {NIL, NIL}},
      {1, {5, NIL, 6}, {1, NIL, 1}},
      {2, {1, kNaN, kNaN, kNaN}, {1, 2, 2, 2}},
      {2, {1e308, 1.5e308}, {1, 2}},
      {5, {6, 5}, {5, 3}},
      {kManyTiles,
       {3, 1, 2, 1},
       {kManyTiles, 1 + kManyTiles / 2, 1 + kManyTiles / 4 * 3.0 + 2, 1 + kManyTiles / 2}},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(testing::Message() << test.tiles << " case " << &test - kCases);
    Places places(MakePlaces(test.tiles, test.order), Double, ResultType(test.tiles));
    ExpectPlaces(test.expected, places.Run(test.rows));
  }
}

// Callers rely on it: with further keys, neighbours with equal keys count once (a join may have
// multiplied them), and without any every row counts; under DISTINCT only the value orders.
TEST(RankingAggregates, MergeNeighboursOnlyWhereThereAreFurtherKeys) {
  const std::pair<float64, float64> kRows[] = {{10, 1}, {10, 1}, {20, 1}, {20, 2}, {30, 1}};
  const struct {
    int32 tiles;
    UInt16Vector columns, distinct;
    Values expected;
  } kCases[] = {
      {0, {0}, {}, {0.75, 0.75, 0.25, 0.25, 0}},
      {0, {0, 1}, {}, {1, 1, 2 / 3., 1 / 3., 0}},
      {0, {0}, {1}, {1, 1, 1 / 3., 1 / 3., 0}},
      {2, {0}, {}, {1, 1, 2, 2, 2}},
      {4, {0}, {1}, {1, 1, 3, 3, 4}},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(&test - kCases);
    Places places(MakePlaces(test.tiles, kAscending, test.columns, test.distinct), Int4,
                  ResultType(test.tiles));
    // A second group goes on where the first one's outputs ended.
    for (const bool restart : {true, false}) {
      places.on->Initialize(restart);
      for (const auto& [value, key] : kRows) {
        places.input.SetNumber(0, value).SetNumber(1, key);
        places.on.Compute();
      }
      places.on->Finalize();
      ExpectPlaces(test.expected, places.Outputs(std::size(kRows)));
    }
  }
}

/// The same by counting, for ascending values.
std::optional<float64> ModelPlace(const std::vector<float64>& sorted, float64 value, int32 tiles) {
  const std::size_t n = sorted.size();
  if (tiles == 0) {
    const auto after = sorted.end() - std::upper_bound(sorted.begin(), sorted.end(), value);
    return n < 2 ? 1 : static_cast<float64>(after) / static_cast<float64>(n - 1);
  }
  const auto count = static_cast<std::size_t>(tiles);
  float64 tile = 1;
  for (std::size_t j = 1; j < count; ++j) {
    const std::size_t i = j * n / count;
    const float64 boundary = n % count != 0 ? sorted[i] : (sorted[i - 1] + sorted[i]) / 2;
    if (boundary <= value) ++tile;
  }
  return tile;
}

TEST(RankingAggregates, AgreeWithCountingOverRandomGroups) {
  std::mt19937 random(7);
  for (const XeDataType type : {Int1, UInt1, Int2, UInt2, Int4, UInt4, Float, Double, Numeric}) {
    for (const int32 tiles : {0, 1, 2, 7, 100}) {
      for (const SortOrder_t order : {kAscending, kDescending}) {
        SCOPED_TRACE(testing::Message() << type << ' ' << tiles << ' ' << order);
        Places places(MakePlaces(tiles, order), type, ResultType(tiles));
        // The largest group takes several blocks.
        for (const std::size_t size : {5u, 0u, 1u, 2000u, 100u, 350u}) {
          const auto range = static_cast<unsigned>(std::min<std::size_t>(size, 100));
          Values rows(size), expected;
          std::vector<float64> sorted;
          const auto directed = [&](float64 v) { return order == kAscending ? v : -v; };
          for (auto& row : rows) {
            if (random() % 8 == 0) continue;
            sorted.push_back(directed(*(row = random() % range)));
          }
          std::ranges::sort(sorted);
          for (const auto& row : rows) {
            expected.push_back(row ? ModelPlace(sorted, directed(*row), tiles) : row);
          }
          ExpectPlaces(expected, places.Run(rows, random() % 2 != 0));
          if (HasFailure()) return;
        }
      }
    }
  }
}

TEST(RankingAggregates, ReadWhereTheOffsetsPointAndKeepTheirMemory) {
  for (const int32 tiles : {0, 2}) {
    Places places(MakePlaces(tiles), Int2, ResultType(tiles));
    EXPECT_TRUE(places.on->IsDistinctHandled() && places.on->IsFunctionalAggr());
    const Values rows{1, 2, 3, NIL}, expected = places.Run(rows);
    const XeFieldDescriptor& other = places.input.field(1);
    places.on->SetSourceOffset(other.GetDataOffset(), other.GetNullOffset(), places.input.size());
    ExpectPlaces(expected, places.Run(rows, true, 1));
    places.on->RestoreSourceOffset();
    const std::size_t blocks = AllocationCount();
    places.on->Initialize(true);
    places.on.Compute(rows);
    places.on->Finalize();
    EXPECT_EQ(AllocationCount(), blocks);
    ExpectPlaces(expected, places.Outputs(rows.size()));
  }
}

TEST(RankingAggregates, TakeTextsForPercentilesOnlyAndRefuseWrongTiles) {
  Places places(MakePlaces(0), VarChar, Double);
  ExpectPlaces({0, 1, NIL, 0.5}, places.Run<XeString>({L"pear", L"apple", NIL, L"fig"}));
  ExpectError(59001, {L"Ntile", L"VARCHAR"}, [] { Places(MakePlaces(2), VarChar, UInt4); });
  ExpectError(46030, {}, [] { Places(MakePlaces(0, kAscending, {0}, {3}), Int4, Double); });
  for (RExpression* const wrong : std::initializer_list<RExpression*>{
           new ConstantInt32(0), new ConstantInt32(-1), new ConstantNull()}) {
    Places ntile(new Ntile(Columns(0), nullptr, nullptr, false, wrong, {}), Int4, UInt4);
    ExpectError(59028, {}, [&] { ntile.on->Initialize(true); });
  }
}

}  // namespace
}  // namespace sqxer::test
