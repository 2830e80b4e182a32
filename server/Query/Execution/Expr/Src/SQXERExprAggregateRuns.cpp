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

void Mode::EndRun(uint64 count) {
  if (count <= most_) return;
  most_ = count;
  std::memcpy(tempRow_.data(), run_.data(), CountUsedBytes(run_.data(), dataSize_, sourceUnit_));
  nullIndicator_ = false;
}

Histogram::Histogram(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                     UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                     std::unique_ptr<RExpression> text)
    : RunsAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                    isCumulativeAggregate),
      text_(std::move(text)) {
  XE_ASSERT(text_ != nullptr);
  list_.SetLimit(kMostLength);
}

void Histogram::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  RunsAggregate::Bind(input, result, info);
  valueLayout_ = XeRecordMetaData(input.IsUnicodeRecord());
  DescribeMovedFields(input, {aggregateColumns_->front()}, valueLayout_);
  valueLayout_.GenerateAlignedFieldOffset();
  valueOffset_ = valueLayout_.GetFieldDescriptor(0)->GetDataOffset();
  // The value alone is ever written; it is no NULL.
  ReserveKept(valueRecord_, valueLayout_.GetBinaryRecordSize());
  std::memset(valueRecord_.data(), 0, valueOffset_);
  valueStream_ = std::make_unique<XeAListStream>(&valueLayout_, valueRecord_.data());
  MetaDataInfo own;
  text_ = BindTree(std::move(text_), valueStream_.get(), own);
  info.AddParametersOf(own);
  if (text_->GetResultDataType() != XeLongVarCharData)
    throwExecutionError(kTypeNotSupported, L"Histogram", text_->GetResultDataType(), XeUnknown);
  isResultNarrow_ = false;
  resultDataType_ = XeVarCharData;
  DescribeResult(info, resultDataType_, kMostLength, true);
}

void Histogram::Initialize(bool restart) {
  RunsAggregate::Initialize(restart);
  list_.Clear();
}

void Histogram::StartRun(const unsigned char*) {
  AtSourcePosition([&] {
    list_.Append(std::string_view(nullIndicator_ ? "{" : ", "));
    std::memcpy(valueRecord_.data() + valueOffset_, run_.data(),
                CountUsedBytes(run_.data(), dataSize_, sourceUnit_));
    RefLongVarChar text;
    if (text_->Eval(&text) == kTrue) list_.Append(text);
    nullIndicator_ = false;
  });
}

void Histogram::EndRun(uint64 count) {
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
