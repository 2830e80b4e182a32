#include "SQXERExprAggregateCount.h"

#include <bit>
#include <cstring>

#include "SQXERDistinctValues.h"
#include "SQXERExprAggregateSum.h"

namespace sqxer {

namespace {

/// COUNT is never NULL, whatever indicator its target has.
unsigned int StoreCount(uint8* target, uint8* targetNull, uint32 count) {
  std::memcpy(target, &count, sizeof(count));
  if (targetNull != nullptr) *targetNull = 0;
  return sizeof(count);
}

/// A state that is a count.
class CountState {
 public:
  void Load(const uint8* state) { count_ = LoadValue<uint32>(state); }
  void Add(uint32, bool isValue) { count_ += isValue; }
  void Store(uint8* state) const { StoreValue(state, count_); }

 private:
  uint32 count_ = 0;
};

/// Rows of one group are counted by their bits.
void FoldCounts(const BatchFold& fold) {
  const BatchVector* const input = fold.input;
  const bool isDense = input != nullptr && !input->isConstant && fold.rows == nullptr;
  if (fold.state == nullptr || (input != nullptr && input->validity != nullptr && !isDense))
    return FoldRows(fold, CountState());
  uint32 count = fold.count;
  if (input != nullptr && input->validity != nullptr) {
    const uint64* const validity = input->validity;
    count = 0;
    for (uint32 word = 0; word < fold.count / 64; ++word) {
      count += static_cast<uint32>(std::popcount(validity[word]));
    }
    if (const uint32 rest = fold.count % 64; rest != 0) {
      const uint64 bits = validity[fold.count / 64] & ((uint64{1} << rest) - 1);
      count += static_cast<uint32>(std::popcount(bits));
    }
  }
  StoreValue(fold.state, LoadValue<uint32>(fold.state) + count);
}

void AddCount(uint8* state, const uint8* later) {
  StoreValue(state, LoadValue<uint32>(state) + LoadValue<uint32>(later));
}

}  // namespace

Count::Count(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
             UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate, bool isDistinctHandled,
             bool areColumnsSorted)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, isDistinctHandled),
      bComputeColumnsSorted_(areColumnsSorted) {}

void Count::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  BindSource(input);
  if (isDistinctHandled_) RequireOrder(L"Count");
  BindDistinctMetaData();
  resultDataType_ = XeUInt4Data;
  DescribeResult(info, resultDataType_, 0, false);
}

void Count::BindDistinctMetaData() {
  if (!bComputeColumnsSorted_) return Aggregate::BindDistinctMetaData();
  if (!isDistinctHandled_) return;
  DescribeTempField(sourceDataType_, sourceDataSize_);
  countKeySet_ = MakeDistinctSortKeySet(tempRecordMetadata_, kAscending, false);
  prevFieldBuffer_.Reserve(sourceDataSize_);
}

void Count::DistinctInitialize() {
  if (moving_ != nullptr) return moving_->Clear();
  if (!bComputeColumnsSorted_) return Aggregate::DistinctInitialize();
  bFirstRecord_ = true;
}

void Count::Initialize(bool) {
  count_ = 0;
  DistinctInitialize();
}

RExprReturn Count::Compute(unsigned char* record, unsigned int) {
  if (IsSourceNull(record)) return kTrue;
  if (!isDistinctHandled_) [[likely]] {
    ++count_;
  } else if (moving_ != nullptr) {
    const uint8* const value = record + sourceOffset_;
    moving_->Add(value, CountSourceBytes(value));
  } else if (bComputeColumnsSorted_) {
    CountUnlessRepeated(record + sourceOffset_);
  } else {
    SortDistinctValue(record + sourceOffset_, currentRecordDataSize_);
  }
  return kTrue;
}

void Count::CountUnlessRepeated(const uint8* value) {
  if (!bFirstRecord_ && countKeySet_->Compare(value, prevFieldBuffer_.data()) == 0) return;
  ++count_;
  bFirstRecord_ = false;
  std::memcpy(prevFieldBuffer_.data(), value, CountSourceBytes(value));
}

