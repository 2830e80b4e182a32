#include "SQXERExprAggregateMedianInterval.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "SQXEROpsInterval.h"
#include "SQXEROpsSelection.h"

namespace sqxer {

QuantileInterval::QuantileInterval(const XeRecordMetaData& input, AggregateColumnVectors& columns,
                                   bool isCumulativeAggregate, float64 fraction, bool isContinuous)
    : SingleResultAggregate(columns.aggregate_.release(), columns.controlBreak_.release(),
                            columns.distinctBreak_.release(), isCumulativeAggregate, false),
      fraction_(fraction),
      isContinuous_(isContinuous) {
  BindSource(input);
  resultDataType_ = XeIntervalData;
}

void QuantileInterval::Initialize(bool) {
  values_.clear();
  nullIndicator_ = true;
}

RExprReturn QuantileInterval::Compute(unsigned char* record, unsigned int) {
  if (!IsSourceNull(record)) values_.push_back(LoadValue<XeInterval>(record + sourceOffset_));
  return kTrue;
}

RExprReturn QuantileInterval::Finalize() {
  nullIndicator_ = values_.empty() || std::isnan(fraction_);
  if (nullIndicator_) return kTrue;
  const auto precedes = [](const XeInterval& a, const XeInterval& b) {
    const int order = XeInterval::Compare(a, b);
    return order != 0 ? order < 0
                      : std::tie(a.months, a.days, a.microseconds) <
                            std::tie(b.months, b.days, b.microseconds);
  };
  const QuantilePlace place = PlaceOfFraction(values_.size(), fraction_, isContinuous_);
  const auto at = values_.begin() + static_cast<std::ptrdiff_t>(place.rank);
  std::nth_element(values_.begin(), at, values_.end(), precedes);
  result_ = *at;
  if (place.share <= 0) return kTrue;
  const XeInterval next = *std::min_element(at + 1, values_.end(), precedes);
  AtSourcePosition([&] {
    const XeInterval difference = SubtractIntervalsOp::Apply(next, result_);
    result_ = AddIntervalsOp::Apply(result_, MultiplyIntervalOp::Apply(difference, place.share));
  });
  return kTrue;
}

void QuantileInterval::Output(unsigned char* record) {
  if (OutputNull(record, nullIndicator_)) return;
  StoreValue(record + targetOffset_, result_);
}

}  // namespace sqxer
