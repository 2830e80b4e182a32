#include "SQXERExprAggregateAvg.h"

#include <algorithm>

#include "SQXERExprAggregateInterval.h"
#include "SQXEROpsArithmetic.h"
#include "SQXEROpsStatistics.h"

namespace sqxer {

Avg::Avg(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
         UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false) {}

void Avg::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  if (GetSourceField(input).GetDataType() == XeIntervalData) {
    AggregateColumnVectors columns = TakeColumns();
    ReplaceBy(std::make_unique<AvgInterval>(input, columns, isCumulativeAggregate_), result);
    return DescribeResult(info, XeIntervalData, 0, true);
  }
  const NumericInput& row = RequireNumericInput(GetSourceField(input), L"Avg");
  AggregateColumnVectors columns = TakeColumns();
  ReplaceBy(MakeNumericVariant<Avg, AvgInt32, AvgUInt32, AvgFloat64, AvgNumber>(
                input, row, columns, isCumulativeAggregate_),
            result);
  DescribeResult(info, row.computationType, 0, true);
}

template <AccumulatorValue T>
void AvgOf<T>::Initialize(bool) {
  sum_ = result_ = T{};
  this->count_ = 0;
  this->nullIndicator_ = true;
}

template <AccumulatorValue T>
RExprReturn AvgOf<T>::Compute(unsigned char* record, unsigned int) {
  if (this->IsSourceNull(record)) return kTrue;
  this->nullIndicator_ = false;
  const T value = this->ReadSource(record);
  this->Calculate([&] { sum_ = AddUnchecked(sum_, value); });
  ++this->count_;
  return kTrue;
}

template <AccumulatorValue T>
RExprReturn AvgOf<T>::Finalize() {
  if (this->nullIndicator_) return kTrue;
  if (this->count_ == 0) this->RaiseError(kDivisionByZero, {});
  this->Calculate([this] { result_ = DivideByCount(sum_, this->count_); });
  return kTrue;
}

template <AccumulatorValue T>
void AvgOf<T>::Output(unsigned char* record) {
  if (this->OutputNull(record, this->nullIndicator_)) return;
  StoreValue(record + this->targetOffset_, result_);
}

template <AccumulatorValue T>
uint32 AvgOf<T>::TransferState(StateTransfer transfer, uint8* state) {
  return this->TransferFields(transfer, state, sum_, this->count_, this->nullIndicator_);
}

template <AccumulatorValue T>
bool AvgOf<T>::TakesBatches() {
  return this->converter_.fieldConvert_ == nullptr;
}

template <AccumulatorValue T>
bool AvgOf<T>::AdmitsInput(const BatchVector* input, const BatchRows& rows) {
  return fold_.AdmitsInput(*input, rows, false);
}

template <AccumulatorValue T>
bool AvgOf<T>::AdmitsStates(const BatchFold& fold) {
  return fold_.AdmitsStates(fold);
}

template <AccumulatorValue T>
void AvgOf<T>::FoldBatch(const BatchFold& fold) {
  fold_.Fold(fold);
}

template <AccumulatorValue T>
bool AvgOf<T>::OutputState(uint8* state, unsigned char* record) {
  return this->OutputRestored(*this, state, record);
}

template <AccumulatorValue T>
bool AvgOf<T>::AdmitsMerge(const uint8* state, const uint8* later, uint32 stretches) {
  return std::integral<T> || (fold_.IsPart(state, stretches) && fold_.IsPart(later, stretches));
}

template <AccumulatorValue T>
void AvgOf<T>::MergeState(uint8* state, const uint8* later) {
  fold_.Merge(state, later);
}

template class AvgOf<int32>;
template class AvgOf<uint32>;
template class AvgOf<float64>;
template class AvgOf<VelmarNumber>;

AvgAll::AvgAll(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
               UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
    : Aggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns, isCumulativeAggregate,
                false) {}

void AvgAll::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  const NumericInput& row = RequireNumericInput(GetSourceField(input), L"AvgAll");
  AggregateColumnVectors columns = TakeColumns();
  ReplaceBy(MakeNumericVariant<AvgAll, AvgAllInt32, AvgAllUInt32, AvgAllFloat64, AvgAllNumber>(
                input, row, columns, isCumulativeAggregate_),
            result);
  DescribeResult(info, XeUInt4Data, 0, false);
}

