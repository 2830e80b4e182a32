#include "GroupTable.h"

#include <algorithm>
#include <bit>
#include <exception>
#include <limits>

#include "EngineError.h"
#include "RecordKeys.h"
#include "Utility/XeAssert.h"
#include "Utility/XeMemory.h"

namespace sqxer {
namespace {

constexpr std::size_t kFirstSlots = 64;
constexpr std::size_t kBlockBytes = std::size_t{64} << 10;
constexpr std::size_t kSmallBlocks = 64;
constexpr std::size_t kLargeBlockBytes = std::size_t{8} << 20;
/// Of the records that keys are copied from, as far as any value needs it.
constexpr std::size_t kKeyAlignment = 8;
constexpr std::size_t kRecordAlignment = 16;
/// What the results of groups that are appended together may take.
constexpr std::size_t kMostRecordBytes = std::size_t{1} << 20;

/// More sets than this no longer fit a processor's cache with the tables that they work beside.
std::size_t mostOwnSets = 4096;

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

/// What an aggregate takes beyond the memory gateway, its results apart.
uint64 CountBytesOfObject(const PlanAggregate& aggregate) {
  constexpr uint64 kPerAggregate = 16;
  const bool hasSorter = aggregate.distinct || aggregate.sorts;
  return kPerAggregate + (hasSorter ? SqrtSorter::GetInitialBufferBytes() : 0);
}

/// What a group with a set of its own takes besides its key and what comes from the memory gateway:
/// the buffers of its aggregates (as wide as their results, unless they grow by need), and the sort
/// buffers that they may fill.
uint64 CountBytesBeyondGateway(const std::vector<PlanAggregate>& aggregates, uint32 resultBytes) {
  uint64 bytes = resultBytes;
  for (const PlanAggregate& aggregate : aggregates) {
    bytes += CountBytesOfObject(aggregate);
    if (!aggregate.growsByNeed) continue;
    for (const ColumnInfo& result : aggregate.results)
      bytes -= XeRecordMetaData::GetByteLength(result.type, result.length, true);
  }
  return bytes;
}

/// What the aggregates that hold their rows may take in all groups together.
uint64 CountBytesOfHeldValues(const std::vector<PlanAggregate>& aggregates, uint64 rows) {
  uint64 bytes = 0;
  for (const PlanAggregate& aggregate : aggregates) bytes += aggregate.heldBytes;
  // Room enough for what else is counted where nobody knows how many rows will come.
  constexpr uint64 kMostBytes = std::numeric_limits<uint64>::max() / 2;
  return bytes != 0 && rows > kMostBytes / bytes ? kMostBytes : rows * bytes;
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

/// The fields of `record` as they stand from an offset on, behind those of `layout`.
void AppendFields(const WorkRecord& record, std::size_t offset, XeRecordMetaData& layout) {
  const int count = record.GetLayout().GetFieldCount();
  int position = layout.GetFieldCount();
  layout.SetFieldCount(position + count);
  for (int i = 0; i < count; ++i) {
    const XeFieldDescriptor& source = *record.GetLayout().GetFieldDescriptor(i);
    auto field = std::make_shared<XeFieldDescriptor>(source);
    const auto shift = static_cast<uint32>(offset);
    field->SetOffsets(source.GetDataOffset() + shift,
                      source.IsNullable() ? source.GetNullOffset() + shift : 0);
    layout.SetFieldDescriptor(position++, std::move(field));
  }
}

/// Whether texts in front of the last key, which is cut at its end, are wide.
bool HasWideKeysBeforeLast(WorkRecord& record, std::size_t keyCount) {
  if (keyCount == 0) return false;
  const bool isLastCut = FindVaryingKey(record, keyCount) != 0;
  return RecordPacker(record.GetSize(), TakeFields(record, keyCount - (isLastCut ? 1 : 0)))
      .IsPacking();
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
      memory_(memoryLimit, keyCount == 0),
      keys_(KeysOfFirstFields(group, keyCount)),
      keyPacker_(CountKeyBytes(group, keyCount), TakeFields(group, keyCount)),
      keepsPackedKeys_(HasWideKeysBeforeLast(group, keyCount)),
      keptKeys_(keepsPackedKeys_ ? keyPacker_.PackKeys(keys_) : keys_),
      packedKeys_(keepsPackedKeys_ ? keyPacker_.GetMostBytes() : 0),
      isPrefixKey_(keyCount == 1 && keys_.Get(0).IsPrefixExact()),
      keyBytes_(CountKeyBytes(group, keyCount)),
      varyingKeyOffset_(FindVaryingKey(group, keyCount)),
      bytesBeyondGateway_(CountBytesBeyondGateway(aggregates, group.GetSize() - keyBytes_)),
      bytesOfHeldValues_(CountBytesOfHeldValues(aggregates, mostRows)),
      inputOffset_(
          AlignUp(std::max(keyBytes_, TakeFields(group, keyCount).GetBinaryRecordSize()), 16)),
      rowOffset_(AlignUp(inputOffset_ + input.GetSize(), alignof(float64))),
      sortRecord_(rowOffset_ + sizeof(float64)) {}

void GroupTable::LimitRows(uint64 rows) {
  bytesOfHeldValues_ = CountBytesOfHeldValues(aggregates_, rows);
}

uint64 GroupTable::CountToMerge() {
  uint64 count = groups_.size();
  if (!turns_) return count;
  AggregateSet& set = turns_->GetSet();
  for (std::size_t i = 0; i < set.GetCount(); ++i) count = std::max(count, set.Get(i).CountHeld());
  return count;
}

std::size_t GroupTable::GetMostOwnSets() { return mostOwnSets; }
void GroupTable::SetMostOwnSets(std::size_t groups) { mostOwnSets = groups; }

void GroupTable::Clear() {
  FreeGroups();
  mostOwnSets_ = keepsBareStates_ ? 0 : mostOwnSets;
  slots_.assign(kFirstSlots, Slot());
  listed_ = 0;
  memory_.Reset(bytesOfHeldValues_);
  sorter_.reset();
  results_.reset();
  sortedRows_ = 0;
  nextLive_ = 0;
}

void GroupTable::FreeGroups() {
  groups_.clear();
  sets_.clear();
  turns_.reset();
  blocks_.clear();
  blockFree_ = 0;
}

void GroupTable::OpenGroup() {
  const uint64 hash = HashKeys();
  Slot& slot = FindSlot(hash);
  if (slot.group == nullptr) OpenGroupAt(slot, hash);
}

bool GroupTable::Add(uint64 row) {
  if (keyCount_ == 0 && !groups_.empty()) {
    Compute(row, *groups_.front());
    return false;
  }
  const uint64 hash = HashKeys();
  Slot& slot = FindSlot(hash);
  if (slot.group != nullptr) {
    Compute(row, *slot.group);
    return false;
  }
  if (!MayOpen()) {
    Sort(row);
    return false;
  }
  Group& group = *AtRow(row, [&] { return &OpenGroupAt(slot, hash); });
  // Who holds values takes room for many of them at once.
  TakeFromGateway([&] { Compute(row, group); });
  return true;
}

void GroupTable::Compute(uint64 row, Group& group) {
  AtRow(row, [&] {
    AggregateSet& set = HasOwnSet(group) ? sets_[group.index] : turns_->Resume(group.States());
    set.Compute(input_.GetData(), input_.GetSize());
  });
}

uint64 GroupTable::HashKeys() const {
  const uint8* const record = group_.GetData();
  return isPrefixKey_ ? Scatter(keys_.Get(0).SortPrefix(record)) : keys_.Hash(record);
}

const uint8* GroupTable::CurrentKeys() {
  uint8* const record = group_.GetData();
  if (!keepsPackedKeys_) return record;
  keyPacker_.Pack(record, packedKeys_.Get(), keyPacker_.Measure(record));
  return packedKeys_.Get();
}

void GroupTable::RestoreKeys(Group& group) {
  if (keepsPackedKeys_) {
    keyPacker_.Unpack(group.Key(), group_.GetData());
  } else {
    std::memcpy(group_.GetData(), group.Key(), group.keyBytes);
  }
}

bool GroupTable::IsGroupOfKeys(Group& group) {
  if (isPrefixKey_) return true;
  // Equal bytes are equal keys, and most equal keys have equal bytes.
  const uint8* const current = CurrentKeys();
  return std::memcmp(group.Key(), current, group.keyBytes) == 0 ||
         keptKeys_.Compare(group.Key(), current) == 0;
}

GroupTable::Slot& GroupTable::FindSlot(uint64 hash) {
  if (listed_ < groups_.size()) ListGroups();
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    Slot& slot = slots_[i];
    if (slot.group == nullptr || (slot.hash == hash && IsGroupOfKeys(*slot.group))) return slot;
  }
}

GroupTable::Group& GroupTable::OpenGroupAt(Slot& slot, uint64 hash) {
  Group& group = OpenUnlisted();
  slot = {hash, &group};
  listed_ = groups_.size();
  if (groups_.size() > slots_.size() / 2) GrowSlots(slots_.size() * 2);
  return group;
}

GroupTable::Group& GroupTable::OpenUnlisted() {
  const uint32 keyBytes = CountUsedKeyBytes();
  const std::optional<uint32> stateBytes = CountStateBytes();
  Group& group = KeepGroup(keyBytes, stateBytes.value_or(0));
  if (stateBytes) {
    if (!turns_->TryOpen(group.States())) TakeFromGateway([&] { turns_->Open(group.States()); });
    memory_.Take(CountBytes(keyBytes));
  } else {
    TakeFromGateway([&] {
      sets_.push_back(MakeAggregates());
      sets_.back().Initialize();
    });
    memory_.Take(keyBytes + kBytesPerGroup + bytesBeyondGateway_);
  }
  return group;
}

void GroupTable::ListGroups() {
  if (groups_.size() > slots_.size() / 2) GrowSlots(std::bit_ceil(groups_.size() * 2));
  const std::size_t mask = slots_.size() - 1;
  for (; listed_ < groups_.size(); ++listed_) {
    Group* const group = groups_[listed_];
    const uint64 hash = isPrefixKey_ ? Scatter(keptKeys_.Get(0).SortPrefix(group->Key()))
                                     : keptKeys_.Hash(group->Key());
    std::size_t i = hash & mask;
    while (slots_[i].group != nullptr) i = (i + 1) & mask;
    slots_[i] = {hash, group};
  }
}

TurnTakingSet& GroupTable::MakeTurns() {
  turns_.emplace(MakeAggregates(), keepsBareStates_ ? &memory_ : nullptr);
  bytesOfObjects_ = 0;
  for (std::size_t i = 0; i < aggregates_.size(); ++i) {
    turns_->GetSet().Get(i).ShareStates(stretches_);
    if (turns_->GetSet().HasObjects(i)) bytesOfObjects_ += CountBytesOfObject(aggregates_[i]);
  }
  return *turns_;
}

GroupTable::Group* GroupTable::FindOrOpen(uint64 hash) {
  Slot& slot = FindSlot(hash);
  if (slot.group != nullptr) return slot.group;
  return MayOpen() ? &OpenGroupAt(slot, hash) : nullptr;
}

GroupTable::Group* GroupTable::OpenNew() { return MayOpen() ? &OpenUnlisted() : nullptr; }

std::optional<uint32> GroupTable::CountStateBytes() {
  if (groups_.size() < mostOwnSets_) return std::nullopt;
  return GetTurns().GetStateBytes();
}

void GroupTable::GrowSlots(std::size_t slots) {
  SlotVector old(slots);
  old.swap(slots_);
  const std::size_t mask = slots_.size() - 1;
  for (const Slot& slot : old) {
    if (slot.group == nullptr) continue;
    std::size_t i = slot.hash & mask;
    while (slots_[i].group != nullptr) i = (i + 1) & mask;
    slots_[i] = slot;
  }
}

uint32 GroupTable::CountUsedKeyBytes() const {
  if (keepsPackedKeys_) return static_cast<uint32>(keyPacker_.Measure(group_.GetData()));
  if (varyingKeyOffset_ == 0) return keyBytes_;
  uint32 length;
  std::memcpy(&length, group_.GetData() + varyingKeyOffset_, sizeof length);
  return varyingKeyOffset_ + kLongVarPrefix + length * uint32{sizeof(wchar_t)};
}

GroupTable::Group& GroupTable::KeepGroup(uint32 keyBytes, uint32 stateBytes) {
  const std::size_t room = AlignUp(sizeof(Group) + keyBytes + stateBytes, kKeyAlignment);
  if (blockFree_ < room) {
    // Many groups have large blocks, which stand in few pages.
    const std::size_t wanted = blocks_.size() < kSmallBlocks ? kBlockBytes : kLargeBlockBytes;
    blockFree_ = std::max(wanted, room);
    blocks_.emplace_back(blockFree_);
    blockEnd_ = blocks_.back().bytes.get() + blockFree_;
  }
  auto* const group =
      new (blockEnd_ - blockFree_) Group{static_cast<uint32>(groups_.size()), keyBytes};
  blockFree_ -= room;
  std::memcpy(group->Key(), CurrentKeys(), keyBytes);
  groups_.push_back(group);
  return *group;
}

void GroupTable::Sort(uint64 row) {
  if (!sorter_) {
    sorter_.emplace(static_cast<uint32>(rowOffset_ + sizeof(float64)), timer_, false, true);
    XeRecordMetaData layout = TakeFields(group_, keyCount_);
    AppendFields(input_, inputOffset_, layout);
    sorter_->SetRowIdSorterMetadata(keys_, layout);
    sorter_->BeginInput();
  }
  uint8* const record = sortRecord_.Get();
  const float64 number = static_cast<float64>(row);
  keyPacker_.Copy(group_.GetData(), record);
  input_.GetPacker().Copy(input_.GetData(), record + inputOffset_);
  std::memcpy(record + rowOffset_, &number, sizeof number);
  sorter_->SortRecord(record);
  ++sortedRows_;
}

void GroupTable::ClearResults(uint8* record) const { group_.GetPacker().Clear(record, keyBytes_); }

bool GroupTable::NextLive() {
  if (nextLive_ >= groups_.size()) return false;
  Group& group = *groups_[nextLive_++];
  RestoreKeys(group);
  ClearResults(group_.GetData());
  if (HasOwnSet(group)) {
    sets_[group.index].Output(group_.GetData());
  } else {
    turns_->Output(group.States(), group_.GetData());
  }
  return true;
}

uint32 GroupTable::AppendLive(uint32 count, ChunkBuilder& target) {
  const auto left = groups_.size() - std::min(nextLive_, groups_.size());
  const std::size_t stride = AlignUp(group_.GetSize(), kRecordAlignment);
  // Wide records one by one: most of their room for texts is not written.
  count = static_cast<uint32>(
      std::min<std::size_t>({count, left, kMostBatchRows, kMostRecordBytes / stride}));
  if (count == 0 || keepsPackedKeys_ || !sets_.empty()) return 0;
  Group* const* const groups = groups_.data() + nextLive_;
  const auto fields = static_cast<std::size_t>(group_.GetLayout().GetFieldCount());
  // An aggregate that saw no value may leave its result as it stands: zero.
  const uint8* records[kMostBatchRows];
  std::exception_ptr error;
  if (keyCount_ < fields) {
    resultRecords_.assign(count * stride, 0);
    for (uint32 i = 0; i < count && !error; ++i) {
      uint8* const record = resultRecords_.data() + i * stride;
      records[i] = record;
      try {
        turns_->Output(groups[i]->States(), record);
      } catch (const ErrorMessage&) {
        error = std::current_exception();
        count = i;
      }
    }
    target.AppendFields(keyCount_, fields, records, count);
  }
  for (uint32 i = 0; i < count; ++i) records[i] = groups[i]->Key();
  target.AppendFields(0, keyCount_, records, count);
  target.EndRecords(count);
  nextLive_ += count;
  if (error) std::rethrow_exception(error);
  return count;
}

bool GroupTable::NextSorted(ProgressMeter& meter, RunPhase next) {
  if (sorter_) BeginSorted(meter, next);
  if (!results_ || !results_->GetRecord(result_->Get())) return false;
  group_.GetPacker().Copy(result_->Get(), group_.GetData());
  return true;
}

void GroupTable::BeginSorted(ProgressMeter& meter, RunPhase next) {
  // The live groups make room for the second sorter.
  FreeGroups();
  const std::size_t rowOffset = AlignUp(group_.GetSize(), alignof(float64));
  XeRecordMetaData layout = NumberAt(rowOffset);
  AppendFields(group_, 0, layout);
  results_.emplace(layout.GetBinaryRecordSize(), timer_);
  KeySet byFirstRow;
  byFirstRow.Add(KeyDesc(*layout.GetFieldDescriptor(0), kAscending, kCompareCodePoints));
  results_->SetRowIdSorterMetadata(byFirstRow, layout);
  results_->BeginInput();
  const uint64 groups = SumUpSorted(*results_, meter);
  sorter_.reset();
  results_->EndInput();
  result_.emplace(layout.GetBinaryRecordSize());
  meter.Start(next, groups);
}

uint64 GroupTable::SumUpSorted(SqrtSorter& results, ProgressMeter& meter) {
  uint64 groups = 0;
  const std::size_t rowOffset = AlignUp(group_.GetSize(), alignof(float64));
  const RecordBuffer result(NumberAt(rowOffset).GetBinaryRecordSize());
  AggregateSet aggregates = MakeAggregates();
  bool isOpen = false;
  const auto close = [&] {
    if (!isOpen) return;
    aggregates.Output(result.Get());
    results.SortRecord(result.Get());
    ++groups;
  };

  meter.Start(RunPhase::kGrouping, sortedRows_);
  sorter_->EndInput();
  uint8* const record = sortRecord_.Get();
  while (sorter_->GetRecord(record)) {
    meter.Step();
    float64 row;
    std::memcpy(&row, record + rowOffset_, sizeof row);
    if (!isOpen || keys_.Compare(result.Get(), record) != 0) {
      close();
      isOpen = true;
      keyPacker_.Copy(record, result.Get());
      ClearResults(result.Get());
      std::memcpy(result.Get() + rowOffset, &row, sizeof row);
      aggregates.Initialize();
    }
    AtRow(static_cast<uint64>(row),
          [&] { aggregates.Compute(record + inputOffset_, input_.GetSize()); });
  }
  close();
  return groups;
}

}  // namespace sqxer
