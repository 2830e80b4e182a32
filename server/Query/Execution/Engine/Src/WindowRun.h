#pragma once

#include <exception>
#include <optional>
#include <span>
#include <vector>

#include "FieldWriter.h"
#include "RowLookup.h"
#include "RowScan.h"
#include "RunProgress.h"
#include "Utility/CopyRecord.h"
#include "Utility/SqrtSorter.h"
#include "WindowFunctions.h"
#include "WindowResults.h"

namespace sqxer {

/// One window of a query: takes in the source rows, and gives the results of its functions back row
/// by row, in the order of the source.
///
/// With partition or order keys the rows (what the functions read of them, and the row's number)
/// are sorted by these, and the results by row number. Without keys nothing is sorted. Rows of a
/// group that wait for its end stand in a spool. Memory is that of the sorters and spools, and what
/// the functions themselves hold. Ranks alone take their rows in ranking order.
///
/// Rows of a table in memory can be taken in by batches: then their numbers are sorted, what the
/// functions read is evaluated for the batch and kept, or looked up where it is not small, and
/// small results wait side by side. Results are given back by batches, too, where the window is
/// immediate or has taken its rows in so.
class WindowRun {
 public:
  /// Takes over the trees of the plan's inputs, binds them to `source`, and writes results to the
  /// fields of `source` from `firstResult` on. All three must outlive the run. Rows that
  /// `haveNumbers` give them to errors.
  WindowRun(PlanWindow& plan, WorkRecord& source, std::size_t firstResult, bool haveNumbers);
  WindowRun(const WindowRun&) = delete;
  WindowRun& operator=(const WindowRun&) = delete;

  bool IsSorted() const { return order_.GetCount() > 0; }
  /// The results of a row need no other rows than those before it: WriteResults alone is called,
  /// and neither Add nor EndInput.
  bool IsImmediate() const { return !IsSorted() && functions_.AreCumulative(); }

  /// Makes it take in rows by batches where it can and memory does: `source` is the record of the
  /// table's scan, with these columns. To be given up before the table's rows are others.
  void PrepareBatches(const Table& table, const std::vector<uint16>& columns);
  void GiveUpBatches();
  bool CanTakeBatches() const { return canTakeBatches_; }
  /// Whether results can be asked for in any order: see WriteResultsOf.
  bool KeepsAllResults() const { return keepsResults_ && results_.StandInRow(); }
  /// Of the results of all rows.
  uint64 CountKeptBytes(uint64 rows) const { return keepsResults_ ? rows * resultBytes_ : 0; }
  /// Whether its inputs give the same for the same row.
  bool IsRepeatable();
  std::size_t CountResults() const { return ResultsOf(plan_.functions).size(); }
  /// See SortedRows.
  void SetThreads(std::size_t threads) {
    if (rowOrder_) rowOrder_->SetThreads(threads);
  }

  /// Forgets all rows. To be called before the first one. `byBatches`: AddBatch takes all of them.
  void Begin(bool byBatches);
  /// Takes in the wanted rows of a batch whose first row has a number (from 0) in the table. False,
  /// or a throw: all rows are to be taken in one by one, from a Begin on.
  bool AddBatch(const BatchRows& rows, uint64 firstRow);
  /// Takes in the row that stands in the source record. `row` (from 1) ascends.
  void Add(uint64 row);
  /// The meter counts the rows that are sorted.
  void EndInput(ProgressMeter& meter);
  /// Writes the results of the next row, which is number `row`, into the source record. For an
  /// immediate window that record holds the row.
  void WriteResults(uint64 row);
  /// Writes those of a row, the `ordinal`-th that was taken in, into the source record.
  void WriteResultsOf(uint64 ordinal);
  void PrefetchResultsOf(uint64 ordinal) const {
    Prefetch(keptResults_.data() + ordinal * resultBytes_);
  }
  /// Results come by batches from now on, if they do.
  void PrepareColumns() { columns_ = results_.MakeColumns(); }
  /// Makes vectors of the results of the wanted rows of a batch, whose first row has a number (from
  /// 1): those rows are next, and some are wanted. Leaves of them those that have results; if these
  /// are not all, `error` is that of the row behind them.
  void ReadBatch(BatchRows& rows, uint64 firstRow, std::span<BatchVector> vectors,
                 std::exception_ptr& error);

