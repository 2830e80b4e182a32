#include "SQXERExprAggregateRuns.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "SQXEROpsAggregate.h"
#include "SQXERTypedVariant.h"

namespace sqxer {

void RunsAggregate::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  KeptValueAggregate::Bind(input, result, info);
  RequireOrder(NodeName(*this));
  key_ = KeyDesc(GetSourceField(input), kAscending, KeyDesc::GetCharComparisonType());
  ReserveKept(run_, dataSize_);
}

void RunsAggregate::Initialize(bool restart) {
  KeptValueAggregate::Initialize(restart);
  count_ = 0;
}

RExprReturn RunsAggregate::ComputeTimes(const unsigned char* record, uint32 times) {
  if (IsSourceNull(record)) return kTrue;
  const uint8* const value = record + sourceOffset_;
  if (count_ != 0 && key_.CompareValues(value, run_.data()) == 0) {
    count_ += times;
    return kTrue;
  }
  if (count_ != 0) EndRun(count_);
  std::memcpy(run_.data(), value, std::min(dataSize_, CountSourceBytes(value)));
  StartRun(record);
  count_ = times;
  return kTrue;
}

RExprReturn RunsAggregate::Finalize() {
  if (count_ != 0) EndRun(count_);
  count_ = 0;
  return kTrue;
}

void Mode::Initialize(bool restart) {
  RunsAggregate::Initialize(restart);
  most_ = 0;
}

void Mode::EndRun(uint32 count) {
  if (count <= most_) return;
  most_ = count;
  std::memcpy(tempRow_.data(), run_.data(), CountUsedBytes(run_.data(), dataSize_, sourceUnit_));
  nullIndicator_ = false;
}

Histogram::Histogram(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                     UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
    : RunsAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                    isCumulativeAggregate) {
  list_.SetLimit(kMostLength);
}

void Histogram::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  XE_ASSERT(aggregateColumns_->size() > 1);
  RunsAggregate::Bind(input, result, info);
  const XeFieldDescriptor& text = input.GetPlacedField((*aggregateColumns_)[1]);
  const XeDataType type = text.GetDataType();
  if ((type != XeVarCharData && type != XeLongVarCharData) ||
      !text.IsUnicode(input.IsUnicodeRecord()))
    throwExecutionError(kTypeNotSupported, L"Histogram", type, XeUnknown);
  textOffset_ = text.GetDataOffset();
  isResultNarrow_ = false;
  resultDataType_ = XeVarCharData;
  DescribeResult(info, resultDataType_, kMostLength, true);
}

void Histogram::Initialize(bool restart) {
  RunsAggregate::Initialize(restart);
  list_.Clear();
}

void Histogram::StartRun(const unsigned char* record) {
  AtSourcePosition([&] {
    list_.Append(std::string_view(nullIndicator_ ? "{" : ", "));
    const auto length = LoadValue<uint32>(record + textOffset_);
    std::memcpy(list_.Extend(length), record + textOffset_ + kLongVarPrefix,
                length * sizeof(wchar_t));
    nullIndicator_ = false;
  });
}

void Histogram::EndRun(uint32 count) {
  AtSourcePosition([&] {
    list_.Append(L'=');
    list_.Append(std::to_string(count));
  });
}

RExprReturn Histogram::Finalize() {
  RunsAggregate::Finalize();
  if (!nullIndicator_) AtSourcePosition([this] { list_.Append(L'}'); });
  return kTrue;
}

void Histogram::Output(unsigned char* record) {
  if (OutputNull(record, nullIndicator_)) return;
  OutputText(record, list_.GetCharacters(), list_.GetLength());
}

}  // namespace sqxer
