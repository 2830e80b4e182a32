#pragma once

#include <vector>

#include "GroupBatch.h"
#include "GroupTable.h"

namespace sqxer {

/// The groups of one grouping set. Their record has all keys of the query, of which those that the
/// set leaves out are NULL, and behind them the fields that tell the set from others.
class GroupSet {
 public:
  /// `fields`: those of the group record. `set`: null for the one that has all keys, and nothing to
  /// be told from. The rest is GroupTable's; all must outlive the set.
  GroupSet(const std::vector<ColumnInfo>& fields, std::size_t keyCount, const PlanGroupingSet* set,
           WorkRecord& input, const std::vector<PlanAggregate>& aggregates, uint64 memoryLimit,
           uint64 mostRows);

  WorkRecord& GetRecord() { return record_; }
  GroupTable& GetTable() { return table_; }
  GroupBatch& GetBatch() { return batch_; }

  /// `opensEmpty`: a set without keys has its group though there be no row.
  void Start(bool takesBatches, bool opensEmpty);
  /// Puts the keys of a row into the record, out of one that has the same fields.
  void TakeKeys(const WorkRecord& keys);
  /// The same as GroupBatch::FindGroups, for the vectors of all keys.
  bool FindGroups(const BatchRows& rows, const std::vector<BatchVector>& keys,
                  const std::vector<BatchVector>& inputs, uint64 firstRow);

 private:
  /// Writes what all groups of the set have in common.
  void WriteCommon();

  const std::size_t keyCount_;
  const PlanGroupingSet* const set_;
  std::vector<std::size_t> leftOut_;
  WorkRecord record_;
  GroupTable table_;
  GroupBatch batch_;
  std::vector<BatchVector> vectors_;
  std::vector<BatchVector> searched_;
};

}  // namespace sqxer
