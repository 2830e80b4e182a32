#include "SQXERExprAggregateFirst.h"

#include <algorithm>
#include <cstring>

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
