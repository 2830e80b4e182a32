#include "SQXERExprAggregateSum.h"

#include "SQXERDistinctValues.h"
#include "SQXERExprAggregateInterval.h"

namespace sqxer {

Sum::Sum(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
         UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, bool isDistinctHandled)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, isDistinctHandled) {}

void Sum::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  if (GetSourceField(input).GetDataType() == XeIntervalData) {
    AggregateColumnVectors columns = TakeColumns();
    ReplaceBy(
        std::make_unique<SumInterval>(input, columns, isCumulativeAggregate_, isDistinctHandled_),
        result);
    return DescribeResult(info, XeIntervalData, 0, true);
  }
  const NumericInput& row = RequireNumericInput(GetSourceField(input), L"Sum");
  AggregateColumnVectors columns = TakeColumns();
  ReplaceBy(MakeNumericVariant<Sum, SumInt32, SumUInt32, SumFloat64, SumNumber>(
                input, row, columns, isCumulativeAggregate_, isDistinctHandled_),
            result);
  DescribeResult(info, row.computationType, 0, true);
}

Aggregate* Sum::GetSourceAggregator() { return MakeOverOwn<Sum>(isDistinctHandled_); }

Aggregate* Sum::GetPartialsAggregator(UInt16Vector* partialColumns) {
  return MakeOver<Sum>(partialColumns, isDistinctHandled_);
}

template <AccumulatorValue T>
void SumOf<T>::Initialize(bool) {
  result_ = T{};
  this->nullIndicator_ = true;
  this->DistinctInitialize();
}

template <AccumulatorValue T>
RExprReturn SumOf<T>::Compute(unsigned char* record, unsigned int) {
  if (this->IsSourceNull(record)) return kTrue;
  this->nullIndicator_ = false;
  const T value = this->ReadSource(record);
  if (!this->isDistinctHandled_) [[likely]] {
    this->AddChecked(result_, value);
  } else {
    this->SortDistinctValue(&value, sizeof(T));
  }
  return kTrue;
}

template <AccumulatorValue T>
RExprReturn SumOf<T>::Finalize() {
  if (this->isDistinctHandled_) {
    this->DrainDistinctValues([this](const uint8* value) {
      this->nullIndicator_ = false;
      this->AddChecked(result_, LoadValue<T>(value));
    });
  }
  return kTrue;
}

template <AccumulatorValue T>
void SumOf<T>::Output(unsigned char* record) {
  if (this->OutputNull(record, this->nullIndicator_)) return;
  StoreValue(record + this->targetOffset_, result_);
}

template <AccumulatorValue T>
uint32 SumOf<T>::TransferState(StateTransfer transfer, uint8* state) {
  if (this->distinctValues_ != nullptr) {
    return this->TransferFields(transfer, state, this->distinctGroup_);
  }
  if (this->isDistinctHandled_) return 0;
  return this->TransferFields(transfer, state, result_, this->nullIndicator_);
}

template <AccumulatorValue T>
bool SumOf<T>::HoldTogether(HeldMemory& memory) {
  return this->isDistinctHandled_ && this->HoldDistinctTogether(memory);
}

template <AccumulatorValue T>
bool SumOf<T>::TakesBatches() {
  if (this->isDistinctHandled_) return this->distinctValues_ != nullptr;
  return this->converter_.fieldConvert_ == nullptr;
}

template <AccumulatorValue T>
bool SumOf<T>::AdmitsInput(const BatchVector* input, const BatchRows& rows) {
  if (this->distinctValues_ != nullptr) return this->distinctValues_->Admits(*input, rows);
  return fold_.AdmitsInput(*input, rows, true);
}

template <AccumulatorValue T>
bool SumOf<T>::AdmitsStates(const BatchFold& fold) {
  return this->isDistinctHandled_ || fold_.AdmitsStates(fold);
}

template <AccumulatorValue T>
void SumOf<T>::FoldBatch(const BatchFold& fold) {
  if (this->distinctValues_ != nullptr) return this->distinctValues_->AddBatch(fold, 0);
  fold_.Fold(fold);
}

template <AccumulatorValue T>
bool SumOf<T>::OutputState(uint8* state, unsigned char* record) {
  return !this->isDistinctHandled_ && this->OutputRestored(*this, state, record);
}

template <AccumulatorValue T>
bool SumOf<T>::AdmitsMerge(const uint8* state, const uint8* later, uint32 stretches) {
  return fold_.IsPart(state, stretches) && fold_.IsPart(later, stretches);
}

template <AccumulatorValue T>
void SumOf<T>::MergeState(uint8* state, const uint8* later) {
  fold_.Merge(state, later);
}

template class SumOf<int32>;
template class SumOf<uint32>;
template class SumOf<float64>;
template class SumOf<VelmarNumber>;

}  // namespace sqxer
