#include "FunctionTable.h"

#include <type_traits>

#include "SQXERExprAggregate.h"
#include "SQXERExprArithmetic.h"
#include "SQXERExprLogical.h"
#include "Utility/SUSystemConfig.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;
using Rule = AggregateResult::Rule;
using Distinct = AggregateShape::Distinct;
using Operands = std::vector<std::unique_ptr<RExpression>>;

template <class Node>
std::unique_ptr<RExpression> Make(Operands& o) {
  std::unique_ptr<RExpression> node;
  if constexpr (std::is_constructible_v<Node, RExpression*, RExpression*, RExpression*>) {
    node = std::make_unique<Node>(o[0].get(), o[1].get(), o[2].get());
  } else if constexpr (std::is_constructible_v<Node, RExpression*, RExpression*>) {
    node = std::make_unique<Node>(o[0].get(), o[1].get());
  } else {
    node = std::make_unique<Node>(o[0].get());
  }
  for (auto& operand : o) static_cast<void>(operand.release());
  return node;
}

std::unique_ptr<RExpression> MakeDivide(Operands& o) {
  bool asDouble = SUSystemConfig::GetSystemConfig().integerDivideAsDouble_;
  auto node = std::make_unique<Divide>(o[0].get(), o[1].get(), asDouble);
  for (auto& operand : o) static_cast<void>(operand.release());
  return node;
}

template <class Node>
std::unique_ptr<Aggregate> MakeAggregate(uint16 column, bool distinct) {
  auto columns = std::make_unique<UInt16Vector>(1, column);
  std::unique_ptr<UInt16Vector> breaks;
  if (distinct) breaks = std::make_unique<UInt16Vector>(1, column);
  if constexpr (std::is_same_v<Node, CountStar>) {
    return std::make_unique<Node>(nullptr, nullptr, nullptr, false);
  } else if constexpr (std::is_same_v<Node, Sum>) {
    return std::make_unique<Node>(columns.release(), nullptr, breaks.release(), false, distinct);
  } else if constexpr (std::is_same_v<Node, Count>) {
    return std::make_unique<Node>(columns.release(), nullptr, breaks.release(), false, distinct,
                                  false);
  } else {
    return std::make_unique<Node>(columns.release(), nullptr, nullptr, false);
  }
}

const AggregateShape kSum{
    MakeAggregate<Sum>, Distinct::kHandled, XeNumericData, {{Rule::kComputed, L""}}};
const AggregateShape kCount{
    MakeAggregate<Count>, Distinct::kHandled, XeUnknown, {{Rule::kCount, L""}}};
const AggregateShape kCountStar{
    MakeAggregate<CountStar>, Distinct::kRefused, XeUnknown, {{Rule::kCount, L""}}};
const AggregateShape kAvg{
    MakeAggregate<Avg>, Distinct::kRefused, XeDoubleData, {{Rule::kComputed, L""}}};
const AggregateShape kAvgAll{MakeAggregate<AvgAll>,
                             Distinct::kRefused,
                             XeDoubleData,
                             {{Rule::kCount, L"_count"},
                              {Rule::kComputed, L"_average"},
                              {Rule::kDouble, L"_standard_error"},
                              {Rule::kDouble, L"_coefficient_of_variation"}}};
const AggregateShape kMin{
    MakeAggregate<Min>, Distinct::kNoDifference, XeUnknown, {{Rule::kArgument, L""}}};
const AggregateShape kMax{
    MakeAggregate<Max>, Distinct::kNoDifference, XeUnknown, {{Rule::kArgument, L""}}};
const AggregateShape kFirst{
    MakeAggregate<First>, Distinct::kRefused, XeUnknown, {{Rule::kArgument, L""}}};
const AggregateShape kLast{
    MakeAggregate<Last>, Distinct::kRefused, XeUnknown, {{Rule::kArgument, L""}}};
const AggregateShape kRange{MakeAggregate<Range>,
                            Distinct::kNoDifference,
                            XeUnknown,
                            {{Rule::kComputed, L"_max"}, {Rule::kComputed, L"_min"}}};
