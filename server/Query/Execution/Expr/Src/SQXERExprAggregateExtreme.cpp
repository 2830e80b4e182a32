#include "SQXERExprAggregateExtreme.h"

#include <cstdio>
#include <cstring>

namespace sqxer {

namespace {

/// Another aggregate of the same kind, with the break columns of `from`. None of them handles
/// DISTINCT: it changes nothing about an extreme.
template <class Kind, class... Flags>
Aggregate* MakePart(const Kind& from, UInt16Vector* columns, Flags... flags) {
  return new Kind(columns, Aggregate::CloneColumnVector(from.GetControlBreakColumns()),
                  Aggregate::CloneColumnVector(from.GetDistinctBreakColumns()),
                  from.IsCumulativeAggregate(), flags...);
}

template <class Kind, class... Flags>
Aggregate* MakeSourcePart(const Kind& from, Flags... flags) {
  return MakePart(from, Aggregate::CloneColumnVector(from.GetAggregateColumns()), flags...);
}

}  // namespace

ExtremeAggregate::ExtremeAggregate(UInt16Vector* aggregateColumns,
                                   UInt16Vector* controlBreakColumns,
                                   UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false) {}

void ExtremeAggregate::BindExtreme(const XeRecordMetaData& input, const XeString& operatorName,
                                   RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  BindSource(input);
  RequireOrder(operatorName);
  const XeFieldDescriptor& field = GetSourceField(input);
  keyDesc_ = KeyDesc(field, kAscending, KeyDesc::GetCharComparisonType());
  bufferSize_ = sourceDataSize_;
  ReserveKept(tempRow_, bufferSize_);
  resultDataType_ = sourceDataType_;
  DescribeResult(info, sourceDataType_, field.GetLength(), true, field.GetScale());
}

void ExtremeAggregate::Initialize(bool) { nullIndicator_ = true; }

RExprReturn ExtremeAggregate::ComputeExtreme(const unsigned char* record, int wanted,
                                             const char* operatorName) {
  if (IsSourceNull(record)) return kTrue;
  CheckFits(operatorName);
  const uint8* const value = record + sourceOffset_;
  if (nullIndicator_ || keyDesc_.CompareValues(value, tempRow_.data()) == wanted) Keep(value);
  return kTrue;
}

void ExtremeAggregate::Keep(const uint8* value) {
  std::memcpy(tempRow_.data(), value, CountSourceBytes(value));
  resultRecordDataSize_ = currentRecordDataSize_;
  nullIndicator_ = false;
}

void ExtremeAggregate::StopBeforeOverrun(const char* operatorName) const {
  std::fprintf(stderr, "%s writing past buffer end %d %d %d\n", operatorName,
               static_cast<int>(currentRecordDataSize_), static_cast<int>(bufferSize_),
               static_cast<int>(sourceDataSize_));
  XeLogicError("an aggregate would write past the end of its buffer");
}

void ExtremeAggregate::Output(unsigned char* record) {
  if (OutputNull(record, nullIndicator_)) return;
  OutputStoredValue(record, tempRow_.data(), resultRecordDataSize_);
}

uint32 ExtremeAggregate::TransferState(StateTransfer transfer, uint8* state) {
  return TransferKept(transfer, state, tempRow_.data(), bufferSize_, nullIndicator_,
                      resultRecordDataSize_);
}

void Max::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  BindExtreme(input, L"Max", result, info);
}

RExprReturn Max::Compute(unsigned char* record, unsigned int) {
  return ComputeExtreme(record, 1, "MAX");
}

Aggregate* Max::GetSourceAggregator() { return MakeSourcePart(*this); }

Aggregate* Max::GetPartialsAggregator(UInt16Vector* partialColumns) {
  return MakePart(*this, partialColumns);
}

void Min::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  BindExtreme(input, L"Min", result, info);
}

RExprReturn Min::Compute(unsigned char* record, unsigned int) {
  return ComputeExtreme(record, -1, "MIN");
}

Aggregate* Min::GetSourceAggregator() { return MakeSourcePart(*this); }

Aggregate* Min::GetPartialsAggregator(UInt16Vector* partialColumns) {
  return MakePart(*this, partialColumns);
}

NullIfNotUnique::NullIfNotUnique(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                                 UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                                 bool isNullOverNoRows)
    : Max(aggregateColumns, controlBreakColumns, distinctBreakColumns, isCumulativeAggregate),
      isNullOverNoRows_(isNullOverNoRows) {}

void NullIfNotUnique::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  BindExtreme(input, L"NullIfNotUnique", result, info);
}

void NullIfNotUnique::Initialize(bool) {
  nullIndicator_ = isNullOverNoRows_;
  isFirstValue_ = true;
}

RExprReturn NullIfNotUnique::Compute(unsigned char* record, unsigned int) {
  if (IsSourceNull(record)) {
    nullIndicator_ = true;
  } else if (isFirstValue_) {
    CheckFits("NULLIFNOTUNIQUE");
    Keep(record + sourceOffset_);
  } else if (keyDesc_.CompareValues(record + sourceOffset_, tempRow_.data()) != 0) {
    nullIndicator_ = true;
  }
  isFirstValue_ = false;
  return kTrue;
}

uint32 NullIfNotUnique::TransferState(StateTransfer transfer, uint8* state) {
  return TransferKept(transfer, state, tempRow_.data(), bufferSize_, nullIndicator_,
                      resultRecordDataSize_, isFirstValue_);
}

Aggregate* NullIfNotUnique::GetSourceAggregator() {
  return MakeSourcePart(*this, isNullOverNoRows_);
}

Aggregate* NullIfNotUnique::GetPartialsAggregator(UInt16Vector* partialColumns) {
  return MakePart(*this, partialColumns, isNullOverNoRows_);
}

}  // namespace sqxer
