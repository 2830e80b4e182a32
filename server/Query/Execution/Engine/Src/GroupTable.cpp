#include "GroupTable.h"

#include <algorithm>

#include "EngineError.h"
#include "RecordKeys.h"
#include "Utility/XeAssert.h"
#include "Utility/XeMemory.h"

namespace sqxer {
namespace {

constexpr std::size_t kFirstSlots = 64;
constexpr std::size_t kKeyBlockBytes = std::size_t{64} << 10;

std::size_t AlignUp(std::size_t bytes, std::size_t boundary) {
  return (bytes + boundary - 1) / boundary * boundary;
}

/// The bytes in front of the first result.
uint32 CountKeyBytes(WorkRecord& record, std::size_t keyCount) {
  const auto fields = static_cast<std::size_t>(record.GetLayout().GetFieldCount());
  return keyCount < fields ? record.GetField(keyCount).GetDataOffset() : record.GetSize();
}

uint32 FindVaryingKey(WorkRecord& record, std::size_t keyCount) {
  if (keyCount == 0) return 0;
  const XeFieldDescriptor& last = record.GetField(keyCount - 1);
  const XeDataType type = last.GetDataType();
  return type == XeVarCharData || type == XeLongVarCharData ? last.GetDataOffset() : 0;
}

/// What a group takes besides its key and what comes from the memory gateway: its slots, the
/// buffers of its aggregates (as wide as their results), and the sort buffers that they may fill.
uint64 CountBytesBeyondGateway(const std::vector<PlanAggregate>& aggregates, uint32 resultBytes) {
  constexpr uint64 kPerGroup = 64;
  constexpr uint64 kPerAggregate = 16;
  uint64 bytes = kPerGroup + resultBytes + kPerAggregate * aggregates.size();
  for (const PlanAggregate& aggregate : aggregates) {
    if (aggregate.distinct) bytes += SqrtSorter::GetInitialBufferBytes();
  }
  return bytes;
}

/// What the aggregates that hold their rows may take in all groups together.
uint64 CountBytesOfHeldValues(const std::vector<PlanAggregate>& aggregates, uint64 rows) {
  uint64 bytes = 0;
  for (const PlanAggregate& aggregate : aggregates) bytes += rows * aggregate.heldBytes;
  return bytes;
}

/// A layout of some fields of another one, at their places there.
XeRecordMetaData TakeFields(WorkRecord& record, std::size_t count) {
  XeRecordMetaData layout;
  layout.SetFieldCount(static_cast<int>(count));
  for (int i = 0; i < static_cast<int>(count); ++i) {
    layout.SetFieldDescriptor(i, record.GetLayout().GetFieldDescriptor(i));
  }
  return layout;
}

/// A layout of one number at an offset.
XeRecordMetaData NumberAt(std::size_t offset) {
  XeRecordMetaData layout;
  layout.SetFieldCount(1);
  auto field = std::make_shared<XeFieldDescriptor>(0, XeDoubleData, uint32{sizeof(float64)}, false,
                                                   int16{0}, 0, L"row", L"");
  field->SetOffsets(static_cast<uint32>(offset), 0);
  layout.SetFieldDescriptor(0, std::move(field));
  return layout;
}

}  // namespace

GroupTable::GroupTable(WorkRecord& group, std::size_t keyCount, WorkRecord& input,
                       const std::vector<PlanAggregate>& aggregates, uint64 memoryLimit,
                       uint64 mostRows)
    : group_(group),
      keyCount_(keyCount),
      input_(input),
      aggregates_(aggregates),
      memoryLimit_(memoryLimit),
      keys_(KeysOfFirstFields(group, keyCount)),
      keyBytes_(CountKeyBytes(group, keyCount)),
      varyingKeyOffset_(FindVaryingKey(group, keyCount)),
      bytesBeyondGateway_(CountBytesBeyondGateway(aggregates, group.GetSize() - keyBytes_)),
      bytesOfHeldValues_(CountBytesOfHeldValues(aggregates, mostRows)),
      inputOffset_(
          AlignUp(std::max(keyBytes_, TakeFields(group, keyCount).GetBinaryRecordSize()), 16)),
      rowOffset_(AlignUp(inputOffset_ + input.GetSize(), alignof(float64))),
      sortRecord_(rowOffset_ + sizeof(float64)) {}

void GroupTable::Clear() {
  groups_.clear();
  keyBlocks_.clear();
  keyBlockFree_ = 0;
  slots_.assign(kFirstSlots, Slot());
  bytesInUse_ = bytesOfHeldValues_;
  sorter_.reset();
}

void GroupTable::OpenGroup() {
  const uint64 hash = keys_.Hash(group_.GetData());
  Slot& slot = FindSlot(hash);
  if (slot.group == 0) OpenGroupAt(slot, hash);
}

bool GroupTable::Add(uint64 row) {
  const uint64 hash = keys_.Hash(group_.GetData());
  Slot* slot = &FindSlot(hash);
  const bool isNew = slot->group == 0;
  if (isNew && bytesInUse_ >= memoryLimit_) {
    Sort(row);
    return false;
  }
  const std::size_t before = isNew ? MemoryGateway::BytesInUse() : 0;
  AtRow(row, [&] {
    std::size_t index = slot->group - 1;
    if (isNew) {
      index = groups_.size();
      OpenGroupAt(*slot, hash);
    }
    groups_[index].aggregates.Compute(input_.GetData(), input_.GetSize());
  });
  // With its first row: who holds values takes room for many of them at once.
  if (isNew) bytesInUse_ += MemoryGateway::BytesInUse() - before;
  return isNew;
}

GroupTable::Slot& GroupTable::FindSlot(uint64 hash) {
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    Slot& slot = slots_[i];
    if (slot.group == 0) return slot;
    if (slot.hash == hash && keys_.Compare(groups_[slot.group - 1].key, group_.GetData()) == 0) {
      return slot;
    }
  }
}

