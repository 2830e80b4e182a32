#pragma once

#include <memory>
#include <span>
#include <vector>

#include "Utility/Export.h"
#include "Utility/KeySet.h"
#include "Utility/RecordPacker.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// The order of records of a fixed length by their keys, for algorithms over their addresses.
class FixedLengthKeySetPred {
 public:
  /// The keys must outlive the predicate.
  explicit FixedLengthKeySetPred(const KeySet& keys) : keys_(&keys) {}

  /// Whether `a` sorts before `b`.
  bool operator()(const uint8* a, const uint8* b) const { return keys_->Compare(a, b) < 0; }

 private:
  const KeySet* keys_;
};

/// Records kept in memory in packed form, and an array of pointers to them that its user may put
/// into any order. A record stays where it is until the next Sort or Update. Not thread-safe.
class XEUTILITY_API ArrayRowSet {
 public:
  /// Memory is taken in blocks: the first of so many records, each further one twice the one
  /// before, up to `maxBlockBytes`; every block holds at least one record.
  ArrayRowSet(uint32 recordSize, uint32 firstBlockRecords, uint32 maxBlockBytes)
      : ArrayRowSet(RecordPacker(recordSize), firstBlockRecords, maxBlockBytes) {}
  ArrayRowSet(const RecordPacker& packer, uint32 firstBlockRecords, uint32 maxBlockBytes);

  const RecordPacker& GetPacker() const { return packer_; }

  /// Forgets what is there and copies one record in. Of the memory one block is kept.
  void AppendFirst(const uint8* record);
  /// Copies one record to the end, at an address that is a multiple of 8.
  void Append(const uint8* record);
  /// Puts a copy of another record in the place of the one that the array of pointers has at
  /// `index`.
  void Update(uint32 index, const uint8* record);
  /// The array of pointers: in the order of the records' arrival, or in the order in which its user
  /// left it with later records behind. Valid until the next record is appended, which may follow.
  /// Its memory is taken here (and by Sort and Update): sets that only grow hold records alone.
  std::span<uint8*> Finalize();
  /// Puts the array of pointers in the order of the keys of packed records, at least one; records
  /// of equal keys come in any order. What Finalize gave stays valid.
  void Sort(const KeySet& keys) { Sort(keys, count_); }
  /// The same for the first `count` pointers.
  void Sort(const KeySet& keys, std::size_t count);

 private:
  struct FreeBlock {
    void operator()(uint8* block) const noexcept;
  };
  struct Block {
    std::unique_ptr<uint8[], FreeBlock> bytes;
    std::size_t capacity;
    /// Where the records in it end, once there is a newer one.
    uint8* end;
  };

  /// What a record is sorted by: its prefix decides most pairs without a look at the record.
  struct SortEntry {
    uint64 prefix;
    uint8* record;
  };

  uint8* TakeRoom(std::size_t bytes);
  void AddBlock(std::size_t bytes);
  /// Moves the records together, where more than half of the room is that of records which others
  /// have replaced.
  void DropReplaced();
  /// Puts each range of equal prefixes in order.
  void ResolveTies(const FixedLengthKeySetPred& order);

  RecordPacker packer_;
  std::size_t mostBlockBytes_;
  std::size_t firstBlockBytes_;
  std::vector<Block> blocks_;
  /// The room left in the newest block.
  uint8* next_ = nullptr;
  std::size_t left_ = 0;
  std::size_t count_ = 0;
  /// Bytes of all records, and those of replaced ones among them.
  std::size_t usedBytes_ = 0;
  std::size_t replacedBytes_ = 0;
  std::vector<uint8*> rows_;
  /// The block whose records `rows_` has up to this one, and all of those before.
  std::size_t listedBlock_ = 0;
  uint8* unlisted_ = nullptr;
  /// Kept from one Sort to the next.
  std::vector<SortEntry> sortEntries_;
};

}  // namespace sqxer
