#include "SQXERExprAggregateRange.h"

#include <algorithm>

namespace sqxer {

Range::Range(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
             UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
    : Aggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns, isCumulativeAggregate,
                false) {}

void Range::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  const NumericInput& row = RequireNumericInput(GetSourceField(input), L"Range");
  AggregateColumnVectors columns = TakeColumns();
  ReplaceBy(MakeNumericVariant<Range, RangeInt32, RangeUInt32, RangeFloat64, RangeNumber>(
                input, row, columns, isCumulativeAggregate_),
            result);
  DescribeResult(info, row.computationType, 0, true);
}

void Range::SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) {
  uint32 unusedNullOffset;
  const unsigned int first = fieldIndex;
  PlaceFirstResult(target, first, resultDataType_);
  PlaceResult(target, first, resultDataType_, maxOffset_, maxNullOffset_);
  PlaceResult(target, first + 1, resultDataType_, minOffset_, unusedNullOffset);
}

template <AccumulatorValue T>
void RangeOf<T>::Initialize(bool) {
  max_ = LowestValue<T>();
  min_ = HighestValue<T>();
  this->nullIndicator_ = true;
}

template <AccumulatorValue T>
RExprReturn RangeOf<T>::Compute(unsigned char* record, unsigned int) {
  if (this->IsSourceNull(record)) return kTrue;
  value_ = this->ReadSource(record);
  if (value_ < min_) min_ = value_;
  if (value_ > max_) max_ = value_;
  this->nullIndicator_ = false;
  return kTrue;
}

template <AccumulatorValue T>
void RangeOf<T>::Output(unsigned char* record) {
  if (this->maxNullOffset_ != 0) {
    std::fill_n(record + this->maxNullOffset_, 2, uint8{this->nullIndicator_});
    if (this->nullIndicator_) return;
  }
  StoreValue(record + this->maxOffset_, max_);
  StoreValue(record + this->minOffset_, min_);
}

template <AccumulatorValue T>
uint32 RangeOf<T>::TransferState(StateTransfer transfer, uint8* state) {
  return this->TransferFields(transfer, state, max_, min_, this->nullIndicator_);
}

template class RangeOf<int32>;
template class RangeOf<uint32>;
template class RangeOf<float64>;
template class RangeOf<VelmarNumber>;

}  // namespace sqxer
