#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "EngineError.h"
#include "FieldWriter.h"
#include "JsonScan.h"
#include "QueryPlan.h"
#include "RowNumbers.h"
#include "RunProfile.h"
#include "RunProgress.h"
#include "Table.h"
#include "TableBatch.h"
#include "TableScan.h"
#include "WorkRecord.h"

namespace sqxer {

class FilterParts;
class RowScan;

/// Takes the rows of a scan that pass its filter.
class RowTaker {
 public:
  enum class Outcome {
    kTaken,
    /// No further row is wanted.
    kStop,
    /// The rows are to come one by one: because they always do, or because something has failed.
    kByRows,
    kFailed,
  };

  virtual ~RowTaker() = default;
  /// All rows of the chunk that was entered, whose first row has a number (from 1). False when no
  /// further row is wanted. To be overridden by who does not have the scan go through them alone.
  virtual bool TakeChunk(RowScan& scan, const TableChunk& chunk, uint64 firstRow);
  /// Some rows, at least one.
  virtual Outcome TakeBatch(const BatchRows& rows) = 0;
  /// A batch whose filter failed: whether its rows are to come one by one, or no further row is
  /// wanted.
  virtual bool AdmitFailedBatch() { return true; }
  /// The row that stands in the scan's record, by its number (from 1). False when no further row is
  /// wanted.
  virtual bool TakeRow(uint64 row) = 0;
};

/// Where a stage of a query gets its rows: those of a table, of chunks that come while it runs, or
/// one row of no table. It puts them into a record, as batches of columns where these gain, and
/// passes on what its filter leaves.
class RowScan {
 public:
  struct Reads {
    /// Null without a table.
    const TableSchema* schema = nullptr;
    /// The columns of the table that are the first fields of the record.
    std::vector<uint16> columns;
    /// Their documents, of the table's columns.
    std::vector<PlanDocuments> documents;
    /// Null when there is none.
    std::unique_ptr<RExpression> filter;
    /// Errors of a row carry its number.
    bool areRowsNumbered = true;
  };

  /// What the filter, keys and inputs of a plan read, or without grouping its outputs. Takes over
  /// the filter. `table` is null for a plan without one.
  static Reads TakeReads(QueryPlan& plan, const Table* table);

  /// Binds the filter. The record and the schema must outlive the scan.
  RowScan(Reads reads, WorkRecord& record);
  ~RowScan();
  RowScan(const RowScan&) = delete;
  RowScan& operator=(const RowScan&) = delete;

  /// How many rows a batch has, at most kMostBatchRows, in scans that start from now on.
  static void SetBatchRows(uint32 rows);
  static uint32 GetBatchRows();

  /// The rows are those of `table`, which must stay, and behind them those of `rest`, which are
  /// read once. Either may be null.
  void SetRows(const Table* table, std::unique_ptr<ChunkSource> rest);
  /// Has the filter evaluated by several threads, ahead of who takes the rows.
  void SetFilterParts(std::unique_ptr<FilterParts> parts);

  WorkRecord& GetRecord() { return record_; }
  const Table* GetTable() const { return table_; }
  const std::vector<uint16>& GetColumns() const { return reads_.columns; }
  RExpression* GetFilter() { return filter_ ? &filter_->GetTree() : nullptr; }
  bool HasDocuments() const { return documents_.has_value(); }
  /// Rows are read while they are scanned, and cannot be read again.
  bool HasRest() const { return hasRest_; }
  uint64 CountRows() const {
    return hasRest_ ? kUnknownRows : table_ != nullptr ? table_->rowCount : 1;
  }
  /// The number that errors of a row carry.
  uint64 ErrorRow(uint64 row) const {
    const bool isNumbered = reads_.schema != nullptr && reads_.areRowsNumbered;
    return isNumbered ? rowsBefore_ + row : kNoRowNumber;
  }
  /// So many rows came before those of the scan: for the numbers of its rows alone.
  void SetRowsBefore(uint64 rows) { rowsBefore_ = rows; }

