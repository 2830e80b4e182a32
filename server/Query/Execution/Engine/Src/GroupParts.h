#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "GroupMerge.h"
#include "GroupRun.h"

namespace sqxer {

/// Groups the rows of a table by several threads: each takes a stretch of a chunk into groups of
/// its own, with a run of its own, and these are merged in the order of the rows. What a stretch
/// cannot do to the last bit as the rows one behind the other would is left to who asks.
class GroupParts {
 public:
  /// Rows of a chunk.
  struct Part {
    uint64 first;
    uint64 end;
    /// Null for a stretch that nobody has grouped.
    GroupRun* run;
    bool isGrouped;
  };

  /// One run for each thread.
  explicit GroupParts(GroupRuns runs) : runs_(std::move(runs)) {}

  /// How many threads so many rows are worth, of those that there are.
  static uint32 CountThreads(uint64 rows, uint32 threads) {
    return static_cast<uint32>(std::min<uint64>(threads, rows / leastRows));
  }
  /// The fewest rows of a stretch, and what is it from now on.
  static constexpr uint64 kLeastRows = uint64{32} * kColumnBlockRows;
  static void SetLeastRows(uint64 rows) { leastRows = rows; }

  /// Another run begins, into these groups.
  void Start(GroupTable& groups);
  /// How many rows of a chunk, its first ones, are to be taken in one by one, so that their groups
  /// show whether parts gain anything.
  uint64 CountTrialRows(const TableChunk& chunk);
  /// Groups the rows of a chunk from one on. The parts are to be merged in their order.
  const std::vector<Part>& Group(const TableChunk& chunk, uint64 firstRow, uint64 row);
  /// Takes the groups of a part into those of Start. False when its rows have to be taken in one by
  /// one.
  bool Merge(const Part& part);

 private:
  static uint64 leastRows;

  const GroupRuns runs_;
  std::vector<Part> parts_;
  std::optional<GroupMerge> merge_;
  GroupTable* groups_ = nullptr;
  /// How many rows the trial has; nothing before it.
  std::optional<uint64> trialRows_;
  bool isTrialOver_ = false;
  /// Parts whose rows had to be taken in again, and whether there are so many groups that merging
  /// them gains nothing.
  uint32 failures_ = 0;
  bool areGroupsMany_ = false;
};

}  // namespace sqxer
