#pragma once

#include <optional>
#include <vector>

#include "FieldWriter.h"
#include "RunProgress.h"
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
/// the functions themselves hold.
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

  /// Forgets all rows. To be called before the first one.
  void Begin();
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
  void ReadInputs(uint64 row);
  /// Takes in the row of an input record, which opens the group if none is open.
  void Take(uint8* input);
  void CloseGroup();
  /// Completes the row record of the next waiting row.
  void OutputWaiting();
  void ComputeSorted(ProgressMeter& meter);
  void SortGroup();
  /// The number at an address as errors carry it.
  uint64 ErrorRow(const uint8* number) const;

  const PlanWindow& plan_;
  const bool haveNumbers_;
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
  bool isOpen_ = false;
  /// The rows of the open group that wait for its end: row records, or numbers where nothing stands
  /// in the records yet.
  const bool recordsWait_;
  RecordSpool waiting_;
};

}  // namespace sqxer