const AggregateShape kNullIfNotUnique{
    MakeAggregate<NullIfNotUnique>, Distinct::kNoDifference, XeUnknown, {{Rule::kArgument, L""}}};

constexpr const char* kNumbers = "two numbers";
constexpr const char* kNumberResult =
    "DOUBLE if an operand is one, else NUMERIC if one is, else a 32-bit integer";
constexpr const char* kComparable = "two numbers, texts, truth values, or dates and times";
constexpr const char* kNullIfAny = "NULL if an operand is NULL";
constexpr const char* kSkipsNulls = "NULLs are left out; NULL when no value is left";

std::vector<FunctionRow> MakeTable() {
  std::vector<FunctionRow> rows = {
      {Kind::kOperator, "+", 2, "a + b", "Add", kNumbers, kNumberResult, kNullIfAny,
       "The sum. Integers beyond 32 bits and doubles beyond their range are an error.",
       "SELECT 2 + 3", "5", PrepareArithmetic, Make<Add>},
      {Kind::kOperator, "-", 2, "a - b", "Subtract", kNumbers, kNumberResult, kNullIfAny,
       "The difference. Two unsigned integers have no difference below 0: that is an error.",
       "SELECT 2 - 3", "-1", PrepareArithmetic, Make<Subtract>},
      {Kind::kOperator, "*", 2, "a * b", "Multiply", kNumbers, kNumberResult, kNullIfAny,
       "The product.", "SELECT 1.5 * 3", "4.5", PrepareArithmetic, Make<Multiply>},
      {Kind::kOperator, "/", 2, "a / b", "Divide", kNumbers, kNumberResult, kNullIfAny,
       "The quotient, of two integers truncated toward zero (`--set IntegerDivideAsDouble=on` "
       "makes "
       "it a double). Division by zero is an error.",
       "SELECT 7 / 2", "3", PrepareDivision, MakeDivide},
      {Kind::kOperator, "-", 1, "-a", "UnaryMinus", "a number",
       "the operand's type; NUMERIC for an unsigned integer", kNullIfAny, "The negation.",
       "SELECT -(2 + 3)", "-5", PrepareNegation, Make<UnaryMinus>},
      {Kind::kForm, "+", 1, "+a", "none: it is the operand", "a number", "the operand", kNullIfAny,
       "The operand itself.", "SELECT +(2 + 3)", "5", PreparePlus},
      {Kind::kOperator, "||", 2, "a || b", "Concat", "two texts; a constant of any type",
       "a text of both lengths together", "NULL counts as the empty text; two NULLs give NULL",
       "One text after the other.", "SELECT 'sun' || 'rise'", "sunrise", PrepareConcatenation,
       Make<Concat>},
      {Kind::kOperator, "=", 2, "a = b", "EQ", kComparable, "BOOLEAN", kNullIfAny,
       "Whether the values are equal. Blanks at the end of a text do not count.", "SELECT 2 = 2.0",
       "true", PrepareComparison, Make<EQ>},
      {Kind::kOperator, "<>", 2, "a <> b", "NE", kComparable, "BOOLEAN", kNullIfAny,
       "Whether the values differ.", "SELECT 'a' <> 'b'", "true", PrepareComparison, Make<NE>},
      {Kind::kForm, "!=", 2, "a != b", "NE", kComparable, "BOOLEAN", kNullIfAny,
       "The same as `<>`.", "SELECT 2 != 2", "false"},
      {Kind::kOperator, "<", 2, "a < b", "LT", kComparable, "BOOLEAN", kNullIfAny,
       "Whether the first value is below the second.",
       "SELECT DATE '2012-01-31' < DATE '2012-02-01'", "true", PrepareComparison, Make<LT>},
      {Kind::kOperator, "<=", 2, "a <= b", "LE", kComparable, "BOOLEAN", kNullIfAny,
       "Whether the first value is not above the second.", "SELECT 3 <= 2", "false",
       PrepareComparison, Make<LE>},
      {Kind::kOperator, ">", 2, "a > b", "GT", kComparable, "BOOLEAN", kNullIfAny,
       "Whether the first value is above the second.", "SELECT 10 > 9.5", "true", PrepareComparison,
       Make<GT>},
      {Kind::kOperator, ">=", 2, "a >= b", "GE", kComparable, "BOOLEAN", kNullIfAny,
       "Whether the first value is not below the second.", "SELECT TIME '10:00' >= '09:30'", "true",
       PrepareComparison, Make<GE>},
      {Kind::kOperator, "between", 3, "a BETWEEN low AND high", "Between",
       "three numbers, texts, truth values, or dates and times", "BOOLEAN", kNullIfAny,
       "Whether the value lies between the bounds, both included. The bounds are not swapped.",
       "SELECT 5 BETWEEN 1 AND 5", "true", PrepareComparison, Make<Between>},
      {Kind::kForm, "not between", 3, "a NOT BETWEEN low AND high", "LogicalNot over Between",
       "as BETWEEN", "BOOLEAN", kNullIfAny, "Whether the value lies outside the bounds.",
       "SELECT 5 NOT BETWEEN 1 AND 4", "true"},
      {Kind::kOperator, "is null", 1, "a IS NULL", "IsNull", "any but binary", "BOOLEAN",
       "never NULL", "Whether the value is NULL.", "SELECT NULL IS NULL", "true", PrepareNullTest,
       Make<IsNull>},
      {Kind::kForm, "is not null", 1, "a IS NOT NULL", "LogicalNot over IsNull", "any but binary",
       "BOOLEAN", "never NULL", "Whether the value is not NULL.", "SELECT 'a' IS NOT NULL", "true"},
      {Kind::kForm, "is true", 1, "a IS [NOT] TRUE, FALSE, UNKNOWN",
       "LogicalAnd over the operand and its IsNull", "a truth value", "BOOLEAN", "never NULL",
       "Whether the truth value is the one named; UNKNOWN is NULL.", "SELECT (1 > NULL) IS TRUE",
       "false"},
      {Kind::kOperator, "and", 2, "a AND b", "LogicalAnd", "two truth values", "BOOLEAN",
       "FALSE if an operand is, else NULL if one is",
       "Whether both are true. The second is not evaluated when the first is false.",
       "SELECT 1 < 2 AND 2 < 1", "false", PrepareConnective, Make<LogicalAnd>},
      {Kind::kOperator, "or", 2, "a OR b", "LogicalOr", "two truth values", "BOOLEAN",
       "TRUE if an operand is, else NULL if one is",
       "Whether one is true. The second is not evaluated when the first is true.",
       "SELECT 1 < 2 OR 2 < 1", "true", PrepareConnective, Make<LogicalOr>},
      {Kind::kOperator, "not", 1, "NOT a", "LogicalNot", "a truth value", "BOOLEAN", kNullIfAny,
       "Whether it is false.", "SELECT NOT 1 < 2", "false", PrepareNot, Make<LogicalNot>},
  };
  rows.push_back(
      {Kind::kReader, "json_value", 2, "JSON_VALUE(column, 'path')", "ExtractJson",
       "a column of texts that are JSON documents; a path such as `$.a.b[2].c`, `$.\"a b\"` "
       "or `$['a b']`, in which elements count from 0",
       "what holds all values at the path: INTEGER for integers of 32 bits, DOUBLE for "
       "other numbers too, else text",
       "NULL if the row has no document, the document no such value, or the value is null",
       "The value at a path of a document. Objects and arrays are the text as it is "
       "written, truth values the texts true and false. A text that is no JSON document "
       "is an error, or NULL with `--set JsonErrors=null`.",
       "SELECT kind FROM events WHERE JSON_VALUE(payload, '$.items[0].price') > 10", "order"});
  auto add = [&](const char* name, int count, const char* form, const char* node,
                 const char* arguments, const char* result, const char* nulls,
                 const char* description, const char* example, const char* exampleResult,
                 const AggregateShape& shape) {
    rows.push_back({Kind::kAggregate, name, count, form, node, arguments, result, nulls,
                    description, example, exampleResult, nullptr, nullptr, &shape});
  };
  add("sum", 1, "SUM([DISTINCT] x)", "Sum", "a number",
      "NUMERIC over integers and NUMERIC, DOUBLE over doubles", kSkipsNulls,
      "The sum. `--set IntegerAggregates=native` keeps integers in 32 bits.",
      "SELECT SUM(\"Cost Repair\") FROM birdstrikes", "36302865", kSum);
  add("count", 0, "COUNT(*)", "CountStar", "none", "an unsigned integer", "0 over no rows",
      "The number of rows.", "SELECT COUNT(*) FROM \"seattle-weather\"", "1461", kCountStar);
  add("count", 1, "COUNT([DISTINCT] x)", "Count", "any", "an unsigned integer",
      "NULLs are left out; 0 when no value is left",
      "The number of values. In arithmetic it is NUMERIC, so that it can fall below zero.",
      "SELECT COUNT(DISTINCT weather) FROM \"seattle-weather\"", "5", kCount);
  add("avg", 1, "AVG(x)", "Avg", "a number",
      "DOUBLE over integers and doubles, NUMERIC over NUMERIC", kSkipsNulls,
      "The average. `--set IntegerAggregates=native` truncates over integers.",
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
  add("first", 1, "FIRST(x)", "First", "any", "the argument's type", kSkipsNulls,
      "The first value in the order of the rows.", "SELECT FIRST(weather) FROM \"seattle-weather\"",
      "drizzle", kFirst);
  add("last", 1, "LAST(x)", "Last", "any", "the argument's type", kSkipsNulls,
      "The last value in the order of the rows.", "SELECT LAST(weather) FROM \"seattle-weather\"",
      "sun", kLast);
  add("range", 1, "RANGE(x)", "Range", "a number", "two columns: _max and _min", kSkipsNulls,
      "The largest and the smallest value. Only as a whole item of the select list.",
      "SELECT RANGE(temp_max) FROM \"seattle-weather\"", "35.6,-1.6", kRange);
  add("null_if_not_unique", 1, "NULL_IF_NOT_UNIQUE(x)", "NullIfNotUnique", "any that compares",
      "the argument's type", "NULL if a value is NULL",
      "The value that all rows share, NULL when they differ.",
      "SELECT NULL_IF_NOT_UNIQUE(weather) FROM \"seattle-weather\" WHERE date = '2012-01-01'",
      "drizzle", kNullIfNotUnique);
  return rows;
}

const FunctionRow* Find(std::string_view name, int argumentCount, bool isOperator,
                        const FunctionRow** anyCount) {
  for (const FunctionRow& row : FunctionTable()) {
    bool operatorRow = row.kind == Kind::kOperator || row.kind == Kind::kForm;
    if (operatorRow != isOperator || row.name != name) continue;
    // Forms that the parser reads as others are only described.
    if (!row.prepare && !row.aggregate) continue;
    if (row.argumentCount == argumentCount) return &row;
    if (anyCount) *anyCount = &row;
  }
  return nullptr;
}

}  // namespace

const std::vector<FunctionRow>& FunctionTable() {
  static const std::vector<FunctionRow> rows = MakeTable();
  return rows;
}

ColumnInfo TypeOfResult(const AggregateResult& result, const ColumnInfo& argument) {
  ColumnInfo field = argument;
  field.nullable = true;
  switch (result.rule) {
    case Rule::kComputed:
      field.type = SUXeDataTypeUtility::GetPromotedDataType(argument.type);
      break;
    case Rule::kArgument:
      break;
    case Rule::kDouble:
      field.type = XeDoubleData;
      break;
    case Rule::kCount:
      field.type = XeUInt4Data;
      field.nullable = false;
      break;
  }
  field.length = XeFieldDescriptor::GetObjectLength(field.type, argument.length);
  return field;
}

const FunctionRow* FindOperator(std::string_view name, int argumentCount) {
  return Find(name, argumentCount, true, nullptr);
}

const FunctionRow* FindFunction(std::string_view name, int argumentCount,
                                const FunctionRow** anyCount) {
  return Find(name, argumentCount, false, anyCount);
}

}  // namespace sqxer
