#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "GroupSet.h"
#include "RowScan.h"
#include "Utility/Settings.h"

namespace sqxer {

class GroupParts;
class GroupRun;
/// Of one statement, each with trees of its own.
using GroupRuns = std::vector<std::unique_ptr<GroupRun>>;

/// The first stage of a grouped query: the rows of a scan into groups. What comes after that reads
/// the groups, keys and results, as the rows of a table.
class GroupRun final : private RowTaker {
 public:
  /// Takes what it needs out of the plan, which must outlive it. Errors of binding carry their
  /// place in the SQL.
  GroupRun(QueryPlan& plan, const Table* table, std::unique_ptr<ChunkSource> rest);
  ~GroupRun() override;

  /// The keys, then every aggregate's results.
  static std::vector<ColumnInfo> FieldsOf(const QueryPlan& plan);

  RowScan& GetScan() { return scan_; }
  /// Whether groups that threads have made can be merged.
  bool CanMergeParts();
  /// Has the rows grouped by these, each in a thread of its own and with so much memory.
  void SetParts(GroupRuns parts, uint64 memory);

  /// Groups all rows.
  void Run(ProgressMeter& meter);
  uint64 CountLive() const;
  /// Whether all groups are in memory.
  bool AreAllLive() const;
  /// After Run, once: the groups, set by set, in the order of their first rows, in chunks of at
  /// most so many. The meter counts the rows that are sorted for that, and then goes to the phase
  /// `next`. An error of a group comes when those before it were handed on. The run must outlive
  /// them.
  std::unique_ptr<ChunkSource> TakeGroups(uint64 mostRows, ProgressMeter& meter, RunPhase next);

  // For EXPLAIN.
  std::vector<FieldWriter>& GetKeys() { return keys_; }
  std::vector<FieldWriter>& GetInputs() { return inputs_; }
  AggregateSet MakeAggregates() { return GetGroups().MakeAggregates(); }

 private:
  friend class GroupParts;

  bool TakeChunk(RowScan& scan, const TableChunk& chunk, uint64 firstRow) override;
  Outcome TakeBatch(const BatchRows& rows) override;
  bool TakeRow(uint64 row) override;
  bool AddRow(uint64 row);
  void Start();
  bool FindGroups(const BatchRows& rows);
  /// Takes the rows of a batch into the groups found. An error is that of the first row that has
  /// one.
  void TakeRows(const BatchRows& rows);
  /// Where there is one set.
  GroupTable& GetGroups() { return sets_.front()->GetTable(); }
  /// Rows of a chunk, from `row` up to `end`, into groups that are to be merged with others: all of
  /// them by batches. False when that cannot be done.
  bool GroupPart(const TableChunk& chunk, uint64 firstRow, uint64 row, uint64 end);

  const SettingsRef settings_ = Settings::Current();
  WorkRecord scanRecord_;
  WorkRecord inputRecord_;
  /// The keys of a row, where there are several sets of them.
  std::optional<WorkRecord> keyRecord_;
  RowScan scan_;
  std::vector<FieldWriter> keys_;
  std::vector<FieldWriter> inputs_;
  std::vector<std::unique_ptr<GroupSet>> sets_;
  const bool opensEmptySets_;
  std::unique_ptr<GroupParts> parts_;
  bool takesBatches_ = false;
  std::vector<BatchVector> keyVectors_;
  std::vector<BatchVector> inputVectors_;
  RunProfile* profile_ = nullptr;
};

}  // namespace sqxer
