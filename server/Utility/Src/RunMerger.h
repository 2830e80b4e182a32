#pragma once

#include <span>
#include <vector>

#include "GatewayBlock.h"
#include "RecordBlock.h"
#include "RecordOrder.h"
#include "SpillFile.h"
#include "Utility/OperatorTimer.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Appends sorted records, a run, to a spill file in large writes.
class RunWriter {
 public:
  /// Holds up to `blockBytes` before it writes. The bytes written are charged to the timer.
  RunWriter(SpillFile& file, std::size_t blockBytes, OperatorTimer& timer);
  /// Copies a packed record of a multiple of 8 bytes.
  void Add(const uint8* record, std::size_t bytes);
  /// Writes what is left and returns the run.
  FileRange Finish();

 private:
  void Flush();
  void Write(const uint8* bytes, std::size_t count);

  SpillFile& file_;
  OperatorTimer& timer_;
  const std::size_t capacity_;
  GatewayBlock block_;
  std::size_t used_ = 0;
  FileRange run_;
};

/// Reads several runs as one, in order; of equal records those of the earlier run come first.
class RunMerger {
 public:
  /// How many runs of records of about that size can be merged at once within a number of bytes: at
  /// least two.
  static std::size_t GetMaxRuns(std::size_t recordBytes, std::size_t bytes);

  /// Takes blocks of about `bytes` altogether, more where records are longer than their blocks.
  /// Order (that of packed records), packer and file must outlive the merger.
  RunMerger(const RecordOrder& order, const RecordPacker& packer, const SpillFile& file,
            std::span<const FileRange> runs, std::size_t bytes, bool removeDuplicates);

  /// The next packed record, valid until the next call; null at the end.
  const uint8* Next();

 private:
  struct Source {
    uint64 prefix;
    /// Null when the run is used up.
    const uint8* record;
    const uint8* end;
    RecordBlock block;
    FileRange left;
  };

  /// A source in the tree, with the prefix of its record: that decides most matches.
  struct Player {
    uint64 prefix;
    uint32 source;
  };

  void KeepLast(const Source& source);
  bool ComesFirst(const Player& a, const Player& b) const;
  void Load(Source& source);
  void Advance(Source& source);
  void BuildTree();
  void Replay();

  const RecordOrder& order_;
  const RecordPacker& packer_;
  const SpillFile& file_;
  const bool removeDuplicates_;
  /// The blocks of all sources.
  GatewayBlock blocks_;
  std::vector<Source> sources_;
  /// A tree of losers: the match of nodes 2i and 2i+1 is at i, leaves are the sources behind the
  /// inner nodes, and the winner of all stands at 0.
  std::vector<Player> tree_;
  bool started_ = false;
  /// A copy of the record that was returned last, to know its duplicates.
  GatewayBlock last_;
  std::size_t lastCapacity_ = 0;
  uint64 lastPrefix_ = 0;
  bool hasLast_ = false;
};

}  // namespace sqxer
