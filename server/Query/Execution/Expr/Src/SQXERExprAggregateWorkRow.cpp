#include "SQXERExprAggregateWorkRow.h"

#include <cstring>
#include <utility>

namespace sqxer {

namespace {

// The fields before the value.
constexpr int kRowIdField = 0;
constexpr int kComputedField = 1;

}  // namespace

WorkRowAggregate::WorkRowAggregate(UInt16Vector* aggregateColumns,
                                   UInt16Vector* controlBreakColumns,
                                   UInt16Vector* distinctBreakColumns, bool isCumulativeAggregate,
                                   std::vector<SortOrder_t> sortOrders)
    : SingleResultAggregate(aggregateColumns, controlBreakColumns, distinctBreakColumns,
                            isCumulativeAggregate, false),
      sortOrderVector_(std::move(sortOrders)) {}

void WorkRowAggregate::BindWorkRow(const XeRecordMetaData& input, const XeString& operatorName,
                                   uint32& computedOffset, uint32* computedNullOffset) {
  BindSource(input);
  RequireOrder(operatorName);
  sourceRecordMetaData_ = &input;
  sourceMoveFields_ = *aggregateColumns_;
  sourceMoveFields_.insert(sourceMoveFields_.end(), distinctBreakColumns_->begin(),
                           distinctBreakColumns_->end());

  tempRowMetaData_ = XeRecordMetaData(input.IsUnicodeRecord());
  for (const bool nullable : {false, computedNullOffset != nullptr}) {
    tempRowMetaData_.AddField(XeUInt4Data, sizeof(uint32), nullable,
                              XeRecordMetaData::exprFieldName_);
  }
  DescribeMovedFields(input, sourceMoveFields_, tempRowMetaData_);
  tempRowMetaData_.GenerateAlignedFieldOffset();
  tempRowSize_ = tempRowMetaData_.GetBinaryRecordSize();

  const KeyDesc rowIdKey(*tempRowMetaData_.GetFieldDescriptor(kRowIdField), kAscending,
                         kCompareCodePoints);
  rowIdKeySet_ = std::make_unique<KeySet>();
  rowIdKeySet_->Add(rowIdKey);
  const std::size_t keys = sourceMoveFields_.size();
  aggrKeySet_ = MakeKeys(keys, false);
  placeKeySet_ = MakeKeys(isDistinctProcessing_ ? valueColumns_ : keys, false);

  rowIdOffset_ = rowIdKey.GetDataOffset();
  dataOffset_ = aggrKeySet_->Get(0).GetDataOffset();
  dataNullOffset_ = aggrKeySet_->Get(0).GetNullOffset();
  const XeFieldDescriptor& computed = *tempRowMetaData_.GetFieldDescriptor(kComputedField);
  computedOffset = computed.GetDataOffset();
  if (computedNullOffset != nullptr) *computedNullOffset = computed.GetNullOffset();
  fieldDataBinder_ =
      XeFieldDataBinder(input, sourceMoveFields_, tempRowMetaData_, kRowIdField, kValueField);
}

std::unique_ptr<KeySet> WorkRowAggregate::MakeKeys(std::size_t count, bool opposite) const {
  const CharComparisonType_t comparison = KeyDesc::GetCharComparisonType();
  auto keys = std::make_unique<KeySet>();
  for (std::size_t key = 0; key < count; ++key) {
    const int field = kValueField + static_cast<int>(key);
    const bool descends = (GetSortOrder(key) == kDescending) != opposite;
    keys->Add(KeyDesc(*tempRowMetaData_.GetFieldDescriptor(field),
                      descends ? kDescending : kAscending, comparison));
  }
  return keys;
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
  tempRow_.Reserve(tempRowSize_);
  prevRow_.Reserve(tempRowSize_);
  const RecordPacker packer(tempRowSize_, tempRowMetaData_);
  valueRowSet_ = std::make_unique<ArrayRowSet>(packer, kFirstWorkRows, kMaxWorkRowBlockBytes);
  storedKeySet_ = packer.PackKeys(*aggrKeySet_);
  *placeKeySet_ = packer.PackKeys(*placeKeySet_);
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
    valueRowSet_->GetPacker().Copy(row, prevRow_.data());
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
  valueRowSet_->Sort(storedKeySet_);
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
