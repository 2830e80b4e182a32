#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <vector>

#include "GroupRun.h"
#include "QueryPlan.h"
#include "ResultSink.h"
#include "RowScan.h"
#include "RunProgress.h"
#include "Table.h"
#include "Utility/Settings.h"
#include "Utility/SqrtSorter.h"
#include "WindowSet.h"
#include "WorkRecord.h"

namespace sqxer {

/// A plan whose trees are bound to records of its own, ready to be run over its table any number of
/// times, once where rows are read while it runs, under the settings that were the thread's current
/// ones when it was made. One thread.
///
/// It is the stage that makes the rows of the result: windows, outputs, DISTINCT, ORDER BY and
/// LIMIT. It reads the rows of the table, those that pass WHERE, or, behind a GroupRun, those of
/// the groups that pass HAVING.
class QueryRun final : private RowTaker {
 public:
  /// Takes over the plan. `table` is null for a plan without one, and must outlive the run; `rest`
  /// gives the rows behind its own, if there are more, for a plan that reads them once. Errors of
  /// binding carry their place in the SQL.
  QueryRun(QueryPlan plan, const Table* table, std::unique_ptr<ChunkSource> rest = nullptr);
  ~QueryRun() override;
  QueryRun(const QueryRun&) = delete;
  QueryRun& operator=(const QueryRun&) = delete;

  /// Has several threads work on the rows where that takes less time; `plans` are others of the
  /// same statement, one for each thread, or none if only sorting is to be shared out. The result
  /// stays the same to the last bit.
  void UseThreads(uint32 threads, std::vector<QueryPlan> plans);

  /// Of a query without groups: its rows are some behind so many others, by which errors of rows
  /// tell which of all it is.
  void SetRowsBefore(uint64 rows) { scan_.SetRowsBefore(rows); }

  /// Errors while a row is evaluated carry the row's number (from 1) in the table.
  void Run(ResultSink& sink, const RunProgress& progress = nullptr);
  /// Those of the result.
  std::vector<ColumnInfo> VisibleColumns() const;
  /// The steps and the bound trees, one node a line, with what each node has taken where that was
  /// measured.
  std::vector<XeString> Describe(const NodeTimes* times = nullptr);

 private:
  Outcome TakeBatch(const BatchRows& rows) override;
  bool AdmitFailedBatch() override;
  bool TakeRow(uint64 row) override;

  bool IsGrouped() const { return grouping_ != nullptr; }
  RowScan::Reads TakeReads(const Table* table);
  void BindWindows();
  void BindOutputs();
  void BindBatchOutputs();
  /// Whether rows can be looked up again by their numbers.
  bool CanLookUpRows() const {
    return scan_.HasBatches() && scan_.GetTable() != nullptr && !scan_.HasRest() &&
           !scan_.HasDocuments();
  }
  /// Has windows take in the rows by batches where that can be.
  void PrepareWindows();
  /// Has rows sorted by their numbers where that can be.
  void PrepareRowOrder();
  /// Makes the groups the rows that are scanned.
  void ReadGroups();
  /// `byNumbers`: rows are sorted by their numbers where that can be.
  void Start(bool byNumbers);
  void Scan();
  /// What most of the memory is taken for while the rows come.
  MemoryUse UseOfScan() const;
  void BeginResult();
  Outcome TakeWindowBatch(BatchRows rows);
  /// Rows whose windows, if any, have been written.
  Outcome TakeSourceBatch(const BatchRows& rows);
  // These return false when no further row is wanted.
  bool Emit(uint64 row);
  /// The evaluated outputs.
  bool EmitBatch(const BatchRows& rows);
  bool PassBatch(BatchRows rows);
  /// The row whose outputs stand in the result record.
  bool TakeResult(uint64 row);
  bool Deliver();
  bool Pass();
  // These return false when a batch is to be done row by row.
  bool AddToWindows(const BatchRows& rows);
  bool AddToOrder(const BatchRows& rows);
  bool EvaluateOutput(std::size_t output, const BatchRows& rows);
  bool EvaluateOutputs(const BatchRows& rows);
  bool FindDistinct(const BatchRows& rows);
  void EmitWindowRows();
  void EmitDistinct();
  void EmitSortedRows();
  void EmitRowsByNumber();
  // What the rows that leave a step are on their way to.
  RunPhase AfterScan() const {
    return windows_ && !windows_->AreImmediate() ? RunPhase::kSorting : AfterWindows();
  }
  RunPhase AfterWindows() const { return distinct_ ? RunPhase::kGrouping : AfterDistinct(); }
  RunPhase AfterDistinct() const { return sorter_ ? RunPhase::kSorting : RunPhase::kWriting; }
  using Step = RunProfile::Step;
  void CountRowsOfSteps() const;
  /// As many rows as are wanted were passed on.
  bool IsComplete() const { return plan_.limit && passed_ == *plan_.limit; }

