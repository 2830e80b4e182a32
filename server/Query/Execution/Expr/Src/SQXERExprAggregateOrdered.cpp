#include "SQXERExprAggregateOrdered.h"

#include <algorithm>
#include <cstring>

#include "SQXEROpsAggregate.h"

namespace sqxer {

Ordered::Ordered(UInt16Vector* aggregateColumns, std::unique_ptr<Aggregate> inner,
                 std::vector<Key> keys, bool dropsDuplicates, std::size_t neededColumns)
    : Aggregate(aggregateColumns, nullptr, nullptr, false, false),
      inner_(std::move(inner)),
      runs_(dynamic_cast<RunsAggregate*>(inner_.get())),
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
  if (runs_ != nullptr) {
    layout_.AddField(XeUInt4Data, 0, false, L"count");
    layout_.AddField(XeDoubleData, 0, false, L"number");
  }
  layout_.GenerateAlignedFieldOffset();
  groupOffset_ = layout_.GetFieldDescriptor(groupField)->GetDataOffset();
  row_ = std::make_unique<uint8[]>(layout_.GetBinaryRecordSize());
  packer_ = RecordPacker(layout_.GetBinaryRecordSize(), layout_);
  binder_ = XeFieldDataBinder(input, *aggregateColumns_, layout_, 0);

  const CharComparisonType_t comparison = KeyDesc::GetCharComparisonType();
  groupKey_ = KeyDesc(*layout_.GetFieldDescriptor(groupField), kAscending, comparison);
  if (runs_ != nullptr) {
    const XeFieldDescriptor& number = *layout_.GetFieldDescriptor(groupField + 2);
    countOffset_ = layout_.GetFieldDescriptor(groupField + 1)->GetDataOffset();
    numberOffset_ = number.GetDataOffset();
    // Of equal values the first one is that which counts.
    numberKey_ = KeyDesc(number, kAscending, comparison);
    countedRow_ = std::make_unique<uint8[]>(layout_.GetBinaryRecordSize());
  }
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
  // Where every column is a key, rows that are different are different in some key.
  std::vector<bool> isKey(aggregateColumns_->size());
  for (const Key& key : keyPlaces_) isKey[key.column] = true;
  const bool areAllKeys = std::ranges::find(isKey, false) == isKey.end();
  counted_ = dropsDuplicates_ && areAllKeys ? dynamic_cast<Count*>(inner_.get()) : nullptr;
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
  if (runs_ != nullptr) keys.Add(numberKey_);
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
  rows_ = 0;
  if (repeated_ != nullptr) repeated_->Clear();
}

void Ordered::SortRow(uint8* row, uint32 count, uint64 number) {
  isSorterEmpty_ = false;
  if (runs_ != nullptr) {
    StoreValue(row + countOffset_, count);
    StoreValue(row + numberOffset_, static_cast<float64>(number));
  }
  sorter_->SortRecord(row);
}

void Ordered::SortPacked(const uint8* packed, uint32 count, uint64 number) {
  packer_.Unpack(packed, countedRow_.get());
  SortRow(countedRow_.get(), count, number);
}

RExprReturn Ordered::Compute(unsigned char* record, unsigned int) {
  if (neededColumns_ > 0 && IsSourceNull(record)) return kTrue;
  for (const uint32 offset : neededNulls_) {
    if (record[offset] != 0) return kTrue;
  }
  if (!isOpen_)
    XeLogicError("an aggregate that orders its rows is driven outside Initialize and Finalize");
  // The first one of equal rows counts.
  if (table_ != nullptr) SpillTable();
  uint8* const row = row_.get();
  const bool looksForRepeated = dropsDuplicates_ || runs_ != nullptr;
  // What stands behind a text that is not packed would make equal rows different.
  if (looksForRepeated && !packer_.IsPacking()) std::memset(row, 0, layout_.GetBinaryRecordSize());
  binder_.MoveColumns(record, row);
  StoreValue(row + groupOffset_, group_);
  // Groups may be many and tiny.
  constexpr uint64 kRowsBefore = 4096;
  const uint64 number = rows_++;
  if (!looksForRepeated || number < kRowsBefore) {
    SortRow(row, 1, number);
    return kTrue;
  }
  if (repeated_ == nullptr) repeated_ = std::make_unique<RepeatedRows>(packer_);
  if (repeated_->IsOpen()) {
    if (runs_ == nullptr) {
      if (repeated_->Repeats(row)) return kTrue;
    } else {
      // The count and the number of the row before are no part of it.
      std::memset(row + countOffset_, 0, sizeof(uint32));
      std::memset(row + numberOffset_, 0, sizeof(float64));
      const auto sort = [this](const uint8* packed, uint32 count, uint64 first) {
        SortPacked(packed, count, first);
      };
      if (repeated_->Count(row, number, sort)) return kTrue;
    }
  }
  SortRow(row, 1, number);
  return kTrue;
}

