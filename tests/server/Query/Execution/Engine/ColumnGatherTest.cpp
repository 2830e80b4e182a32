#include <gtest/gtest.h>

#include <numeric>

#include "ColumnGather.h"
#include "TableJoin.h"
#include "Utility/Cancellation.h"
#include "server/Query/Execution/Engine/RandomColumns.h"
#include "server/Utility/UtilityTesting.h"

namespace sqxer::test {
namespace {

const std::vector<XeDataType> kTypes = {
    XeInt2Data, XeUInt4Data,     XeInt4Data,     XeFloatData,   XeDoubleData, XeDateData,
    XeTimeData, XeTimeStampData, XeIntervalData, XeNumericData, XeVarCharData};

/// The cells are those of the rows, and the chunks end where they have to.
void ExpectRows(const Table& table, const std::vector<uint32>& rows, const Table& gathered,
                std::size_t column, std::size_t as) {
  const auto cells = ReadCells(table, column);
  const auto found = ReadCells(gathered, as);
  ASSERT_EQ(found.size(), rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    ASSERT_EQ(found[i], rows[i] == kNoJoinRow ? std::nullopt : cells[rows[i]])
        << "row " << i << " of column " << column;
  }
  for (std::size_t i = 0; i + 1 < gathered.chunks.size(); ++i) {
    EXPECT_EQ(gathered.chunks[i].rows, kMostGatheredRows);
  }
}

std::vector<std::size_t> AllColumns(const Table& table) {
  std::vector<std::size_t> columns(table.schema.columns.size());
  std::iota(columns.begin(), columns.end(), std::size_t{0});
  return columns;
}

TEST(ColumnGather, GivesTheRowsInEveryForm) {
  Random random(3);
  for (int round = 0; round < 60; ++round) {
    const Table table = RandomTable(random, kTypes, 1 + random() % 300, round % 2 == 0 ? 1 : 4321);
    std::vector<uint32> rows(random() % 700);
    const int missing = Pick(random, 3);
    for (uint32& row : rows) {
      const bool isNone = missing == 2 || (missing == 1 && Pick(random, 4) == 0);
      row = isNone ? kNoJoinRow : static_cast<uint32>(random() % table.rowCount);
    }
    if (round % 3 == 0) std::ranges::sort(rows);
    Table gathered;
    GatherColumns(table, AllColumns(table), rows, gathered);
    EXPECT_EQ(gathered.rowCount, rows.size());
    for (std::size_t i = 0; i < kTypes.size(); ++i) ExpectRows(table, rows, gathered, i, i);
  }
}

TEST(ColumnGather, GivesNullsOfATableWithoutRows) {
  Random random(5);
  const Table table = RandomTable(random, kTypes, 0, 1);
  const std::vector<uint32> rows(5000, kNoJoinRow);
  Table gathered;
  GatherColumns(table, AllColumns(table), rows, gathered);
  for (std::size_t i = 0; i < kTypes.size(); ++i) ExpectRows(table, rows, gathered, i, i);
}

TEST(ColumnGather, AppendsTheColumnsOfTwoSides) {
  Random random(9);
  const Table left = RandomTable(random, {XeInt4Data, XeVarCharData}, 100, 1);
  const Table right = RandomTable(random, {XeDateData, XeNumericData}, 50, 1);
  std::vector<uint32> leftRows;
  std::vector<uint32> rightRows;
  for (uint64 i = 0; i < 2 * kMostGatheredRows + 77; ++i) {
    leftRows.push_back(static_cast<uint32>(random() % 100));
    rightRows.push_back(i % 9 == 0 ? kNoJoinRow : static_cast<uint32>(random() % 50));
  }
  Table joined;
  GatherColumns(left, std::vector<std::size_t>{1}, leftRows, joined);
  GatherColumns(right, std::vector<std::size_t>{1, 0}, rightRows, joined);
  ASSERT_EQ(joined.chunks.size(), 3u);
  ExpectRows(left, leftRows, joined, 1, 0);
  ExpectRows(right, rightRows, joined, 1, 1);
  ExpectRows(right, rightRows, joined, 0, 2);
}

TEST(ColumnGather, SharesWhatItCan) {
  Random random(21);
  std::vector<std::optional<int32>> numbers;
  std::vector<std::optional<std::u32string>> texts;
  for (int i = 0; i < 5000; ++i) {
    numbers.push_back(i);
    texts.push_back(TextOf(i % 11, false));
  }
  Table table;
  table.schema.columns = {{L"n", XeInt4Data, 4, 0, true}, {L"t", XeVarCharData, 64, 0, true}};
  table.rowCount = numbers.size();
  table.chunks.push_back(
      {numbers.size(),
       {MakeFixed<int32>(ColumnForm::kInt32, 0, numbers), MakeTexts(texts, false, 4)}});
  for (uint64 first = 0; first < numbers.size(); first += kColumnBlockRows) {
    ColumnVector& column = table.chunks[0].columns[0];
    const uint64 end = std::min<uint64>(first + kColumnBlockRows, numbers.size());
    column.blocks.push_back(DescribeBlock(column, first, end, false));
  }
  // Rows that follow each other are those of the table itself, with what is known of them.
  for (const uint32 first : {0u, kColumnBlockRows, 64u, 65u}) {
    std::vector<uint32> rows(numbers.size() - first);
    std::iota(rows.begin(), rows.end(), first);
    Table gathered;
    GatherColumns(table, AllColumns(table), rows, gathered);
    ExpectRows(table, rows, gathered, 0, 0);
    ExpectRows(table, rows, gathered, 1, 1);
    const ColumnVector& column = gathered.chunks[0].columns[0];
    EXPECT_EQ(column.values == table.chunks[0].columns[0].values + first * 4, first != 65);
    ASSERT_EQ(column.blocks.size(), first == 0 ? 3u : first == kColumnBlockRows ? 2u : 0u);
    for (const ColumnBlock& block : column.blocks) EXPECT_TRUE(block.hasBounds);
    if (!column.blocks.empty()) {
      EXPECT_EQ(column.blocks[0].whole.least, first);
    }
  }
  // A table of few rows that come again and again is a dictionary.
  Table few;
  few.schema.columns = {table.schema.columns[1]};
  few.rowCount = 11;
  texts.resize(11);
  few.chunks.push_back({11, {MakeTexts(texts, false, 8)}});
  std::vector<uint32> rows(400);
  for (uint32& row : rows)
    row = random() % 9 == 0 ? kNoJoinRow : static_cast<uint32>(random() % 11);
  Table gathered;
  GatherColumns(few, AllColumns(few), rows, gathered);
  ExpectRows(few, rows, gathered, 0, 0);
  EXPECT_EQ(gathered.chunks[0].columns[0].dictionary->values, few.chunks[0].columns[0].values);
}

TEST(ColumnGather, WidensDecimalsThatNoScaleHolds) {
  constexpr int64 kMost = std::numeric_limits<int64>::max();
  Table table;
  table.schema.columns = {{L"d", XeNumericData, 24, 4, true}};
  const auto add = [&](ColumnVector vector) {
    table.rowCount += vector.rows;
    table.chunks.push_back({vector.rows, {std::move(vector)}});
  };
  const auto gather = [&](ColumnForm form) {
    std::vector<uint32> rows(table.rowCount);
    std::iota(rows.rbegin(), rows.rend(), 0);
    Table gathered;
    GatherColumns(table, std::vector<std::size_t>{0}, rows, gathered);
    ExpectRows(table, rows, gathered, 0, 0);
    EXPECT_EQ(gathered.chunks[0].columns[0].form, form);
  };
  add(MakeFixed<int64>(ColumnForm::kDecimal64, 0, {5, std::nullopt, -7}));
  add(MakeFixed<int64>(ColumnForm::kDecimal64, 4, {12345, -1}));
  gather(ColumnForm::kDecimal64);
  add(MakeFixed<int64>(ColumnForm::kDecimal64, 0, {kMost, -kMost}));
  gather(ColumnForm::kDecimal128);
  // With four digits more it has 39, which 128 bits would hold.
  int128 large = 12;
  for (int i = 0; i < 33; ++i) large *= 10;
  add(MakeFixed<int128>(ColumnForm::kDecimal128, 0, {large}));
  gather(ColumnForm::kNumber);
}

TEST(ColumnGather, EndsWhenItIsCancelled) {
  Random random(1);
  const Table table = RandomTable(random, kTypes, 10, 1);
  Cancellation cancellation;
  const CancellationScope scope(&cancellation);
  cancellation.Request();
  Table gathered;
  const std::vector<uint32> rows = {1, 2};
  EXPECT_EQ(ErrorOf([&] { GatherColumns(table, AllColumns(table), rows, gathered); }),
            "57110: the statement was cancelled");
}

}  // namespace
}  // namespace sqxer::test
