#include "SQXERExprAggregateFirst.h"

#include <algorithm>
#include <cstring>

#include "SQXERBatchFold.h"
#include "SQXERBatchStore.h"

namespace sqxer {

KeptValueAggregate::KeptValueAggregate(UInt16Vector* aggregateColumns,
                                       UInt16Vector* controlBreakColumns,
                                       UInt16Vector* distinctBreakColumns,
                                       bool isCumulativeAggregate)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false) {}

void KeptValueAggregate::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  BindSource(input);
  dataSize_ = sourceDataSize_;
  ReserveKept(tempRow_, dataSize_);
  const XeFieldDescriptor& field = GetSourceField(input);
  resultDataType_ = sourceDataType_;
  isResultNarrow_ = IsSourceNarrow();
  DescribeResult(info, sourceDataType_, field.GetLength(), true, field.GetScale());
}

void KeptValueAggregate::Initialize(bool) { nullIndicator_ = true; }

void KeptValueAggregate::Keep(const unsigned char* record) {
  const uint8* const value = record + sourceOffset_;
  std::memcpy(tempRow_.data(), value, std::min(dataSize_, CountSourceBytes(value)));
  nullIndicator_ = false;
}

void KeptValueAggregate::Output(unsigned char* record) {
  if (OutputNull(record, nullIndicator_)) return;
  OutputStoredValue(record, tempRow_.data(), dataSize_);
}

uint32 KeptValueAggregate::TransferState(StateTransfer transfer, uint8* state) {
  return TransferKept(transfer, state, tempRow_.data(), dataSize_, nullIndicator_);
}

bool KeptValueAggregate::TakesBatches() {
  if (SUXeDataTypeUtility::IsXeTextType(sourceDataType_)) return !IsSourceNarrow();
  return WithStoredType(sourceDataType_, [](auto) {});
}

template <class Use>
void KeptValueAggregate::WithStore(const BatchVector& input, Use&& use) const {
  WithBatchStore(input, sourceDataType_, dataSize_ / uint32{sizeof(wchar_t)}, use);
}

namespace {

constexpr std::size_t kNullOfState = 0;
constexpr std::size_t kIsFirstOfFirst = 1;
constexpr std::size_t kValueOfFirst = 2;
constexpr std::size_t kValueOfLast = 1;

}  // namespace

void First::FoldBatch(const BatchFold& fold) {
  WithStore(*fold.input, [&](auto store) {
    fold.ForEach([&](uint32 index, uint32 row, bool isValue) {
      uint8* const state = fold.StateOf(index);
      if (!isValue || state[kIsFirstOfFirst] == 0) return;
      store(row, state + kValueOfFirst);
      state[kNullOfState] = state[kIsFirstOfFirst] = 0;
    });
  });
}

void Last::FoldBatch(const BatchFold& fold) {
  WithStore(*fold.input, [&](auto store) {
    const auto keep = [&](uint32 row, uint8* state) {
      store(row, state + kValueOfLast);
      state[kNullOfState] = 0;
    };
    constexpr uint32 kNone = ~0u;
    uint32 last = kNone;
    fold.ForEach([&](uint32 index, uint32 row, bool isValue) {
      if (!isValue) return;
      last = row;
      if (fold.state == nullptr) keep(row, fold.StateOf(index));
    });
    if (fold.state != nullptr && last != kNone) keep(last, fold.state);
  });
}

void First::MergeState(uint8* state, const uint8* later) {
  if (state[kIsFirstOfFirst] == 0) return;
  std::memcpy(state, later, TransferState(StateTransfer::kMeasure, nullptr));
}

void Last::MergeState(uint8* state, const uint8* later) {
  if (later[kNullOfState] != 0) return;
  std::memcpy(state, later, TransferState(StateTransfer::kMeasure, nullptr));
}

void First::Initialize(bool restart) {
  KeptValueAggregate::Initialize(restart);
  isThisFirst_ = true;
}

RExprReturn First::Compute(unsigned char* record, unsigned int) {
  if (isThisFirst_ && !IsSourceNull(record)) {
    Keep(record);
    isThisFirst_ = false;
  }
  return kTrue;
}

uint32 First::TransferState(StateTransfer transfer, uint8* state) {
  return TransferKept(transfer, state, tempRow_.data(), dataSize_, nullIndicator_, isThisFirst_);
}

RExprReturn Last::Compute(unsigned char* record, unsigned int) {
  if (!IsSourceNull(record)) Keep(record);
  return kTrue;
}

}  // namespace sqxer
