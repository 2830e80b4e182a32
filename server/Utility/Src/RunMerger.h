#pragma once

#include <span>
#include <vector>

#include "GatewayBlock.h"
#include "RecordOrder.h"
#include "SpillFile.h"
#include "Utility/OperatorTimer.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Sorted records that lie one after the other in a spill file.
struct Run {
  uint64 offset;
  uint64 count;
};

/// Appends one run to a spill file in large writes.
class RunWriter {
 public:
  /// Holds up to `blockBytes` (at least one record) before it writes. The bytes written are charged
  /// to the timer.
  RunWriter(SpillFile& file, std::size_t stride, std::size_t blockBytes, OperatorTimer& timer);
  /// Copies a record of `recordSize` bytes, at most the stride.
  void Add(const uint8* record, std::size_t recordSize);
  /// Writes what is left and returns the run.
  Run Finish();

 private:
  void Flush();

  SpillFile& file_;
  OperatorTimer& timer_;
  const std::size_t stride_;
  const std::size_t capacity_;
  GatewayBlock block_;
  std::size_t used_ = 0;
  Run run_;
};

/// Reads several runs as one, in order; of equal records those of the earlier run come first.
class RunMerger {
 public:
  /// How many runs can be merged at once within a number of bytes: at least two.
  static std::size_t GetMaxRuns(std::size_t stride, std::size_t bytes);

  /// Takes blocks of about `bytes` altogether. Order and file must outlive the merger.
  RunMerger(const RecordOrder& order, SpillFile& file, std::span<const Run> runs,
            std::size_t stride, std::size_t bytes, bool removeDuplicates);

  /// The next record, valid until the next call; null at the end.
  const uint8* Next();

 private:
  struct Source {
    uint64 prefix;
    /// Null when the run is used up.
    const uint8* record;
    const uint8* end;
    uint8* block;
    Run left;
  };

  /// A source in the tree, with the prefix of its record: that decides most matches.
  struct Player {
    uint64 prefix;
    uint32 source;
  };

  bool ComesFirst(const Player& a, const Player& b) const;
  void Load(Source& source);
  void Advance(Source& source);
  void BuildTree();
  void Replay();

  const RecordOrder& order_;
  SpillFile& file_;
  const std::size_t stride_;
  const bool removeDuplicates_;
  std::size_t blockRecords_;
  GatewayBlock blocks_;
  std::vector<Source> sources_;
  /// A tree of losers: the match of nodes 2i and 2i+1 is at i, leaves are the sources behind the
  /// inner nodes, and the winner of all stands at 0.
  std::vector<Player> tree_;
  bool started_ = false;
  /// A copy of the record that was returned last, to know its duplicates.
  GatewayBlock last_;
  uint64 lastPrefix_ = 0;
  bool hasLast_ = false;
};

}  // namespace sqxer