  /// Whether rows can come as batches.
  bool HasBatches() const { return batch_.has_value(); }
  /// The record has so many fields behind those of the columns; the taker sets those of a batch
  /// before it evaluates what reads them.
  void AddFields(std::size_t count) {
    if (batch_) batch_->AddFields(count);
  }
  void SetAdded(std::span<const BatchVector> vectors, const BatchRows& rows) {
    batch_->SetAdded(vectors, rows);
  }
  void GiveUpBatches() { batch_.reset(); }
  /// A scan starts. `byBatches`: the taker takes some.
  void Start(bool byBatches);
  /// All rows. The meter counts them as those of the phase that it was started for.
  void Scan(RowTaker& taker, ProgressMeter& meter);
  /// After Scan: once more those of its rows, all in the table, that have these numbers (from 0).
  void ScanAgain(const RowNumbers& rows, RowTaker& taker, ProgressMeter& meter);
  /// Rows of the current chunk, from `row` up to `end`, for a taker in its TakeChunk. False when no
  /// further row is wanted.
  bool ScanRows(uint64 row, uint64 end);
  bool IsByBatches() const { return batchRows_ != 0; }
  void Step(uint64 rows) { meter_->Step(rows); }

  /// Goes to a chunk, whose first row has a number (from 1), and to a batch of its rows, from one
  /// on (from 0), which are then those that pass the filter; false when that is to be done row by
  /// row. For parts of a scan.
  void EnterPart(const TableChunk& chunk, uint64 firstRow);
  void StartPart() { batch_->StartRun(); }
  bool TakePart(BatchRows& rows, uint64 first, uint32 count);

  /// The number (from 1) of the first row of the current batch.
  uint64 GetBatchRow() const { return firstRow_ + batch_->GetFirstRow(); }
  /// Puts a row of the current batch into the record.
  void FillBatchRow(uint32 row) { batch_->FillRow(row); }
  /// Makes a row that was scanned before, by its number, the current one again.
  void FillAgain(uint64 row);

 private:
  bool ScanChunk(const TableChunk& chunk, uint64 firstRow);
  bool ScanBatch(uint64 first, uint32 count);
  bool ScanRow(uint64 row);
  /// The same for a profile.
  bool MeasureRow(uint64 row);
  /// Whether the row that stands in the record passes the filter.
  bool Passes(uint64 row);
  /// False when the batch is to be done row by row.
  bool Filter(BatchRows& rows);
  bool EvaluateFilter(BatchRows& rows);
  /// Of the profile: rows that came, and those of them that pass the filter.
  void CountForProfile(uint64 rows, uint64 passing);
  /// What the time of the scan, and of its filter, is that of.
  RunProfile::Step GetStep() const {
    return reads_.areRowsNumbered ? RunProfile::Step::kScan : RunProfile::Step::kGroup;
  }
  RunProfile::Step GetFilterStep() const {
    return reads_.areRowsNumbered ? RunProfile::Step::kFilter : RunProfile::Step::kHaving;
  }
  /// The rows of the batch that come again.
  void Select(BatchRows& rows);
  /// Whether the one that comes again next lies before a row of the chunk.
  bool IsNextBefore(uint64 end) const {
    return nextAgain_ < again_->GetCount() && again_->Get(nextAgain_) + 1 - firstRow_ < end;
  }
  void Enter(const TableChunk& chunk, uint64 firstRow);
  /// Makes a row of the current chunk the current one, from 0.
  void Fill(uint64 row);

  Reads reads_;
  uint64 rowsBefore_ = 0;
  WorkRecord& record_;
  const Table* table_ = nullptr;
  bool hasRest_ = false;
  /// Null when it was read, too.
  std::unique_ptr<ChunkSource> rest_;
  std::optional<TableScan> scan_;
  std::optional<JsonScan> documents_;
  std::optional<TableBatch> batch_;
  std::optional<RowFilter> filter_;
  std::unique_ptr<FilterParts> filterParts_;

  RowTaker* taker_ = nullptr;
  ProgressMeter* meter_ = nullptr;
  RunProfile* profile_ = nullptr;
  /// 0 where rows come one by one: batches gain nothing, or too many of them had to be done again.
  uint32 batchRows_ = 0;
  uint32 failedBatches_ = 0;
  std::vector<uint16> passing_;
  /// Those that come again, and which of them is next.
  const RowNumbers* again_ = nullptr;
  uint64 nextAgain_ = 0;
  /// The current chunk.
  uint64 firstRow_ = 0;
  uint64 chunkRows_ = 0;
};

/// Evaluates trees for the rows of a batch; false when they are to be evaluated row by row.
bool EvaluateTrees(std::vector<FieldWriter>& writers, const BatchRows& rows,
                   std::vector<BatchVector>& vectors);
/// Whether all trees give the same for the same row.
bool AreRepeatable(std::vector<FieldWriter>& writers);
/// Has equal subtrees evaluated once for a batch, of the filter of a scan and of trees over its
/// record.
void ShareTrees(RowScan& scan, const std::vector<std::vector<FieldWriter>*>& writers);

}  // namespace sqxer
