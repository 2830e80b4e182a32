#include "SQXERExprAggregateMoving.h"

#include <algorithm>
#include <utility>

#include "SQXERPositiveExpression.h"

namespace sqxer {

MovingAggregate::MovingAggregate(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                                 UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                                 RExpression* windowSize)
    : MovingAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                      isCumulativeAggregate, std::unique_ptr<RExpression>(windowSize)) {}

MovingAggregate::MovingAggregate(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                                 UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                                 std::unique_ptr<RExpression> windowSize)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false),
      windowSizeExpr_(std::move(windowSize)) {}

template <class Generic, class... Variants>
void MovingAggregate::BindMoving(XeRecordMetaData& input, const XeString& operatorName,
                                 RExpression*& result, MetaDataInfo& info) {
  const NumericInput& row = RequireNumericInput(GetSourceField(input), operatorName);
  BindPositiveExpression(windowSizeExpr_, operatorName, info);
  AggregateColumnVectors columns = TakeColumns();
  // The variant gets its window size once it stands: until then it has one owner.
  RExpression* const none = nullptr;
  std::unique_ptr<MovingAggregate> variant =
      MakeNumericVariant<Generic, Variants...>(input, row, columns, isCumulativeAggregate_, none);
  variant->windowSizeExpr_ = std::move(windowSizeExpr_);
  ReplaceBy(std::move(variant), result);
  DescribeResult(info, row.computationType, 0, true);
}

void MovingSum::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  BindMoving<MovingSum, MovingSumInt32, MovingSumUInt32, MovingSumFloat64, MovingSumNumber>(
      input, L"MovingSum", result, info);
}

void MovingAvg::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  BindMoving<MovingAvg, MovingAvgInt32, MovingAvgUInt32, MovingAvgFloat64, MovingAvgNumber>(
      input, L"MovingAvg", result, info);
}

template <class Generic, AccumulatorValue T, template <class> class Op>
void MovingOf<Generic, T, Op>::Initialize(bool) {
  VerifyPositiveExpression(*this->windowSizeExpr_, this->windowSize_);
  if (this->windowSize_ > this->prevWindowSize_) GrowWindow();
  sum_ = result_ = T{};
  this->count_ = 0;
  this->nullIndicator_ = true;
}

template <class Generic, AccumulatorValue T, template <class> class Op>
void MovingOf<Generic, T, Op>::GrowWindow() {
  // When there is no memory for the new room, there is none at all.
  dataWindow_.reset();
  this->prevWindowSize_ = 0;
  dataWindow_ = std::make_unique_for_overwrite<uint8[]>(sizeof(T) * this->windowSize_);
  this->prevWindowSize_ = this->windowSize_;
}

template <class Generic, AccumulatorValue T, template <class> class Op>
RExprReturn MovingOf<Generic, T, Op>::Compute(unsigned char* record, unsigned int) {
  if (this->IsSourceNull(record)) return kTrue;
  const T value = this->ReadSource(record);
  T* const slots = reinterpret_cast<T*>(dataWindow_.get());
  bool fits = false;
  this->Calculate(
      [&] { fits = SlideWindow<Op<T>>(slots, this->windowSize_, this->count_, value, sum_); });
  // Only signed 32-bit sums are refused.
  if (!fits) [[unlikely]]
    this->RaiseError(kOverflow, {NodeName(*this), kInt32LimitText});
  ++this->count_;
  this->nullIndicator_ = false;
  return kTrue;
}

template <class Generic, AccumulatorValue T, template <class> class Op>
RExprReturn MovingOf<Generic, T, Op>::Finalize() {
  if (this->prevWindowSize_ == 0) XeLogicError("a moving aggregate is driven before Initialize");
  if (this->nullIndicator_) return kTrue;
  if (this->count_ == 0) this->RaiseError(kDivisionByZero, {});
  this->Calculate(
      [this] { result_ = Op<T>::Result(sum_, std::min(this->count_, this->windowSize_)); });
  return kTrue;
}

template <class Generic, AccumulatorValue T, template <class> class Op>
void MovingOf<Generic, T, Op>::Output(unsigned char* record) {
  if (this->OutputNull(record, this->nullIndicator_)) return;
  StoreValue(record + this->targetOffset_, result_);
}

template class MovingOf<MovingSum, int32, MovingSumOp>;
template class MovingOf<MovingSum, uint32, MovingSumOp>;
template class MovingOf<MovingSum, float64, MovingSumOp>;
template class MovingOf<MovingSum, VelmarNumber, MovingSumOp>;
template class MovingOf<MovingAvg, int32, MovingAvgOp>;
template class MovingOf<MovingAvg, uint32, MovingAvgOp>;
template class MovingOf<MovingAvg, float64, MovingAvgOp>;
template class MovingOf<MovingAvg, VelmarNumber, MovingAvgOp>;

}  // namespace sqxer
