#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "AggregateSet.h"
#include "ChunkBuilder.h"
#include "RunProgress.h"
#include "Utility/HugePages.h"
#include "Utility/KeySet.h"
#include "Utility/SqrtSorter.h"
#include "Utility/XeMemory.h"
#include "WorkRecord.h"

namespace sqxer {

/// Gathers rows into groups by the values of their keys, in memory up to a limit and beyond it by
/// sorting, with the same results in the same order: groups come out in the order of their first
/// rows.
///
/// The keys are the first fields of the group record, the results of the aggregates the fields
/// behind them. A live group keeps the record's bytes up to the first result, or to the end of a
/// text that is the last key (a layout puts the values in field order, the null bytes before them
/// all). Where there are wide texts in front of the last key, it keeps these bytes packed. The
/// first groups have a set of aggregates each; those beyond keep the bare states of their
/// aggregates, among which one set takes turns, unless an aggregate has none. Once the
/// groups have reached the limit no new ones are opened: rows of other groups go to a sorter, and
/// are summed up afterwards group by group. A group with DISTINCT aggregates counts with the
/// buffers that their sorters may fill. Where aggregates hold every value of their groups, the
/// values of all rows count from the start: should they not find room, no group is opened, and one
/// group after the other holds its own.
class GroupTable {
 public:
  /// The records and the aggregates must outlive the table. `keyCount` may be 0: one group, in
  /// memory whatever the limit. `memoryLimit` in bytes; no more than `mostRows` rows will come.
  GroupTable(WorkRecord& group, std::size_t keyCount, WorkRecord& input,
             const std::vector<PlanAggregate>& aggregates, uint64 memoryLimit, uint64 mostRows);

  /// How many groups have a set of aggregates each, in tables that are cleared from now on.
  static std::size_t GetMostOwnSets();
  static void SetMostOwnSets(std::size_t groups);

  /// Whether all groups keep bare states, as GroupBatch needs them. From the next Clear on.
  void KeepBareStates(bool keeps) { keepsBareStates_ = keeps; }

  /// Among how many tables the rows of a group are shared out whose states are to be merged, and
  /// what this one may hold. From the next Clear on.
  void ShareStates(uint32 stretches) { stretches_ = stretches; }
  void LimitMemory(uint64 bytes) { memory_ = HeldMemory(bytes); }
  /// No more rows than so many will come after a Clear.
  void LimitRows(uint64 rows);
  std::size_t CountLive() const { return groups_.size(); }
  /// How many groups, or values that an aggregate holds of them, another table would have to take.
  uint64 CountToMerge();
  /// Whether there are no others than live groups.
  bool AreAllLive() const { return !sorter_; }

  /// Forgets all groups. To be called before the first row.
  void Clear();
  /// Opens the group of the keys in the group record, though no row may come.
  void OpenGroup();
  /// Takes in the row whose keys stand in the group record and whose aggregate inputs stand in the
  /// input record. `row` (from 1) ascends. True when it has opened a group in memory.
  bool Add(uint64 row);

  /// One group after the other in the group record, keys and results: first those in memory, which
  /// NextLive gives, then the others, which NextSorted does. False behind the last one of each. The
  /// meter counts the rows that are sorted for that, and is then started for the phase that groups
  /// go to.
  void BeginResults() { nextLive_ = 0; }
  bool NextLive();
  /// The next live groups, at most `count` and no more than a batch has, column by column: how many
  /// were appended. 0 behind the last one, and where that cannot be. An error of a group is thrown
  /// when those before it were appended.
  uint32 AppendLive(uint32 count, ChunkBuilder& target);
  bool NextSorted(ProgressMeter& meter, RunPhase next);

  /// For EXPLAIN, too.
  AggregateSet MakeAggregates() { return {aggregates_, input_, group_, keyCount_}; }

 private:
  friend class GroupBatch;
  friend class GroupMerge;

  /// Followed in memory by the bytes of its key and, without a set of its own, by its states.
  struct Group {
    uint32 index;
    uint32 keyBytes;
    uint8* Key() { return reinterpret_cast<uint8*>(this + 1); }
    uint8* States() { return Key() + keyBytes; }
  };
  struct Slot {
    uint64 hash = 0;
    /// Null for a free slot.
    Group* group = nullptr;
  };

  /// What a group takes in the slots and in the list of groups.
  static constexpr uint64 kBytesPerGroup = 64;
  using SlotVector = std::vector<Slot, ScatteredAllocator<Slot>>;

