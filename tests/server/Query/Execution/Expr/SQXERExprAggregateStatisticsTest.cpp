// The deviation, and the statistics of two columns.

#include <algorithm>
#include <limits>
#include <random>
#include <span>

#include "AggregateTesting.h"
#include "server/Utility/UtilityTesting.h"

namespace sqxer::test {
namespace {

constexpr float64 kInf = std::numeric_limits<float64>::infinity();

struct Row {
  float64 x, y;
  /// The sides that are NULL; the value stands there all the same.
  std::string_view null = "";
};

/// An aggregate of column 0 and the one given, and its results: c a count, d a double.
struct Kind {
  const char* name;
  Aggregate* (*make)(uint16 y);
  std::string_view results;
};
template <class Node>
Aggregate* MakePair(uint16 y) {
  return new Node(new UInt16Vector{0, y}, nullptr, nullptr, false);
}
template <PairStatistic::Kind kind>
Aggregate* MakeStatistic(uint16 y) {
  return new PairStatistic(new UInt16Vector{0, y}, nullptr, nullptr, false, kind);
}
const Kind kKinds[] = {
    {"Covariance", &MakePair<Covariance>, "d"},
    {"Correlation", &MakePair<Correlation>, "d"},
    {"Regression", &MakePair<Regression>, "d"},
    {"CorrelationAll", &MakePair<CorrelationAll>, "dddcdd"},
    {"RegressionAll", &MakePair<RegressionAll>, "ddddcdd"},
    {"Stddev", [](uint16) { return Make<Stddev, true>(); }, "d"},
    {"Variance", [](uint16) { return Make<Variance, true>(); }, "d"},
    {"VariancePop", [](uint16) { return Make<Variance, false>(); }, "d"},
    {"CovariancePop", &MakeStatistic<PairStatistic::Kind::kCovariance>, "d"},
    {"RegrIntercept", &MakeStatistic<PairStatistic::Kind::kIntercept>, "d"},
    {"RegrR2", &MakeStatistic<PairStatistic::Kind::kDetermination>, "d"},
    {"RegrSxx", &MakeStatistic<PairStatistic::Kind::kSumXX>, "d"},
    {"RegrSyy", &MakeStatistic<PairStatistic::Kind::kSumYY>, "d"},
    {"RegrSxy", &MakeStatistic<PairStatistic::Kind::kSumXY>, "d"},
    {"RegrAvgx", &MakeStatistic<PairStatistic::Kind::kAverageX>, "d"},
    {"RegrAvgy", &MakeStatistic<PairStatistic::Kind::kAverageY>, "d"},
};

/// The layout of a target whose field 0 is not the aggregate's.
std::vector<TestField> TargetFields(const Kind& kind, bool nullable = true) {
  std::vector<TestField> fields(1, {Double, 0, nullable});
  for (const char result : kind.results) {
    fields.push_back({result == 'c' ? UInt4 : Double, 0, nullable});
  }
  return fields;
}

/// The results of a group; x goes into that field of the input.
Values ResultsOf(const Kind& kind, Driven& on, const std::vector<Row>& rows, int x = 0) {
  on->Initialize(false);
  for (const Row& row : rows) {
    on.input.SetNumber(x, row.x).SetNull(x, row.null.find('x') != row.null.npos);
    on.input.SetNumber(1, row.y).SetNull(1, row.null.find('y') != row.null.npos);
    on.Compute();
  }
  on.Finish();
  Values results;
  while (results.size() < kind.results.size()) {
    results.push_back(on.target.GetNumber(static_cast<int>(results.size()) + 1));
  }
  return results;
}

TEST(PairStatistics, ReadXWhereTheOffsetsPointAndGiveZeroWhereNullIsNone) {
  const std::vector<Row> rows = {{0, 2}, {2, 2}, {4, 3}, {6, 5}, {9, 9, "x"}};
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    TestRecord input({{Double}, {Double}, {Double}}), target(TargetFields(kind)),
        never(TargetFields(kind, false));
    Driven aggregate(kind.make(1), input, target, 1), other(kind.make(1), input, never, 1);
    const Values results = ResultsOf(kind, aggregate, rows);
    const XeFieldDescriptor& field = input.field(2);
    aggregate->SetSourceOffset(field.GetDataOffset(), field.GetNullOffset(), 0);
    EXPECT_EQ(ResultsOf(kind, aggregate, rows, 2), results);
    EXPECT_EQ(ResultsOf(kind, other, rows), results);
    Values zeros = ResultsOf(kind, aggregate, {{1, 1, "x"}}, 2);
    for (auto& value : zeros) value = value.value_or(0);
    EXPECT_EQ(testing::PrintToString(ResultsOf(kind, other, {{1, 1, "x"}})),
              testing::PrintToString(zeros));
  }
}

TEST(PairStatistics, StatesOfPartsMergeToThatOfAllRows) {
  std::mt19937 random(3);
  std::uniform_real_distribution<float64> spread(-40, 60);
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    TestRecord input({{Double}, {Double}}), target(TargetFields(kind));
    Driven on(kind.make(1), input, target, 1);
    uint32 bytes = 0;
    for (const XeDataType type : on->GetStateTypes()) {
      bytes += XeRecordMetaData::GetByteLength(type, 0, true);
    }
    ASSERT_EQ(bytes, on->TransferState(StateTransfer::kMeasure, nullptr));
    std::vector<uint8> all(bytes), state(bytes);
    on->Initialize(false);
    on->TransferState(StateTransfer::kSave, all.data());
    std::vector<Row> rows;
    // Parts without rows, of rows that do not count, of one row, of many; each by itself first.
    for (const int count : {0, -2, 1, 1, 0, 700, 3, -1, 90}) {
      std::vector<Row> part;
      while (std::ssize(part) < std::abs(count)) {
        const float64 x = spread(random);
        part.push_back({x, 2 * x + spread(random), count < 0 ? "xy" : ""});
      }
      ResultsOf(kind, on, part);
      on->TransferState(StateTransfer::kSave, state.data());
      on->MergeState(all.data(), state.data());
      rows.insert(rows.end(), part.begin(), part.end());
      const Values expected = ResultsOf(kind, on, rows);
      on->Initialize(false);
      on->TransferState(StateTransfer::kRestore, all.data());
      on.Finish();
      for (std::size_t i = 0; i < expected.size(); ++i) {
        const std::optional<float64> got = on.target.GetNumber(static_cast<int>(i) + 1);
        ASSERT_EQ(got.has_value(), expected[i].has_value());
        if (!got || (std::isnan(*got) && std::isnan(*expected[i]))) continue;
        EXPECT_NEAR(*got, *expected[i], std::fabs(*expected[i]) * 1e-12);
      }
    }
  }
}