void AvgAll::SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) {
  uint32 unusedNullOffset;
  const unsigned int first = fieldIndex;
  PlaceFirstResult(target, first, XeUInt4Data);
  PlaceResult(target, first, XeUInt4Data, countOffset_, countNullOffset_);
  PlaceResult(target, first + 1, resultDataType_, averageOffset_, averageNullOffset_);
  PlaceResult(target, first + 2, XeDoubleData, seOffset_, unusedNullOffset);
  PlaceResult(target, first + 3, XeDoubleData, cofVariationOffset_, unusedNullOffset);
}

template <AccumulatorValue T>
void AvgAllOf<T>::Initialize(bool) {
  sum_ = average_ = squaresSum_ = T{};
  this->se_ = this->cofVariation_ = 0;
  this->count_ = 0;
  this->nullIndicator_ = true;
}

template <AccumulatorValue T>
RExprReturn AvgAllOf<T>::Compute(unsigned char* record, unsigned int) {
  if (this->IsSourceNull(record)) return kTrue;
  this->nullIndicator_ = false;
  ++this->count_;
  const T value = this->ReadSource(record);
  this->Calculate([&] {
    sum_ = AddUnchecked(sum_, value);
    squaresSum_ = AddUnchecked(squaresSum_, SquareUnchecked(sum_));
  });
  return kTrue;
}

template <AccumulatorValue T>
RExprReturn AvgAllOf<T>::Finalize() {
  if (this->nullIndicator_) return kTrue;
  if (this->count_ == 0) this->RaiseError(kDivisionByZero, {});
  this->Calculate([this] {
    average_ = DivideByCount(sum_, this->count_);
    this->se_ = StandardError(sum_, squaresSum_, this->count_);
  });
  this->cofVariation_ = this->se_;
  return kTrue;
}

template <AccumulatorValue T>
void AvgAllOf<T>::Output(unsigned char* record) {
  if (this->averageNullOffset_ != 0) {
    uint8* const indicators = record + this->averageNullOffset_;
    if (this->nullIndicator_) {
      std::fill_n(indicators, 3, uint8{1});
      return;
    }
    // The fourth is not one of ours: layouts leave a byte for it.
    std::fill_n(indicators, 4, uint8{0});
  }
  StoreValue(record + this->countOffset_, this->count_);
  StoreValue(record + this->averageOffset_, average_);
  StoreValue(record + this->seOffset_, this->se_);
  StoreValue(record + this->cofVariationOffset_, this->cofVariation_);
}

template <AccumulatorValue T>
uint32 AvgAllOf<T>::TransferState(StateTransfer transfer, uint8* state) {
  return this->TransferFields(transfer, state, sum_, squaresSum_, this->count_,
                              this->nullIndicator_);
}

template <AccumulatorValue T>
bool AvgAllOf<T>::TakesBatches() {
  // Squares of decimals have errors of their own.
  return !std::same_as<T, VelmarNumber> && this->converter_.fieldConvert_ == nullptr;
}

namespace {

/// The state of AVG_ALL: the sum, that of its squares, how many values there are, and whether there
/// is none.
template <class T>
class AvgAllState {
 public:
  explicit AvgAllState(const BatchVector& input) : input_(input) {}
  void Load(const uint8* state) {
    sum_ = LoadValue<T>(state);
    squares_ = LoadValue<T>(state + sizeof sum_);
    count_ = LoadValue<uint32>(state + 2 * sizeof sum_);
    isNull_ = state[2 * sizeof sum_ + sizeof count_];
  }
  void Add(uint32 row, bool isValue) {
    if (!isValue) return;
    sum_ = AddUnchecked(sum_, ReadBatchValue<T>(input_, row));
    squares_ = AddUnchecked(squares_, SquareUnchecked(sum_));
    ++count_;
    isNull_ = 0;
  }
  void Store(uint8* state) const {
    StoreValue(state, sum_);
    StoreValue(state + sizeof sum_, squares_);
    StoreValue(state + 2 * sizeof sum_, count_);
    state[2 * sizeof sum_ + sizeof count_] = isNull_;
  }

 private:
  const BatchVector& input_;
  T sum_{};
  T squares_{};
  uint32 count_ = 0;
  uint8 isNull_ = 1;
};

}  // namespace

template <AccumulatorValue T>
void AvgAllOf<T>::FoldBatch(const BatchFold& fold) {
  FoldRows(fold, AvgAllState<T>(*fold.input));
}

template class AvgAllOf<int32>;
template class AvgAllOf<uint32>;
template class AvgAllOf<float64>;
template class AvgAllOf<VelmarNumber>;

}  // namespace sqxer
