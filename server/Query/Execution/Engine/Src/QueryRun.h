#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "EngineError.h"
#include "FieldWriter.h"
#include "GroupBatch.h"
#include "GroupTable.h"
#include "JsonScan.h"
#include "QueryPlan.h"
#include "ResultSink.h"
#include "RunProgress.h"
#include "Table.h"
#include "TableBatch.h"
#include "TableScan.h"
#include "Utility/Settings.h"
#include "Utility/SqrtSorter.h"
#include "WindowSet.h"
#include "WorkRecord.h"

namespace sqxer {

class FilterParts;
class GroupParts;
class QueryRun;
/// Of one statement, each with trees of its own.
using QueryRuns = std::vector<std::unique_ptr<QueryRun>>;

/// A plan whose trees are bound to records of its own, ready to be run over its table any number of
/// times, once where rows are read while it runs, under the settings that were the thread's current
/// ones when it was made. One thread.
class QueryRun {
 public:
  /// Takes over the plan. `table` is null for a plan without one, and must outlive the run; `rest`
  /// gives the rows behind its own, if there are more, for a plan that reads them once. Errors of
  /// binding carry their place in the SQL.
  QueryRun(QueryPlan plan, const Table* table, std::unique_ptr<ChunkSource> rest = nullptr);
  ~QueryRun();
  QueryRun(const QueryRun&) = delete;
  QueryRun& operator=(const QueryRun&) = delete;

  /// How many rows a batch has, at most kMostBatchRows, in runs that begin from now on.
  static void SetBatchRows(uint32 rows);

  /// Has several threads work on the rows where that takes less time; `plans` are others of the
  /// same statement, one for each thread, or none if only sorting is to be shared out. The result
  /// stays the same to the last bit.
  void UseThreads(uint32 threads, std::vector<QueryPlan> plans);

  /// Errors while a row is evaluated carry the row's number (from 1) in the table.
  void Run(ResultSink& sink, RunProgress progress = nullptr);
  /// The steps and the bound trees, one node a line.
  std::vector<XeString> Describe();

 private:
  friend class FilterParts;
  friend class GroupParts;

  std::vector<ColumnInfo> VisibleColumns() const;
  void BindScan();
  void BindGroups();
  void BindWindows();
  void BindOutputs();
  void BindRowOrder();
  /// Whether rows of the scan can be looked up again by their numbers. What is made for that is not
  /// used where a tree turns out not to be repeatable, and batches are given up.
  bool CanLookUpRows() const { return batch_ && !hasRest_ && !documents_ && !plan_.grouped; }
  /// What outputs and windows read.
  WorkRecord& SourceRecord() { return plan_.grouped ? groupRecord_ : scanRecord_; }
  /// The number that errors of a row carry.
  uint64 ErrorRow(uint64 row) const { return table_ != nullptr ? row : kNoRowNumber; }

  /// `byNumbers`: rows are sorted by their numbers where that can be.
  void Start(ResultSink& sink, bool byNumbers);
  void StartGroups();
  void BeginResult();
  void ScanTable();
  /// Makes a chunk the current one, whose first row has a number (from 1).
  void Enter(const TableChunk& chunk, uint64 firstRow);
  /// Makes a row of the current chunk the current one, from 0.
  void Fill(uint64 row);
  /// Makes a row of the table the current one that was scanned before.
  void FillAgain(uint64 row);
  void AddToGroups(uint64 row);
  /// These return false when no further row is wanted.
  bool ScanChunk(const TableChunk& chunk, uint64 firstRow);
  /// Rows of the current chunk, from `row` up to `end`.
  bool ScanRows(uint64 row, uint64 end);
  /// Rows of a chunk, from `row` up to `end`, into groups that are to be merged with others: all of
  /// them by batches. False when that cannot be done.
  bool GroupPart(const TableChunk& chunk, uint64 firstRow, uint64 row, uint64 end);
  /// Makes a chunk the current one of a part.
  void EnterPart(const TableChunk& chunk, uint64 firstRow);
  /// Makes a batch of it those rows that pass the filter, until the next one. False when it is to
  /// be done row by row.
  bool FilterPart(BatchRows& rows, uint64 first, uint32 count);
  bool GainsFromGroupParts();
  bool ScanBatch(uint64 first, uint32 count);
  /// Rows of the current chunk: all, or those that have passed the filter.
  bool ScanRow(uint64 row);
  bool TakeRow(uint64 row);
  /// What becomes of a batch. False when it is to be done row by row.
  bool FilterBatch(BatchRows& rows);
  bool AddBatchToGroups(const BatchRows& rows);
  /// Finds the groups of a batch's rows. False when it is to be done row by row.
  bool FindGroups(const BatchRows& rows);
  bool AddBatchToOrder(uint64 first, const BatchRows& rows);
  bool EvaluateOutputs(const BatchRows& rows);
  bool FindDistinct(const BatchRows& rows);
  /// The evaluated outputs; false when no further row is wanted.
  bool EmitBatch(uint64 first, const BatchRows& rows);
  void BindBatchOutputs();
  bool AreTreesRepeatable();
  void ShareTrees();
  static bool EvaluateTrees(std::vector<FieldWriter>& writers, const BatchRows& rows,
                            std::vector<BatchVector>& vectors);
  bool EmitGroup();
  bool TakeSourceRow(uint64 row);
  bool Emit(uint64 row);
  /// The row whose outputs stand in the result record.
  bool TakeResult(uint64 row);
  bool Deliver();
  bool Pass();
  void EmitWindowRows();
  void EmitSortedRows();
  void EmitRowsByNumber();
  uint64 CountScannedRows() const {
    return hasRest_ ? kUnknownRows : table_ != nullptr ? table_->rowCount : 1;
  }
  /// Rows of the result are made while others are still to be scanned.
  bool EmitsWhileScanning() const { return !groups_ && !sorter_; }
  /// What the rows that leave the step are on their way to.
  RunPhase AfterScan() const;
  RunPhase AfterGroups() const;
  RunPhase AfterWindows() const;
  RunPhase AfterDistinct() const { return sorter_ ? RunPhase::kSorting : RunPhase::kWriting; }
  /// As many rows as are wanted were passed on.
  bool IsComplete() const { return plan_.limit && passed_ == *plan_.limit; }

