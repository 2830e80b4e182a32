#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "EngineError.h"
#include "FieldWriter.h"
#include "GroupTable.h"
#include "JsonScan.h"
#include "QueryPlan.h"
#include "ResultSink.h"
#include "RunProgress.h"
#include "Table.h"
#include "TableScan.h"
#include "Utility/Settings.h"
#include "Utility/SqrtSorter.h"
#include "WindowSet.h"
#include "WorkRecord.h"

namespace sqxer {

/// A plan whose trees are bound to records of its own, ready to be run over its table any number of
/// times, once where rows are read while it runs, under the settings that were the thread's current
/// ones when it was made. One thread.
class QueryRun {
 public:
  /// Takes over the plan. `table` is null for a plan without one, and must outlive the run; `rest`
  /// gives the rows behind its own, if there are more, for a plan that reads them once. Errors of
  /// binding carry their place in the SQL.
  QueryRun(QueryPlan plan, const Table* table, std::unique_ptr<ChunkSource> rest = nullptr);
  QueryRun(const QueryRun&) = delete;
  QueryRun& operator=(const QueryRun&) = delete;

  /// Errors while a row is evaluated carry the row's number (from 1) in the table.
  void Run(ResultSink& sink, RunProgress progress = nullptr);
  /// The steps and the bound trees, one node a line.
  std::vector<XeString> Describe();

 private:
  std::vector<ColumnInfo> VisibleColumns() const;
  void BindScan();
  void BindGroups();
  void BindWindows();
  void BindOutputs();
  /// What outputs and windows read.
  WorkRecord& SourceRecord() { return plan_.grouped ? groupRecord_ : scanRecord_; }
  /// The number that errors of a row carry.
  uint64 ErrorRow(uint64 row) const { return table_ != nullptr ? row : kNoRowNumber; }

  void Start(ResultSink& sink);
  void BeginResult();
  void ScanRows();
  /// Makes a chunk the current one, whose first row has a number (from 1).
  void Enter(const TableChunk& chunk, uint64 firstRow);
  /// Makes a row of the current chunk the current one, from 0.
  void Fill(uint64 row);
  /// Makes a row of the table the current one that was scanned before.
  void FillAgain(uint64 row);
  void AddToGroups(uint64 row);
  /// These return false when no further row is wanted.
  bool ScanChunk(const TableChunk& chunk, uint64 firstRow);
  bool EmitGroup();
  bool TakeSourceRow(uint64 row);
  bool Emit(uint64 row);
  bool Deliver();
  bool Pass();
  void EmitWindowRows();
  void EmitSortedRows();
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
  bool WantsNothing() const { return plan_.limit && *plan_.limit == 0; }

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
  std::optional<RowFilter> filter_;
  std::vector<FieldWriter> groupKeys_;
  std::vector<FieldWriter> aggregateInputs_;
  std::optional<GroupTable> groups_;
  std::optional<RowFilter> having_;
  std::optional<WindowSet> windows_;
  std::vector<FieldWriter> outputs_;
  std::optional<GroupTable> distinct_;
  std::vector<PlanAggregate> noAggregates_;
  WorkRecord noInput_;
  OperatorTimer timer_;
  std::optional<SqrtSorter> sorter_;

  ResultSink* sink_ = nullptr;
  ProgressMeter meter_;
  /// The current chunk.
  uint64 firstRow_ = 0;
  uint64 chunkRows_ = 0;
  uint64 row_ = 0;
  uint64 sorted_ = 0;
  uint64 skipped_ = 0;
  uint64 passed_ = 0;
};

}  // namespace sqxer