/// A slope whose count is lost, as it is after 2^32 rows.
struct Forgetful : Regression {
  using Regression::Regression;
  RExprReturn Finalize() override { return count_ = 0, Regression::Finalize(); }
};

TEST(PairStatistics, Refuse) {
  TestRecord input({{Double}, {Date}}), target({{Double}});
  for (const Kind& kind : std::span(kKinds, 5)) {
    TestRecord numbers({{Double}, {Double}});
    for (std::size_t i = 1; i <= kind.results.size(); ++i) {
      std::vector<TestField> fields = TargetFields(kind);
      fields[i].type = fields[i].type == UInt4 ? Int4 : Float;
      TestRecord other(fields);
      ExpectError(59030, {}, [&] { Driven(kind.make(1), numbers, other, 1); });
    }
    ExpectError(59001, {Wide(kind.name), L"DATE"}, [&] { Driven(kind.make(1), input, target); });
    ExpectError(46030, {L"2", L"2"}, [&] { Driven(kind.make(2), input, target); });
    ExpectError(46030, {L"1", L"1"}, [&] { Driven(kind.make(0), input, target, 1); });
  }
  // The slope alone does not widen.
  for (const XeDataType narrow : {Int1, UInt1, Int2, UInt2, Float}) {
    TestRecord numbers({{Int4}, {narrow}});
    ExpectError(59001, {L"Regression", SUXeDataTypeUtility::GetXeDataTypeName(narrow)},
                [&] { Driven(MakePair<Regression>(1), numbers, target); });
  }
  ExpectError(59008, {}, [&] { Driven(MakePair<Forgetful>(0), input, target).Run({1}); });
}

TEST(Stddev, OfAPopulationOfOneIsZeroWhateverItsValue) {
  TestRecord input({{Double}}), target({{Double}});
  EXPECT_EQ(Driven(Make<Stddev, false>(), input, target).Run({kInf}), 0);
}

