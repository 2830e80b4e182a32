#include "RowScan.h"

#include <algorithm>

#include "ErrorInputs.h"
#include "FilterParts.h"
#include "SQXERBatchLoops.h"
#include "Utility/Settings.h"
#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

/// A scan of which so many batches, one after the other, had to be done again goes on row by row.
constexpr uint32 kMostFailedBatches = 16;

uint32 batchRows = kMostBatchRows;

}  // namespace

bool RowTaker::TakeChunk(RowScan& scan, const TableChunk& chunk, uint64 /*firstRow*/) {
  return scan.ScanRows(0, chunk.rows);
}

void RowScan::SetBatchRows(uint32 rows) { batchRows = std::clamp(rows, 1u, kMostBatchRows); }
uint32 RowScan::GetBatchRows() { return batchRows; }

RowScan::Reads RowScan::TakeReads(QueryPlan& plan, const Table* table) {
  return {.schema = table != nullptr ? &table->schema : nullptr,
          .columns = plan.scanColumns,
          .documents = plan.documents,
          .filter = std::move(plan.filter)};
}

RowScan::RowScan(Reads reads, WorkRecord& record) : reads_(std::move(reads)), record_(record) {
  if (reads_.schema != nullptr) scan_.emplace(*reads_.schema, reads_.columns, record_);
  if (!reads_.documents.empty()) documents_.emplace(reads_.documents);
  if (reads_.filter) filter_.emplace(std::move(reads_.filter), record_);
  if (!scan_ || !Settings::Current()->GetSwitches().batchEvaluation_) return;
  batch_.emplace(reads_.columns, record_, *scan_, documents_ ? &*documents_ : nullptr);
  if (filter_ && !IsRepeatable(filter_->GetTree())) batch_.reset();
}

RowScan::~RowScan() = default;

void RowScan::SetRows(const Table* table, std::unique_ptr<ChunkSource> rest) {
  table_ = table;
  hasRest_ = rest != nullptr;
  rest_ = std::move(rest);
}

void RowScan::SetFilterParts(std::unique_ptr<FilterParts> parts) {
  filterParts_ = std::move(parts);
}

void RowScan::Start(bool byBatches) {
  failedBatches_ = 0;
  batchRows_ = batch_ && (filter_ || byBatches) ? batchRows : 0;
  if (batchRows_ != 0) batch_->StartRun();
  if (filterParts_) filterParts_->Start();
}

void RowScan::Scan(RowTaker& taker, ProgressMeter& meter) {
  taker_ = &taker;
  meter_ = &meter;
  again_ = nullptr;
  profile_ = RunProfile::Current();
  const RunProfile::Scope step(profile_, GetStep());
  if (reads_.schema == nullptr) {
    ScanChunk({.rows = 1, .columns = {}}, 1);
    return;
  }
  uint64 row = 1;
  if (table_ != nullptr) {
    for (const TableChunk& chunk : table_->chunks) {
      if (!ScanChunk(chunk, row)) return;
      row += chunk.rows;
    }
  }
  if (!hasRest_) return;
  XE_ASSERT(rest_);
  const std::unique_ptr<ChunkSource> rest = std::move(rest_);
  while (const TableChunk* const chunk = rest->Next()) {
    if (!ScanChunk(*chunk, row)) return;
    row += chunk->rows;
  }
}

void RowScan::ScanAgain(const RowNumbers& rows, RowTaker& taker, ProgressMeter& meter) {
  taker_ = &taker;
  meter_ = &meter;
  again_ = &rows;
  nextAgain_ = 0;
  failedBatches_ = 0;
  batchRows_ = batchRows;
  uint64 row = 1;
  for (const TableChunk& chunk : table_->chunks) {
    Enter(chunk, row);
    batch_->Enter(chunk);
    if (!ScanRows(0, chunk.rows)) return;
    row += chunk.rows;
  }
}

bool RowScan::ScanChunk(const TableChunk& chunk, uint64 firstRow) {
  Enter(chunk, firstRow);
  if (batchRows_ != 0) batch_->Enter(chunk);
  if (filterParts_) filterParts_->Enter(chunk, firstRow);
  return taker_->TakeChunk(*this, chunk, firstRow);
}

bool RowScan::ScanRows(uint64 row, uint64 end) {
  while (row < end && batchRows_ != 0) {
    const auto count = static_cast<uint32>(std::min<uint64>(batchRows_, end - row));
    if (!ScanBatch(row, count)) return false;
    row += count;
    if (failedBatches_ == kMostFailedBatches) batchRows_ = 0;
  }
  for (; row < end; ++row) {
    if (!ScanRow(row)) return false;
  }
  return true;
}

bool RowScan::ScanBatch(uint64 first, uint32 count) {
  if (again_ != nullptr && !IsNextBefore(first + count)) return true;
  BatchRows rows = batch_->Take(first, count);
  if (!Filter(rows)) {
    ++failedBatches_;
    if (!taker_->AdmitFailedBatch()) return false;
    for (uint32 i = 0; i < count; ++i) {
      if (!ScanRow(first + i)) return false;
    }
    return true;
  }
  meter_->Step(again_ != nullptr ? rows.GetWanted() : count);
  if (profile_ != nullptr && again_ == nullptr) CountForProfile(count, rows.GetWanted());
  if (rows.GetWanted() == 0) return true;
  const RowTaker::Outcome outcome = taker_->TakeBatch(rows);
  failedBatches_ = outcome == RowTaker::Outcome::kFailed ? failedBatches_ + 1 : 0;
  if (outcome == RowTaker::Outcome::kTaken) return true;
  if (outcome == RowTaker::Outcome::kStop) return false;
  for (uint32 i = 0; i < rows.GetWanted(); ++i) {
    const RunProfile::RowScope sample(profile_);
    FillBatchRow(rows.GetRow(i));
    if (!taker_->TakeRow(firstRow_ + first + rows.GetRow(i))) return false;
  }
  return true;
}

