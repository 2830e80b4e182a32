#include "AggregateRows.h"
#include "NodeProber.h"
#include "PlanError.h"
#include "Utility/XeAListStream.h"

namespace sqxer {

PlanConstant ReadNumber(std::unique_ptr<RExpression> number, int code) {
  const int position = number->GetSourcePosition();
  const XeRecordMetaData noColumns;
  XeAListStream stream(&noColumns, nullptr);
  MetaDataInfo info;
  const auto value = EvaluateConstant(*BindTree(std::move(number), &stream, info));
  if (!value) ThrowPlanError(code, position, {L"a computed value"});
  return *value;
}

namespace {

using Kind = FunctionRow::Kind;
using Rule = AggregateResult::Rule;
using Distinct = AggregateShape::Distinct;

template <bool isSample>
const AggregateShape kStddev{
    [](AggregateCall& call) { return MakeNode<Stddev>(call, false, isSample); },
    Distinct::kSorted,
    XeUnknown,
    {{Rule::kDouble}}};

template <bool isSample>
const AggregateShape kVariance{
    [](AggregateCall& call) { return MakeNode<Variance>(call, false, isSample); },
    Distinct::kSorted,
    XeUnknown,
    {{Rule::kDouble}}};

template <PairStatistic::Kind kind>
const AggregateShape kPairStatistic{
    [](AggregateCall& call) { return MakeNode<PairStatistic>(call, false, kind); },
    Distinct::kRefused,
    XeUnknown,
    {{Rule::kDouble}},
    "yx"};

// PostgreSQL's order: y stands before x, which is the node's first column.
template <class Node>
const AggregateShape kPair{
    MakeForGroups<Node>, Distinct::kRefused, XeUnknown, {{Rule::kDouble}}, "yx"};
const AggregateShape kPairCount{
    MakeForGroups<PairCount>, Distinct::kRefused, XeUnknown, {{Rule::kCount}}, "yx"};
const AggregateShape kRegression{.Make = MakeForGroups<Regression>,
                                 .distinct = Distinct::kRefused,
                                 .wideInteger = XeUnknown,
                                 .results = {{Rule::kDouble}},
                                 .arguments = "yx",
                                 .nullTogether = true};
const AggregateShape kCorrelationAll{MakeForGroups<CorrelationAll>,
                                     Distinct::kRefused,
                                     XeUnknown,
                                     {{Rule::kDouble, L"_correlation"},
                                      {Rule::kDouble, L"_average_x"},
                                      {Rule::kDouble, L"_average_y"},
                                      {Rule::kCount, L"_count"},
                                      {Rule::kDouble, L"_standard_error_x"},
                                      {Rule::kDouble, L"_standard_error_y"}},
                                     "yx"};
const AggregateShape kRegressionAll{MakeForGroups<RegressionAll>,
                                    Distinct::kRefused,
                                    XeUnknown,
                                    {{Rule::kDouble, L"_slope"},
                                     {Rule::kDouble, L"_intercept"},
                                     {Rule::kDouble, L"_average_x"},
                                     {Rule::kDouble, L"_average_y"},
                                     {Rule::kCount, L"_count"},
                                     {Rule::kDouble, L"_standard_error_x"},
                                     {Rule::kDouble, L"_standard_error_y"}},
                                    "yx"};

TypedExpressionPtr ToDouble(const TypedExpressionPtr& column) {
  if (column->type != XeDoubleData) return ConvertTyped(column, XeDoubleData);
  // A column of floats counts as double already. A cast to what it is makes the tree's result one.
  auto cast = std::make_shared<TypedExpression>();
  cast->kind = TypedExpression::Kind::kCall;
  cast->position = column->position;
  cast->function = FindOperator("cast", 1);
  cast->column.type = XeDoubleData;
  cast->arguments.push_back(column);
  TakeAnswer(*cast, AskOperator(*cast));
  cast->size += column->size;
  return cast;
}

/// The slope's node reads no integers of 8 or 16 bits and no 32-bit floats.
void WidenForRegression(TypedArguments& columns) {
  for (TypedExpressionPtr& column : columns) {
    const XeDataType stored = ResultOfTree(*column, {}).type;
    const bool isNarrow = stored == XeInt1Data || stored == XeUInt1Data || stored == XeInt2Data ||
                          stored == XeUInt2Data || stored == XeFloatData;
    if (isNarrow) column = ToDouble(column);
  }
}

/// The number as a degree. Error 59166 at its place for any that is none.
uint32 ReadDegree(std::unique_ptr<RExpression> number) {
  constexpr int kDegreeNotAllowed = 59166;
  const int position = number->GetSourcePosition();
  const PlanConstant value = ReadNumber(std::move(number), kDegreeNotAllowed);
  if (value.IsNull()) ThrowPlanError(kDegreeNotAllowed, position, {L"NULL"});
  const bool isInteger = value.type == XeInt4Data || value.type == XeUInt4Data;
  const auto whole = isInteger ? ConvertConstant(value, XeUInt4Data) : std::nullopt;
  const uint32 degree = whole ? std::get<uint32>(whole->value) : 0;
  if (degree < 1 || degree > TrendlineParameter::kMostDegrees)
    ThrowPlanError(kDegreeNotAllowed, position, {std::get<XeString>(ConstantAsText(value).value)});
  return degree;
}

/// Only a polynomial has a degree behind its word.
template <TrendlineParameter::ResultType result, bool hasDegree>
std::unique_ptr<Aggregate> MakeTrendline(AggregateCall& call) {
  constexpr uint32 kUsualDegree = 2;
  // By word.
  constexpr TrendlineParameter::ModelType kModels[] = {TrendlineParameter::kLinear,
                                                       TrendlineParameter::kExponential,
                                                       TrendlineParameter::kPolynomial};
  TrendlineParameter parameter{TrendlineParameter::kPolynomial, result, kUsualDegree};
  if constexpr (hasDegree) {
    parameter.numOfDegrees = ReadDegree(std::move(call.numbers[0]));
  } else {
    parameter.modelType = kModels[call.word];
  }
  return MakeNode<Trendline>(call, false, parameter);
}

template <TrendlineParameter::ResultType result, bool hasDegree>
const AggregateShape kTrendline{
    .Make = MakeTrendline<result, hasDegree>,
    .distinct = Distinct::kRefused,
    .wideInteger = XeUnknown,
    .results = {result == TrendlineParameter::kModel
                    ? AggregateResult{Rule::kText, L"", Trendline::kMostCharacters}
                    : AggregateResult{Rule::kDouble}},
    .arguments = hasDegree ? "xywn" : "xyw",
    .words = hasDegree ? std::vector<const wchar_t*>{L"polynomial"}
                       : std::vector<const wchar_t*>{L"linear", L"exponential", L"polynomial"},
    .wordMeaning = hasDegree ? L"kind of trend line with a degree" : L"kind of trend line",
    // x, y, the fitted value, and whether x or y is NULL.
    .heldBytes = 3 * sizeof(float64) + 1};

const AggregateShape kBin{.Make =
                              [](AggregateCall& call) {
                                constexpr BinKind kKinds[] = {
                                    BinKind::kRegular, BinKind::kEqualDepth, BinKind::kDateTime};
                                const BinKind kind =
                                    call.word < 0 ? BinKind::kRegular : kKinds[call.word];
                                return MakeNode<Bin>(call, false, std::move(call.numbers[0]), kind);
                              },
                          .distinct = Distinct::kRefused,
                          .wideInteger = XeUnknown,
                          .results = {{Rule::kPlace}},
                          .arguments = "xnw",
                          .words = {L"width", L"depth", L"time"},
                          .wordMeaning = L"kind of bin"};

constexpr const char* kTwoNumbers = "two numbers";
constexpr const char* kPoints = "two numbers; the kind of line";
constexpr const char* kPointsAndDegree = "two numbers; a constant integer from 1 to 6";
constexpr const char* kFittedNulls =
    "NULL where x or y is, and in a partition with fewer than two rows that have both";

}  // namespace

void AppendStatisticsRows(std::vector<FunctionRow>& rows) {
  auto add = [&](const char* name, int count, const char* form, const char* node,
                 const char* arguments, const char* result, const char* nulls,
                 const char* description, const char* example, const char* exampleResult,
                 const AggregateShape& shape, OperandRule prepare = nullptr) {
    rows.push_back({Kind::kAggregate, name, count, form, node, arguments, result, nulls,
                    description, example, exampleResult, prepare, nullptr, &shape});
  };
  auto addWindow = [&](const char* name, int count, const char* form, const char* node,
                       const char* arguments, const char* result, const char* nulls,
                       const char* description, const char* example, const char* exampleResult,
                       const AggregateShape& shape) {
    rows.push_back({Kind::kWindow, name, count, form, node, arguments, result, nulls, description,
                    example, exampleResult, nullptr, nullptr, &shape, WindowForm::kPartition});
  };
  add("stddev_samp", 1, "STDDEV_SAMP([DISTINCT] x)", "Stddev", "a number", "DOUBLE",
      "NULLs are left out; NULL of fewer than two values",
      "The standard deviation of a sample. It comes from the sum of the squares, so of values that "
      "are large beside their deviation it has few digits.",
      "SELECT ROUND(STDDEV_SAMP(temp_max), 4) FROM \"seattle-weather\"", "7.3498", kStddev<true>);
  rows.push_back(Alias(rows.back(), "stddev", "STDDEV([DISTINCT] x)",
                       "SELECT ROUND(STDDEV(temp_max), 4) FROM \"seattle-weather\""));
  add("stddev_pop", 1, "STDDEV_POP([DISTINCT] x)", "Stddev", "a number", "DOUBLE", kSkipsNulls,
      "The same of the whole population: 0 of a single value.",
      "SELECT ROUND(STDDEV_POP(temp_max), 4) FROM \"seattle-weather\"", "7.3472", kStddev<false>);
  add("var_samp", 1, "VAR_SAMP([DISTINCT] x)", "Variance", "a number", "DOUBLE",
      "NULLs are left out; NULL of fewer than two values",
      "The variance of a sample, about a mean that moves with each value, so that values that are "
      "large "
      "beside their deviation cost no digits.",
      "SELECT ROUND(VAR_SAMP(temp_max), 4) FROM \"seattle-weather\"", "54.0189", kVariance<true>);
  rows.push_back(Alias(rows.back(), "variance", "VARIANCE([DISTINCT] x)",
                       "SELECT ROUND(VARIANCE(temp_max), 4) FROM \"seattle-weather\""));
  add("var_pop", 1, "VAR_POP([DISTINCT] x)", "Variance", "a number", "DOUBLE", kSkipsNulls,
      "The same of the whole population: 0 of a single value.",
      "SELECT ROUND(VAR_POP(temp_max), 4) FROM \"seattle-weather\"", "53.982", kVariance<false>);
  using Pair = PairStatistic::Kind;
  const auto addPair = [&](const char* name, const char* form, const char* description,
                           const char* example, const char* result, const AggregateShape& shape) {
    add(name, 2, form, "PairStatistic", kTwoNumbers, "DOUBLE",
        "a row with a NULL is left out; NULL when no row is left", description, example, result,
        shape);
  };
  addPair("covar_pop", "COVAR_POP(y, x)", "The covariance of a whole population.",
          "SELECT ROUND(COVAR_POP(temp_max, temp_min), 4) FROM \"seattle-weather\"", "32.3064",
          kPairStatistic<Pair::kCovariance>);
  add("regr_count", 2, "REGR_COUNT(y, x)", "PairCount", kTwoNumbers, "an unsigned integer",
      "a row with a NULL is left out; 0 when no row is left", "The number of rows with both.",
      "SELECT REGR_COUNT(temp_max, temp_min) FROM \"seattle-weather\"", "1461", kPairCount);
  addPair("regr_intercept", "REGR_INTERCEPT(y, x)",
          "The line of y on x by least squares at x = 0; NULL where x is the same in every row.",
          "SELECT ROUND(REGR_INTERCEPT(temp_max, temp_min), 2) FROM \"seattle-weather\"", "5.89",
          kPairStatistic<Pair::kIntercept>);
  addPair("regr_r2", "REGR_R2(y, x)",
          "The square of the correlation: 1 where y is the same in every row, NULL where x is.",
          "SELECT ROUND(REGR_R2(temp_max, temp_min), 4) FROM \"seattle-weather\"", "0.7668",
          kPairStatistic<Pair::kDetermination>);
  addPair("regr_avgx", "REGR_AVGX(y, x)", "The average of x.",
          "SELECT ROUND(REGR_AVGX(temp_max, temp_min), 4) FROM \"seattle-weather\"", "8.2348",
          kPairStatistic<Pair::kAverageX>);
  addPair("regr_avgy", "REGR_AVGY(y, x)", "The average of y.",
          "SELECT ROUND(REGR_AVGY(temp_max, temp_min), 4) FROM \"seattle-weather\"", "16.4391",
          kPairStatistic<Pair::kAverageY>);
  addPair("regr_sxx", "REGR_SXX(y, x)", "The sum of the squared deviations of x.",
          "SELECT ROUND(REGR_SXX(temp_max, temp_min), 2) FROM \"seattle-weather\"", "36836.63",
          kPairStatistic<Pair::kSumXX>);
  addPair("regr_syy", "REGR_SYY(y, x)", "The sum of the squared deviations of y.",
          "SELECT ROUND(REGR_SYY(temp_max, temp_min), 2) FROM \"seattle-weather\"", "78867.66",
          kPairStatistic<Pair::kSumYY>);
  addPair("regr_sxy", "REGR_SXY(y, x)", "The sum of the products of both deviations.",
          "SELECT ROUND(REGR_SXY(temp_max, temp_min), 2) FROM \"seattle-weather\"", "47199.58",
          kPairStatistic<Pair::kSumXY>);
  add("covar_samp", 2, "COVAR_SAMP(y, x)", "Covariance", kTwoNumbers, "DOUBLE",
      "a row with a NULL is left out; NULL of one row with values, but 0 of none",
      "The covariance of a sample.",
      "SELECT ROUND(COVAR_SAMP(temp_max, temp_min), 4) FROM \"seattle-weather\"", "32.3285",
      kPair<Covariance>);
  add("corr", 2, "CORR(y, x)", "Correlation", kTwoNumbers, "DOUBLE",
      "a row with a NULL is left out; NULL of one row with values, but NaN of none",
      "The correlation, from -1 to 1. NaN where x or y is the same in every row.",
      "SELECT ROUND(CORR(temp_max, temp_min), 4) FROM \"seattle-weather\"", "0.8757",
      kPair<Correlation>);
  add("regr_slope", 2, "REGR_SLOPE(y, x)", "Regression", kTwoNumbers, "DOUBLE",
      "a row with a NULL is left out; NULL when no row is left",
      "The slope of the line of y on x by least squares. Infinite or NaN where x is the same in "
      "every row, as it is in one row. The node takes a row of which only x or only y is NULL, so "
      "the query gives it both as NULL there.",
      "SELECT ROUND(REGR_SLOPE(temp_max, temp_min), 2) FROM \"seattle-weather\"", "1.28",
      kRegression, WidenForRegression);
  add("corr_all", 2, "CORR_ALL(y, x)", "CorrelationAll", kTwoNumbers,
      "six columns: _correlation, _average_x, _average_y, _count, _standard_error_x, "
      "_standard_error_y",
      "a row with a NULL is left out; of one row with values the correlation and the errors are "
      "NULL, of none all but the count",
      "The correlation, and of x and y the average and its standard error. It comes from the sums "
      "of the squares, with fewer digits than CORR has. Only as a whole item of the select list.",
      "SELECT CORR_ALL(temp_max, temp_min) FROM \"seattle-weather\" WHERE date <= '2012-01-03'",
      "0.49999999999998396,5,11.699999999999998,3,1.270170592217177,0.6350852961086128",
      kCorrelationAll);
  add("regr_all", 2, "REGR_ALL(y, x)", "RegressionAll", kTwoNumbers,
      "seven columns: _slope, _intercept, and _average_x to _standard_error_y as CORR_ALL",
      "as CORR_ALL", "The line of y on x by least squares, and the same averages and errors.",
      "SELECT REGR_ALL(temp_max, temp_min) FROM \"seattle-weather\" WHERE date <= '2012-01-03'",
      "0.25000000000000144,10.44999999999999,5,11.699999999999998,3,1.270170592217177,0."
      "6350852961086128",
      kRegressionAll);
  add("trendline_model", 3, "TRENDLINE_MODEL(x, y, 'linear' | 'exponential' | 'polynomial')",
      "Trendline", kPoints, "a JSON text of at most 4000 characters",
      "a row with a NULL is left out; NULL of fewer than two rows with values",
      "The line that TRENDLINE fits: its formula, degrees of freedom (called degree), standard "
      "error and R-squared. Where there is no fit, the text tells why. The values of a group are "
      "held in memory.",
      "SELECT TRENDLINE_MODEL(temp_min, temp_max, 'linear') FROM \"seattle-weather\" WHERE date <= "
      "'2012-01-03'",
      "\"{\"\"analyticmodel\"\": {\"\"identifier\"\": \"\"001\"\", \"\"name\"\": "
      "\"\"trendline\"\", \"\"type\"\": \"\"linear\"\", \"\"formula\"\": "
      "\"\"0.24999999999999992*x+10.45\"\", \"\"degree\"\": \"\"1\"\", \"\"std error\"\": "
      "\"\"1.34722\"\", \"\"R-squared\"\": \"\"0.25000\"\"}}\"",
      kTrendline<TrendlineParameter::kModel, false>);
  add("trendline_model", 4, "TRENDLINE_MODEL(x, y, 'polynomial', degree)", "Trendline",
      kPointsAndDegree, "the same", "the same", "The same of a polynomial of another degree.",
      "SELECT TRENDLINE_MODEL(temp_min, temp_max, 'polynomial', 1) FROM \"seattle-weather\" WHERE "
      "date <= '2012-01-03'",
      "\"{\"\"analyticmodel\"\": {\"\"identifier\"\": \"\"001\"\", \"\"name\"\": "
      "\"\"trendline\"\", \"\"type\"\": \"\"polynomial\"\", \"\"formula\"\": "
      "\"\"0.25*x^1+10.45*x^0\"\", \"\"degree\"\": \"\"1\"\", "
      "\"\"std error\"\": \"\"1.34722\"\", \"\"R-squared\"\": \"\"0.25000\"\"}}\"",
      kTrendline<TrendlineParameter::kModel, true>);

  addWindow("trendline", 3,
            "TRENDLINE(x, y, 'linear' | 'exponential' | 'polynomial') OVER ([PARTITION BY ...])",
            "Trendline", kPoints, "DOUBLE", kFittedNulls,
            "The value at x of a line through the points of the partition by least squares: "
            "slope * x + intercept, a * b ^ x, or a polynomial of degree 2. 0 where there is no "
            "fit, such as an exponential one of values that are not above 0. The partition is held "
            "in memory.",
            "SELECT date, TRENDLINE(temp_min, temp_max, 'linear') OVER () FROM \"seattle-weather\" "
            "ORDER BY date LIMIT 1",
            "2012-01-01,12.294300346462535", kTrendline<TrendlineParameter::kValue, false>);
  addWindow("trendline", 4, "TRENDLINE(x, y, 'polynomial', degree) OVER ([PARTITION BY ...])",
            "Trendline", kPointsAndDegree, "DOUBLE", kFittedNulls,
            "The same of a polynomial of another degree.",
            "SELECT date, TRENDLINE(temp_min, temp_max, 'polynomial', 3) OVER (PARTITION BY "
            "weather) FROM \"seattle-weather\" ORDER BY date LIMIT 1",
            "2012-01-01,12.837512901069728", kTrendline<TrendlineParameter::kValue, true>);
  addWindow("bin", 2, "BIN(x, n) OVER ([PARTITION BY ...])", "Bin",
            "a number, date or time; n an integer above 0, the same for every row",
            "an unsigned integer", "NULL if x is NULL or NaN",
            "The number of the row's bin, from 1 to n. The bins are of equal width, from the least "
            "to the greatest value of the partition. An edge belongs to the bin above it.",
            "SELECT date, BIN(temp_max, 4) OVER () FROM \"seattle-weather\" ORDER BY date LIMIT 1 "
            "OFFSET 700",
            "2013-12-01,2", kBin);
  addWindow(
      "bin", 3, "BIN(x, n, 'width' | 'depth' | 'time') OVER ([PARTITION BY ...])", "Bin",
      "'depth' any that compares; 'time' a date or time", "an unsigned integer",
      "NULL if x is NULL, but for 'depth' also if it is NaN",
      "'width' is the same. With 'depth' the bins hold equally many rows, but equal values "
      "share a bin. With 'time' they are units of the calendar (minutes to quarters, 1, 2, 5, "
      "10 years and so on), the finest that makes no more than n of them.",
      "SELECT date, BIN(date, 10, 'time') OVER () FROM \"seattle-weather\" ORDER BY date LIMIT 1 "
      "OFFSET 700",
      "2013-12-01,2", kBin);
}

}  // namespace sqxer
