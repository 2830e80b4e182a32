#pragma once

#include <optional>
#include <vector>

#include "FieldWriter.h"
#include "Utility/KeySet.h"
#include "Utility/RecordSpool.h"
#include "Utility/SqrtSorter.h"
#include "Utility/XeFieldDataBinder.h"
#include "WindowFunctions.h"
#include "WorkRecord.h"

namespace sqxer {

/// One window of a query: takes in the source rows, and gives the results of its functions back row
/// by row, in the order of the source.
///
/// With partition or order keys the rows (what the functions read of them, and the row's number)
/// are sorted by these, and the results by row number. Without keys nothing is sorted. Rows of a
/// group that wait for its end stand in a spool. Memory is that of the sorters and the spool, and
/// what the functions themselves hold.
class WindowRun {
 public:
  /// Takes over the trees of the plan's inputs, binds them to `source`, and writes results to the
  /// fields of `source` from `firstResult` on. All three must outlive the run. Rows that
  /// `haveNumbers` give them to errors.
  WindowRun(PlanWindow& plan, WorkRecord& source, std::size_t firstResult, bool haveNumbers);
  WindowRun(const WindowRun&) = delete;
  WindowRun& operator=(const WindowRun&) = delete;

  /// The results of a row need no other rows than those before it: WriteResults alone is called,
  /// and neither Add nor EndInput.
  bool IsImmediate() const { return !IsSorted() && functions_.AreCumulative(); }
  bool IsSorted() const { return order_.GetCount() > 0; }

  /// Forgets all rows. To be called before the first one.
  void Begin();
  /// Takes in the row that stands in the source record. `row` (from 1) ascends.
  void Add(uint64 row);
  void EndInput();
  /// Writes the results of the next row, which is number `row`, into the source record. For an
  /// immediate window that record holds the row.
  void WriteResults(uint64 row);

  // For EXPLAIN.
  const PlanWindow& GetPlan() const { return plan_; }
  std::vector<FieldWriter>& GetInputs() { return inputs_; }
  /// The functions bound once more, in the plan's order.
  AggregateSet BindFunctions() { return AggregateSet(plan_.functions, input_, result_, 0); }

 private:
  void ReadInputs(uint64 row);
  /// Takes in the row of a window record, which opens the group if none is open.
  void Take(uint8* input);
  void CloseGroup();
  /// Completes the result record of the next waiting row.
  void OutputWaiting();
  void ComputeSorted();
  uint64 RowOf(const uint8* record, uint32 offset) const;

  const PlanWindow& plan_;
  WorkRecord& source_;
  const bool haveNumbers_;
  /// The inputs, and the results; the row's number is the last field of both.
  WorkRecord input_;
  WorkRecord result_;
  const uint32 inputRow_;
  const uint32 resultRow_;
  std::vector<FieldWriter> inputs_;
  WindowFunctions functions_;
  XeFieldDataBinder toSource_;
  KeySet partition_;
  /// The partition's keys and those of the order within it.
  KeySet order_;

  OperatorTimer timer_;
  std::optional<SqrtSorter> rows_;
  std::optional<SqrtSorter> results_;
  /// The rows of the open group that wait for its end: result records, or numbers where nothing
  /// stands in the records yet.
  const bool recordsWait_;
  RecordSpool waiting_;
  bool isOpen_ = false;
  /// What the group gave to all its rows.
  RecordBuffer groupResult_;
  XeFieldDataBinder fromGroup_;
};

}  // namespace sqxer
