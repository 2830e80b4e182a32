#include <numeric>
#include <random>

#include "AggregateTesting.h"
#include "SQXERMatrix.h"
#include "SQXERTrendlineText.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/JSonValuesHolder.h"

namespace sqxer::test {
namespace {

constexpr auto NIL = std::nullopt;
using Parameter = TrendlineParameter;
using Points = std::vector<std::pair<std::optional<float64>, std::optional<float64>>>;

/// A trend line with all its results, two of them through references.
struct Trend {
  TestRecord input, target;
  Driven value, model, sequence;
  Values values, numbered;
  std::optional<XeString> text;

  explicit Trend(Parameter::ModelType type, uint32 degree = 1, XeDataType xType = Double,
                 XeDataType yType = Double, uint16 yColumn = 1, bool nullable = true)
      : input({{xType}, {yType}}),
        target({{Double, 0, nullable}, {VarChar, 4000, nullable}, {Double, 0, nullable}}),
        value(new Trendline(new UInt16Vector{0, yColumn}, nullptr, nullptr, false,
                            {type, Parameter::kValue, degree}),
              input, target, 0),
        model(Ref(Parameter::kModel), input, target, 1),
        sequence(Ref(Parameter::kSequence), input, target, 2) {}
  TrendlineRef* Ref(Parameter::ResultType type) {
    return new TrendlineRef(static_cast<Trendline*>(value.aggregate.get()), type);
  }
  /// Drives a group and gives the values; the other results are kept.
  const Values& Run(const Points& points) {
    Driven* const all[] = {&value, &model, &sequence};
    for (Driven* each : all) (*each)->Initialize(false);
    for (const auto& [x, y] : points) {
      input.SetNumber(0, x.value_or(0)).SetNull(0, !x);
      input.SetNumber(1, y.value_or(0)).SetNull(1, !y);
      for (Driven* each : all) each->Compute();
    }
    for (Driven* each : all) (*each)->Finalize();
    model->Output(target.buffer());
    text = target.IsNull(1) ? NIL : std::optional(target.GetText(1));
    numbered = values = Values(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
      value->Output(target.buffer());
      sequence->Output(target.buffer());
      values[i] = target.GetNumber(0);
      numbered[i] = target.GetNumber(2);
    }
    return values;
  }
};

TEST(Trendline, GivesValuesSequencesAndTexts) {
  Points seconds;
  for (int i = 0; i <= 20; ++i) seconds.push_back({1.7e9 + i, i % 7});
  const auto error = [](int code, const std::vector<XeString>& arguments = {}) {
    return L"error\": \"" + ErrorMessage(code, arguments).GetText();
  };
  const XeString head =
      LR"({"analyticmodel": {"identifier": "001", "name": "trendline", "type": ")";
  const XeString limit = VelmarNumber::velmarnumberMax.asString();
  // clang-format off
  const struct { Parameter::ModelType type; uint32 degree; Points points; XeString text; Values values, numbered; } kCases[] = {
      {Parameter::kLinear, 1, {{1, 2}, {2, 4}, {3, 6}},
       LR"(formula": "2*x+0", "degree": "1", "std error": "0.00000", "R-squared": "1.00000)", {2, 4, 6}, {2, 4, 6}},
      {Parameter::kLinear, 9, {{1, NIL}, {4, 0}, {NIL, 1}, {8, 2}},
       LR"(formula": "0.5*x-2", "degree": "0", "std error": "NA", "R-squared": "1.00000)", {NIL, 0, NIL, 2}, {NIL, -1, NIL, 0}},
      {Parameter::kLinear, 1, {{1, .1}, {2, .1}, {3, .1}},
       LR"(formula": "0*x+0.1", "degree": "1", "std error": "0.00000", "R-squared": "NA)", {.1, .1, .1}, {.1, .1, .1}},
      // A common offset costs no digit.
      {Parameter::kLinear, 1, {{1e9 + .5, 1e9}, {1e9 + 1, 1e9 + 1}},
       LR"(formula": "2*x-1000000001", "degree": "0", "std error": "NA", "R-squared": "1.00000)", {1e9, 1e9 + 1}, {-999999999, -999999997}},
      // Nor do distances whose squares doubles do not hold.
      {Parameter::kLinear, 1, {{0, 0}, {0x1p-600, 0x1p-599}, {0x1p-599, 0x1p-598}},
       LR"(formula": "2*x+0", "degree": "1", "std error": "0.00000", "R-squared": "NA)", {0, 0x1p-599, 0x1p-598}, {2, 4, 6}},
      {Parameter::kExponential, 1, {{0, 1}, {1, 10}, {2, 100}},
       LR"(formula": "1*10^x", "degree": "1", "std error": "0.00000", "R-squared": "1.00000)", {1, 10, 100}, {10, 100, 1000}},
      {Parameter::kPolynomial, 2, {{-1, 3.5}, {0, 0}, {0, 1}, {1, 1.5}},
       LR"(formula": "2*x^2-1*x^1+0.5*x^0", "degree": "1", "std error": "0.70711", "R-squared": "0.92308)", {3.5, .5, .5, 1.5}, {1.5, 6.5, 15.5, 28.5}},
      // Neither costs any digit to a polynomial.
      {Parameter::kPolynomial, 3, {{1e5, 1e9 + 1}, {1e5 + 1, 1e9 + 2}, {1e5 + 2, 1e9 + 4}, {1e5 + 3, 1e9 + 3}, {1e5 + 4, 1e9 + 6}},
       LR"(formula": "0.25*x^3-75001.428571428571428571428571428571429*x^2+7500285717.25*x^1-250013286010713.44285714285714285714286*x^0", "degree": "1", "std error": "1.31475", "R-squared": "0.88320)",
       {1000000000.8428571, 1000000002.6285714, 1000000003.0571429, 1000000003.6285714, 1000000005.8428571}, {-250005785799997.38, -249998285739282.66, -249990785828567.8, -249983286067851.3, -249975786457131.66}},
      {Parameter::kPolynomial, 1, {{NIL, 1}, {5, 7}}, {}, {NIL, NIL}, {NIL, NIL}},
      {Parameter::kLinear, 1, {}, {}, {}, {}},
      // Without a fit all values are zero.
      {Parameter::kLinear, 1, {{.1, 1}, {.1, 2}, {.1, 4}}, error(59168), {}, {}},
      {Parameter::kExponential, 1, {{.1, 1}, {.1, 2}}, error(59168), {}, {}},
      {Parameter::kExponential, 1, {{1, 1}, {2, 0}}, error(59165), {}, {}},
      {Parameter::kExponential, 1, {{1, 1}, {2, std::nan("")}}, error(59165), {}, {}},
      {Parameter::kExponential, 1, {{1, 1e300}, {1.5, 1e-300}}, error(59164), {}, {}},
      {Parameter::kPolynomial, 3, {{.1, 1}, {.2, 2}, {.7, 5}, {.7, 2}}, error(59167), {}, {}},
      // About their middle the points have a fit, but the powers of seconds do not add up to it.
      {Parameter::kPolynomial, 6, seconds, error(59167), {}, {}},
      {Parameter::kPolynomial, 2, {{1e33, 0}, {1, 0}, {2, 0}}, error(59161, {L"MultiplyNumber", limit}), {}, {}},
      {Parameter::kLinear, 1, {{0, 0}, {1, 1e200}}, error(59161, {L"ConvertFloat64toNumber", limit}), {}, {}},
      {Parameter::kLinear, 1, {{0, 0}, {1, HUGE_VAL}}, error(59161, {L"ConvertFloat64toNumber", limit}), {}, {}},
  };
  // clang-format on
  for (const auto& c : kCases) {
    SCOPED_TRACE(&c - kCases);
    const Values zeros(c.points.size(), 0);
    Trend trend(c.type, c.degree);
    trend.Run({{1, 2}, {2, 4}, {3, 5}, {5, 6}, {9, 1}, {8, 8}, {7, 6}});
    EXPECT_EQ(trend.Run(c.points), c.values.empty() ? zeros : c.values);
    EXPECT_EQ(trend.numbered, c.values.empty() ? zeros : c.numbered);
    const XeString type(kTrendlineTypeWords[c.type]), model = head + type + L"\", \"" + c.text;
    EXPECT_EQ(trend.text.value_or(L""), c.text.empty() ? c.text : model + L"\"}}");
  }