RExprReturn Count::Finalize() {
  if (moving_ != nullptr) {
    count_ = moving_->GetCount();
  } else if (distinctValues_ != nullptr) {
    count_ += distinctValues_->Count(distinctGroup_);
  } else if (isDistinctHandled_ && !bComputeColumnsSorted_) {
    DrainDistinctValues([this](const uint8*) { ++count_; });
  }
  return kTrue;
}

void Count::Output(unsigned char* record) {
  StoreCount(record + targetOffset_, targetNullOffset_ == 0 ? nullptr : record + targetNullOffset_,
             count_);
}

Aggregate* Count::GetSourceAggregator() { return MakeOverOwn<Count>(isDistinctHandled_, false); }

Aggregate* Count::GetPartialsAggregator(UInt16Vector* partialColumns) {
  return MakeOver<Sum>(partialColumns, isDistinctHandled_);
}

unsigned int Count::InitializeResult(unsigned char* target, unsigned char* targetNull,
                                     unsigned char*, unsigned int, unsigned char* sourceNull) {
  const bool isNull = sourceNull != nullptr && *sourceNull != 0;
  return StoreCount(target, targetNull, isNull ? 0 : 1);
}

uint32 Count::TransferState(StateTransfer transfer, uint8* state) {
  if (distinctValues_ != nullptr) return TransferFields(transfer, state, distinctGroup_, count_);
  return isDistinctHandled_ ? 0 : TransferFields(transfer, state, count_);
}

bool Count::HoldTogether(HeldMemory& memory) {
  return isDistinctHandled_ && !bComputeColumnsSorted_ && HoldDistinctTogether(memory);
}

bool Count::HoldMovingRows() {
  if (!isDistinctHandled_ || bComputeColumnsSorted_) return false;
  const XeFieldDescriptor& field = *tempRecordMetadata_.GetFieldDescriptor(0);
  moving_ = std::make_unique<MovingDistinct>(
      KeyDesc(field, kAscending, KeyDesc::GetCharComparisonType()).MovedTo(0, 0, false));
  sorter_.reset();
  return true;
}

void Count::Remove(unsigned char* record, unsigned int) {
  if (!IsSourceNull(record)) moving_->Remove(record + sourceOffset_);
}

bool Count::TakesBatches() { return !isDistinctHandled_ || distinctValues_ != nullptr; }

bool Count::AdmitsInput(const BatchVector* input, const BatchRows& rows) {
  return distinctValues_ == nullptr || distinctValues_->Admits(*input, rows);
}

void Count::FoldBatch(const BatchFold& fold) {
  if (distinctValues_ != nullptr) return distinctValues_->AddBatch(fold, 0);
  FoldCounts(fold);
}

bool Count::OutputState(uint8* state, unsigned char* record) {
  return !isDistinctHandled_ && OutputRestored(*this, state, record);
}

void Count::MergeState(uint8* state, const uint8* later) { AddCount(state, later); }

CountStar::CountStar(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                     UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false) {}

void CountStar::Bind(XeRecordMetaData&, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  resultDataType_ = XeUInt4Data;
  DescribeResult(info, resultDataType_, 0, false);
}

void CountStar::Initialize(bool) { count_ = 0; }

RExprReturn CountStar::Compute(unsigned char*, unsigned int) {
  ++count_;
  return kTrue;
}

void CountStar::Output(unsigned char* record) {
  StoreCount(record + targetOffset_, targetNullOffset_ == 0 ? nullptr : record + targetNullOffset_,
             count_);
}

unsigned int CountStar::InitializeResult(unsigned char* target, unsigned char* targetNull,
                                         unsigned char*, unsigned int, unsigned char*) {
  return StoreCount(target, targetNull, 1);
}

uint32 CountStar::TransferState(StateTransfer transfer, uint8* state) {
  return TransferFields(transfer, state, count_);
}

bool CountStar::TakesBatches() { return true; }
bool CountStar::AdmitsInput(const BatchVector*, const BatchRows&) { return true; }

void CountStar::FoldBatch(const BatchFold& fold) {
  BatchFold rows = fold;
  rows.input = nullptr;
  FoldCounts(rows);
}

bool CountStar::OutputState(uint8* state, unsigned char* record) {
  return OutputRestored(*this, state, record);
}

void CountStar::MergeState(uint8* state, const uint8* later) { AddCount(state, later); }

}  // namespace sqxer
