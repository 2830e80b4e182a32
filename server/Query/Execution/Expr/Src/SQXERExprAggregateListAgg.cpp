#include "SQXERExprAggregateListAgg.h"

#include <algorithm>
#include <cstring>

#include "SQXERAggregateVariant.h"
#include "SQXEROpsMeasure.h"
#include "Utility/NumberText.h"

namespace sqxer {

const wchar_t* const S_AGG_DELIMETER = L"; ";

ListAgg::ListAgg(UInt16Vector* aggregateColumns, UInt16Vector* controlBreakColumns,
                 UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                 bool isDistinctHandled)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, isDistinctHandled) {}

void ListAgg::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  BindSource(input);
  if (isDistinctHandled_) RequireOrder(L"ListAgg");
  BindConverter(GetSourceField(input));
  BindDistinctMetaData();
  resultDataType_ = XeVarCharData;
  DescribeResult(info, resultDataType_, kMostCharacters, true);
}

void ListAgg::BindConverter(const XeFieldDescriptor& field) {
  if (SUXeDataTypeUtility::IsXeTextType(sourceDataType_)) {
    objectLength_ = field.GetLength();
    const bool narrow = !tempRecordMetadata_.IsUnicodeRecord();
    if (!narrow && sourceDataType_ != XeCharData) return;
    cvtParams_.text.emplace(sourceDataType_, objectLength_, narrow, XeLongVarCharData,
                            objectLength_);
    fieldConvert_ = [](const ConvertParams& params, const uint8* value, uint8* text) {
      params.text->Convert(value, 0, text);
    };
  } else if (XeFieldDataBinder::CanMove(sourceDataType_, XeLongVarCharData)) {
    objectLength_ = kMostNumberText;
    cvtParams_.value = XeFieldDataBinder(sourceDataType_, 0, XeLongVarCharData, objectLength_);
    cvtParams_.valueSize = sourceDataSize_;
    fieldConvert_ = [](const ConvertParams& params, const uint8* value, uint8* text) {
      // A value in a record may stand anywhere; the binder needs it aligned.
      alignas(16) uint8 aligned[sizeof(VelmarNumber)];
      std::memcpy(aligned, value, params.valueSize);
      params.value.MoveDataToIntoField(aligned, text);
    };
  } else {
    throwExecutionError(kTypeNotSupported, L"ListAgg", sourceDataType_, XeUnknown);
  }
  // A zero character follows a converted text.
  tempListAggOutput_.Reserve(
      XeRecordMetaData::GetByteLength(XeLongVarCharData, objectLength_ + 1, true));
}

void ListAgg::Initialize(bool) {
  resultLength_ = 0;
  DistinctInitialize();
}

RExprReturn ListAgg::Compute(unsigned char* record, unsigned int) {
  if (IsSourceNull(record)) return kTrue;
  if (!isDistinctHandled_) [[likely]] {
    ComputeAndAppendToResult(record + sourceOffset_);
  } else {
    SortDistinctValue(record + sourceOffset_, currentRecordDataSize_);
  }
  return kTrue;
}

RExprReturn ListAgg::Finalize() {
  if (isDistinctHandled_) {
    DrainDistinctValues([this](const uint8* value) { ComputeAndAppendToResult(value); });
  }
  return kTrue;
}

void ListAgg::ComputeAndAppendToResult(const uint8* value) {
  // Nothing more would be seen of it.
  if (resultLength_ == kMostCharacters) return;
  if (fieldConvert_ != nullptr) {
    fieldConvert_(cvtParams_, value, tempListAggOutput_.data());
    value = tempListAggOutput_.data();
  }
  // Stored texts are only read.
  auto* const characters = reinterpret_cast<wchar_t*>(const_cast<uint8*>(value + kLongVarPrefix));
  const int32 trimmed = LengthOp::Apply({LoadValue<uint32>(value), characters});
  const std::wstring_view sourceStr(characters, static_cast<uint32>(trimmed));
  const uint32 objectLength = objectLength_;
  XE_ASSERT(sourceStr.length() <= objectLength);
  if (sourceStr.empty()) return;
  if (resultLength_ > 0) Append(S_AGG_DELIMETER);
  Append(sourceStr);
}

void ListAgg::Append(std::wstring_view text) {
  // A list is cut without a mark, also inside a value or a delimiter: callers rely on a long list
  // being a result and not an error.
  text = text.substr(0, kMostCharacters - resultLength_);
  result_.Reserve(resultLength_ + text.length());
  std::copy(text.begin(), text.end(), result_.data() + resultLength_);
  resultLength_ += static_cast<uint32>(text.length());
}

void ListAgg::Output(unsigned char* record) {
  if (OutputNull(record, resultLength_ == 0)) return;
  OutputText(record, result_.data(), resultLength_);
}

}  // namespace sqxer
