#include "SQXERExprAggregateStringAgg.h"

#include <algorithm>
#include <cstring>

#include "SQXEROpsAggregate.h"
#include "SQXERTypedVariant.h"

namespace sqxer {

StringAgg::StringAgg(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                     UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false) {
  list_.SetLimit(kMostLength);
}

void StringAgg::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  XE_ASSERT(aggregateColumns_->size() > 1);
  BindSource(input);
  const XeFieldDescriptor& delimiter = input.GetPlacedField((*aggregateColumns_)[1]);
  for (const XeFieldDescriptor* field : {&GetSourceField(input), &delimiter}) {
    const XeDataType type = field->GetDataType();
    const bool isWide = field->IsUnicode(input.IsUnicodeRecord());
    if ((type != XeVarCharData && type != XeLongVarCharData) || !isWide)
      throwExecutionError(kTypeNotSupported, L"StringAgg", type, XeUnknown);
  }
  delimiterOffset_ = delimiter.GetDataOffset();
  delimiterNullOffset_ = delimiter.GetNullOffset();
  resultDataType_ = XeVarCharData;
  DescribeResult(info, resultDataType_, kMostLength, true);
}

void StringAgg::Initialize(bool) {
  nullIndicator_ = true;
  list_.Clear();
}

RExprReturn StringAgg::Compute(unsigned char* record, unsigned int) {
  if (IsSourceNull(record)) return kTrue;
  AtSourcePosition([&] {
    const bool isNull = delimiterNullOffset_ != 0 && record[delimiterNullOffset_] != 0;
    if (!nullIndicator_ && !isNull) Append(record + delimiterOffset_);
    Append(record + sourceOffset_);
  });
  nullIndicator_ = false;
  return kTrue;
}

void StringAgg::Append(const uint8* text) {
  const auto length = LoadValue<uint32>(text);
  if (length == 0) return;
  std::memcpy(list_.Extend(length), text + kLongVarPrefix, length * sizeof(wchar_t));
}

void StringAgg::Output(unsigned char* record) {
  if (OutputNull(record, nullIndicator_)) return;
  OutputText(record, list_.GetCharacters(), list_.GetLength());
}

}  // namespace sqxer