  const SettingsRef settings_ = Settings::Current();
  QueryPlan plan_;
  const Table* table_;
  const bool hasRest_;
  /// Null when it was read, too.
  std::unique_ptr<ChunkSource> rest_;
  WorkRecord scanRecord_;
  WorkRecord inputRecord_;
  WorkRecord groupRecord_;
  WorkRecord resultRecord_;

  std::optional<TableScan> scan_;
  std::optional<JsonScan> documents_;
  std::optional<TableBatch> batch_;
  std::optional<RowFilter> filter_;
  std::vector<FieldWriter> groupKeys_;
  std::vector<FieldWriter> aggregateInputs_;
  std::optional<GroupTable> groups_;
  std::optional<GroupBatch> groupBatch_;
  std::unique_ptr<GroupParts> groupParts_;
  std::unique_ptr<FilterParts> filterParts_;
  std::optional<RowFilter> having_;
  std::optional<WindowSet> windows_;
  std::vector<FieldWriter> outputs_;
  std::optional<GroupTable> distinct_;
  std::optional<GroupBatch> distinctBatch_;
  std::vector<PlanAggregate> noAggregates_;
  WorkRecord noInput_;
  OperatorTimer timer_;
  std::optional<SqrtSorter> sorter_;
  /// In the place of the sorter: the numbers of the rows, whose outputs are evaluated late.
  std::optional<SortedRows> rowOrder_;
  std::optional<LateWriters> lateOutputs_;
  /// Gives the outputs the rows that windows took in by batches.
  std::optional<RowLookup> lookup_;

  ResultSink* sink_ = nullptr;
  ProgressMeter meter_;
  /// How batches are evaluated: not at all where that gains nothing, or when too many of them had
  /// to be done again.
  uint32 batchRows_ = 0;
  bool groupsTakeBatches_ = false;
  bool outputsTakeBatches_ = false;
  bool distinctTakesBatches_ = false;
  /// Batches go to the order of the result's rows, or to windows, by their numbers.
  bool sortsNumbers_ = false;
  bool windowsSortNumbers_ = false;
  /// Some row cannot be sorted so: all of them are to come again.
  bool isOrderGivenUp_ = false;
  uint32 failedBatches_ = 0;
  std::vector<uint16> passing_;
  std::vector<BatchVector> keyVectors_;
  std::vector<BatchVector> inputVectors_;
  /// The outputs that are evaluated by batches, and those that are not.
  std::vector<FieldWriter*> batchOutputs_;
  std::vector<BatchField> batchFields_;
  std::vector<BatchVector> outputVectors_;
  std::vector<FieldWriter*> rowOutputs_;
  /// The current chunk.
  uint64 firstRow_ = 0;
  uint64 chunkRows_ = 0;
  uint64 row_ = 0;
  uint64 sorted_ = 0;
  uint64 skipped_ = 0;
  uint64 passed_ = 0;
};

}  // namespace sqxer
