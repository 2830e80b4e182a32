#include "SQXERExprWindowFunction.h"

#include <algorithm>

#include "SQXEROpsAggregate.h"
#include "SQXERTypedVariant.h"

namespace sqxer {
namespace {

/// The place of the `index`-th row of a frame, from 0; nothing where there are not so many.
std::optional<uint64> RowOfFrame(const FrameRows& frame, uint64 index) {
  for (const RowStretch& stretch : frame) {
    if (index < stretch.Count()) return stretch.from + index;
    index -= stretch.Count();
  }
  return {};
}

uint64 CountRows(const FrameRows& frame) {
  uint64 count = 0;
  for (const RowStretch& stretch : frame) count += stretch.Count();
  return count;
}

}  // namespace

void DenseRank::Bind(XeRecordMetaData&, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  resultDataType_ = XeUInt4Data;
  DescribeResult(info, resultDataType_, 0, false);
}

void DenseRank::OutputAt(const WindowPlace& place, WindowRows&, unsigned char* record) {
  OutputNull(record, false);
  StoreValue(record + targetOffset_, static_cast<uint32>(place.peersBefore + 1));
}

void PercentRank::Bind(XeRecordMetaData&, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  resultDataType_ = XeDoubleData;
  DescribeResult(info, resultDataType_, 0, false);
}

void PercentRank::OutputAt(const WindowPlace& place, WindowRows&, unsigned char* record) {
  OutputNull(record, false);
  const auto others = static_cast<float64>(place.rowCount - 1);
  StoreValue(record + targetOffset_,
             others == 0 ? 0.0 : static_cast<float64>(place.peers.from) / others);
}

void CumeDist::Bind(XeRecordMetaData&, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  resultDataType_ = XeDoubleData;
  DescribeResult(info, resultDataType_, 0, false);
}

void CumeDist::OutputAt(const WindowPlace& place, WindowRows&, unsigned char* record) {
  OutputNull(record, false);
  StoreValue(record + targetOffset_,
             static_cast<float64>(place.peers.to) / static_cast<float64>(place.rowCount));
}

void WindowValue::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  BindSource(input);
  const XeFieldDescriptor& field = GetSourceField(input);
  resultDataType_ = sourceDataType_;
  isResultNarrow_ = IsSourceNarrow();
  DescribeResult(info, sourceDataType_, field.GetLength(), true, field.GetScale());
}

void WindowValue::BindInteger(const XeRecordMetaData& input, const XeString& operatorName) {
  const XeFieldDescriptor& field = input.GetPlacedField(aggregateColumns_->at(1));
  integerType_ = field.GetDataType();
  if (integerType_ != XeInt4Data && integerType_ != XeUInt4Data && integerType_ != XeInt2Data)
    throwExecutionError(kTypeNotSupported, operatorName, integerType_, XeUnknown);
  integerOffset_ = field.GetDataOffset();
  integerNullOffset_ = field.GetNullOffset();
}

std::optional<int64> WindowValue::ReadInteger(const uint8* row) const {
  if (integerNullOffset_ != 0 && row[integerNullOffset_] != 0) return {};
  const uint8* const value = row + integerOffset_;
  if (integerType_ == XeInt4Data) return LoadValue<int32>(value);
  if (integerType_ == XeInt2Data) return LoadValue<int16>(value);
  return LoadValue<uint32>(value);
}

void WindowValue::OutputValueOf(const uint8* row, unsigned char* record) const {
  if (OutputNull(record, IsSourceNull(row))) return;
  OutputStoredValue(record, row + sourceOffset_, sourceDataSize_);
}

void OffsetValue::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  WindowValue::Bind(input, result, info);
  if (aggregateColumns_->size() > 1) BindInteger(input, L"Offset");
  if (aggregateColumns_->size() < 3) return;
  const XeFieldDescriptor& field = input.GetPlacedField(aggregateColumns_->at(2));
  if (field.GetDataType() != sourceDataType_)
    throwExecutionError(kTypeNotSupported, L"Offset", field.GetDataType(), XeUnknown);
  defaultOffset_ = field.GetDataOffset();
  defaultNullOffset_ = field.GetNullOffset();
  info.objectLength_ = std::max(
      info.objectLength_, XeFieldDescriptor::GetObjectLength(sourceDataType_, field.GetLength()));
}

void OffsetValue::OutputValueAway(int direction, const WindowPlace& place, WindowRows& rows,
                                  unsigned char* record) const {
  const std::size_t columns = aggregateColumns_->size();
  const uint8* const own = columns > 1 ? rows.GetRow(place.row) : nullptr;
  const std::optional<int64> distance = own == nullptr ? 1 : ReadInteger(own);
  if (!distance) {
    OutputNull(record, true);
    return;
  }
  const int64 row = static_cast<int64>(place.row) + direction * *distance;
  if (row >= 0 && row < static_cast<int64>(place.rowCount))
    return OutputValueOf(rows.GetRow(static_cast<uint64>(row)), record);
  const bool isNull = columns < 3 || (defaultNullOffset_ != 0 && own[defaultNullOffset_] != 0);
  if (OutputNull(record, isNull)) return;
  // A default that is longer than the values of the column keeps its length.
  OutputStoredValue(record, own + defaultOffset_, targetFixedLenSize_);
}

void FirstValue::OutputAt(const WindowPlace& place, WindowRows& rows, unsigned char* record) {
  const std::optional<uint64> row = RowOfFrame(place.frame, 0);
  if (row) return OutputValueOf(rows.GetRow(*row), record);
  OutputNull(record, true);
}

void LastValue::OutputAt(const WindowPlace& place, WindowRows& rows, unsigned char* record) {
  const uint64 count = CountRows(place.frame);
  if (count > 0) return OutputValueOf(rows.GetRow(*RowOfFrame(place.frame, count - 1)), record);
  OutputNull(record, true);
}

void NthValue::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  WindowValue::Bind(input, result, info);
  BindInteger(input, L"NthValue");
}

void NthValue::OutputAt(const WindowPlace& place, WindowRows& rows, unsigned char* record) {
  constexpr int kNotPositive = 59028;
  const std::optional<int64> number = ReadInteger(rows.GetRow(place.row));
  if (number && *number <= 0) RaiseError(kNotPositive, {});
  const std::optional<uint64> row =
      number ? RowOfFrame(place.frame, static_cast<uint64>(*number - 1)) : std::nullopt;
  if (row) return OutputValueOf(rows.GetRow(*row), record);
  OutputNull(record, true);
}

}  // namespace sqxer