void RowScan::Select(BatchRows& rows) {
  const uint64 first = batch_->GetFirstRow();
  const uint64 next = nextAgain_;
  passing_.resize(kMostBatchRows);
  for (; IsNextBefore(first + rows.count); ++nextAgain_) {
    passing_[nextAgain_ - next] =
        static_cast<uint16>(again_->Get(nextAgain_) + 1 - firstRow_ - first);
  }
  rows.selectedCount = static_cast<uint32>(nextAgain_ - next);
  if (rows.selectedCount == rows.count) return;
  rows.selected = passing_.data();
  batch_->Select(rows.selected);
}

bool RowScan::Filter(BatchRows& rows) {
  if (again_ != nullptr) {
    Select(rows);
    return true;
  }
  if (!filter_) return true;
  if (filterParts_) {
    const FilterParts::Passing& passing = filterParts_->Get(batch_->GetFirstRow(), batchRows_);
    rows.selected = passing.rows.data();
    rows.selectedCount = passing.count;
    batch_->Select(rows.selected);
    return passing.isKnown;
  }
  const RunProfile::Scope step(profile_, GetFilterStep());
  return EvaluateFilter(rows);
}

bool RowScan::EvaluateFilter(BatchRows& rows) {
  try {
    BatchVector truth;
    if (!EvaluateBatch(filter_->GetTree(), rows, truth)) return false;
    passing_.resize(kMostBatchRows);
    rows.selectedCount = SelectTrue(truth, rows, passing_.data());
    rows.selected = passing_.data();
    batch_->Select(rows.selected);
    return true;
  } catch (const ErrorMessage&) {
    // The rows tell it.
    return false;
  }
}

bool RowScan::ScanRow(uint64 row) {
  if (again_ != nullptr) {
    if (!IsNextBefore(row + 1)) return true;
    ++nextAgain_;
    meter_->Step();
    Fill(row);
    return taker_->TakeRow(firstRow_ + row);
  }
  meter_->Step();
  if (profile_ != nullptr) [[unlikely]]
    return MeasureRow(row);
  Fill(row);
  return !Passes(row) || taker_->TakeRow(firstRow_ + row);
}

bool RowScan::Passes(uint64 row) {
  return !filter_ ||
         AtRow(
             ErrorRow(firstRow_ + row), record_, [this](auto&& use) { use(filter_->GetTree()); },
             [this] { return filter_->Passes(); });
}

bool RowScan::MeasureRow(uint64 row) {
  const RunProfile::RowScope sample(profile_);
  Fill(row);
  bool passes;
  {
    const RunProfile::Scope step(profile_, GetFilterStep());
    passes = Passes(row);
  }
  CountForProfile(1, passes ? 1 : 0);
  return !passes || taker_->TakeRow(firstRow_ + row);
}

void RowScan::CountForProfile(uint64 rows, uint64 passing) {
  // Groups come in as rows, and go on from here as groups.
  profile_->AddRows(GetStep(), reads_.areRowsNumbered ? rows : 0, rows);
  if (filter_) profile_->AddRows(GetFilterStep(), rows, passing);
}

void RowScan::EnterPart(const TableChunk& chunk, uint64 firstRow) {
  Enter(chunk, firstRow);
  batch_->Enter(chunk);
}

bool RowScan::TakePart(BatchRows& rows, uint64 first, uint32 count) {
  rows = batch_->Take(first, count);
  return Filter(rows);
}

void RowScan::Enter(const TableChunk& chunk, uint64 firstRow) {
  firstRow_ = firstRow;
  chunkRows_ = chunk.rows;
  if (scan_) scan_->Enter(chunk);
  if (documents_) documents_->Enter(chunk);
}

void RowScan::Fill(uint64 row) {
  if (scan_) scan_->Fill(row);
  if (documents_) documents_->Fill(row);
}

void RowScan::FillAgain(uint64 row) {
  if (table_ == nullptr) return;
  if (row - firstRow_ >= chunkRows_) {
    uint64 firstRow;
    const TableChunk& chunk = FindChunk(*table_, row - 1, firstRow);
    Enter(chunk, firstRow + 1);
  }
  Fill(row - firstRow_);
}

bool EvaluateTrees(std::vector<FieldWriter>& writers, const BatchRows& rows,
                   std::vector<BatchVector>& vectors) {
  vectors.resize(writers.size());
  for (std::size_t i = 0; i < writers.size(); ++i) {
    if (!EvaluateBatch(writers[i].GetTree(), rows, vectors[i])) return false;
  }
  return true;
}

bool AreRepeatable(std::vector<FieldWriter>& writers) {
  return std::ranges::all_of(writers,
                             [](FieldWriter& writer) { return IsRepeatable(writer.GetTree()); });
}

void ShareTrees(RowScan& scan, const std::vector<std::vector<FieldWriter>*>& writers) {
  std::vector<RExpression*> trees;
  if (RExpression* const filter = scan.GetFilter()) trees.push_back(filter);
  for (std::vector<FieldWriter>* const some : writers) {
    for (FieldWriter& writer : *some) trees.push_back(&writer.GetTree());
  }
  ShareEqualTrees(trees);
}

}  // namespace sqxer