  std::wstring nasty(300, L' ');
  std::iota(nasty.begin(), nasty.end(), L'\0');
  nasty += L"\"}}\\u0041\\\U0001F600";
  JSonValuesHolder holder;
  const std::size_t handle = holder.AddCollectionPath(JSon::JSonPath(L"$.analyticmodel.error"));
  const XeString text = ConstructModelErrorMsg(Parameter::kLinear, nasty);
  holder.SetDocument(text);
  EXPECT_EQ(holder.Resolve(handle).asXeNString(), BaseStringUtil::StringToUtf8(nasty));
}

TEST(Trendline, CutsItsTextToTheField) {
  TestRecord input({{Double}, {Double}}), target({{VarChar, 20}, {Int4, 0, false}});
  Driven model(new Trendline(new UInt16Vector{0, 1}, nullptr, nullptr, false,
                             {Parameter::kLinear, Parameter::kModel, 1}),
               input, target);
  model->Initialize(false);
  for (const float64 x : {1, 2}) {
    input.SetNumber(0, x).SetNumber(1, x);
    model.Compute();
  }
  model.Finish();
  EXPECT_EQ(target.GetText(0), LR"({"analyticmodel": {")");
  EXPECT_EQ(target.GetNumber(1), 0);
}

TEST(Trendline, LeavesResidualsThatAreNoLine) {
  std::mt19937 random(3);
  for (const XeDataType type : {Int1, UInt1, Int2, UInt2, Int4, UInt4, Float, Double, Numeric}) {
    Trend line(Parameter::kLinear, 1, type, type);
    for (int group = 0; group < 40; ++group) {
      Points points;
      for (unsigned x = random() % 9; x < 50; x += 1 + random() % 40) {
        points.push_back({x, random() % 100});
      }
      const Values values = line.Run(points);
      float64 sum = 0, moment = 0;
      for (std::size_t i = 0; i < points.size(); ++i) {
        sum += *points[i].second - *values[i];
        moment += *points[i].first * (*points[i].second - *values[i]);
      }
      ASSERT_NEAR(sum, 0, 1e-11);
      ASSERT_NEAR(moment, 0, 1e-9);
      const std::size_t blocks = AllocationCount();
      line.value->Initialize(false);
      for (std::size_t i = 0; i < points.size(); ++i) line.value.Compute();
      EXPECT_EQ(AllocationCount(), blocks);
    }
  }
}

TEST(Matrix, ChangesRowsAndCombinesWhatMatches) {
  Matrix a = Matrix::Identity(2);
  a.AddMultiplyRow(1, 0, VelmarNumber(2));
  a.AddRow(0, 1);
  a.SwapRows(0, 1);
  a.MultiplyRow(1, a.Get(1, 0));
  a.Increment(1, 1, VelmarNumber(0.5));
  const Matrix both = Matrix::Concatenate(a, a.Inverse());
  EXPECT_EQ(both.ToString(), L"2 1 -1.75 0.5\n9 3.5 4.5 -1\n");
  EXPECT_EQ(Matrix::Multiply(a, both).ToString(), L"13 5.5 1 0\n49.5 21.25 0 1\n");
  a.Set(0, 0, VelmarNumber::zero);
  ExpectError(59167, {}, [&] { a.Inverse(); });
  ExpectError(59163, {}, [&] { both.Inverse(); });
  ExpectError(59163, {}, [&] { Matrix::Multiply(both, a); });
  ExpectError(59163, {}, [&] { Matrix::Concatenate(a, Matrix(2, 254)); });
  const Matrix widest = Matrix::Concatenate(Matrix(2, 253), a);
  EXPECT_EQ(widest.Get(1, 254), a.Get(1, 1));
  ExpectBroken([&] { a.Get(0, 2); });
}

TEST(Trendline, RefusesWhatItCannotFit) {
  for (const auto type : {Parameter::kPower, Parameter::kLogarithmic, Parameter::kMovingAverage}) {
    ExpectError(59149, {}, [&] { Trend(type).Run({{1, 1}, {2, 2}}); });
  }
  const auto refused = [](int code, const std::vector<XeString>& arguments, auto... with) {
    ExpectError(code, arguments, [&] { Trend(with...); });
  };
  refused(59166, {L"0"}, Parameter::kPolynomial, 0);
  refused(59166, {L"7"}, Parameter::kPolynomial, 7);
  refused(59150, {}, Parameter::ModelType(6));
  refused(59001, {L"Trendline", L"DATE"}, Parameter::kLinear, 1, Date);
  refused(59001, {L"Trendline", L"VARCHAR"}, Parameter::kLinear, 1, Double, VarChar);
  refused(46030, {L"2", L"2"}, Parameter::kLinear, 1, Double, Double, 2);
  Trend on(Parameter::kLinear);
  Trendline unbound(new UInt16Vector{0, 1}, nullptr, nullptr, false, {});
  for (Trendline* line : std::initializer_list<Trendline*>{nullptr, &unbound}) {
    auto* const lost = new TrendlineRef(line, Parameter::kModel);
    ExpectError(59169, {}, [&] { Driven(lost, on.input, on.target); });
  }
  // What is never NULL is zero or empty.
  Trend never(Parameter::kLinear, 1, Double, Double, 1, false);
  EXPECT_EQ(never.Run({{1, 1}, {3, 3}, {NIL, 9}}), (Values{1, 3, 0}));
  EXPECT_EQ(never.Run({{1, 1}}), Values{0});
  EXPECT_EQ(never.text, L"");
  EXPECT_TRUE(on.value->IsFunctionalAggr() && !on.model->IsFunctionalAggr());
}

}  // namespace
}  // namespace sqxer::test
