#include "AggregateRows.h"

namespace sqxer {
namespace {

using Rule = AggregateResult::Rule;
using Distinct = AggregateShape::Distinct;

/// Makes one whose results are those of the rows so far.
template <class Node>
std::unique_ptr<Aggregate> MakeCumulative(AggregateCall& call) {
  return MakeNode<Node>(call, true);
}
template <class Node>
std::unique_ptr<Aggregate> MakeMoving(AggregateCall& call) {
  return MakeNode<Node>(call, true, std::move(call.numbers.back()));
}

const AggregateShape kRunningSum{
    MakeCumulative<RunningSum>, Distinct::kRefused, XeNumericData, {{Rule::kComputed}}};
const AggregateShape kRunningCount{
    MakeCumulative<RunningCount>, Distinct::kRefused, XeUnknown, {{Rule::kCount}}};
const AggregateShape kRunningCountStar{
    MakeCumulative<RunningCount>, Distinct::kRefused, XeUnknown, {{Rule::kCount}}, "*"};
const AggregateShape kRunningMin{
    MakeCumulative<RunningMin>, Distinct::kRefused, XeUnknown, {{Rule::kArgument}}};
const AggregateShape kRunningMax{
    MakeCumulative<RunningMax>, Distinct::kRefused, XeUnknown, {{Rule::kArgument}}};
const AggregateShape kMovingSum{
    MakeMoving<MovingSum>, Distinct::kRefused, XeNumericData, {{Rule::kComputed}}};
const AggregateShape kMovingAvg{
    MakeMoving<MovingAvg>, Distinct::kRefused, XeDoubleData, {{Rule::kComputed}}};
template <class Node>
std::unique_ptr<Aggregate> MakeFramed(AggregateCall& call) {
  return MakeNode<Node>(call);
}

const AggregateShape kRowNumber{
    MakeCumulative<RunningCount>, Distinct::kRefused, XeUnknown, {{Rule::kCount}}, ""};
const AggregateShape kLastSum{
    MakeMoving<MovingSum>, Distinct::kRefused, XeNumericData, {{Rule::kComputed}}, "xn"};
const AggregateShape kLastAvg{
    MakeMoving<MovingAvg>, Distinct::kRefused, XeDoubleData, {{Rule::kComputed}}, "xn"};
const AggregateShape kDenseRank{
    MakeFramed<DenseRank>, Distinct::kRefused, XeUnknown, {{Rule::kCount}}, ""};
const AggregateShape kPercentRank{
    MakeFramed<PercentRank>, Distinct::kRefused, XeUnknown, {{Rule::kDouble}}, ""};
const AggregateShape kCumeDist{
    MakeFramed<CumeDist>, Distinct::kRefused, XeUnknown, {{Rule::kDouble}}, ""};
const AggregateShape kLag{
    MakeFramed<Lag>, Distinct::kRefused, XeUnknown, {{Rule::kArgument}}, "xyz"};
const AggregateShape kLead{
    MakeFramed<Lead>, Distinct::kRefused, XeUnknown, {{Rule::kArgument}}, "xyz"};
const AggregateShape kFirstValue{
    MakeFramed<FirstValue>, Distinct::kRefused, XeUnknown, {{Rule::kArgument}}};
const AggregateShape kLastValue{
    MakeFramed<LastValue>, Distinct::kRefused, XeUnknown, {{Rule::kArgument}}};
const AggregateShape kNthValue{
    MakeFramed<NthValue>, Distinct::kRefused, XeUnknown, {{Rule::kArgument}}, "xy"};
const AggregateShape kRank{
    [](AggregateCall& call) { return MakeNode<Rank>(call, false, call.orders, false, false); },
    Distinct::kRefused,
    XeUnknown,
    {{Rule::kCount}},
    ""};
const AggregateShape kNtile{[](AggregateCall& call) {
                              return MakeNode<Ntile>(call, false, std::move(call.numbers[0]),
                                                     call.orders);
                            },
                            Distinct::kRefused,
                            XeUnknown,
                            {{Rule::kPlace}},
                            "n"};
const AggregateShape kPercentile{
    [](AggregateCall& call) { return MakeNode<Percentile>(call, false, call.orders); },
    Distinct::kRefused,
    XeUnknown,
    {{Rule::kDouble}}};

template <PreferredN::Preference preference>
const AggregateShape kPreferred{[](AggregateCall& call) {
                                  return MakeNode<PreferredN>(call, false, preference,
                                                              std::move(call.numbers[0]));
                                },
                                Distinct::kRefused,
                                XeUnknown,
                                {{Rule::kPlace}},
                                "xn"};

constexpr const char* kSumResult = "NUMERIC over integers and NUMERIC, DOUBLE over doubles";
constexpr const char* kNullAtFirst = "NULLs are left out; NULL before the first value";
constexpr const char* kCounts = "an unsigned integer";
constexpr const char* kMovingArguments = "a number; n a whole number, the same for every row";
constexpr const char* kPreferredArguments =
    "any that compares; n an integer above 0, the same for every row";
constexpr const char* kNotPreferred = "NULL for the others, and if x is NULL";

}  // namespace

void AppendWindowRows(std::vector<FunctionRow>& rows) {
  auto add = [&](WindowForm window, const char* name, int count, const char* form, const char* node,
                 const char* arguments, const char* result, const char* nulls,
                 const char* description, const char* example, const char* exampleResult,
                 const AggregateShape& shape) {
    rows.push_back({FunctionRow::Kind::kWindow, name, count, form, node, arguments, result, nulls,
                    description, example, exampleResult, nullptr, nullptr, &shape, window});
  };
  add(WindowForm::kRunning, "sum", 1, "SUM(x) OVER (... ROWS UNBOUNDED PRECEDING)", "RunningSum",
      "a number", kSumResult, kNullAtFirst,
      "The sum of the rows so far. `--set IntegerAggregates=native` keeps integers in 32 bits.",
      "SELECT date, SUM(wind) OVER (ORDER BY date ROWS UNBOUNDED PRECEDING) FROM "
      "\"seattle-weather\" ORDER BY date LIMIT 1 OFFSET 2",
      "2012-01-03,11.5", kRunningSum);
  add(WindowForm::kRunning, "count", 0, "COUNT(*) OVER (... ROWS UNBOUNDED PRECEDING)",
      "RunningCount over a constant", "none", kCounts, "never NULL",
      "The number of the rows so far, this one included.",
      "SELECT date, COUNT(*) OVER (ORDER BY date DESC ROWS UNBOUNDED PRECEDING) FROM "
      "\"seattle-weather\" ORDER BY date LIMIT 1",
      "2012-01-01,1461", kRunningCountStar);
  add(WindowForm::kRunning, "count", 1, "COUNT(x) OVER (... ROWS UNBOUNDED PRECEDING)",
      "RunningCount", "any", kCounts, "NULLs are left out; never NULL",
      "The number of the values so far.",
      "SELECT date, COUNT(wind) OVER (PARTITION BY weather ORDER BY date ROWS UNBOUNDED PRECEDING) "
      "FROM \"seattle-weather\" ORDER BY date LIMIT 1 OFFSET 3",
      "2012-01-04,3", kRunningCount);
  add(WindowForm::kRunning, "min", 1, "MIN(x) OVER (... ROWS UNBOUNDED PRECEDING)", "RunningMin",
      "any that compares", "the argument's type", kNullAtFirst, "The smallest value so far.",
      "SELECT date, MIN(temp_min) OVER (ORDER BY date ROWS UNBOUNDED PRECEDING) FROM "
      "\"seattle-weather\" ORDER BY date LIMIT 1 OFFSET 2",
      "2012-01-03,2.8", kRunningMin);
  add(WindowForm::kRunning, "max", 1, "MAX(x) OVER (... ROWS UNBOUNDED PRECEDING)", "RunningMax",
      "any that compares", "the argument's type", kNullAtFirst, "The largest value so far.",
      "SELECT date, MAX(temp_max) OVER (ORDER BY date ROWS UNBOUNDED PRECEDING) FROM "
      "\"seattle-weather\" ORDER BY date LIMIT 1 OFFSET 2",
      "2012-01-03,12.8", kRunningMax);
  add(WindowForm::kMoving, "sum", 1, "SUM(x) OVER (... ROWS BETWEEN n PRECEDING AND CURRENT ROW)",
      "MovingSum", kMovingArguments, kSumResult, kNullAtFirst,
      "The same as SUM(x) over this frame, of integers and NUMERIC that cannot be NULL. ROWS n "
      "PRECEDING is the same frame.",
      "SELECT date, SUM(wind) OVER (ORDER BY date ROWS BETWEEN 1 PRECEDING AND CURRENT ROW) FROM "
      "\"seattle-weather\" ORDER BY date LIMIT 1 OFFSET 2",
      "2012-01-03,6.8", kMovingSum);
  add(WindowForm::kMoving, "avg", 1, "AVG(x) OVER (... ROWS BETWEEN n PRECEDING AND CURRENT ROW)",
      "MovingAvg", kMovingArguments, "DOUBLE over integers and doubles, NUMERIC over NUMERIC",
      kNullAtFirst,
      "The same as AVG(x) over this frame, of integers and NUMERIC that cannot be NULL. `--set "
      "IntegerAggregates=native` divides as if the sum of integers were unsigned.",
      "SELECT date, AVG(temp_max) OVER (ORDER BY date ROWS 2 PRECEDING) FROM \"seattle-weather\" "
      "ORDER BY date LIMIT 1 OFFSET 1",
      "2012-01-02,11.7", kMovingAvg);
  add(WindowForm::kInOrder, "moving_sum", 2, "MOVING_SUM(x, n) OVER (... [ORDER BY key, ...])",
      "MovingSum", kMovingArguments, kSumResult, kNullAtFirst,
      "The sum of the last n values: a NULL takes no place among them.",
      "SELECT date, MOVING_SUM(wind, 2) OVER (ORDER BY date) FROM \"seattle-weather\" ORDER BY "
      "date "
      "LIMIT 1 OFFSET 2",
      "2012-01-03,6.8", kLastSum);
  add(WindowForm::kInOrder, "moving_avg", 2, "MOVING_AVG(x, n) OVER (... [ORDER BY key, ...])",
      "MovingAvg", kMovingArguments, "DOUBLE over integers and doubles, NUMERIC over NUMERIC",
      kNullAtFirst,
      "The average of the last n values: a NULL takes no place among them. `--set "
      "IntegerAggregates=native` divides as if the sum of integers were unsigned.",
      "SELECT date, MOVING_AVG(temp_max, 3) OVER (ORDER BY date) FROM \"seattle-weather\" ORDER BY "
      "date LIMIT 1 OFFSET 1",
      "2012-01-02,11.7", kLastAvg);
  add(WindowForm::kInOrder, "row_number", 0, "ROW_NUMBER() OVER (... [ORDER BY key, ...])",
      "RunningCount over a constant", "none", kCounts, "never NULL",
      "The number of the row in its partition, from 1.",
      "SELECT date, ROW_NUMBER() OVER (PARTITION BY weather ORDER BY date) FROM "
      "\"seattle-weather\" ORDER BY date LIMIT 1 OFFSET 3",
      "2012-01-04,3", kRowNumber);
  add(WindowForm::kFramed, "dense_rank", 0, "DENSE_RANK() OVER (... [ORDER BY key, ...])",
      "DenseRank", "none", kCounts, "never NULL",
      "One more than the different keys before this row. 1 without ORDER BY.",
      "SELECT date, DENSE_RANK() OVER (ORDER BY temp_max DESC) AS place FROM \"seattle-weather\" "
      "ORDER BY place, date LIMIT 1 OFFSET 3",
      "2014-07-01,3", kDenseRank);
  add(WindowForm::kFramed, "percent_rank", 0, "PERCENT_RANK() OVER (... [ORDER BY key, ...])",
      "PercentRank", "none", "DOUBLE", "never NULL",
      "The share of the partition's other rows that come before this one and those that tie with "
      "it, from 0 to 1. 0 where there is no other.",
      "SELECT date, PERCENT_RANK() OVER (ORDER BY temp_max) FROM \"seattle-weather\" ORDER BY "
      "date LIMIT 1",
      "2012-01-01,0.35", kPercentRank);
  add(WindowForm::kFramed, "cume_dist", 0, "CUME_DIST() OVER (... [ORDER BY key, ...])", "CumeDist",
      "none", "DOUBLE", "never NULL",
      "The share of the partition's rows that come before this one or tie with it, above 0 up to "
      "1.",
      "SELECT date, CUME_DIST() OVER (ORDER BY temp_max) FROM \"seattle-weather\" ORDER BY date "
      "LIMIT 1",
      "2012-01-01,0.3812457221081451", kCumeDist);
  const auto addOffset = [&](const char* name, int count, const char* form, const char* node,
                             const char* description, const char* example, const char* result,
                             const AggregateShape& shape) {
    add(WindowForm::kFramed, name, count, form, node,
        "x any; n an integer, 1 if left out; z a value that meets x", "the common type of x and z",
        "NULL if n is NULL, or the other row's x", description, example, result, shape);
    rows.back().prepare = PrepareLag;
  };
  const auto addLag = [&](int count, const char* form, const char* example, const char* result) {
    addOffset("lag", count, form, "Lag",
              "x of the row n places before this one in its partition, behind it where n is "
              "negative. z of this row, else NULL, where there is no such row.",
              example, result, kLag);
  };
  addLag(1, "LAG(x) OVER (... [ORDER BY key, ...])",
         "SELECT date, LAG(wind) OVER (ORDER BY date) FROM \"seattle-weather\" ORDER BY date LIMIT "
         "1 OFFSET 1",
         "2012-01-02,4.7");
  addLag(2, "LAG(x, n) OVER (... [ORDER BY key, ...])",
         "SELECT date, LAG(wind, 2) OVER (ORDER BY date) FROM \"seattle-weather\" ORDER BY date "
         "LIMIT 1 OFFSET 2",
         "2012-01-03,4.7");
  addLag(3, "LAG(x, n, z) OVER (... [ORDER BY key, ...])",
         "SELECT date, LAG(wind, 1, 0) OVER (ORDER BY date) FROM \"seattle-weather\" ORDER BY date "
         "LIMIT 1",
         "2012-01-01,0");
  const auto addLead = [&](int count, const char* form, const char* example, const char* result) {
    addOffset("lead", count, form, "Lead", "The same of the row n places behind this one.", example,
              result, kLead);
  };
  addLead(1, "LEAD(x) OVER (... [ORDER BY key, ...])",
          "SELECT date, LEAD(wind) OVER (ORDER BY date) FROM \"seattle-weather\" ORDER BY date "
          "LIMIT 1",
          "2012-01-01,4.5");
  addLead(2, "LEAD(x, n) OVER (... [ORDER BY key, ...])",
          "SELECT date, LEAD(wind, 2) OVER (ORDER BY date) FROM \"seattle-weather\" ORDER BY date "
          "LIMIT 1",
          "2012-01-01,2.3");
  addLead(3, "LEAD(x, n, z) OVER (... [ORDER BY key, ...])",
          "SELECT date, LEAD(wind, 1, -1) OVER (ORDER BY date) FROM \"seattle-weather\" ORDER BY "
          "date DESC LIMIT 1",
          "2015-12-31,-1");
  constexpr const char* kOfFrame = "NULL where the frame has no such row, or its x is NULL";
  add(WindowForm::kFramed, "first_value", 1, "FIRST_VALUE(x) OVER (...)", "FirstValue", "any",
      "the argument's type", kOfFrame, "x of the first row of the frame.",
      "SELECT date, FIRST_VALUE(wind) OVER (PARTITION BY weather ORDER BY date) FROM "
      "\"seattle-weather\" ORDER BY date LIMIT 1 OFFSET 2",
      "2012-01-03,4.5", kFirstValue);
  add(WindowForm::kFramed, "last_value", 1, "LAST_VALUE(x) OVER (...)", "LastValue", "any",
      "the argument's type", kOfFrame,
      "x of the last row of the frame, which without one written ends with the rows that tie with "
      "this one.",
      "SELECT date, LAST_VALUE(wind) OVER (ORDER BY date ROWS BETWEEN CURRENT ROW AND 2 FOLLOWING) "
      "FROM \"seattle-weather\" ORDER BY date LIMIT 1",
      "2012-01-01,2.3", kLastValue);
  add(WindowForm::kFramed, "nth_value", 2, "NTH_VALUE(x, n) OVER (...)", "NthValue",
      "x any; n an integer above 0", "the argument's type", kOfFrame,
      "x of the n-th row of the frame, the first one being 1.",
      "SELECT date, NTH_VALUE(wind, 2) OVER (ORDER BY date) FROM \"seattle-weather\" ORDER BY date "
      "LIMIT 1 OFFSET 2",
      "2012-01-03,4.5", kNthValue);
  add(WindowForm::kRankByKeys, "rank", 0, "RANK() OVER (... [ORDER BY key, ...])", "Rank",
      "any that compare", kCounts, "never NULL: NULL is a key like others, placed by NULLS LAST",
      "One more than the rows before this one and those that tie with it. 1 without ORDER BY. In "
      "arithmetic it is NUMERIC, as COUNT is.",
      "SELECT date, RANK() OVER (ORDER BY temp_max DESC) AS place FROM \"seattle-weather\" ORDER "
      "BY "
      "place, date LIMIT 1 OFFSET 3",
      "2014-07-01,3", kRank);
  add(WindowForm::kRankByKey, "ntile", 1, "NTILE(n) OVER (... ORDER BY x [DESC])", "Ntile",
      "n an integer above 0, the same for every row; x a number", kCounts, "NULL if x is NULL",
      "The number of the row's tile, from 1 to n. The tiles are parted by the quantiles of the "
      "values, so rows of the same value are in the same tile. The partition is held in memory.",
      "SELECT date, NTILE(4) OVER (ORDER BY temp_max) FROM \"seattle-weather\" ORDER BY date LIMIT "
      "1",
      "2012-01-01,2", kNtile);
  add(WindowForm::kRankByArgument, "percentile", 1, "PERCENTILE(x) OVER (... [ORDER BY x [DESC]])",
      "Percentile", "any that compares", "DOUBLE", "NULL if x is NULL",
      "The share of the partition's other values that are greater, with DESC smaller, from 0 to 1. "
      "1 where there is no other. The partition is held in memory.",
      "SELECT date, PERCENTILE(temp_max) OVER () FROM \"seattle-weather\" ORDER BY date LIMIT 1",
      "2012-01-01,0.6191780821917808", kPercentile);
  add(WindowForm::kPartition, "top_n", 2, "TOP_N(x, n) OVER ([PARTITION BY ...])", "PreferredN",
      kPreferredArguments, kCounts, kNotPreferred,
      "The rank of the row when it is among the n greatest values of its partition or ties with "
      "the "
      "last of them.",
      "SELECT date, TOP_N(temp_max, 3) OVER () AS place FROM \"seattle-weather\" ORDER BY place, "
      "date LIMIT 1 OFFSET 1",
      "2015-07-19,2", kPreferred<PreferredN::TopN>);
  add(WindowForm::kPartition, "bottom_n", 2, "BOTTOM_N(x, n) OVER ([PARTITION BY ...])",
      "PreferredN", kPreferredArguments, kCounts, kNotPreferred, "The same of the smallest values.",
      "SELECT date, BOTTOM_N(temp_max, 3) OVER () AS place FROM \"seattle-weather\" ORDER BY "
      "place, "
      "date LIMIT 1 OFFSET 1",
      "2012-01-19,2", kPreferred<PreferredN::BottomN>);
  add(WindowForm::kPartition, "top_and_bottom_n", 2,
      "TOP_AND_BOTTOM_N(x, n) OVER ([PARTITION BY ...])", "PreferredN", kPreferredArguments,
      kCounts, kNotPreferred,
      "The same of both ends, each row ranked from its own, the greatest first.",
      "SELECT date, TOP_AND_BOTTOM_N(temp_max, 3) OVER () AS place FROM \"seattle-weather\" ORDER "
      "BY place, date LIMIT 1",
      "2014-02-06,1", kPreferred<PreferredN::TopAndBottomN>);
}

}  // namespace sqxer
