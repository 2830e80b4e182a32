#include "SQXERExprAggregateWorkRow.h"

#include <cstring>
#include <utility>

namespace sqxer {

namespace {

// The fields of a work row.
constexpr int kRowIdField = 0;
constexpr int kComputedField = 1;
constexpr int kValueField = 2;

constexpr uint32 kFirstBlockRows = 512;
constexpr uint32 kMaxBlockBytes = 65535;

}  // namespace

WorkRowAggregate::WorkRowAggregate(UInt16Vector* aggregateColumns,
                                   UInt16Vector* controlBreakColumns,
                                   UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                                   std::vector<SortOrder_t> sortOrders)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false),
      sortOrderVector_(std::move(sortOrders)) {}

void WorkRowAggregate::BindWorkRow(const XeRecordMetaData& input, const XeString& operatorName,
                                   uint32& computedOffset) {
  BindSource(input);
  RequireOrder(operatorName);
  sourceRecordMetaData_ = &input;
  sourceMoveFields_ = *aggregateColumns_;
  sourceMoveFields_.insert(sourceMoveFields_.end(), distinctBreakColumns_->begin(),
                           distinctBreakColumns_->end());

  tempRowMetaData_ = XeRecordMetaData(input.IsUnicodeRecord());
  for (int field = kRowIdField; field <= kComputedField; ++field) {
    tempRowMetaData_.AddField(XeUInt4Data, sizeof(uint32), false, XeRecordMetaData::exprFieldName_);
  }
  tempRowMetaData_.SetFieldCount(kValueField + static_cast<int>(sourceMoveFields_.size()));
  int position = kValueField;
  for (const uint16 column : sourceMoveFields_) {
    const XeFieldDescriptor& field = *input.GetFieldDescriptor(column);
    tempRowMetaData_.DescribleField(position++, field.GetDataType(), field.GetLength(), true,
                                    field.GetScale(), field.GetCodePage(), field.GetFieldName(), {},
                                    field.GetUnicodeProperty());
  }
  tempRowMetaData_.GenerateAlignedFieldOffset();
  tempRowSize_ = tempRowMetaData_.GetBinaryRecordSize();
  tempRow_.Reserve(tempRowSize_);

  const CharComparisonType_t comparison = KeyDesc::GetCharComparisonType();
  rowIdKeySet_ = std::make_unique<KeySet>();
  rowIdKeySet_->Add(
      KeyDesc(*tempRowMetaData_.GetFieldDescriptor(kRowIdField), kAscending, comparison));
  aggrKeySet_ = std::make_unique<KeySet>();
  for (std::size_t key = 0; key < sourceMoveFields_.size(); ++key) {
    const int field = kValueField + static_cast<int>(key);
    aggrKeySet_->Add(
        KeyDesc(*tempRowMetaData_.GetFieldDescriptor(field), GetSortOrder(key), comparison));
  }

  rowIdOffset_ = rowIdKeySet_->Get(0).GetDataOffset();
  dataOffset_ = aggrKeySet_->Get(0).GetDataOffset();
  dataNullOffset_ = aggrKeySet_->Get(0).GetNullOffset();
  computedOffset = tempRowMetaData_.GetFieldDescriptor(kComputedField)->GetDataOffset();
  fieldDataBinder_ =
      XeFieldDataBinder(input, sourceMoveFields_, tempRowMetaData_, kRowIdField, kValueField);
}

void WorkRowAggregate::SetSourceOffset(unsigned int offset, unsigned int nullOffset,
                                       unsigned int recordSize) {
  SingleResultAggregate::SetSourceOffset(offset, nullOffset, recordSize);
  fieldDataBinder_.SetInputPlace(0, sourceOffset_, sourceNullOffset_);
}

void WorkRowAggregate::RestoreSourceOffset() {
  SingleResultAggregate::RestoreSourceOffset();
  fieldDataBinder_.SetInputPlace(0, sourceOffset_, sourceNullOffset_);
}

void BufferedRowsAggregate::BindRows(const XeRecordMetaData& input, const XeString& operatorName,
                                     uint32& computedOffset) {
  BindWorkRow(input, operatorName, computedOffset);
  prevRow_.Reserve(tempRowSize_);
  valueRowSet_ = std::make_unique<ArrayRowSet>(tempRowSize_, kFirstBlockRows, kMaxBlockBytes);
}

void BufferedRowsAggregate::Initialize(bool restart) {
  count_ = 0;
  recordIndex_ = 0;
  valueArray_ = {};
  if (restart) outputRecordIndex_ = 0;
  inputRecordIndex_ = outputRecordIndex_;
}

RExprReturn BufferedRowsAggregate::Compute(unsigned char* record, unsigned int) {
  uint8* const row = tempRow_.data();
  fieldDataBinder_.MoveInputDataToFieldDataBinder(record, inputRecordIndex_++, row);
  if (HasFurtherKeys()) {
    // The rows of such a run count once in the group: callers rely on that, because a join may have
    // multiplied them. With the value as the only key every row counts.
    if (count_ > 0 && aggrKeySet_->Compare(row, prevRow_.data()) == 0) {
      valueRowSet_->Update(count_ - 1, row);
      return kTrue;
    }
    std::memcpy(prevRow_.data(), row, tempRowSize_);
  }
  if (count_ == 0) {
    valueRowSet_->AppendFirst(row);
  } else {
    valueRowSet_->Append(row);
  }
  ++count_;
  return kTrue;
}

bool BufferedRowsAggregate::RankRows() {
  if (count_ == 0) return false;
  valueArray_ = valueRowSet_->Finalize();
  valueRowSet_->Sort(*aggrKeySet_);
  return true;
}

const uint8* BufferedRowsAggregate::NextOutputRow() {
  const uint32 outputIndex = outputRecordIndex_++;
  if (valueArray_.empty()) return nullptr;
  uint32 rowId;
  std::memcpy(&rowId, valueArray_[recordIndex_] + rowIdOffset_, sizeof rowId);
  // The rows of a run come before the one that stands for them. What comes after the last stored
  // row shares it.
  if (outputIndex > rowId && recordIndex_ + 1 < valueArray_.size()) ++recordIndex_;
  return valueArray_[recordIndex_];
}

}  // namespace sqxer
