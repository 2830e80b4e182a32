#include <gtest/gtest.h>

#include <chrono>
#include <set>

#include "JoinProbe.h"
#include "TableJoin.h"
#include "Utility/Cancellation.h"
#include "Utility/Settings.h"
#include "server/Query/Execution/Engine/JoinTesting.h"
#include "server/Utility/UtilityTesting.h"

namespace sqxer::test {
namespace {

using Pairs = std::vector<std::pair<uint32, uint32>>;

constexpr JoinKind kKinds[] = {JoinKind::kInner, JoinKind::kLeft, JoinKind::kRight,
                               JoinKind::kFull,  JoinKind::kSemi, JoinKind::kAnti};

bool Admits(uint32 left, uint32 right) { return (left * 7 + right * 3) % 4 != 0; }

/// A nested loop.
Pairs JoinPlainly(const JoinSide& left, const JoinSide& right, JoinKind kind, bool filters) {
  const auto keys = NumberKeys(left, right);
  Pairs pairs;
  std::set<uint32> matched;
  for (uint32 l = 0; l < keys[0].size(); ++l) {
    bool hasPair = false;
    for (uint32 r = 0; r < keys[1].size(); ++r) {
      if (keys[0][l] < 0 || keys[0][l] != keys[1][r] || (filters && !Admits(l, r))) continue;
      hasPair = true;
      matched.insert(r);
      if (kind != JoinKind::kSemi && kind != JoinKind::kAnti) pairs.emplace_back(l, r);
    }
    if (hasPair == (kind == JoinKind::kSemi) &&
        (kind == JoinKind::kSemi || kind == JoinKind::kAnti)) {
      pairs.emplace_back(l, 0);
    }
    if (!hasPair && (kind == JoinKind::kLeft || kind == JoinKind::kFull)) {
      pairs.emplace_back(l, kNoJoinRow);
    }
  }
  for (uint32 r = 0; r < keys[1].size(); ++r) {
    const bool keepsRight = kind == JoinKind::kRight || kind == JoinKind::kFull;
    if (keepsRight && !matched.contains(r)) pairs.emplace_back(kNoJoinRow, r);
  }
  return pairs;
}

Pairs Join(const JoinSide& left, const JoinSide& right, JoinKind kind, bool filters) {
  PairFilter filter;
  if (filters) {
    filter = [](std::span<const uint32> l, std::span<const uint32> r, std::span<uint8> admitted) {
      EXPECT_LE(l.size(), kMostCandidatePairs);
      for (std::size_t i = 0; i < l.size(); ++i) admitted[i] = Admits(l[i], r[i]);
    };
  }
  const JoinedRows rows = JoinRows(left, right, kind, filter);
  const bool isLeftAlone = kind == JoinKind::kSemi || kind == JoinKind::kAnti;
  EXPECT_EQ(rows.right.size(), isLeftAlone ? 0 : rows.left.size());
  Pairs pairs;
  for (std::size_t i = 0; i < rows.left.size(); ++i) {
    pairs.emplace_back(rows.left[i], isLeftAlone ? 0 : rows.right[i]);
  }
  return pairs;
}

void ExpectAsPlainly(const JoinSide& left, const JoinSide& right, const std::string& what) {
  for (const JoinKind kind : kKinds) {
    for (const bool filters : {false, true}) {
      ASSERT_EQ(Join(left, right, kind, filters), JoinPlainly(left, right, kind, filters))
          << what << ", kind " << static_cast<int>(kind) << (filters ? ", filtered" : "");
    }
  }
}

SettingsRef SettingsWith(const std::string& name, const std::string& value) {
  SUSystemConfig config;
  config.Set(name, value);
  return std::make_shared<const Settings>(config);
}

TEST(TableJoin, GivesThePairsOfANestedLoop) {
  Random random(7);
  for (int round = 0; round < 120; ++round) {
    std::vector<XeDataType> types;
    const int keys = round < 60 ? 1 : 1 + Pick(random, 3);
    for (int i = 0; i < keys; ++i) types.push_back(kKeyTypes[random() % kKeyTypes.size()]);
    if (round < 3 * static_cast<int>(kKeyTypes.size()))
      types[0] = kKeyTypes[random() % kKeyTypes.size()];
    const int64 spread = std::vector<int64>{1, 1000, 100'000'000}[random() % 3];
    const auto rowsOf = [&] { return Pick(random, 6) == 0 ? 0 : random() % 60; };
    const std::size_t rows = rowsOf();
    const Table left = RandomTable(random, types, rows, spread);
    // Now one side is much larger, now the other.
    const Table right = RandomTable(random, types, rowsOf() * (Pick(random, 3) + 1), spread);
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < types.size(); ++i) places.push_back(i);
    ExpectAsPlainly({&left, places}, {&right, places}, "round " + std::to_string(round));
  }
}

/// Joins a left side that comes in several tables, each of some of its chunks.
Pairs Probe(const std::vector<Table>& left, const JoinSide& right, JoinKind kind, bool filters) {
  JoinProbe probe(right, kind);
  Pairs pairs;
  uint32 before = 0;
  for (const Table& part : left) {
    PairFilter filter;
    if (filters) {
      filter = [=](std::span<const uint32> l, std::span<const uint32> r,
                   std::span<uint8> admitted) {
        for (std::size_t i = 0; i < l.size(); ++i) admitted[i] = Admits(before + l[i], r[i]);
      };
    }
    probe.Enter({&part, right.keys}, filter);
    JoinedRows rows;
    while (probe.Next(rows)) {
      const bool isLeftAlone = kind == JoinKind::kSemi || kind == JoinKind::kAnti;
      EXPECT_EQ(rows.right.size(), isLeftAlone ? 0 : rows.left.size());
      for (std::size_t i = 0; i < rows.left.size(); ++i) {
        pairs.emplace_back(before + rows.left[i], isLeftAlone ? 0 : rows.right[i]);
      }
    }
    before += static_cast<uint32>(part.rowCount);
  }
  return pairs;
}

void ExpectProbesAsPlainly(const std::vector<Table>& left, const JoinSide& right,
                           const std::string& what) {
  Table all = left.front();
  for (std::size_t i = 1; i < left.size(); ++i) {
    all.rowCount += left[i].rowCount;
    all.chunks.insert(all.chunks.end(), left[i].chunks.begin(), left[i].chunks.end());
  }
  for (const JoinKind kind :
       {JoinKind::kInner, JoinKind::kLeft, JoinKind::kSemi, JoinKind::kAnti}) {
    for (const bool filters : {false, true}) {
      ASSERT_EQ(Probe(left, right, kind, filters),
                JoinPlainly({&all, right.keys}, right, kind, filters))
          << what << ", kind " << static_cast<int>(kind) << (filters ? ", filtered" : "");
    }
  }
}

TEST(JoinProbe, GivesThePairsOfANestedLoopTableAfterTable) {
  Random random(19);
  for (int round = 0; round < 150; ++round) {
    std::vector<XeDataType> types = {kKeyTypes[static_cast<std::size_t>(round) % kKeyTypes.size()]};
    if (round >= 75) types.push_back(kKeyTypes[random() % kKeyTypes.size()]);
    // The forms that the numbers have may be others in each table: of decimals, of texts.
    std::vector<Table> left;
    for (std::size_t tables = 1 + random() % 4; tables > 0; --tables) {
      const int64 spread = std::vector<int64>{1, 1000, 100'000'000}[random() % 3];
      left.push_back(RandomTable(random, types, random() % 30, spread));
    }
    const Table right = RandomTable(random, types, random() % 8 == 0 ? 0 : random() % 50, 1);
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < types.size(); ++i) places.push_back(i);
    ExpectProbesAsPlainly(left, {&right, places}, "round " + std::to_string(round));
    ExpectProbesAsPlainly(left, {&right, {}}, "all pairs, round " + std::to_string(round));
  }
}

