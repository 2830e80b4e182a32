// The aggregates that give each row its place in the group: every row's result, in input order.

#include <algorithm>
#include <random>

#include "AggregateTesting.h"
#include "SQXERExprConstant.h"
#include "support/Sanitizers.h"

namespace sqxer::test {
namespace {

constexpr auto NIL = std::nullopt;
constexpr float64 kNaN = std::numeric_limits<float64>::quiet_NaN();

/// What stands for the number of tiles where there are none. The preferred ones are two rows.
enum : int32 { kPercentile = 0, kRank = -1, kNullRank = -2, kBoth = -3, kBottom = -4, kTop = -5 };

/// Makes an aggregate over columns of a record.
Aggregate* MakePlaces(int32 tiles, SortOrder_t order = kAscending, UInt16Vector columns = {0},
                      UInt16Vector distinct = {}, int32 n = 2) {
  auto* const read = new UInt16Vector(columns);
  auto* const breaks = new UInt16Vector(distinct);
  if (tiles <= kBoth) {
    return new PreferredN(read, nullptr, breaks, false, PreferredN::Preference(tiles - kTop + 1),
                          new ConstantInt32(n));
  }
  if (tiles < 0) {
    return new Rank(read, nullptr, breaks, false, {order, order}, tiles == kNullRank, true);
  }
  if (tiles == kPercentile) return new Percentile(read, nullptr, breaks, false, {order});
  return new Ntile(read, nullptr, breaks, false, new ConstantInt32(tiles), {order});
}

XeDataType ResultType(int32 tiles) { return tiles == kPercentile ? Double : UInt4; }

TEST(RankingAggregates, AtTheEdges) {
  constexpr int32 kManyTiles = std::numeric_limits<int32>::max();
  const struct {
    int32 tiles;
    Values rows, expected;
    SortOrder_t order = kAscending;
  } kCases[] = {
      {kPercentile, {NIL, 7, NIL}, {NIL, 1, NIL}},
      {kPercentile, {NIL, 1, NIL, 2}, {NIL, 0, NIL, 1}, kDescending},
      {kPercentile, {kNaN, 1, kNaN, HUGE_VAL}, {0, 1, 0, 2 / 3.}},
      {2, {1, kNaN, kNaN, kNaN}, {1, 2, 2, 2}},
      {2, {1e308, 1.5e308}, {1, 1}},
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

/// Two keys of a row.
using KeyRow = std::array<std::optional<float64>, 2>;

/// An order by the first keys, NULL last.
struct Before {
  std::size_t keys;
  bool descends;

  bool operator()(const KeyRow& a, const KeyRow& b) const {
    for (std::size_t i = 0; i < keys; ++i) {
      if (a[i] && b[i] && *a[i] != *b[i]) return (*a[i] < *b[i]) != descends;
      if (a[i].has_value() != b[i].has_value()) return a[i].has_value();
    }
    return false;
  }
};

/// The ranks up to `n` by counting. NULL values share a rank unless it is NULL.
Values ModelRanks(const std::vector<KeyRow>& rows, Before before, auto isNull, bool ranksNulls,
                  float64 n) {
  std::vector<KeyRow> sorted = rows;
  std::ranges::sort(sorted, before);
  const auto nullRank = std::ranges::find_if(sorted, isNull) - sorted.begin() + 1;
  std::erase_if(sorted, isNull);
  Values ranks;
  for (const KeyRow& row : rows) {
    const auto place = std::ranges::lower_bound(sorted, row, before) - sorted.begin() + 1;
    ranks.emplace_back(isNull(row) ? nullRank : place);
    if (*ranks.back() > n || (isNull(row) && !ranksNulls)) ranks.back() = NIL;
  }
  return ranks;
}

/// Groups of distinct values and of ties.
void ExpectRanks(int32 kind, bool descends, const UInt16Vector& columns,
                 const UInt16Vector& distinct, std::mt19937& random) {
  const auto n = static_cast<int32>(random() % 300 + 1);
  Places places(MakePlaces(kind, descends ? kDescending : kAscending, columns, distinct, n), Int4,
                UInt4);
  const std::size_t keys = columns.size();
  const bool ranksAll = kind > kBoth;
  const auto isNull = [&](const KeyRow& r) { return !r[0] || (ranksAll && keys == 2 && !r[1]); };
  for (const auto& [size, range] :
       {std::pair(1u, 1u), {3, 3}, {9000, 9000}, {2, 2}, {700, 3}, {20000, 3}}) {
    SCOPED_TRACE(testing::Message() << kind << ' ' << keys << distinct.size() << ' ' << size);
    std::vector<KeyRow> rows(size);
    places.on->Initialize(random() % 2 != 0);
    for (KeyRow& row : rows) {
      for (int key : {0, 1}) {
        if (random() % 8 != 0) row[key] = random() % range;
        places.on.input.SetNumber(key, row[key].value_or(0)).SetNull(key, !row[key]);
      }
      places.on.Compute();
    }
    EXPECT_EQ(places.on->Finalize(), kTrue);
    const float64 last = ranksAll ? HUGE_VAL : n;
    Values expected = ModelRanks(rows, {keys, descends}, isNull, kind == kRank, last);
    if (kind == kBoth) {
      const Values others = ModelRanks(rows, {keys, !descends}, isNull, false, last);
      std::ranges::transform(expected, others, expected.begin(),
                             [](auto top, auto bottom) { return top ? top : bottom; });
    }
    ExpectPlaces(expected, places.Outputs(size));
  }
}

TEST(RankingAggregates, AgreeWithCountingOverKeysOfAnyShape) {
  // So small that large groups go to disk and are merged more than once.
  const std::size_t usual = SqrtSorter::GetInitialBufferBytes();
  SqrtSorter::SetInitialBufferBytes(512);
  std::mt19937 random(11);
  const std::pair<UInt16Vector, UInt16Vector> kShapes[] = {{{0}, {}}, {{0, 1}, {}}, {{0}, {1}}};
  for (const auto& [columns, distinct] : kShapes) {
    for (const int32 kind : {kRank, kNullRank, kTop, kBottom, kBoth}) {
      const bool descends = kind == kRank ? random() % 2 != 0 : kind != kBottom;
      if (!HasFailure()) ExpectRanks(kind, descends, columns, distinct, random);
    }
  }
  SqrtSorter::SetInitialBufferBytes(usual);
}

TEST(RankingAggregates, HoldLittleOfALargeGroup) {
  // The first rows tie, so that the buffer of preferred ones grows before others come.
  constexpr uint32 kRows = ShareOfCases(2'000'000), kTies = 5'000;
  for (const auto& [kind, mebibytes] : {std::pair(+kRank, 16u), {kBoth, 1u}}) {
    Places places(MakePlaces(kind), Int4, UInt4);
    const std::size_t before = MemoryGateway::BytesInUse();
    std::size_t most = before;
    places.on->Initialize(true);
    for (uint32 i = 0; i < kRows; ++i) {
      places.input.Set(0, i < kTies ? 7 : i * 2654435761u);
      places.on.Compute();
      if (i % 1000 == 0) most = std::max(most, MemoryGateway::BytesInUse());
    }
    places.on->Finalize();
    most = std::max(most, MemoryGateway::BytesInUse());
    EXPECT_LT(most - before, mebibytes << 20);
    float64 sum = 0;
    for (const auto& rank : places.Outputs(kRows)) sum += rank.value_or(0);
    EXPECT_EQ(sum, kind == kRank ? (kRows * (kRows + 1.0) - kTies * (kTies - 1.0)) / 2 : 6);
  }
}

TEST(RankingAggregates, PreferLateRowsOfALargeN) {
  // Eight rows at a time are better than all before them, and the first of the eight is the best.
  // The buffer of ten N rows is full for the last time among the rows that are wanted, within
  // eight.
  constexpr int32 kN = 4001, kRows = 77'000;
  for (const int32 kind : {+kBottom, +kTop, +kBoth}) {
    const std::size_t before = MemoryGateway::BytesInUse();
    Places places(MakePlaces(kind, kAscending, {0}, {}, kN), Int4, UInt4);
    for (int group = 0; group < 2; ++group) {
      const auto place = [](int32 row) { return row ^ 7; };
      Values rows;
      for (int32 i = 0; i < kRows; ++i) rows.push_back(kind == kTop ? place(i) : kRows - place(i));
      const Values ranks = places.Run(rows);
      EXPECT_LT(MemoryGateway::BytesInUse() - before, 4u << 20);
      for (int32 i = 0; i < kRows; ++i) {
        std::optional<float64> expected;
        if (kRows - place(i) <= kN) expected = kRows - place(i);
        if (kind == kBoth && place(i) < kN) expected = place(i) + 1;
        ASSERT_EQ(ranks[static_cast<std::size_t>(i)], expected) << kind << " row " << i;
      }
    }
  }
}

TEST(RankingAggregates, RefuseKeysOfOneByteACharacter) {
  TestRecord input({{Int4}, {VarChar, 4}, {Char, 4}}, false), place({{UInt4}}), share({{Double}});
  for (const uint16 key : {1, 2}) {
    const XeString type = key == 1 ? L"VARCHAR" : L"CHAR";
    for (const int32 kind : {+kPercentile, 2, +kRank, +kBoth}) {
      TestRecord& target = kind == kPercentile ? share : place;
      const auto refuse = [&](UInt16Vector columns, UInt16Vector distinct) {
        ExpectError(59001, {L"Sort", type}, [&] {
          Driven(MakePlaces(kind, kAscending, columns, distinct), input, target);
        });
      };
      refuse({0, key}, {});
      refuse({0}, {key});
    }
    ExpectError(59001, {L"Sort", type}, [&] {
      Driven(new Median(Columns(0), nullptr, Columns(key), false), input, share);
    });
    ExpectError(59001, {L"Sort", type}, [&] {
      XeRecordMetaData layout(false);
      layout.AddField(input.field(key).GetDataType(), 4, true, L"key");
      Aggregate::MakeDistinctSortKeySet(layout, kAscending, false);
    });
  }
  Driven(MakePlaces(kRank), input, place);
}

TEST(RankingAggregates, RepeatTheRankBeforeWhereThereIsNoRow) {
  Places rank(MakePlaces(kRank), Int4, UInt4);
  ExpectPlaces({2, 1}, rank.Run<float64>({8, 5}));
  ExpectPlaces({1, 1}, rank.Outputs(2));
  rank.Run<float64>({});
  ExpectBroken([&] { rank.Outputs(1); });
  ExpectBroken([] { std::unique_ptr<Aggregate>(MakePlaces(kRank))->Initialize(true); });
  EXPECT_NE(rank.on->NeedNullFiltering(),
            Places(MakePlaces(kNullRank), Int4, UInt4).on->NeedNullFiltering());
  Places ascending(new PreferredN(Columns(0), nullptr, nullptr, false, PreferredN::TopN,
                                  new ConstantInt32(1), {kAscending}),
                   Int4, UInt4);
  ExpectPlaces({NIL, 1}, ascending.Run<float64>({8, 5}));
}

TEST(RankingAggregates, ReadWhereTheOffsetsPointAndKeepTheirMemory) {
  for (const int32 tiles : {+kPercentile, 2, +kRank, +kBoth}) {
    Places places(MakePlaces(tiles), Int2, ResultType(tiles));
    EXPECT_EQ(places.on->IsDistinctHandled(), tiles != kRank);
    EXPECT_TRUE(places.on->IsFunctionalAggr() && places.on->GetSourceAggregator() == nullptr);
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
  Places none(MakePlaces(kTop, kAscending, {0}, {}, 0), Int4, UInt4);
  ExpectError(59028, {}, [&] { none.on->Initialize(true); });
}

}  // namespace
}  // namespace sqxer::test