// clang-format off
// In hundredths above 299; in tenths, x before y.
const std::vector<int> kMichelso = {
    85, 74, 90, 107, 93, 85, 95, 98, 98, 88, 100, 98, 93, 65, 76, 81, 100, 100, 96, 96, 96, 94,
    96, 94, 88, 80, 85, 88, 90, 84, 83, 79, 81, 88, 88, 83, 80, 79, 76, 80, 88, 88, 88, 86, 72,
    72, 62, 86, 97, 95, 88, 91, 85, 87, 84, 84, 85, 84, 84, 84, 89, 81, 81, 82, 80, 77, 76, 74,
    75, 76, 91, 92, 89, 86, 88, 72, 84, 85, 85, 78, 89, 84, 78, 81, 76, 81, 79, 81, 82, 85, 87,
    87, 81, 74, 81, 94, 95, 80, 81, 87},
    kNorris = {
    2, 1, 3374, 3388, 1182, 1181, 8846, 8880, 101, 92, 2265, 2281, 6663, 6685, 9963, 9985, 4486,
    4491, 7770, 7789, 5582, 5592, 4, 3, 6, 1, 7755, 7781, 6669, 6688, 3380, 3393, 4475, 4489, 116,
    108, 5560, 5577, 2281, 2283, 9958, 9980, 8876, 8888, 1202, 1196, 3, 3, 3, 6, 5568, 5576, 3391,
    3393, 8872, 8880, 9990, 9985, 7790, 7789, 111, 102, 1183, 1176, 2292, 2289, 6691, 6684, 4489,
    4492, 5, 2};
// clang-format on

/// A middle value, then 500 times one less and one more.
std::vector<int> NumAcc() {
  std::vector<int> values = {2};
  while (values.size() < 1001) values.push_back(values.size() % 2 == 1 ? 1 : 3);
  return values;
}

/// x and y, the same where there is one number a row, are (offset + number) / divisor - less.
std::vector<Row> Scale(const std::vector<int>& numbers, int columns, float64 offset,
                       float64 divisor, float64 less = 0) {
  std::vector<Row> rows;
  const auto value = [=](int number) { return (offset + number) / divisor - less; };
  for (auto at = numbers.begin(); at != numbers.end(); at += columns) {
    rows.push_back({value(*at), value(at[columns - 1])});
  }
  return rows;
}
/// 10^9 + i / 1000, as x and as y.
std::vector<Row> Rising(int count) {
  std::vector<Row> rows;
  for (int i = 0; i < count; ++i) rows.push_back({1e9 + i / 1e3, 1e9 + i / 1e3});
  return rows;
}
const std::map<std::string, std::vector<Row>> kDataSets = {
    {"NumAcc1", Scale({1, 3, 2}, 1, 1e7, 1)},
    {"NumAcc2", Scale(NumAcc(), 1, 10, 10)},
    {"NumAcc3", Scale(NumAcc(), 1, 1e7, 10)},
    {"NumAcc4", Scale(NumAcc(), 1, 1e8, 10)},
    {"NumAcc4 - 10^7", Scale(NumAcc(), 1, 1e8, 10, 1e7)},
    {"Michelso", Scale(kMichelso, 1, 29900, 100)},
    {"8 values", Scale({2, 4, 4, 4, 5, 5, 7, 9}, 1, 0, 1)},
    {"3 times 0.1", Scale({1, 1, 1}, 1, 0, 10)},
    {"0.1 against 1, 2, 4", Scale({1, 10, 1, 20, 1, 40}, 2, 0, 10)},
    {"10^9 + i / 1000, 10^3 rows", Rising(1000)},
    {"10^9 + i / 1000, 10^5 rows", Rising(100'000)},
    {"Norris", Scale(kNorris, 2, 0, 10)},
    {"10 Norris + 10^6", Scale(kNorris, 2, 1e6, 1)},
    {"10 Norris + 10^8", Scale(kNorris, 2, 1e8, 1)},
};

TEST(Accuracy, IsAsThePageTells) {
  const TableRows table = PageTables("accuracy.md")["data set"];
  ASSERT_GT(table.size(), 20u);
  for (const auto& cells : table) {
    SCOPED_TRACE(testing::PrintToString(cells));
    // "RegressionAll 1" is its result 1, the one behind the first.
    const std::vector<std::string> statistic = Split(cells[1] + " 0", ' ');
    const Kind* const kind = std::ranges::find(kKinds, statistic[0], &Kind::name);
    ASSERT_NE(kind, std::end(kKinds));
    TestRecord input({{Double}, {Double}}), target(TargetFields(*kind));
    Driven aggregate(kind->make(1), input, target, 1);
    const Values results = ResultsOf(*kind, aggregate, kDataSets.at(cells[0]));
    const float64 result = *results[std::stoul(statistic[1])], known = std::stod(cells[2]);
    EXPECT_EQ(BaseStringUtil::NumberToString(result), Wide(cells[3]));
    // The known values have 15 digits. With no number none agrees.
    const float64 digits = -std::log10(std::abs(result / known - 1));
    const float64 tenths = std::isnan(digits) ? 0 : std::floor(std::clamp(digits, 0.0, 15.0) * 10);
    EXPECT_EQ(BaseStringUtil::NumberToString(tenths / 10), Wide(cells[4]));
  }
}

}  // namespace
}  // namespace sqxer::test
