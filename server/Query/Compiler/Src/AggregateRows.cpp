#include "AggregateRows.h"

#include <tuple>

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;
using Rule = AggregateResult::Rule;
using Distinct = AggregateShape::Distinct;
using Order = AggregateShape::Order;

const AggregateShape kSum{
    MakeDistinct<Sum>, Distinct::kHandled, XeNumericData, {{Rule::kComputed}}};
const AggregateShape kCount{
    [](AggregateCall& call) { return MakeNode<Count>(call, false, call.distinct, false); },
    Distinct::kHandled,
    XeUnknown,
    {{Rule::kCount}}};
const AggregateShape kCountStar{
    MakeForGroups<CountStar>, Distinct::kRefused, XeUnknown, {{Rule::kCount}}, "*"};
const AggregateShape kAvg{.Make = MakeForGroups<Avg>,
                          .distinct = Distinct::kWrittenOut,
                          .wideInteger = XeDoubleData,
                          .results = {{Rule::kComputed}},
                          .takesMoments = true};
const AggregateShape kAvgAll{MakeForGroups<AvgAll>,
                             Distinct::kRefused,
                             XeDoubleData,
                             {{Rule::kCount, L"_count"},
                              {Rule::kComputed, L"_average"},
                              {Rule::kDouble, L"_standard_error"},
                              {Rule::kDouble, L"_coefficient_of_variation"}}};
const AggregateShape kMin{
    MakeForGroups<Min>, Distinct::kNoDifference, XeUnknown, {{Rule::kArgument}}};
const AggregateShape kMax{
    MakeForGroups<Max>, Distinct::kNoDifference, XeUnknown, {{Rule::kArgument}}};
const AggregateShape kFirst{.Make = MakeForGroups<First>,
                            .distinct = Distinct::kRefused,
                            .wideInteger = XeUnknown,
                            .results = {{Rule::kArgument}},
                            .order = Order::kTaken};
const AggregateShape kLast{.Make = MakeForGroups<Last>,
                           .distinct = Distinct::kRefused,
                           .wideInteger = XeUnknown,
                           .results = {{Rule::kArgument}},
                           .order = Order::kTaken};
const AggregateShape kCountSeveral{
    .Make = [](AggregateCall& call) { return MakeNode<Count>(call, false, false, false); },
    .distinct = Distinct::kRequired,
    .wideInteger = XeUnknown,
    .results = {{Rule::kCount}},
    .arguments = "x+"};
const AggregateShape kRange{.Make = MakeForGroups<Range>,
                            .distinct = Distinct::kNoDifference,
                            .wideInteger = XeUnknown,
                            .results = {{Rule::kComputed, L"_max"}, {Rule::kComputed, L"_min"}},
                            .takesMoments = true};
const AggregateShape kNullIfNotUnique{
    .Make = [](AggregateCall& call) { return MakeNode<NullIfNotUnique>(call, false, true); },
    .distinct = Distinct::kNoDifference,
    .wideInteger = XeUnknown,
    .results = {{Rule::kArgument}},
    .takesNulls = true};

const AggregateShape kMedian{.Make = MakeForGroups<Median>,
                             .distinct = Distinct::kSorted,
                             .wideInteger = XeUnknown,
                             .results = {{Rule::kQuantile}},
                             .heldBytes = sizeof(float64),
                             .takesMoments = true};
const AggregateShape kListAgg{.Make = MakeDistinct<ListAgg>,
                              .distinct = Distinct::kHandled,
                              .wideInteger = XeUnknown,
                              .results = {{Rule::kText, L"", ListAgg::kMostCharacters}},
                              .order = Order::kTaken};
/// The column as a condition.
void PrepareTruth(TypedArguments& columns) {
  columns[0] = AsCondition(columns[0], L"BOOL_AND, BOOL_OR or EVERY");
}

}  // namespace

