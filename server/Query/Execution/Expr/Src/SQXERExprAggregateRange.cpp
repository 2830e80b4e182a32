#include "SQXERExprAggregateRange.h"

#include <algorithm>

#include "SQXERBatchFold.h"

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

namespace {

/// The state of a range: the maximum, the minimum, and whether there is none.
template <class T>
class RangeState {
 public:
  explicit RangeState(const BatchVector* input) : input_(input) {}
  void Load(const uint8* state) {
    max_ = LoadValue<T>(state);
    min_ = LoadValue<T>(state + sizeof max_);
    isAny_ = state[sizeof max_ + sizeof min_] == 0;
  }
  void Add(uint32 row, bool isValue) {
    if (!isValue) return;
    const T value = ReadBatchValue<T>(*input_, row);
    if (value < min_) min_ = value;
    if (value > max_) max_ = value;
    isAny_ = true;
  }
  void Merge(const RangeState& other) {
    if (other.min_ < min_) min_ = other.min_;
    if (other.max_ > max_) max_ = other.max_;
    isAny_ = isAny_ || other.isAny_;
  }
  void Store(uint8* state) const {
    if (!isAny_) return;
    StoreValue(state, max_);
    StoreValue(state + sizeof max_, min_);
    state[sizeof max_ + sizeof min_] = 0;
  }

 private:
  const BatchVector* input_;
  T max_{};
  T min_{};
  bool isAny_ = false;
};

}  // namespace

template <AccumulatorValue T>
void RangeOf<T>::FoldBatch(const BatchFold& fold) {
  FoldRows(fold, RangeState<T>(fold.input));
}

template <AccumulatorValue T>
void RangeOf<T>::MergeState(uint8* state, const uint8* later) {
  const RangeState<T> none(nullptr);
  MergeLoaded(state, later, none, none);
}

template class RangeOf<int32>;
template class RangeOf<uint32>;
template class RangeOf<float64>;
template class RangeOf<VelmarNumber>;

}  // namespace sqxer
