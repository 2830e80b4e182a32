#pragma once

#include <deque>

#include "WindowRun.h"

namespace sqxer {

/// The windows of a query, between the rows that its FROM, WHERE, GROUP BY and HAVING leave and the
/// outputs, which read the windows' results in the source record.
///
/// Where all windows are immediate the rows pass through, one WriteResults each. Else every row is
/// taken in first (Add*, EndInput) and given back in the same order (Next, WriteResults). What is
/// kept of it is its number or, where rows cannot be read again by that, the source record.
class WindowSet {
 public:
  /// The records of scanned rows are filled again by their numbers, which errors carry; other
  /// source rows are groups.
  enum class Source { kScan, kGroups };

  /// Takes over the trees of the windows' inputs. The results are the fields of `source` from
  /// `firstResult` on. Windows and source must outlive the set.
  WindowSet(std::vector<PlanWindow>& windows, WorkRecord& source, std::size_t firstResult,
            Source kind, bool haveNumbers);

  bool AreImmediate() const { return areImmediate_; }
  /// Makes the windows take in the rows of a scan by batches, where all of them can: see WindowRun.
  void PrepareBatches(const Table& table, const std::vector<uint16>& columns);
  void GiveUpBatches();
  bool CanTakeBatches() const;
  bool AreRepeatable();
  /// Whether the results of all rows are kept within so much memory: see WriteResultsOf.
  bool KeepAllResults(uint64 rows, uint64 memory) const;
  /// Results come by batches from now on, if they do.
  void PrepareColumns();
  void SetThreads(std::size_t threads);

  /// Forgets all rows. To be called before the first one. `byBatches`: AddBatch takes all of them.
  void Begin(bool byBatches);
  /// See WindowRun.
  bool AddBatch(const BatchRows& rows, uint64 firstRow);
  /// Takes in the row in the source record. `row` (from 1) ascends.
  void Add(uint64 row);
  void EndInput(ProgressMeter& meter);
  uint64 CountRows() const { return byBatches_ ? rowNumbers_.GetCount() : sourceRows_.GetCount(); }
  /// The number of the next row, 0 behind the last one. The source record is that row's, or it is
  /// for the caller to fill.
  uint64 Next();
  /// Writes the results of that row (of the one in the source record, where all windows are
  /// immediate) into the source record.
  void WriteResults(uint64 row);
  /// Writes those of a row, the `ordinal`-th that was taken in.
  void WriteResultsOf(uint64 ordinal);
  void PrefetchResultsOf(uint64 ordinal) const;
  /// Of the rows that were taken in by batches, from 0.
  const RowNumbers& GetRowNumbers() const { return rowNumbers_; }
  /// Makes vectors of the results of the wanted rows of a batch: see WindowRun. Leaves of the rows
  /// those that have results; if these are not all, `error` is that of the row behind them.
  void ReadBatch(BatchRows& rows, uint64 firstRow, std::exception_ptr& error);
  const std::vector<BatchVector>& GetVectors() const { return vectors_; }

  std::deque<WindowRun>& GetWindows() { return windows_; }

 private:
  WorkRecord& source_;
  const bool keepsRecords_;
  bool areImmediate_ = true;
  /// A deque, because windows do not move.
  std::deque<WindowRun> windows_;
  OperatorTimer timer_;
  RecordSpool sourceRows_;
  /// In the place of the spool.
  bool byBatches_ = false;
  RowNumbers rowNumbers_;
  uint64 returned_ = 0;
  std::vector<BatchVector> vectors_;
};

}  // namespace sqxer