void AppendAggregateRows(std::vector<FunctionRow>& rows) {
  rows.push_back({Kind::kReader, "grouping", AtLeast(1), "GROUPING(key, ...)", "ExtractInt32",
                  "keys of GROUP BY, at most 31", "INTEGER", "never NULL",
                  "Which of the keys the group's grouping set leaves out: a bit each, that of the "
                  "last key the lowest, 1 for one that is left out.",
                  "SELECT weather, COUNT(*), GROUPING(weather) FROM \"seattle-weather\" GROUP BY "
                  "ROLLUP (weather) HAVING COUNT(*) > 600",
                  "rain,641,0\nsun,640,0\nNULL,1461,1"});
  auto add = [&](const char* name, int count, const char* form, const char* node,
                 const char* arguments, const char* result, const char* nulls,
                 const char* description, const char* example, const char* exampleResult,
                 const AggregateShape& shape) {
    rows.push_back({Kind::kAggregate, name, count, form, node, arguments, result, nulls,
                    description, example, exampleResult, nullptr, nullptr, &shape});
  };
  add("sum", 1, "SUM([DISTINCT] x)", "Sum", "a number or an interval",
      "NUMERIC over integers and NUMERIC, DOUBLE over doubles, INTERVAL over intervals",
      kSkipsNulls,
      "The sum; of intervals part by part. `--set IntegerAggregates=native` keeps integers in 32 "
      "bits.",
      "SELECT SUM(\"Cost Repair\") FROM birdstrikes", "36302865", kSum);
  add("count", 0, "COUNT(*)", "CountStar", "none", "an unsigned integer", "0 over no rows",
      "The number of rows.", "SELECT COUNT(*) FROM \"seattle-weather\"", "1461", kCountStar);
  add("count", 1, "COUNT([DISTINCT] x)", "Count", "any", "an unsigned integer",
      "NULLs are left out; 0 when no value is left",
      "The number of values. In arithmetic it is NUMERIC, so that it can fall below zero.",
      "SELECT COUNT(DISTINCT weather) FROM \"seattle-weather\"", "5", kCount);
  add("count", AtLeast(2), "COUNT(DISTINCT x, y, ...)", "Count, over Ordered", "any that compare",
      "an unsigned integer", "a row with a NULL in one of them is left out; 0 when no row is left",
      "The number of different combinations of values.",
      "SELECT COUNT(DISTINCT weather, wind) FROM \"seattle-weather\"", "229", kCountSeveral);
  add("avg", 1, "AVG([DISTINCT] x)", "Avg", "a number, an interval, a date or a timestamp",
      "DOUBLE over integers and doubles, NUMERIC over NUMERIC, INTERVAL over intervals, "
      "TIMESTAMP over dates and timestamps",
      kSkipsNulls,
      "The average; of DISTINCT values their sum by their count. `--set "
      "IntegerAggregates=native` truncates over integers.",
      "SELECT AVG(temp_max) FROM \"seattle-weather\" WHERE date <= '2012-01-02'", "11.7", kAvg);
  add("avg_all", 1, "AVG_ALL(x)", "AvgAll", "a number",
      "four columns: _count, _average, _standard_error, _coefficient_of_variation",
      "NULLs are left out; the count is 0 and the others are NULL when no value is left",
      "Count, average and spread. The spread is computed from the squares of the running sums, and "
      "both measures of it are equal. Only as a whole item of the select list.",
      "SELECT AVG_ALL(temp_max) FROM \"seattle-weather\" WHERE date <= '2012-01-02'",
      "2,11.7,14.792227688891217,14.792227688891217", kAvgAll);
  add("min", 1, "MIN(x)", "Min", "any that compares", "the argument's type", kSkipsNulls,
      "The smallest value.", "SELECT MIN(temp_max) FROM \"seattle-weather\"", "-1.6", kMin);
  add("max", 1, "MAX(x)", "Max", "any that compares", "the argument's type", kSkipsNulls,
      "The largest value.", "SELECT MAX(date) FROM \"seattle-weather\"", "2015-12-31", kMax);
  add("first", 1, "FIRST(x [ORDER BY key, ...])", "First", "any", "the argument's type",
      kSkipsNulls, "The first value in the order of the rows, or of the keys.",
      "SELECT FIRST(weather) FROM \"seattle-weather\"", "drizzle", kFirst);
  rows.push_back(Alias(rows.back(), "any_value", "ANY_VALUE(x [ORDER BY key, ...])",
                       "SELECT ANY_VALUE(weather) FROM \"seattle-weather\""));
  for (const auto& [name, form, shape, example, exampleResult, description] :
       {std::tuple("bool_and", "BOOL_AND(c)", &kMin,
                   "SELECT BOOL_AND(temp_max > 0) FROM \"seattle-weather\"", "false",
                   "Whether all values are true."),
        std::tuple("every", "EVERY(c)", &kMin,
                   "SELECT EVERY(temp_max < 50) FROM \"seattle-weather\"", "true", "The same."),
        std::tuple("bool_or", "BOOL_OR(c)", &kMax,
                   "SELECT BOOL_OR(temp_max > 35) FROM \"seattle-weather\"", "true",
                   "Whether some value is true.")}) {
    add(name, 1, form, shape == &kMin ? "Min" : "Max", "a truth value", "BOOLEAN", kSkipsNulls,
        description, example, exampleResult, *shape);
    rows.back().prepare = PrepareTruth;
  }
  add("last", 1, "LAST(x [ORDER BY key, ...])", "Last", "any", "the argument's type", kSkipsNulls,
      "The last value in the order of the rows, or of the keys.",
      "SELECT LAST(weather) FROM \"seattle-weather\"", "sun", kLast);
  add("range", 1, "RANGE(x)", "Range; Max and Min", "a number, a date or a timestamp",
      "two columns: _max and _min", kSkipsNulls,
      "The largest and the smallest value. Only as a whole item of the select list.",
      "SELECT RANGE(temp_max) FROM \"seattle-weather\"", "35.6,-1.6", kRange);
  add("null_if_not_unique", 1, "NULL_IF_NOT_UNIQUE(x)", "NullIfNotUnique", "any that compares",
      "the argument's type", "NULL if a value is NULL, and over no rows",
      "The value that all rows share, NULL when they differ.",
      "SELECT NULL_IF_NOT_UNIQUE(weather) FROM \"seattle-weather\" WHERE date = '2012-01-01'",
      "drizzle", kNullIfNotUnique);
  add("median", 1, "MEDIAN([DISTINCT] x)", "Median, QuantileInterval",
      "a number, an interval, a date or a timestamp",
      "DOUBLE, INTERVAL over intervals, TIMESTAMP over dates and timestamps", kSkipsNulls,
      "The middle value, the mean of the middle two when their count is even. A NaN follows every "
      "number. The values of a group are held in memory.",
      "SELECT MEDIAN(temp_max) FROM \"seattle-weather\"", "15.6", kMedian);
  add("listagg", 1, "LISTAGG([DISTINCT] x [ORDER BY key, ...])", "ListAgg", "any but binary",
      "a text of at most 4000 characters", kSkipsNulls,
      "The values as texts, joined by a semicolon and a blank in the order of the rows or of the "
      "keys, those of DISTINCT in their own order. Blank texts are left out. What is beyond 4000 "
      "characters is cut.",
      "SELECT LISTAGG(DISTINCT weather) FROM \"seattle-weather\"", "drizzle; fog; rain; snow; sun",
      kListAgg);
}

}  // namespace sqxer