void GroupTable::OpenGroupAt(Slot& slot, uint64 hash) {
  const uint32 keyBytes = CountUsedKeyBytes();
  groups_.push_back(
      {KeepKey(keyBytes), keyBytes, AggregateSet(aggregates_, input_, group_, keyCount_)});
  groups_.back().aggregates.Initialize();
  bytesInUse_ += keyBytes + bytesBeyondGateway_;
  slot = {hash, static_cast<uint32>(groups_.size())};
  if (groups_.size() > slots_.size() / 2) GrowSlots();
}

void GroupTable::GrowSlots() {
  std::vector<Slot> old(slots_.size() * 2);
  old.swap(slots_);
  const std::size_t mask = slots_.size() - 1;
  for (const Slot& slot : old) {
    if (slot.group == 0) continue;
    std::size_t i = slot.hash & mask;
    while (slots_[i].group != 0) i = (i + 1) & mask;
    slots_[i] = slot;
  }
}

uint32 GroupTable::CountUsedKeyBytes() const {
  if (varyingKeyOffset_ == 0) return keyBytes_;
  uint32 length;
  std::memcpy(&length, group_.GetData() + varyingKeyOffset_, sizeof length);
  return varyingKeyOffset_ + kLongVarPrefix + length * uint32{sizeof(wchar_t)};
}

uint8* GroupTable::KeepKey(uint32 bytes) {
  const std::size_t room = AlignUp(bytes, alignof(std::max_align_t));
  if (keyBlockFree_ < room) {
    keyBlockFree_ = std::max(kKeyBlockBytes, room);
    keyBlocks_.push_back(std::make_unique_for_overwrite<uint8[]>(keyBlockFree_));
    keyBlockEnd_ = keyBlocks_.back().get() + keyBlockFree_;
  }
  uint8* const key = keyBlockEnd_ - keyBlockFree_;
  keyBlockFree_ -= room;
  std::memcpy(key, group_.GetData(), bytes);
  return key;
}

void GroupTable::Sort(uint64 row) {
  if (!sorter_) {
    sorter_.emplace(static_cast<uint32>(rowOffset_ + sizeof(float64)), timer_, false, true);
    sorter_->SetRowIdSorterMetadata(keys_, TakeFields(group_, keyCount_));
    sorter_->BeginInput();
  }
  uint8* const record = sortRecord_.Get();
  const float64 number = static_cast<float64>(row);
  std::memcpy(record, group_.GetData(), keyBytes_);
  std::memcpy(record + inputOffset_, input_.GetData(), input_.GetSize());
  std::memcpy(record + rowOffset_, &number, sizeof number);
  sorter_->SortRecord(record);
}

void GroupTable::ClearResults(uint8* record) const {
  std::memset(record + keyBytes_, 0, group_.GetSize() - keyBytes_);
}

void GroupTable::EmitLive(const std::function<bool()>& emit) {
  for (Group& group : groups_) {
    std::memcpy(group_.GetData(), group.key, group.keyBytes);
    ClearResults(group_.GetData());
    group.aggregates.Output(group_.GetData());
    if (!emit()) return;
  }
}

void GroupTable::EmitSorted(const std::function<bool()>& emit) {
  if (!sorter_) return;
  // The live groups make room for the second sorter.
  groups_.clear();
  keyBlocks_.clear();
  const std::size_t rowOffset = AlignUp(group_.GetSize(), alignof(float64));
  const XeRecordMetaData layout = NumberAt(rowOffset);
  SqrtSorter results(layout.GetBinaryRecordSize(), timer_);
  KeySet byFirstRow;
  byFirstRow.Add(KeyDesc(*layout.GetFieldDescriptor(0), kAscending, kCompareCodePoints));
  results.SetRowIdSorterMetadata(byFirstRow, layout);
  results.BeginInput();
  SumUpSorted(results);
  sorter_.reset();
  results.EndInput();
  const RecordBuffer result(layout.GetBinaryRecordSize());
  while (results.GetRecord(result.Get())) {
    std::memcpy(group_.GetData(), result.Get(), group_.GetSize());
    if (!emit()) return;
  }
}

void GroupTable::SumUpSorted(SqrtSorter& results) {
  const std::size_t rowOffset = AlignUp(group_.GetSize(), alignof(float64));
  const RecordBuffer result(NumberAt(rowOffset).GetBinaryRecordSize());
  AggregateSet aggregates(aggregates_, input_, group_, keyCount_);
  bool isOpen = false;
  const auto close = [&] {
    if (!isOpen) return;
    aggregates.Output(result.Get());
    results.SortRecord(result.Get());
  };

  sorter_->EndInput();
  uint8* const record = sortRecord_.Get();
  while (sorter_->GetRecord(record)) {
    float64 row;
    std::memcpy(&row, record + rowOffset_, sizeof row);
    if (!isOpen || keys_.Compare(result.Get(), record) != 0) {
      close();
      isOpen = true;
      std::memcpy(result.Get(), record, keyBytes_);
      ClearResults(result.Get());
      std::memcpy(result.Get() + rowOffset, &row, sizeof row);
      aggregates.Initialize();
    }
    AtRow(static_cast<uint64>(row),
          [&] { aggregates.Compute(record + inputOffset_, input_.GetSize()); });
  }
  close();
}

}  // namespace sqxer
