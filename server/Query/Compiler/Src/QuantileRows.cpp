#include <cmath>
#include <limits>

#include "AggregateRows.h"
#include "NodeProber.h"
#include "PlanError.h"

namespace sqxer {
namespace {

using Rule = AggregateResult::Rule;
using Distinct = AggregateShape::Distinct;

/// The number that says which quantile is meant. Error 58047 at its place for any that is no
/// fraction from 0 to 1; NaN for NULL.
float64 ReadFraction(std::unique_ptr<RExpression> number) {
  const int position = number->GetSourcePosition();
  const PlanConstant value = ReadNumber(std::move(number), kNoFraction);
  if (value.IsNull()) return std::numeric_limits<float64>::quiet_NaN();
  const auto fraction = value.IsText() ? std::nullopt : ConvertConstant(value, XeDoubleData);
  const auto* const known = fraction ? std::get_if<float64>(&fraction->value) : nullptr;
  if (known == nullptr || !(*known >= 0 && *known <= 1))
    ThrowPlanError(kNoFraction, position, {std::get<XeString>(ConstantAsText(value).value)});
  return *known;
}

template <bool isContinuous>
const AggregateShape kQuantile{.Make = [](AggregateCall& call) -> std::unique_ptr<Aggregate> {
                                 return MakeNode<Quantile>(call, false,
                                                           ReadFraction(std::move(call.numbers[0])),
                                                           isContinuous);
                               },
                               .distinct = Distinct::kSorted,
                               .wideInteger = XeUnknown,
                               .results = {{Rule::kQuantile}},
                               .arguments = "xn",
                               .heldBytes = sizeof(float64),
                               .takesMoments = true};

const AggregateShape kApproxQuantile{.Make = [](AggregateCall& call) -> std::unique_ptr<Aggregate> {
                                       return MakeNode<ApproxQuantile>(
                                           call, false, ReadFraction(std::move(call.numbers[0])));
                                     },
                                     .distinct = Distinct::kRefused,
                                     .wideInteger = XeUnknown,
                                     .results = {{Rule::kDouble}},
                                     .arguments = "xn",
                                     .takesMoments = true};
const AggregateShape kApproxCountDistinct{
    MakeForGroups<ApproxCountDistinct>, Distinct::kNoDifference, XeUnknown, {{Rule::kCount}}};

}  // namespace

void AppendQuantileRows(std::vector<FunctionRow>& rows) {
  auto add = [&](const char* name, int count, const char* form, const char* node,
                 const char* arguments, const char* result, const char* nulls,
                 const char* description, const char* example, const char* exampleResult,
                 const AggregateShape& shape) {
    rows.push_back({FunctionRow::Kind::kAggregate, name, count, form, node, arguments, result,
                    nulls, description, example, exampleResult, nullptr, nullptr, &shape});
  };
  add("percentile_cont", 2, "PERCENTILE_CONT(p) WITHIN GROUP (ORDER BY x [DESC])",
      "Quantile, QuantileInterval",
      "a fraction from 0 to 1, the same in every row; a number, an interval, a date or a timestamp",
      "DOUBLE, INTERVAL over intervals, TIMESTAMP over dates and timestamps", kSkipsNulls,
      "The value at that fraction of the way from the first to the last, between two of them as on "
      "a "
      "line. The values of a group are held in memory.",
      "SELECT PERCENTILE_CONT(0.95) WITHIN GROUP (ORDER BY temp_max) FROM \"seattle-weather\"",
      "28.9", kQuantile<true>);
  rows.push_back(Alias(rows.back(), "quantile_cont", "QUANTILE_CONT(x, p)",
                       "SELECT QUANTILE_CONT(temp_max, 0.95) FROM \"seattle-weather\""));
  add("percentile_disc", 2, "PERCENTILE_DISC(p) WITHIN GROUP (ORDER BY x)",
      "Quantile, QuantileInterval",
      "a fraction from 0 to 1, the same in every row; a number, an interval, a date or a timestamp",
      "DOUBLE, INTERVAL over intervals, TIMESTAMP over dates and timestamps", kSkipsNulls,
      "The first value of which at least that fraction of the values is no greater.",
      "SELECT PERCENTILE_DISC(0.5) WITHIN GROUP (ORDER BY temp_max) FROM \"seattle-weather\"",
      "15.6", kQuantile<false>);
  rows.push_back(Alias(rows.back(), "quantile", "QUANTILE(x, p)",
                       "SELECT QUANTILE(temp_max, 0.5) FROM \"seattle-weather\""));
  add("approx_quantile", 2, "APPROX_QUANTILE(x, p)", "ApproxQuantile",
      "a number, a date or a timestamp; a fraction from 0 to 1, the same in every row",
      "DOUBLE, TIMESTAMP over dates and timestamps", kSkipsNulls,
      "About the value of PERCENTILE_DISC, in little memory: of 512 values and fewer that very "
      "value, beyond one whose rank is mostly off by less than 0.1 % of the values.",
      "SELECT APPROX_QUANTILE(temp_max, 0.5) FROM \"seattle-weather\" WHERE date < '2013-01-01'",
      "14.4", kApproxQuantile);
  add("approx_count_distinct", 1, "APPROX_COUNT_DISTINCT(x)", "ApproxCountDistinct",
      "any that compares", "an unsigned integer", "NULLs are left out; 0 when no value is left",
      "About the number of different values, in at most 4 KiB a group: exact up to 768, beyond "
      "with a "
      "standard error of 1.6 %.",
      "SELECT APPROX_COUNT_DISTINCT(weather) FROM \"seattle-weather\"", "5", kApproxCountDistinct);
}

}  // namespace sqxer