bool Ordered::NextRow() { return sorter_->GetRecord(row_.get()); }

RExprReturn Ordered::Finalize() {
  if (!isOpen_ && !isDraining_)
    XeLogicError("an aggregate that orders its rows is ended outside Initialize and Finalize");
  if (!isDraining_) EndInput();
  inner_->Initialize(true);
  RExprReturn status = kTrue;
  if (table_ == nullptr || !isSorterEmpty_) {
    status = DrainSorter();
  } else if (counted_ != nullptr) {
    counted_->AddRows(table_->CountRows(group_));
  } else {
    status = DrainTable();
  }
  return status == kTrue ? inner_->Finalize() : status;
}

void Ordered::EndInput() {
  isOpen_ = false;
  isDraining_ = isHeld_;
  if (runs_ != nullptr && repeated_ != nullptr) {
    repeated_->Flush([this](const uint8* packed, uint32 count, uint64 number) {
      SortPacked(packed, count, number);
    });
  }
  if (table_ != nullptr && isSorterEmpty_) {
    if (counted_ != nullptr) return;
    const Key& key = keyPlaces_[0];
    const bool isOneKey = keyPlaces_.size() == 1 && table_->HasOrder(key.column);
    if (isOneKey && table_->TrySort(key.column, key.order == kDescending, order_)) return;
  }
  if (table_ != nullptr) SpillTable();
  isSorterEmpty_ = false;
  sorter_->EndInput();
  hasRow_ = NextRow();
}

RExprReturn Ordered::HandOn(uint32 times) {
  return runs_ == nullptr ? inner_->Compute(row_.get(), layout_.GetBinaryRecordSize())
                          : runs_->ComputeTimes(row_.get(), times);
}

RExprReturn Ordered::DrainSorter() {
  const auto groupOfRow = [this] { return LoadValue<uint32>(row_.get() + groupOffset_); };
  // Nobody asks for groups behind this one before it.
  while (hasRow_ && groupOfRow() < group_) hasRow_ = NextRow();
  RExprReturn status = kTrue;
  while (hasRow_ && groupOfRow() == group_ && status == kTrue) {
    status = HandOn(runs_ == nullptr ? 1 : LoadValue<uint32>(row_.get() + countOffset_));
    hasRow_ = NextRow();
  }
  return status;
}

RExprReturn Ordered::DrainTable() {
  const uint16 key = keyPlaces_[0].column;
  RExprReturn status = kTrue;
  while (next_ < order_.size() && table_->GroupOf(order_[next_]) < group_) ++next_;
  const std::size_t first = next_;
  for (; next_ < order_.size() && table_->GroupOf(order_[next_]) == group_; ++next_) {
    // The rows lie scattered.
    constexpr std::size_t kAhead = 24;
    if (next_ + kAhead < order_.size()) table_->Expect(order_[next_ + kAhead]);
    const bool isRepeated =
        next_ != first && table_->AreEqual(key, order_[next_], order_[next_ - 1]);
    if (status != kTrue || (dropsDuplicates_ && isRepeated)) continue;
    table_->Store(order_[next_], row_.get());
    status = HandOn(table_->TimesOf(order_[next_]));
  }
  return status;
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

bool Ordered::HoldTogether(HeldMemory& memory) {
  // What the sorter keeps in memory is limited.
  isHeld_ = true;
  MakeSorter();
  sorter_->BeginInput();
  isOpen_ = true;
  const std::size_t columns = aggregateColumns_->size();
  const bool joinsEqual = counted_ != nullptr;
  if ((dropsDuplicates_ || runs_ != nullptr) && DistinctRows::Takes(layout_, columns, joinsEqual)) {
    table_ = std::make_unique<DistinctRows>(layout_, columns, joinsEqual, memory);
  }
  return true;
}

bool Ordered::AdmitsColumns(std::span<const BatchVector* const> columns, const BatchRows& rows) {
  if (table_->NeedsRoom()) {
    SpillTable();
    table_->MakeRoom();
  }
  return table_->Admits(columns, neededColumns_, rows);
}

void Ordered::FoldBatch(const BatchFold& fold) {
  table_->AddBatch(fold, rows_, [this] { SpillTable(); });
  rows_ += fold.count;
}

void Ordered::SpillTable() {
  if (table_->GetCount() == 0) return;
  for (std::size_t row = 0; row < table_->GetCount(); ++row) {
    table_->Store(row, row_.get());
    StoreValue(row_.get() + groupOffset_, table_->GroupOf(row));
    SortRow(row_.get(), table_->TimesOf(row), table_->NumberOf(row));
  }
  table_->Clear();
}

uint32 Ordered::TransferState(StateTransfer transfer, uint8* state) {
  return isHeld_ ? TransferFields(transfer, state, group_) : 0;
}

}  // namespace sqxer