  // For EXPLAIN.
  const PlanWindow& GetPlan() const { return plan_; }
  std::vector<FieldWriter>& GetInputs() { return inputs_; }
  WindowFunctions& GetFunctions() { return functions_; }

 private:
  /// Of the rows of a group.
  const std::vector<PlanSortKey>& GetOrder() const {
    return ranking_.empty() ? plan_.order : ranking_;
  }
  /// Of a row, the `ordinal`-th that was taken in.
  uint8* KeptResult(uint64 ordinal) { return keptResults_.data() + ordinal * resultBytes_; }
  const uint8* KeptInput(uint64 ordinal) const {
    return keptInputs_.data() + ordinal * input_.GetSize();
  }
  bool SortsNumbers() const { return byBatches_ && IsSorted(); }
  void ReadInputs(uint64 row);
  /// Inputs of a batch's rows; false where they are to be evaluated row by row.
  bool EvaluateInputs(const BatchRows& rows);
  /// Adds the inputs that were evaluated.
  void KeepInputs(const BatchRows& rows, uint64 firstRow);
  /// Puts the inputs of one row after the other into their record, in the order of the keys, and
  /// calls use(place).
  template <class Use>
  void ForEachInput(Use&& use);
  /// Takes in a row of the batch, by its number.
  void TakeOfBatch(const BatchRows& rows, uint32 batchRow, uint64 row, bool areEvaluated);
  /// Puts the results of the next row that was taken in into its record.
  void NextResults();
  void SetNumber(uint64 row);
  void SetResultNumber(uint64 row);
  /// Takes in the row of an input record, which opens the group if none is open. `startsPeers`: it
  /// is not equal to the row before it in the group's order.
  void Take(uint8* input, bool startsPeers);
  void CloseGroup();
  /// Completes the row record of the next waiting row.
  void OutputWaiting();
  /// A row's record is complete.
  void KeepResult();
  void BeginSortedResults();
  void ComputeSorted(ProgressMeter& meter);
  void ComputeByNumber(ProgressMeter& meter);
  void RankByNumber(ProgressMeter& meter);
  void SortGroup();
  /// The number at an address as errors carry it.
  uint64 ErrorRow(const uint8* number) const;

  const PlanWindow& plan_;
  WorkRecord& source_;
  const bool haveNumbers_;
  /// Of ranks alone: what they rank by.
  const std::vector<PlanSortKey> ranking_;
  /// Ties alone tell these ranks.
  const bool ranksByTies_;
  OperatorTimer timer_;
  /// The inputs, behind them the row's number.
  WorkRecord input_;
  const uint32 inputNumber_;
  KeySet partition_;
  /// The partition's keys and those of the order within it.
  KeySet order_;
  WindowResults results_;
  WindowFunctions functions_;
  std::vector<FieldWriter> inputs_;
  std::vector<BatchField> inputFields_;
  std::vector<BatchVector> inputVectors_;
  std::vector<uint16> readRows_;

  std::optional<SqrtSorter> sortedRows_;
  std::optional<SqrtSorter> sortedResults_;
  std::optional<SortedRows> rowOrder_;
  std::optional<LateWriters> lateInputs_;
  std::unique_ptr<WindowColumns> columns_;
  bool canTakeBatches_ = false;
  bool byBatches_ = false;
  /// By batches: what the functions read of all rows, in the order of the source, where it is
  /// small; else it is looked up.
  bool keepsInputs_ = false;
  RowArray<uint8> keptInputs_;
  /// Which inputs are evaluated for batches: those that functions read, and those that can fail.
  std::vector<std::size_t> evaluated_;
  /// By batches: the results of all rows, where they are small, in the order of the source; the
  /// place in the order of the next one, and the row that is returned next.
  bool keepsResults_ = false;
  RowArray<uint8> keptResults_;
  uint64 place_ = 0;
  static constexpr uint64 kPlacesAhead = 16;
  uint64 returned_ = 0;
  /// What WriteToSource reads of a row record.
  const uint32 resultBytes_;
  bool isOpen_ = false;
  /// The rows of the open group that wait for its end: row records, or numbers where nothing stands
  /// in the records yet.
  const bool recordsWait_;
  RecordSpool waiting_;
};

}  // namespace sqxer
