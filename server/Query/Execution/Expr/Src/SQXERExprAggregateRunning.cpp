#include "SQXERExprAggregateRunning.h"

namespace sqxer {

RunningSum::RunningSum(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                       UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false) {}

void RunningSum::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  const NumericInput& row = RequireNumericInput(GetSourceField(input), L"RunningSum");
  AggregateColumnVectors columns = TakeColumns();
  ReplaceBy(MakeNumericVariant<RunningSum, RunningSumInt32, RunningSumUInt32, RunningSumFloat64,
                               RunningSumNumber>(input, row, columns, isCumulativeAggregate_),
            result);
  DescribeResult(info, row.computationType, 0, true);
}

template <AccumulatorValue T>
void RunningSumOf<T>::Initialize(bool) {
  result_ = T{};
  this->nullIndicator_ = true;
}

template <AccumulatorValue T>
RExprReturn RunningSumOf<T>::Compute(unsigned char* record, unsigned int) {
  if (this->IsSourceNull(record)) return kTrue;
  this->AddChecked(result_, this->ReadSource(record));
  this->nullIndicator_ = false;
  return kTrue;
}

template <AccumulatorValue T>
void RunningSumOf<T>::Output(unsigned char* record) {
  if (this->OutputNull(record, this->nullIndicator_)) return;
  StoreValue(record + this->targetOffset_, result_);
}

template class RunningSumOf<int32>;
template class RunningSumOf<uint32>;
template class RunningSumOf<float64>;
template class RunningSumOf<VelmarNumber>;

RunningCount::RunningCount(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                           UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false) {}

void RunningCount::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  BindSource(input);
  resultDataType_ = XeUInt4Data;
  DescribeResult(info, resultDataType_, 0, false);
}

void RunningCount::Initialize(bool) { count_ = 0; }

RExprReturn RunningCount::Compute(unsigned char* record, unsigned int) {
  if (!IsSourceNull(record)) ++count_;
  return kTrue;
}

void RunningCount::Output(unsigned char* record) {
  OutputNull(record, false);
  StoreValue(record + targetOffset_, count_);
}

void RunningMax::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  BindExtreme(input, L"RunningMax", result, info);
}

RExprReturn RunningMax::Compute(unsigned char* record, unsigned int) {
  return ComputeExtreme(record, 1, "RUNNINGMAX");
}

void RunningMin::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  BindExtreme(input, L"RunningMin", result, info);
}

RExprReturn RunningMin::Compute(unsigned char* record, unsigned int) {
  return ComputeExtreme(record, -1, "RUNNINGMIN");
}

}  // namespace sqxer
