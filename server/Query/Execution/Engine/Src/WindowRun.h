#pragma once

#include <optional>
#include <vector>

#include "FieldWriter.h"
#include "RowLookup.h"
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
/// functions read of a row is looked up, and small results wait side by side.
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
  /// table's scan, with these columns.
  void PrepareBatches(const Table& table, const std::vector<uint16>& columns);
  bool CanTakeBatches() const { return rowOrder_.has_value(); }
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

  // For EXPLAIN.
  const PlanWindow& GetPlan() const { return plan_; }
  std::vector<FieldWriter>& GetInputs() { return inputs_; }
  WindowFunctions& GetFunctions() { return functions_; }

 private:
  /// Of the rows of a group.
  const std::vector<PlanSortKey>& GetOrder() const {
    return ranking_.empty() ? plan_.order : ranking_;
  }
  /// The result of the row at a place of the order.
  uint8* KeptResult(uint64 place) {
    return keptResults_.data() + uint64{rowOrder_->GetOrdinal(place)} * resultBytes_;
  }
  void ReadInputs(uint64 row);
  void SetNumber(uint64 row);
  void SetResultNumber(uint64 row);
  /// Takes in the row of an input record, which opens the group if none is open.
  void Take(uint8* input);
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

  std::optional<SqrtSorter> sortedRows_;
  std::optional<SqrtSorter> sortedResults_;
  std::optional<SortedRows> rowOrder_;
  std::optional<LateWriters> lateInputs_;
  bool byBatches_ = false;
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