  /// Counts what `use` takes from the memory gateway.
  template <class Use>
  void TakeFromGateway(Use&& use) {
    const std::size_t before = MemoryGateway::BytesOfThread();
    use();
    memory_.Take(MemoryGateway::BytesOfThread() - before);
  }
  /// Once a row was sorted its group must not be opened, though memory be given back.
  bool MayOpen() const { return !sorter_ && memory_.HasRoom(); }
  /// The current keys as a group keeps them.
  const uint8* CurrentKeys();
  /// Makes the keys of a group the current ones.
  void RestoreKeys(Group& group);
  uint64 HashKeys() const;
  bool IsGroupOfKeys(Group& group);
  /// The slot of the group of the current keys, or the free one where it belongs.
  Slot& FindSlot(uint64 hash);
  Group& OpenGroupAt(Slot& slot, uint64 hash);
  /// A new group of the current keys, which are not in any slot; it gets its own when slots are
  /// next looked up.
  Group& OpenUnlisted();
  void ListGroups();
  /// The group of the current keys; null when there is none and no more may be opened.
  Group* FindOrOpen() { return FindOrOpen(HashKeys()); }
  /// The same when their hash is known.
  Group* FindOrOpen(uint64 hash);
  /// The same where there is none.
  Group* OpenNew();
  TurnTakingSet& GetTurns() { return turns_ ? *turns_ : MakeTurns(); }
  TurnTakingSet& MakeTurns();
  void GrowSlots(std::size_t slots);
  /// What of the current keys has to be kept: one long text does not make every group as long.
  uint32 CountUsedKeyBytes() const;
  /// A new group with the current keys.
  Group& KeepGroup(uint32 keyBytes, uint32 stateBytes);
  /// What a group with states takes.
  uint64 CountBytes(uint32 keyBytes) {
    return sizeof(Group) + keyBytes + *GetTurns().GetStateBytes() + kBytesPerGroup +
           bytesOfObjects_;
  }
  /// The room for the states of the next group; nothing when it is to have a set of its own.
  std::optional<uint32> CountStateBytes();
  bool HasOwnSet(const Group& group) const { return group.index < sets_.size(); }
  void Compute(uint64 row, Group& group);
  void FreeGroups();
  void Sort(uint64 row);
  /// An aggregate that saw no value may leave a result as it stands: it must not be another
  /// group's.
  void ClearResults(uint8* record) const;
  /// Sums up the sorted rows, and starts the meter for the groups that they make.
  void BeginSorted(ProgressMeter& meter, RunPhase next);
  /// Reads the sorted rows, and gives the finished group record of each group with its first row.
  /// Returns how many groups there are.
  uint64 SumUpSorted(SqrtSorter& results, ProgressMeter& meter);

  WorkRecord& group_;
  std::size_t keyCount_;
  WorkRecord& input_;
  const std::vector<PlanAggregate>& aggregates_;
  /// What live groups take, and what their aggregates hold.
  HeldMemory memory_;
  KeySet keys_;
  RecordPacker keyPacker_;
  bool keepsPackedKeys_;
  /// The keys of kept bytes.
  KeySet keptKeys_;
  RecordBuffer packedKeys_;
  /// There is one key, and its sort prefix is all of it.
  bool isPrefixKey_;
  uint32 keyBytes_;
  /// Where a last key of varying length stands, 0 for any other key.
  uint32 varyingKeyOffset_;
  uint64 bytesBeyondGateway_;
  /// The same of the aggregates that have no states.
  uint64 bytesOfObjects_ = 0;
  uint64 bytesOfHeldValues_;

  /// In the order of their first rows.
  std::vector<Group*> groups_;
  /// Those of the first groups.
  std::vector<AggregateSet> sets_;
  std::size_t mostOwnSets_ = 0;
  bool keepsBareStates_ = false;
  uint32 stretches_ = 1;
  std::optional<TurnTakingSet> turns_;
  SlotVector slots_;
  /// The first groups that have slots.
  std::size_t listed_ = 0;
  struct Block {
    struct Free {
      std::size_t size;
      void operator()(uint8* bytes) const { FreeScattered(bytes, size); }
    };
    explicit Block(std::size_t size)
        : bytes(static_cast<uint8*>(AllocateScattered(size)), Free{size}) {}
    /// Not zeroed.
    std::unique_ptr<uint8, Free> bytes;
  };
  std::vector<Block> blocks_;
  /// The end of the last block, and how much before it is free.
  uint8* blockEnd_ = nullptr;
  std::size_t blockFree_ = 0;

  OperatorTimer timer_;
  /// A row beyond the limit: the key bytes, the input record, the row's number.
  std::size_t inputOffset_;
  std::size_t rowOffset_;
  RecordBuffer sortRecord_;
  std::optional<SqrtSorter> sorter_;
  uint64 sortedRows_ = 0;

  /// The live group that comes next.
  std::size_t nextLive_ = 0;
  /// Of the groups that are appended together: a group record each.
  std::vector<uint8> resultRecords_;
  /// What NextSorted reads: finished group records behind the numbers of their first rows.
  std::optional<SqrtSorter> results_;
  std::optional<RecordBuffer> result_;
};

}  // namespace sqxer
