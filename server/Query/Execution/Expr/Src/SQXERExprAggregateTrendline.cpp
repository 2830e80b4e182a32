#include "SQXERExprAggregateTrendline.h"

#include <algorithm>
#include <cstring>

#include "SQXERTrendlineText.h"

namespace sqxer {

namespace {

constexpr int kNoSuchFit = 59149;
constexpr int kParametersIncomplete = 59150;
constexpr int kDegreeNotAllowed = 59166;
constexpr int kNoTrendline = 59169;

const XeString kTrendline = L"Trendline";

}  // namespace

void TrendlineResult::BindResult(Trendline& trendline, MetaDataInfo& info) {
  switch (resultType_) {
    case TrendlineParameter::kValue:
    case TrendlineParameter::kSequence:
      resultDataType_ = XeDoubleData;
      DescribeResult(info, resultDataType_, 0, true);
      break;
    case TrendlineParameter::kModel:
      resultDataType_ = XeVarCharData;
      DescribeResult(info, resultDataType_, kMostCharacters, true);
      break;
    default:
      RaiseError(kParametersIncomplete, {});
  }
  trendline.RequireResult(resultType_);
}

void TrendlineResult::OutputResult(const Trendline& trendline, unsigned char* record) {
  if (resultType_ == TrendlineParameter::kModel) {
    const bool isNull = !trendline.HasResult();
    if (OutputNull(record, isNull)) return;
    const std::wstring_view text = isNull ? std::wstring_view(L"") : trendline.GetModelText();
    const auto room = (targetFixedLenSize_ - kLongVarPrefix) / sizeof(wchar_t);
    const auto length = static_cast<uint32>(std::min(text.length(), room));
    StoreValue(record + targetOffset_, length);
    std::memcpy(record + targetOffset_ + kLongVarPrefix, text.data(), length * sizeof(wchar_t));
    return;
  }
  const std::size_t row = xIndex_++;
  const bool isNull =
      !trendline.HasResult() || row >= trendline.GetRowCount() || trendline.IsRowNull(row);
  if (OutputNull(record, isNull)) return;
  float64 value = 0;
  if (!isNull) {
    const std::size_t index = outputValueIndex_++;
    value = resultType_ == TrendlineParameter::kSequence ? trendline.GetSequenceValue(row)
                                                         : trendline.GetOutputValue(index);
  }
  StoreValue(record + targetOffset_, value);
}

Trendline::Trendline(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                     UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                     TrendlineParameter parameter)
    : TrendlineResult(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                      isCumulativeAggregate, parameter.resultType),
      modelType_(parameter.modelType),
      numOfDegrees_(modelType_ == TrendlineParameter::kPolynomial ? parameter.numOfDegrees : 1) {}

void Trendline::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  XE_ASSERT(aggregateColumns_->size() >= 2);
  if (static_cast<std::size_t>(modelType_) >= kTrendlineTypeWords.size()) {
    RaiseError(kParametersIncomplete, {});
  }
  if (numOfDegrees_ < 1 || numOfDegrees_ > TrendlineParameter::kMostDegrees) {
    RaiseError(kDegreeNotAllowed, {std::to_wstring(numOfDegrees_)});
  }
  fit_ = ChooseFit();
  x_.Bind(GetSourceField(input), kTrendline);
  BindSource(input);
  const XeFieldDescriptor& y = input.GetPlacedField((*aggregateColumns_)[1]);
  y_.Bind(y, kTrendline);
  yOffset_ = y.GetDataOffset();
  yNullOffset_ = y.GetNullOffset();
  BindResult(*this, info);
}

void Trendline::Initialize(bool) {
  xList_.clear();
  yList_.clear();
  nullIndicators_.clear();
  count_ = 0;
  RestartOutput();
}

RExprReturn Trendline::Compute(unsigned char* record, unsigned int) {
  const bool isNull = IsSourceNull(record) || (yNullOffset_ != 0 && record[yNullOffset_] != 0);
  nullIndicators_.push_back(isNull ? 1 : 0);
  if (isNull) return kTrue;
  xList_.push_back(x_.Read(record + sourceOffset_));
  yList_.push_back(y_.Read(record + yOffset_));
  ++count_;
  return kTrue;
}

RExprReturn Trendline::Finalize() {
  if (!HasResult()) return kTrue;
  if (fit_ == nullptr) RaiseError(kNoSuchFit, {});
  try {
    (this->*fit_)();
    if (isRequired_[TrendlineParameter::kModel]) {
      modelText_ =
          ConstructModelResult(modelType_, outputParameters_,
                               ComputeTrendlineStatistics(numOfDegrees_, yList_, outputValues_));
    }
  } catch (const ErrorMessage& error) {
    HandleError(error);
  }
  return kTrue;
}

Trendline::Fit_t Trendline::ChooseFit() const {
  switch (modelType_) {
    case TrendlineParameter::kLinear:
      return &Trendline::FitLinear;
    case TrendlineParameter::kExponential:
      return &Trendline::FitExponential;
    case TrendlineParameter::kPolynomial:
      return &Trendline::FitPolynomial;
    default:
      return nullptr;
  }
}

template <class Model>
void Trendline::SetOutputValues(const Model& model) {
  outputValues_.resize(count_);
  std::transform(xList_.begin(), xList_.end(), outputValues_.begin(), model);
  if (!isRequired_[TrendlineParameter::kSequence]) return;
  sequenceValues_.resize(nullIndicators_.size());
  float64 x = 0;
  for (float64& value : sequenceValues_) value = model(++x);
}

void Trendline::FitLinear() {
  const LinearModel line = ComputeLinearRegression(xList_, yList_);
  outputParameters_ = {VelmarNumber(line.slope), VelmarNumber(line.intercept)};
  SetOutputValues(line);
}

void Trendline::FitExponential() {
  const ExponentialModel curve = ComputeExponentialRegression(xList_, yList_);
  outputParameters_ = {VelmarNumber(curve.a), VelmarNumber(curve.b)};
  SetOutputValues(curve);
}

void Trendline::FitPolynomial() {
  ComputePolynomialRegression(xList_, yList_, numOfDegrees_, outputParameters_);
  SetOutputValues(PolynomialModel{outputParameters_});
}

void Trendline::HandleError(const ErrorMessage& error) {
  modelText_ = ConstructModelErrorMsg(modelType_, error.GetText());
  SetOutputValuesZero();
}

void Trendline::SetOutputValuesZero() {
  outputValues_.assign(count_, 0);
  sequenceValues_.assign(nullIndicators_.size(), 0);
}

void Trendline::Output(unsigned char* record) { OutputResult(*this, record); }

void TrendlineRef::Bind(XeRecordMetaData&, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  if (trendline_ == nullptr || trendline_->GetResultDataType() == XeUnknown) {
    RaiseError(kNoTrendline, {});
  }
  BindResult(*trendline_, info);
}

}  // namespace sqxer
