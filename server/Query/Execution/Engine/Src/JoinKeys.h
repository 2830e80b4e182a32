#pragma once

#include <algorithm>
#include <array>
#include <deque>
#include <vector>

#include "ColumnTexts.h"
#include "JoinColumn.h"
#include "TableJoin.h"

namespace sqxer {

/// Rows of a batch with the words of their keys.
struct JoinBatch {
  /// Those of the side, of which `count` may join.
  uint32 read = 0;
  uint32 count = 0;
  /// By their numbers in the table, ascending.
  uint32 rows[kMostBatchRows];
  uint64 words[kMostBatchRows];
};

/// The keys of a join as one number, a word, for each row. Words are exact where equal ones are
/// equal keys, and hashes otherwise.
class JoinKeys {
 public:
  using Side = JoinColumn::Side;

  /// The tables must outlive it. `before`, which may be null, are keys of the same build side: what
  /// its probe sides have asked for stays.
  JoinKeys(const JoinSide& build, const JoinSide& probe, const JoinKeys* before = nullptr);

  /// Goes on with another probe side. False where the words of the build side would have to be
  /// others: then the keys are to be made anew.
  bool SetProbe(const JoinSide& probe);

  bool AreExact() const { return isExact_; }
  /// The greatest word that the build side can have, where they are exact.
  uint64 GetMostWord() const { return mostWord_; }

  /// Calls use(batch) for all rows of a side, without those that are known to join nothing. With
  /// `descends` the last batch comes first.
  template <class Use>
  void ForEachBatch(Side side, bool descends, Use&& use);
  /// The same for some rows of a chunk alone, from `first` on in the chunk; valid until the next
  /// call.
  const JoinBatch& ReadBatch(Side side, std::size_t chunk, uint64 first, uint32 count) {
    Read(side, chunk, first, count);
    return batch_;
  }
  /// Whether the keys of two rows of equal words are equal.
  bool AreEqual(uint32 buildRow, uint32 probeRow);

 private:
  /// Where a column is exact: its values less the least one of the build side, times a factor.
  struct Digit {
    int64 least = 0;
    uint64 span = 0;
    uint64 factor = 1;
  };

  /// Makes rows of a chunk the batch.
  void Read(Side side, std::size_t chunk, uint64 first, uint32 count);
  /// The words of each column, and which rows may join.
  void ReadColumns(Side side, std::size_t chunk, uint64 first, uint32 count);
  /// False where there are too many values for one word.
  bool ChooseDigits();
  void CombineDigits(uint32 count);
  void CombineHashes(uint32 count);

  std::array<const Table*, 2> tables_;
  std::array<ChunkFinder, 2> chunks_;
  std::deque<JoinColumn> columns_;
  bool isExact_ = false;
  uint64 mostWord_ = 0;
  std::vector<Digit> digits_;

  /// Of the columns, one behind the other.
  std::vector<uint64> words_;
  uint8 joins_[kMostBatchRows];
  JoinBatch batch_;
};

template <class Use>
void JoinKeys::ForEachBatch(Side side, bool descends, Use&& use) {
  const std::vector<TableChunk>& chunks = tables_[side]->chunks;
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const std::size_t chunk = descends ? chunks.size() - 1 - i : i;
    const uint64 batches = (chunks[chunk].rows + kMostBatchRows - 1) / kMostBatchRows;
    for (uint64 j = 0; j < batches; ++j) {
      const uint64 first = (descends ? batches - 1 - j : j) * kMostBatchRows;
      const uint64 rows = std::min<uint64>(kMostBatchRows, chunks[chunk].rows - first);
      Read(side, chunk, first, static_cast<uint32>(rows));
      use(static_cast<const JoinBatch&>(batch_));
    }
  }
}

}  // namespace sqxer
