#include "SQXERExprAggregateOrdered.h"

#include <algorithm>

#include "SQXEROpsAggregate.h"

namespace sqxer {

Ordered::Ordered(UInt16Vector* aggregateColumns, std::unique_ptr<Aggregate> inner,
                 std::vector<Key> keys, bool dropsDuplicates, std::size_t neededColumns)
    : Aggregate(aggregateColumns, nullptr, nullptr, false, false),
      inner_(std::move(inner)),
      keyPlaces_(std::move(keys)),
      dropsDuplicates_(dropsDuplicates),
      neededColumns_(neededColumns) {}

void Ordered::Bind(XeRecordMetaData& input, RExpression*& result, MetaDataInfo& info) {
  result = nullptr;
  BindSource(input);
  neededNulls_.clear();
  for (std::size_t i = 1; i < neededColumns_; ++i) {
    const uint32 offset = input.GetPlacedField((*aggregateColumns_)[i]).GetNullOffset();
    if (offset != 0) neededNulls_.push_back(offset);
  }
  layout_ = XeRecordMetaData(input.IsUnicodeRecord());
  DescribeMovedFields(input, *aggregateColumns_, layout_);
  const int groupField = layout_.GetFieldCount();
  layout_.AddField(XeUInt4Data, 0, false, L"group");
  layout_.GenerateAlignedFieldOffset();
  groupOffset_ = layout_.GetFieldDescriptor(groupField)->GetDataOffset();
  row_ = std::make_unique<uint8[]>(layout_.GetBinaryRecordSize());
  binder_ = XeFieldDataBinder(input, *aggregateColumns_, layout_, 0);

  const CharComparisonType_t comparison = KeyDesc::GetCharComparisonType();
  groupKey_ = KeyDesc(*layout_.GetFieldDescriptor(groupField), kAscending, comparison);
  keys_ = KeySet();
  for (const Key& key : keyPlaces_) {
    keys_.Add(KeyDesc(*layout_.GetFieldDescriptor(key.column), key.order, comparison, key.nulls));
  }
  settings_ = Settings::Current();

  inner_->SetSourcePosition(GetSourcePosition());
  RExpression* replacement = nullptr;
  inner_->Bind(layout_, replacement, info);
  if (replacement != nullptr && replacement != inner_.get())
    inner_.reset(static_cast<Aggregate*>(replacement));
  resultDataType_ = inner_->GetResultDataType();
}

void Ordered::SetTargetDescriptor(XeRecordMetaData& target, unsigned short fieldIndex) {
  inner_->SetTargetDescriptor(target, fieldIndex);
}

void Ordered::MakeSorter() {
  sorter_ = std::make_unique<SqrtSorter>(layout_.GetBinaryRecordSize(), opTimer_, dropsDuplicates_,
                                         /*keepInputOrder=*/true, settings_);
  // Of one group its number would only be in the way of the keys.
  const bool isOneGroup = !isHeld_ || longestKept_ != kLongestKept;
  KeySet keys;
  if (!isOneGroup) keys.Add(groupKey_);
  for (std::size_t i = 0; i < keys_.GetCount(); ++i) keys.Add(keys_.Get(i));
  sorter_->SetRowIdSorterMetadata(keys, layout_);
}

void Ordered::Initialize(bool) {
  if (isHeld_) {
    group_ = groups_++;
    return;
  }
  if (sorter_ == nullptr) MakeSorter();
  sorter_->BeginInput();
  isOpen_ = true;
}

RExprReturn Ordered::Compute(unsigned char* record, unsigned int) {
  if (neededColumns_ > 0 && IsSourceNull(record)) return kTrue;
  for (const uint32 offset : neededNulls_) {
    if (record[offset] != 0) return kTrue;
  }
  if (!isOpen_)
    XeLogicError("an aggregate that orders its rows is driven outside Initialize and Finalize");
  binder_.MoveColumns(record, row_.get());
  StoreValue(row_.get() + groupOffset_, group_);
  sorter_->SortRecord(row_.get());
  return kTrue;
}

bool Ordered::NextRow() { return sorter_->GetRecord(row_.get()); }

RExprReturn Ordered::Finalize() {
  if (!isOpen_ && !isDraining_)
    XeLogicError("an aggregate that orders its rows is ended outside Initialize and Finalize");
  if (!isDraining_) {
    sorter_->EndInput();
    isOpen_ = false;
    hasRow_ = NextRow();
    isDraining_ = isHeld_;
  }
  inner_->Initialize(true);
  const uint32 size = layout_.GetBinaryRecordSize();
  const auto groupOfRow = [this] { return LoadValue<uint32>(row_.get() + groupOffset_); };
  // Nobody asks for groups behind this one before it.
  while (hasRow_ && groupOfRow() < group_) hasRow_ = NextRow();
  RExprReturn status = kTrue;
  while (hasRow_ && groupOfRow() == group_ && status == kTrue) {
    status = inner_->Compute(row_.get(), size);
    hasRow_ = NextRow();
  }
  return status == kTrue ? inner_->Finalize() : status;
}

void Ordered::SetSourceOffset(unsigned int offset, unsigned int nullOffset,
                              unsigned int recordSize) {
  Aggregate::SetSourceOffset(offset, nullOffset, recordSize);
  binder_.SetInputPlace(0, offset, nullOffset);
}

void Ordered::RestoreSourceOffset() {
  Aggregate::RestoreSourceOffset();
  binder_.SetInputPlace(0, sourceOffset_, sourceNullOffset_);
}

bool Ordered::HoldTogether(HeldMemory&) {
  // What the sorter keeps in memory is limited.
  isHeld_ = true;
  MakeSorter();
  sorter_->BeginInput();
  isOpen_ = true;
  return true;
}

uint32 Ordered::TransferState(StateTransfer transfer, uint8* state) {
  return isHeld_ ? TransferFields(transfer, state, group_) : 0;
}

}  // namespace sqxer