  const SettingsRef settings_ = Settings::Current();
  QueryPlan plan_;
  /// Those of the threads.
  std::vector<QueryPlan> otherPlans_;
  std::size_t threads_ = 1;
  /// The groups as a table, whose columns are the first fields of the source record; their rows
  /// stand here where all of them are in memory and some step takes them again.
  Table groups_;
  /// What outputs and windows read: the scan record or the group record, and behind it the results
  /// of the windows.
  WorkRecord source_;
  WorkRecord result_;
  std::unique_ptr<GroupRun> grouping_;
  RowScan scan_;

  std::optional<WindowSet> windows_;
  std::vector<FieldWriter> outputs_;
  std::optional<GroupTable> distinct_;
  std::optional<GroupBatch> distinctBatch_;
  std::vector<PlanAggregate> noAggregates_;
  WorkRecord noInput_;
  OperatorTimer timer_;
  std::optional<SqrtSorter> sorter_;
  /// Of sorted rows that agree in these only the first one goes on; and the last one that did.
  std::optional<KeySet> distinctKeys_;
  std::optional<RecordBuffer> lastDistinct_;
  /// In the place of the sorter: the numbers of the rows, whose outputs are evaluated late.
  std::optional<SortedRows> rowOrder_;
  std::optional<LateWriters> lateOutputs_;
  /// Gives the outputs the rows that windows took in by batches.
  std::optional<RowLookup> lookup_;

  ResultSink* sink_ = nullptr;
  RunProfile* profile_ = nullptr;
  ProgressMeter meter_;
  bool outputsTakeBatches_ = false;
  bool distinctTakesBatches_ = false;
  /// Batches go to the order of the result's rows, or to windows, by their numbers.
  bool sortsNumbers_ = false;
  bool windowsSortNumbers_ = false;
  /// What comes behind the windows takes batches.
  bool windowsGiveBatches_ = false;
  /// The windows have taken in all rows.
  bool areWindowsComplete_ = false;
  /// Up to this row (from 1) windows have given their results to a batch, but not for the failed
  /// one.
  uint64 windowsReadTo_ = 0;
  uint64 failedRow_ = 0;
  std::exception_ptr windowError_;
  /// Some row cannot be sorted so: all of them are to come again.
  bool isOrderGivenUp_ = false;
  /// Batches are passed on to the sink as they are.
  bool passesBatches_ = false;
  /// Which outputs gain from batches where rows are passed on, and which do not.
  std::vector<std::size_t> batchOutputs_;
  std::vector<std::size_t> rowOutputs_;
  /// Of all outputs.
  std::vector<BatchField> batchFields_;
  std::vector<BatchVector> outputVectors_;
  std::vector<uint16> passedRows_;
  uint64 sorted_ = 0;
  uint64 skipped_ = 0;
  uint64 passed_ = 0;
};

}  // namespace sqxer
