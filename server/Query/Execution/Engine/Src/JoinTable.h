#pragma once

#include "JoinKeys.h"
#include "RecordKeys.h"
#include "Utility/HashMix.h"

namespace sqxer {

/// The rows of one side of a join by their words: for each word the first row, and for each row the
/// next one of the same word. Where the words are close together they are places in the table.
/// It is filled several times where it would take too much memory as a whole, with a part of the
/// words each time.
class JoinTable {
 public:
  /// For the rows of the build side, `rows` at most, in `memoryLimit` bytes and the chains of rows,
  /// which take 4 bytes for each row where some words are equal.
  JoinTable(const JoinKeys& keys, uint64 rows, uint64 memoryLimit);

  uint32 GetParts() const { return parts_; }
  /// Forgets all rows, and takes those of a part from now on.
  void StartPart(uint32 part);
  /// Adds the rows of the part. Batches and rows come in descending order.
  void Add(const JoinBatch& batch);
  /// The first rows that have the words of a batch; kNoJoinRow where there is none in this part.
  void Find(const JoinBatch& batch, uint32* firstRows) const;
  /// Whether some rows of the part have equal words, or some of a part before.
  bool HasChains() const { return !next_.empty(); }
  /// The next row behind one that has the same word; kNoJoinRow behind the last one.
  uint32 GetNext(uint32 row) const { return next_[row]; }

 private:
  /// Words are places up to so many for each row, or in all.
  static constexpr uint64 kPlacesPerRow = 8;
  static constexpr uint64 kFewPlaces = uint64{1} << 16;
  static constexpr uint64 kLeastBytes = uint64{16} << 10;
  static constexpr uint64 kMostParts = 64;
  static constexpr std::size_t kFirstSlots = std::size_t{1} << 12;
  /// A larger table is looked up with the places on their way to the cache.
  static constexpr std::size_t kLeastPrefetched = 8192;

  struct Slot {
    uint64 word = 0;
    uint32 row = kNoJoinRow;
  };

  bool IsOfPart(uint64 hash) const { return ((hash >> 32) * parts_) >> 32 == part_; }
  static uint64 HashOf(uint64 word) { return Scatter(word); }
  void Put(uint32 row, uint32& first) {
    if (first != kNoJoinRow) {
      if (next_.empty()) next_.resize(rows_, kNoJoinRow);
      next_[row] = first;
    }
    first = row;
  }
  /// The slot of a word, or the free one where it belongs.
  std::size_t FindSlot(uint64 hash, uint64 word) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = hash & mask;
    while (slots_[at].row != kNoJoinRow && slots_[at].word != word) at = (at + 1) & mask;
    return at;
  }
  void Grow();

  const uint64 rows_;
  bool isDirect_ = false;
  uint32 parts_ = 1;
  uint32 part_ = 0;
  /// Of words that are places: how many a part has, and the first one.
  uint64 places_ = 0;
  uint64 firstPlace_ = 0;
  RowArray<uint32> firstRows_;
  RowArray<Slot> slots_;
  std::size_t usedSlots_ = 0;
  RowArray<uint32> next_;
};

}  // namespace sqxer