TEST(TableJoin, PairsAllRowsWithoutKeys) {
  Random random(11);
  for (const std::size_t rows : {0, 1, 40}) {
    const Table left = RandomTable(random, {XeInt4Data}, rows, 1);
    const Table right = RandomTable(random, {XeInt4Data}, 30, 1);
    ExpectAsPlainly({&left, {}}, {&right, {}}, "all pairs");
    ExpectAsPlainly({&right, {}}, {&left, {}}, "all pairs");
  }
}

/// A table of one column with the given integers.
Table TableOf(const std::vector<std::optional<int32>>& cells) {
  Table table;
  table.schema.columns = {{L"k", XeInt4Data, 4, 0, true}};
  table.rowCount = cells.size();
  table.chunks.push_back({cells.size(), {MakeFixed<int32>(ColumnForm::kInt32, 0, cells)}});
  return table;
}

TEST(TableJoin, GoesByPartsWithinItsMemory) {
  Random random(13);
  const auto integers = [&](std::size_t rows, int values, int64 factor) {
    std::vector<std::optional<int32>> cells;
    for (std::size_t i = 0; i < rows; ++i) {
      cells.push_back(Pick(random, 9) == 0
                          ? std::nullopt
                          : std::optional(static_cast<int32>(Pick(random, values) * factor)));
    }
    return TableOf(cells);
  };
  const SettingsScope tiny(SettingsWith("JoinMemory", "1"));
  // Close together and far apart, few equal ones and many.
  for (const auto& [values, factor] : {std::pair(60'000, 1), {1500, 1'000'003}, {40, 1}}) {
    const Table left = integers(1300, values, factor);
    const Table right = integers(1100, values, factor);
    const Table few = integers(300, values, factor);
    ExpectAsPlainly({&left, {0}}, {&right, {0}}, "alike");
    ExpectAsPlainly({&left, {0}}, {&few, {0}}, "few right ones");
    ExpectAsPlainly({&few, {0}}, {&left, {0}}, "few left ones");
  }
  const std::vector<XeDataType> texts = {XeVarCharData, XeInt4Data};
  const Table left = RandomTable(random, texts, 1200, 5);
  const Table right = RandomTable(random, texts, 1200, 5);
  ExpectAsPlainly({&left, {0, 1}}, {&right, {0, 1}}, "texts");
}

TEST(JoinProbe, GoesOnBehindManyPairsOfOneRow) {
  // More pairs of a left row than are handed on at a time, and rows around it that have few.
  std::vector<std::optional<int32>> cells(70'000, 1);
  cells[7] = 2;
  cells[50'000] = std::nullopt;
  const Table right = TableOf(cells);
  std::vector<std::optional<int32>> keys = {2, 1, std::nullopt, 3, 1};
  const Table left = TableOf(keys);
  ExpectProbesAsPlainly({left, left}, {&right, {0}}, "long chains");
  // And many left rows without any.
  const Table few = TableOf({5, 200'000});
  std::vector<std::optional<int32>> many;
  for (int32 i = 0; i < 140'000; ++i) many.push_back(i % 7 == 0 ? std::nullopt : std::optional(i));
  ExpectProbesAsPlainly({TableOf(many), left}, {&few, {0}}, "few matches");
}

TEST(TableJoin, HandsManyCandidatesToTheFilterInParts) {
  const Table left = TableOf(std::vector<std::optional<int32>>(400, 1));
  const Table right = TableOf(std::vector<std::optional<int32>>(500, 1));
  ExpectAsPlainly({&left, {0}}, {&right, {0}}, "all equal");
}

TEST(TableJoin, ComparesTextsAsTheSessionDoes) {
  const auto table = [](const std::vector<std::optional<std::u32string>>& cells, XeDataType type) {
    Table made;
    made.schema.columns = {{L"k", type, 64, 0, true}};
    made.rowCount = cells.size();
    const bool isWide = cells.size() % 2 == 0;
    made.chunks.push_back({cells.size(), {MakeTexts(cells, isWide, 4)}});
    return made;
  };
  using namespace std::string_literals;
  const Table left = table({U"abc", U"ABC ", U"\u00E9"}, XeVarCharData);
  const Table right = table({U"Abc", U"abc  ", U"\u00C9", U"e\u0301"}, XeVarCharData);
  const auto join = [&] { return Join({&left, {0}}, {&right, {0}}, JoinKind::kInner, false); };
  EXPECT_EQ(join(), (Pairs{{0, 1}}));
  {
    const SettingsScope scope(SettingsWith("CaseSensitiveCompare", "off"));
    EXPECT_EQ(join(), (Pairs{{0, 0}, {0, 1}, {1, 0}, {1, 1}, {2, 2}}));
  }
  {
    const SettingsScope scope(SettingsWith("Locale", "fr_FR"));
    EXPECT_EQ(join(), (Pairs{{0, 1}, {2, 3}}));
  }
  // A fixed text ends at its zero character.
  const Table fixed = table({U"ab\0cd"s, U"ab", U"x"}, XeCharData);
  const Table others = table({U"ab \0"s, U"abcd"}, XeCharData);
  EXPECT_EQ(Join({&fixed, {0}}, {&others, {0}}, JoinKind::kInner, false), (Pairs{{0, 0}, {1, 0}}));
}

TEST(TableJoin, JoinsDecimalsThatNoScaleHolds) {
  const auto table = [](int16 scale, const std::vector<std::optional<int64>>& cells) {
    Table made;
    made.schema.columns = {{L"k", XeNumericData, 24, scale, true}};
    made.rowCount = cells.size();
    made.chunks.push_back({cells.size(), {MakeFixed<int64>(ColumnForm::kDecimal64, scale, cells)}});
    return made;
  };
  constexpr int64 kMost = std::numeric_limits<int64>::max();
  const Table left = table(0, {kMost, kMost / 1000, 5, std::nullopt, -1});
  const Table right = table(3, {kMost / 1000 * 1000, kMost, 5000, -1, std::nullopt});
  EXPECT_EQ(Join({&left, {0}}, {&right, {0}}, JoinKind::kInner, false), (Pairs{{1, 0}, {2, 2}}));
}

TEST(TableJoin, RefusesTooManyRows) {
  Table many;
  many.rowCount = 70'000;
  many.chunks.push_back({70'000, {}});
  EXPECT_EQ(
      ErrorOf([&] {
        JoinRows({&many, {}}, {&many, {}}, JoinKind::kInner, {});
      }),
      "57130: the result of a join has more than 4294967294 rows: filter the rows before they "
      "are joined, or join by more columns");
  many.rowCount = uint64{1} << 32;
  Table few;
  EXPECT_EQ(ErrorOf([&] {
              JoinRows({&many, {}}, {&few, {}}, JoinKind::kLeft, {});
            }).substr(0, 25),
            "57130: the left side of a");
  EXPECT_EQ(ErrorOf([&] {
              JoinRows({&few, {}}, {&many, {}}, JoinKind::kSemi, {});
            }).substr(0, 26),
            "57130: the right side of a");
}

TEST(TableJoin, EndsSoonWhereverItIsCancelled) {
  // Far apart, so that they are searched; each left row has two pairs, or some that are not.
  constexpr int32 kRows = 1 << 19;
  std::vector<std::optional<int32>> cells;
  for (int32 i = 0; i < kRows; ++i) cells.push_back(i / 2 * 4001);
  const Table table = TableOf(cells);
  const SettingsScope small(SettingsWith("JoinMemory", "1MiB"));
  const auto run = [&](JoinKind kind, const RunProgress& progress) {
    return JoinRows({&table, {0}}, {&table, {0}}, kind, {}, progress);
  };
  using Clock = std::chrono::steady_clock;
  for (const JoinKind kind : {JoinKind::kInner, JoinKind::kFull, JoinKind::kAnti}) {
    uint64 calls = 0;
    uint64 most = 0;
    run(kind, [&](RunPhase phase, uint64 done, uint64 total) {
      EXPECT_EQ(phase, RunPhase::kJoining);
      EXPECT_LE(done, total);
      // Both sides, once for each part.
      EXPECT_EQ(total, uint64{kRows} * 2 * 32);
      most = std::max(most, done);
      ++calls;
    });
    EXPECT_EQ(most, uint64{kRows} * 2 * 32);
    for (const uint64 at : {uint64{0}, calls / 40, calls / 2, calls - 1}) {
      Cancellation cancellation;
      const CancellationScope scope(&cancellation);
      Clock::time_point wished;
      uint64 call = 0;
      EXPECT_EQ(ErrorOf([&] {
                  run(kind, [&](RunPhase, uint64, uint64) {
                    if (call++ != at) return;
                    cancellation.Request();
                    wished = Clock::now();
                  });
                }),
                "57110: the statement was cancelled");
      EXPECT_LT(Clock::now() - wished, std::chrono::milliseconds(100)) << at << " of " << calls;
    }
  }
}

TEST(TableJoin, EndsWhenItIsCancelled) {
  const Table table = TableOf({1, 2, 3});
  Cancellation cancellation;
  const CancellationScope scope(&cancellation);
  cancellation.Request();
  for (const std::vector<std::size_t>& keys : {std::vector<std::size_t>{}, {0}}) {
    EXPECT_EQ(ErrorOf([&] {
                JoinRows({&table, keys}, {&table, keys}, JoinKind::kInner, {});
              }),
              "57110: the statement was cancelled");
  }
  cancellation.Withdraw();
  const auto fails = [](auto, auto, auto) { throw std::runtime_error("the filter's"); };
  EXPECT_THROW(JoinRows({&table, {0}}, {&table, {0}}, JoinKind::kLeft, fails), std::runtime_error);
}

}  // namespace
}  // namespace sqxer::test
