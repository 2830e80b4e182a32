#pragma once

#include <deque>
#include <vector>

#include "RowScan.h"
#include "Utility/Settings.h"

namespace sqxer {

/// Evaluates the filter of batches by several threads, some batches ahead of who takes their rows.
class FilterParts {
 public:
  /// The rows of a batch that pass.
  struct Passing {
    /// The first `count` are meant.
    std::vector<uint16> rows;
    uint32 count = 0;
    /// The filter has been evaluated, which else is to be done row by row.
    bool isKnown = false;
  };

  /// The filters are those of plans of one statement, one for each thread.
  FilterParts(std::vector<QueryPlan>& plans, const Table* table);

  /// Whether a filter takes so long that waiting for other threads is made up for.
  static bool GainsFrom(RExpression& filter);

  /// Another run begins.
  void Start();
  /// Goes to a chunk, whose first row has a number.
  void Enter(const TableChunk& chunk, uint64 firstRow);
  /// The rows that pass of the batch that begins with a row of the chunk. Batches are of
  /// `batchRows` rows, and come one behind the other.
  const Passing& Get(uint64 row, uint32 batchRows);

 private:
  /// Batches for each thread at a time: few at first, should no more be wanted.
  static constexpr std::size_t kMostBatches = 32;

  void Evaluate(uint64 row, uint32 batchRows);

  struct Part {
    Part(QueryPlan& plan, const Table* table)
        : record(plan.scanRecord), scan(RowScan::TakeReads(plan, table), record) {}
    WorkRecord record;
    RowScan scan;
  };
  const SettingsRef settings_ = Settings::Current();
  /// A deque, because scans do not move.
  std::deque<Part> parts_;
  const TableChunk* chunk_ = nullptr;
  uint64 firstRow_ = 0;
  std::size_t batchesPerPart_ = 1;
  std::vector<Passing> batches_;
  std::size_t next_ = 0;
};

}  // namespace sqxer
