// The aggregates that list, pick and combine values.

#include <tuple>

#include "AggregateRows.h"
#include "TypedCall.h"

namespace sqxer {
namespace {

using Rule = AggregateResult::Rule;
using Distinct = AggregateShape::Distinct;
using Order = AggregateShape::Order;

/// What a text and its delimiter take, by experience, as long as their group lasts.
constexpr uint32 kHeldTextBytes = 64;
const AggregateShape kStringAgg{.Make = MakeForGroups<StringAgg>,
                                .distinct = Distinct::kSorted,
                                .wideInteger = XeUnknown,
                                .results = {{Rule::kText, L"", StringAgg::kMostLength}},
                                .arguments = "xy",
                                .heldBytes = kHeldTextBytes,
                                .order = Order::kTaken,
                                .growsByNeed = true};
/// The value as a text; binaries are refused.
TypedExpressionPtr AsText(const TypedExpressionPtr& value, const wchar_t* node) {
  if (value->IsOpenNull() || value->IsOpenText()) return ConvertTyped(value, XeLongVarCharData);
  if (value->type == XeLongVarCharData) return value;
  RefuseBinary({value}, node);
  return CastTyped(value, {XeLongVarCharData}, value->position);
}
/// HISTOGRAM makes texts of the different values alone.
TypedExpressionPtr HistogramText(const TypedExpressionPtr& value) {
  return AsText(value, L"Histogram");
}
const AggregateShape kHistogram{
    .Make = [](AggregateCall& call) -> std::unique_ptr<Aggregate> {
      auto columns = std::make_unique<UInt16Vector>(call.columns);
      return std::unique_ptr<Aggregate>(new Histogram(columns.release(), nullptr, nullptr, false,
                                                      std::move(call.numbers.back())));
    },
    .distinct = Distinct::kRefused,
    .wideInteger = XeUnknown,
    .results = {{Rule::kText, L"", Histogram::kMostLength}},
    .order = Order::kOfArgument,
    .growsByNeed = true,
    .treeOverValue = HistogramText};
const AggregateShape kMode{.Make = MakeForGroups<Mode>,
                           .distinct = Distinct::kRefused,
                           .wideInteger = XeUnknown,
                           .results = {{Rule::kArgument}},
                           .order = Order::kOfArgument};
const AggregateShape kMaxBy{.Make = MakeForGroups<MaxBy>,
                            .distinct = Distinct::kNoDifference,
                            .wideInteger = XeUnknown,
                            .results = {{Rule::kArgument}},
                            .arguments = "xy"};
const AggregateShape kMinBy{.Make = MakeForGroups<MinBy>,
                            .distinct = Distinct::kNoDifference,
                            .wideInteger = XeUnknown,
                            .results = {{Rule::kArgument}},
                            .arguments = "xy"};

template <GroupBits::Kind kind>
const AggregateShape kBits{
    .Make =
        [](AggregateCall& call) { return MakeNode<GroupBits>(call, false, call.distinct, kind); },
    .distinct = kind == GroupBits::Kind::kXor ? Distinct::kHandled : Distinct::kNoDifference,
    .wideInteger = XeUnknown,
    .results = {{Rule::kComputed}}};

void PrepareStringAgg(TypedArguments& columns) {
  for (TypedExpressionPtr& column : columns) column = AsText(column, L"StringAgg");
}
constexpr const char* kPickNulls =
    "a row with a NULL in x or y is left out; NULL when no row is left";

}  // namespace

void AppendListRows(std::vector<FunctionRow>& rows) {
  auto add = [&](const char* name, int count, const char* form, const char* node,
                 const char* arguments, const char* result, const char* nulls,
                 const char* description, const char* example, const char* exampleResult,
                 const AggregateShape& shape, OperandRule prepare = nullptr) {
    rows.push_back({FunctionRow::Kind::kAggregate, name, count, form, node, arguments, result,
                    nulls, description, example, exampleResult, prepare, nullptr, &shape});
  };
  add("string_agg", 2, "STRING_AGG([DISTINCT] x, delimiter [ORDER BY key, ...])",
      "StringAgg, over Ordered", "any but binary, as texts; the delimiter, a text of any row",
      "a text of at most 1048576 characters, else an error",
      "NULLs are left out, a delimiter that is NULL is empty; NULL when no value is left",
      "The texts of the rows, before each but the first the delimiter of its row. Empty texts "
      "count. They are in the order of the keys, else of the rows; those of DISTINCT in their own. "
      "With DISTINCT the keys are arguments.",
      "SELECT STRING_AGG(weather, ', ' ORDER BY date DESC) FROM \"seattle-weather\" WHERE date < "
      "'2012-01-04'",
      "\"rain, rain, drizzle\"", kStringAgg, PrepareStringAgg);
  rows.push_back(Alias(rows.back(), "listagg",
                       "LISTAGG([DISTINCT] x, delimiter) [WITHIN GROUP (ORDER BY key, ...)]",
                       "SELECT LISTAGG(weather, ', ') WITHIN GROUP (ORDER BY date DESC) FROM "
                       "\"seattle-weather\" WHERE date < '2012-01-04'"));
  add("histogram", 1, "HISTOGRAM(x)", "Histogram, over Ordered", "any that compares",
      "a text of at most 65536 characters, else an error", kSkipsNulls,
      "How often each value comes, by value.", "SELECT HISTOGRAM(weather) FROM \"seattle-weather\"",
      "\"{drizzle=53, fog=101, rain=641, snow=26, sun=640}\"", kHistogram);
  add("mode", 1, "MODE(x)", "Mode, over Ordered", "any that compares", "the argument's type",
      kSkipsNulls, "The value that comes most often; of several the first in their order.",
      "SELECT MODE(weather) FROM \"seattle-weather\"", "rain", kMode);
  rows.back().form = "MODE(x), MODE() WITHIN GROUP (ORDER BY x [DESC])";
  for (const auto& [name, form, node, shape, result, example, description] :
       {std::tuple("max_by", "MAX_BY(x, y)", "MaxBy", &kMaxBy, "2014-08-11",
                   "SELECT MAX_BY(date, temp_max) FROM \"seattle-weather\"",
                   "The value of x in the row with the greatest y, the first one of several."),
        std::tuple("arg_max", "ARG_MAX(x, y)", "MaxBy", &kMaxBy, "2014-08-11",
                   "SELECT ARG_MAX(date, temp_max) FROM \"seattle-weather\"", "The same."),
        std::tuple("min_by", "MIN_BY(x, y)", "MinBy", &kMinBy, "2014-02-06",
                   "SELECT MIN_BY(date, temp_max) FROM \"seattle-weather\"",
                   "The value of x in the row with the smallest y, the first one of several."),
        std::tuple("arg_min", "ARG_MIN(x, y)", "MinBy", &kMinBy, "2014-02-06",
                   "SELECT ARG_MIN(date, temp_max) FROM \"seattle-weather\"", "The same.")}) {
    add(name, 2, form, node, "any; any that compares", "the type of x", kPickNulls, description,
        example, result, *shape);
  }
  for (const auto& [name, form, node, shape, result, example, description] :
       {std::tuple("bit_and", "BIT_AND(x)", "GroupBits", &kBits<GroupBits::Kind::kAnd>, "0",
                   "SELECT BIT_AND(\"Cost Repair\") FROM birdstrikes",
                   "The bits that all values have."),
        std::tuple("bit_or", "BIT_OR(x)", "GroupBits", &kBits<GroupBits::Kind::kOr>, "8388607",
                   "SELECT BIT_OR(\"Cost Repair\") FROM birdstrikes",
                   "The bits that some value has."),
        std::tuple("bit_xor", "BIT_XOR([DISTINCT] x)", "GroupBits", &kBits<GroupBits::Kind::kXor>,
                   "5414410", "SELECT BIT_XOR(DISTINCT \"Cost Repair\") FROM birdstrikes",
                   "The bits that an odd number of values has.")}) {
    add(name, 1, form, node, "a whole number; of a NUMERIC the fraction is cut",
        "INTEGER over INTEGER, else NUMERIC, whose bits are 64", kSkipsNulls, description, example,
        result, *shape, PrepareBits);
  }
}

}  // namespace sqxer
