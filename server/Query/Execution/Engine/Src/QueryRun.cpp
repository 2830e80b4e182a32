#include "QueryRun.h"

#include <algorithm>
#include <limits>

#include "FilterParts.h"
#include "GroupParts.h"
#include "RecordKeys.h"
#include "SQXERBatchLoops.h"
#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

/// The fields of the scan or the group record, those that the windows fill last.
std::vector<ColumnInfo> WithWindowResults(std::vector<ColumnInfo> fields, const QueryPlan& plan,
                                          bool isSource) {
  if (isSource) fields.insert(fields.end(), plan.windowResults.begin(), plan.windowResults.end());
  return fields;
}

std::vector<ColumnInfo> GroupFields(const QueryPlan& plan) {
  std::vector<ColumnInfo> fields = ResultsOf(plan.groupKeys);
  const std::vector<ColumnInfo> results = ResultsOf(plan.aggregates);
  fields.insert(fields.end(), results.begin(), results.end());
  return fields;
}

/// A query of which so many batches, one after the other, had to be done again goes on row by row.
constexpr uint32 kMostFailedBatches = 16;

uint32 batchRows = kMostBatchRows;

}  // namespace

void QueryRun::SetBatchRows(uint32 rows) { batchRows = std::clamp(rows, 1u, kMostBatchRows); }

QueryRun::QueryRun(QueryPlan plan, const Table* table, std::unique_ptr<ChunkSource> rest)
    : plan_(std::move(plan)),
      table_(table),
      hasRest_(rest != nullptr),
      rest_(std::move(rest)),
      scanRecord_(WithWindowResults(plan_.scanRecord, plan_, !plan_.grouped)),
      inputRecord_(ResultsOf(plan_.aggregateInputs)),
      groupRecord_(WithWindowResults(GroupFields(plan_), plan_, plan_.grouped)),
      resultRecord_(ResultsOf(plan_.outputs)),
      noInput_({}) {
  XE_ASSERT((table_ == nullptr) == plan_.table.empty());
  BindScan();
  if (plan_.grouped) BindGroups();
  if (!plan_.windows.empty()) BindWindows();
  XE_ASSERT(!hasRest_ || plan_.grouped || !windows_ || windows_->AreImmediate());
  BindOutputs();
  if (batch_ && !AreTreesRepeatable()) batch_.reset();
  if (batch_) ShareTrees();
}

void QueryRun::ShareTrees() {
  std::vector<RExpression*> trees;
  const auto add = [&trees](std::vector<FieldWriter>& writers) {
    for (FieldWriter& writer : writers) trees.push_back(&writer.GetTree());
  };
  if (filter_) trees.push_back(&filter_->GetTree());
  add(groupKeys_);
  add(aggregateInputs_);
  if (!plan_.grouped) add(outputs_);
  ShareEqualTrees(trees);
}

QueryRun::~QueryRun() = default;

bool QueryRun::GainsFromGroupParts() {
  if (!groupBatch_) return false;
  groups_->KeepBareStates(true);
  groups_->Clear();
  return GroupMerge::CanMerge(*groups_);
}

void QueryRun::UseThreads(uint32 threads, std::vector<QueryPlan> plans) {
  if (rowOrder_) rowOrder_->SetThreads(threads);
  if (windows_) windows_->SetThreads(threads);
  if (!batch_ || documents_ || plans.size() < 2) return;
  const SettingsScope scope(settings_);
  const bool areGrouped = GainsFromGroupParts();
  if (!areGrouped && (!filter_ || !FilterParts::GainsFrom(filter_->GetTree()))) return;
  // Together they hold as much again as the groups of the run at most.
  const uint64 memory = settings_->GetSwitches().groupMemory_ / plans.size();
  QueryRuns runs;
  for (QueryPlan& plan : plans) {
    runs.push_back(std::make_unique<QueryRun>(std::move(plan), table_));
    if (areGrouped) runs.back()->groups_->LimitMemory(memory);
  }
  if (areGrouped) {
    groupParts_ = std::make_unique<GroupParts>(std::move(runs));
  } else {
    filterParts_ = std::make_unique<FilterParts>(std::move(runs));
  }
}

bool QueryRun::AreTreesRepeatable() {
  const auto areRepeatable = [](std::vector<FieldWriter>& writers) {
    return std::ranges::all_of(writers,
                               [](FieldWriter& writer) { return IsRepeatable(writer.GetTree()); });
  };
  return (!filter_ || IsRepeatable(filter_->GetTree())) && areRepeatable(groupKeys_) &&
         areRepeatable(aggregateInputs_) && areRepeatable(outputs_);
}

std::vector<ColumnInfo> QueryRun::VisibleColumns() const {
  std::vector<ColumnInfo> columns;
  for (int i = 0; i < plan_.visibleOutputs; ++i) {
    columns.push_back(outputs_[static_cast<std::size_t>(i)].GetColumn());
  }
  return columns;
}

void QueryRun::BindScan() {
  if (table_ != nullptr) scan_.emplace(table_->schema, plan_.scanColumns, scanRecord_);
  if (!plan_.documents.empty()) documents_.emplace(plan_.documents);
  if (plan_.filter) filter_.emplace(std::move(plan_.filter), scanRecord_);
  if (scan_ && settings_->GetSwitches().batchEvaluation_) {
    batch_.emplace(plan_.scanColumns, scanRecord_, *scan_, documents_ ? &*documents_ : nullptr);
  }
}

void QueryRun::BindGroups() {
  const uint64 memory = settings_->GetSwitches().groupMemory_;
  BindAll(plan_.groupKeys, scanRecord_, groupRecord_, groupKeys_);
  BindAll(plan_.aggregateInputs, scanRecord_, inputRecord_, aggregateInputs_);
  groups_.emplace(groupRecord_, groupKeys_.size(), inputRecord_, plan_.aggregates, memory,
                  CountScannedRows());
  if (batch_) groupBatch_.emplace(*groups_);
  if (plan_.having) having_.emplace(std::move(plan_.having), groupRecord_);
}

void QueryRun::BindWindows() {
  const auto fields = static_cast<std::size_t>(SourceRecord().GetLayout().GetFieldCount());
  windows_.emplace(plan_.windows, SourceRecord(), fields - plan_.windowResults.size(),
                   plan_.grouped ? WindowSet::Source::kGroups : WindowSet::Source::kScan,
                   table_ != nullptr && !plan_.grouped);
  if (CanLookUpRows() && !windows_->AreImmediate()) {
    windows_->PrepareBatches(*table_, plan_.scanColumns);
  }
}

void QueryRun::BindOutputs() {
  BindAll(plan_.outputs, SourceRecord(), resultRecord_, outputs_);
  if (batch_ && !plan_.grouped && plan_.windows.empty()) BindBatchOutputs();
  if (windows_ && windows_->CanTakeBatches()) {
    std::vector<FieldWriter*> readers;
    for (FieldWriter& output : outputs_) readers.push_back(&output);
    lookup_.emplace(*table_, plan_.scanColumns, scanRecord_, readers);
  }
  if (plan_.distinct) {
    distinct_.emplace(resultRecord_, static_cast<std::size_t>(plan_.visibleOutputs), noInput_,
                      noAggregates_, settings_->GetSwitches().groupMemory_, 0);
    const bool areAllVisible = outputs_.size() == static_cast<std::size_t>(plan_.visibleOutputs);
    if (batch_ && !plan_.grouped && !windows_ && areAllVisible) distinctBatch_.emplace(*distinct_);
  }
  if (plan_.order.empty()) return;
  KeySet keys;
  AddSortKeys(plan_.order, resultRecord_, keys);
  sorter_.emplace(resultRecord_.GetSize(), timer_, false, true);
  sorter_->SetRowIdSorterMetadata(keys, resultRecord_.GetLayout());
  if (plan_.limit && *plan_.limit <= std::numeric_limits<uint64>::max() - plan_.offset) {
    sorter_->SetRecordLimit(*plan_.limit + plan_.offset);
  }
  if (CanLookUpRows() && !windows_ && !distinct_) BindRowOrder();
}

void QueryRun::BindRowOrder() {
  std::vector<SortedRows::Key> keys;
  for (const PlanSortKey& key : plan_.order) {
    FieldWriter& output = outputs_[static_cast<std::size_t>(key.column)];
    keys.push_back({&output.GetTree(), output.GetColumn().type, key.order, key.nulls});
  }
  if (!SortedRows::CanTake(keys, *table_, plan_.scanColumns)) return;
  uint64 limit = 0;
  if (plan_.limit && *plan_.limit <= table_->rowCount && plan_.offset <= table_->rowCount) {
    limit = *plan_.limit + plan_.offset;
  }
  rowOrder_.emplace(keys, std::nullopt, *table_, plan_.scanColumns);
  rowOrder_->SetLimit(limit);
  if (rowOrder_->CountBytes() > SortedRows::GetMostBytes(settings_->GetSwitches().groupMemory_)) {
    rowOrder_.reset();
    return;
  }
  const auto visible = static_cast<std::size_t>(plan_.visibleOutputs);
  lateOutputs_.emplace(*table_, plan_.scanColumns, scanRecord_, outputs_, resultRecord_,
                       [visible](std::size_t output) { return output < visible; });
}

void QueryRun::BindBatchOutputs() {
  for (std::size_t i = 0; i < outputs_.size(); ++i) {
    RExpression& tree = outputs_[i].GetTree();
    // A column alone is copied as it stands.
    if (tree.CountOperands() > 0 && HasBatchLoops(tree)) {
      batchOutputs_.push_back(&outputs_[i]);
      batchFields_.emplace_back(resultRecord_, i);
    } else {
      rowOutputs_.push_back(&outputs_[i]);
    }
  }
  outputVectors_.resize(batchOutputs_.size());
}

RunPhase QueryRun::AfterScan() const { return groups_ ? RunPhase::kGrouping : AfterGroups(); }

RunPhase QueryRun::AfterGroups() const {
  return windows_ && !windows_->AreImmediate() ? RunPhase::kSorting : AfterWindows();
}

RunPhase QueryRun::AfterWindows() const {
  return distinct_ ? RunPhase::kGrouping : AfterDistinct();
}

void QueryRun::Run(ResultSink& sink, RunProgress progress) {
  meter_.SetProgress(progress);
  const SettingsScope scope(settings_);
  Start(sink, true);
  if (EmitsWhileScanning() || IsComplete()) BeginResult();
  if (!IsComplete()) {
    ScanTable();
    if (isOrderGivenUp_) {
      Start(sink, false);
      ScanTable();
    }
    // A scan that ends in TypeRefuted must not have been seen.
    if (!EmitsWhileScanning()) BeginResult();
    const auto emitGroup = [this] { return EmitGroup(); };
    if (groups_) groups_->EmitLive(emitGroup, meter_, AfterGroups());
    if (groups_ && !IsComplete()) groups_->EmitSorted(emitGroup, meter_, AfterGroups());
    if (windows_) EmitWindowRows();
    if (distinct_ && !IsComplete())
      distinct_->EmitSorted([this] { return Deliver(); }, meter_, AfterDistinct());
    if (sortsNumbers_) {
      EmitRowsByNumber();
    } else if (sorter_) {
      EmitSortedRows();
    }
  }
  sink.End();
}

void QueryRun::Start(ResultSink& sink, bool byNumbers) {
  sink_ = &sink;
  row_ = sorted_ = skipped_ = passed_ = 0;
  failedBatches_ = 0;
  groupsTakeBatches_ = batch_ && groupBatch_;
  distinctTakesBatches_ = batch_ && distinctBatch_;
  // Rows that nothing sorts out before they are taken are taken as they are.
  outputsTakeBatches_ = !distinctTakesBatches_ && !batchOutputs_.empty();
  sortsNumbers_ = byNumbers && batch_ && rowOrder_;
  windowsSortNumbers_ = byNumbers && batch_ && windows_ && windows_->CanTakeBatches();
  isOrderGivenUp_ = false;
  const bool usesBatches = filter_ || groupsTakeBatches_ || outputsTakeBatches_ ||
                           distinctTakesBatches_ || sortsNumbers_ || windowsSortNumbers_;
  batchRows_ = batch_ && usesBatches ? batchRows : 0;
  if (batchRows_ != 0) batch_->StartRun();
  if (groups_) StartGroups();
  if (groupParts_) groupParts_->Start(*groups_);
  if (filterParts_) filterParts_->Start();
  if (windows_) windows_->Begin(windowsSortNumbers_);
  if (distinct_) {
    distinct_->KeepBareStates(distinctTakesBatches_);
    distinct_->Clear();
    if (distinctTakesBatches_) distinctBatch_->Start();
  }
  if (sorter_) sorter_->BeginInput();
  if (sortsNumbers_) {
    rowOrder_->Begin();
  } else if (rowOrder_) {
    rowOrder_->Release();
  }
}

void QueryRun::StartGroups() {
  groups_->KeepBareStates(groupsTakeBatches_);
  groups_->Clear();
  if (groupsTakeBatches_) groupBatch_->Start();
  if (groupKeys_.empty()) groups_->OpenGroup();
}

void QueryRun::BeginResult() { sink_->Begin(VisibleColumns(), resultRecord_.GetLayout()); }

void QueryRun::ScanTable() {
  meter_.Start(AfterScan(), CountScannedRows());
  uint64 row = 1;
  if (table_ == nullptr) {
    ScanChunk({.rows = 1, .columns = {}}, row);
    return;
  }
  for (const TableChunk& chunk : table_->chunks) {
    if (!ScanChunk(chunk, row)) return;
    row += chunk.rows;
  }
  if (!hasRest_) return;
  XE_ASSERT(rest_);
  const std::unique_ptr<ChunkSource> rest = std::move(rest_);
  while (const TableChunk* const chunk = rest->Next()) {
    if (!ScanChunk(*chunk, row)) return;
    row += chunk->rows;
  }
}

bool QueryRun::ScanChunk(const TableChunk& chunk, uint64 firstRow) {
  Enter(chunk, firstRow);
  if (batchRows_ != 0) batch_->Enter(chunk);
  if (filterParts_) filterParts_->Enter(chunk, firstRow);
  if (!groupParts_ || batchRows_ == 0) return ScanRows(0, chunk.rows);
  const uint64 tried = groupParts_->CountTrialRows(chunk);
  ScanRows(0, tried);
  for (const GroupParts::Part& part : groupParts_->Group(chunk, firstRow, tried)) {
    if (groupParts_->Merge(part)) {
      meter_.Step(part.end - part.first);
    } else {
      ScanRows(part.first, part.end);
    }
  }
  return true;
}

bool QueryRun::ScanRows(uint64 row, uint64 end) {
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

void QueryRun::EnterPart(const TableChunk& chunk, uint64 firstRow) {
  Enter(chunk, firstRow);
  batch_->Enter(chunk);
}

bool QueryRun::GroupPart(const TableChunk& chunk, uint64 firstRow, uint64 row, uint64 end) {
  const SettingsScope scope(settings_);
  groupsTakeBatches_ = true;
  batch_->StartRun();
  StartGroups();
  EnterPart(chunk, firstRow);
  while (row < end) {
    const auto count = static_cast<uint32>(std::min<uint64>(batchRows, end - row));
    BatchRows rows = batch_->Take(row, count);
    row += count;
    if (!FilterBatch(rows)) return false;
    if (rows.GetWanted() == 0) continue;
    if (!FindGroups(rows) || !groupBatch_->MakesMergeableStates()) return false;
    try {
      groupBatch_->TakeRows(rows, firstRow_ + batch_->GetFirstRow());
    } catch (const ErrorMessage&) {
      // Who does the rows again tells it.
      return false;
    }
  }
  return true;
}

bool QueryRun::FilterPart(BatchRows& rows, uint64 first, uint32 count) {
  const SettingsScope scope(settings_);
  rows = batch_->Take(first, count);
  return FilterBatch(rows);
}

bool QueryRun::ScanBatch(uint64 first, uint32 count) {
  BatchRows rows = batch_->Take(first, count);
  const bool isFiltered = FilterBatch(rows);
  if (sortsNumbers_ || windowsSortNumbers_) {
    meter_.Step(count);
    isOrderGivenUp_ = !isFiltered || !AddBatchToOrder(firstRow_ - 1 + first, rows);
    return !isOrderGivenUp_;
  }
  if (!isFiltered) {
    ++failedBatches_;
    for (uint32 i = 0; i < count; ++i) {
      if (!ScanRow(first + i)) return false;
    }
    return true;
  }
  meter_.Step(count);
  if (rows.GetWanted() == 0) return true;
  const bool isGrouped = groupsTakeBatches_ && AddBatchToGroups(rows);
  const bool isEvaluated = outputsTakeBatches_ && EvaluateOutputs(rows);
  const bool isDistinct = distinctTakesBatches_ && FindDistinct(rows);
  const bool isDone = isGrouped || isEvaluated || isDistinct ||
                      !(groupsTakeBatches_ || outputsTakeBatches_ || distinctTakesBatches_);
  failedBatches_ = isDone ? 0 : failedBatches_ + 1;
  if (isGrouped) return true;
  if (isEvaluated) return EmitBatch(first, rows);
  if (isDistinct) return distinctBatch_->TakeKeys(firstRow_ + first, [this] { return Deliver(); });
  for (uint32 i = 0; i < rows.GetWanted(); ++i) {
    Fill(first + rows.GetRow(i));
    if (!TakeRow(first + rows.GetRow(i))) return false;
  }
  return true;
}

bool QueryRun::FilterBatch(BatchRows& rows) {
  if (!filter_) return true;
  if (filterParts_) {
    const FilterParts::Passing& passing = filterParts_->Get(batch_->GetFirstRow(), batchRows_);
    rows.selected = passing.rows.data();
    rows.selectedCount = passing.count;
    batch_->Select(rows.selected);
    return passing.isKnown;
  }
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

bool QueryRun::AddBatchToGroups(const BatchRows& rows) {
  if (!FindGroups(rows)) return false;
  // An error from here on is one.
  groupBatch_->TakeRows(rows, firstRow_ + batch_->GetFirstRow());
  return true;
}

bool QueryRun::FindGroups(const BatchRows& rows) {
  try {
    return EvaluateTrees(groupKeys_, rows, keyVectors_) &&
           EvaluateTrees(aggregateInputs_, rows, inputVectors_) &&
           groupBatch_->FindGroups(rows, keyVectors_, inputVectors_,
                                   firstRow_ + batch_->GetFirstRow());
  } catch (const ErrorMessage&) {
    return false;
  }
}

bool QueryRun::AddBatchToOrder(uint64 first, const BatchRows& rows) {
  try {
    if (windowsSortNumbers_) return windows_->AddBatch(rows, first);
    if (!lateOutputs_->Admit(rows) || !rowOrder_->Add(rows, first)) return false;
    sorted_ += rows.GetWanted();
    return true;
  } catch (const ErrorMessage&) {
    // The rows tell it.
    return false;
  }
}

bool QueryRun::EvaluateOutputs(const BatchRows& rows) {
  try {
    for (std::size_t i = 0; i < batchOutputs_.size(); ++i) {
      if (!EvaluateBatch(batchOutputs_[i]->GetTree(), rows, outputVectors_[i]) ||
          !batchFields_[i].Use(outputVectors_[i], rows)) {
        return false;
      }
    }
    return true;
  } catch (const ErrorMessage&) {
    return false;
  }
}

bool QueryRun::FindDistinct(const BatchRows& rows) {
  try {
    if (!EvaluateTrees(outputs_, rows, outputVectors_)) return false;
  } catch (const ErrorMessage&) {
    return false;
  }
  // The groups that it opens are to be emitted: from here on nothing is done again.
  return distinctBatch_->FindGroups(rows, outputVectors_, {}, firstRow_ + batch_->GetFirstRow());
}

bool QueryRun::EmitBatch(uint64 first, const BatchRows& rows) {
  for (uint32 i = 0; i < rows.GetWanted(); ++i) {
    const uint32 batchRow = rows.GetRow(i);
    const uint64 row = firstRow_ + first + batchRow;
    if (!rowOutputs_.empty()) {
      Fill(first + batchRow);
      AtRow(row, [this] {
        for (FieldWriter* const writer : rowOutputs_) writer->Write();
      });
    }
    for (BatchField& field : batchFields_) field.Write(batchRow);
    if (!TakeResult(row)) return false;
  }
  return true;
}

bool QueryRun::EvaluateTrees(std::vector<FieldWriter>& writers, const BatchRows& rows,
                             std::vector<BatchVector>& vectors) {
  vectors.resize(writers.size());
  for (std::size_t i = 0; i < writers.size(); ++i) {
    if (!EvaluateBatch(writers[i].GetTree(), rows, vectors[i])) return false;
  }
  return true;
}

bool QueryRun::ScanRow(uint64 row) {
  meter_.Step(1);
  Fill(row);
  const bool passes =
      !filter_ || AtRow(ErrorRow(firstRow_ + row), [this] { return filter_->Passes(); });
  return !passes || TakeRow(row);
}

bool QueryRun::TakeRow(uint64 row) {
  if (!groups_) return TakeSourceRow(firstRow_ + row);
  AddToGroups(firstRow_ + row);
  return true;
}

void QueryRun::Enter(const TableChunk& chunk, uint64 firstRow) {
  firstRow_ = firstRow;
  chunkRows_ = chunk.rows;
  if (scan_) scan_->Enter(chunk);
  if (documents_) documents_->Enter(chunk);
}

void QueryRun::Fill(uint64 row) {
  if (scan_) scan_->Fill(row);
  if (documents_) documents_->Fill(row);
}

void QueryRun::FillAgain(uint64 row) {
  if (table_ == nullptr) return;
  if (row - firstRow_ >= chunkRows_) {
    uint64 firstRow;
    const TableChunk& chunk = FindChunk(*table_, row - 1, firstRow);
    Enter(chunk, firstRow + 1);
  }
  Fill(row - firstRow_);
}

void QueryRun::AddToGroups(uint64 row) {
  AtRow(ErrorRow(row), [this] {
    WriteAll(groupKeys_);
    WriteAll(aggregateInputs_);
  });
  groups_->Add(row);
}

bool QueryRun::EmitGroup() { return (having_ && !having_->Passes()) || TakeSourceRow(++row_); }

bool QueryRun::TakeSourceRow(uint64 row) {
  if (!windows_) return Emit(row);
  if (windows_->AreImmediate()) {
    windows_->WriteResults(row);
    return Emit(row);
  }
  windows_->Add(row);
  return true;
}

bool QueryRun::Emit(uint64 row) {
  AtRow(plan_.grouped ? kNoRowNumber : ErrorRow(row), [this] { WriteAll(outputs_); });
  return TakeResult(row);
}

bool QueryRun::TakeResult(uint64 row) {
  if (distinct_ && !distinct_->Add(row)) return true;
  return Deliver();
}

void QueryRun::EmitWindowRows() {
  if (windows_->AreImmediate()) return;
  windows_->EndInput(meter_);
  meter_.Start(AfterWindows(), windows_->CountRows());
  if (windowsSortNumbers_) lookup_->Begin();
  while (const uint64 row = windows_->Next()) {
    meter_.Step();
    if (windowsSortNumbers_) {
      lookup_->Fill(row - 1);
    } else if (!plan_.grouped) {
      FillAgain(row);
    }
    windows_->WriteResults(row);
    if (!Emit(row)) return;
  }
}

bool QueryRun::Deliver() {
  if (!sorter_) return Pass();
  sorter_->SortRecord(resultRecord_.GetData());
  ++sorted_;
  return true;
}

bool QueryRun::Pass() {
  if (skipped_ < plan_.offset) {
    ++skipped_;
    return true;
  }
  if (IsComplete()) return false;
  sink_->Row(resultRecord_.GetData());
  ++passed_;
  return !IsComplete();
}

void QueryRun::EmitSortedRows() {
  sorter_->EndInput();
  meter_.Start(RunPhase::kWriting, sorted_);
  while (sorter_->GetRecord(resultRecord_.GetData())) {
    meter_.Step();
    if (!Pass()) return;
  }
}

void QueryRun::EmitRowsByNumber() {
  rowOrder_->Sort();
  meter_.Start(RunPhase::kWriting, rowOrder_->GetCount());
  lateOutputs_->ForEach(*rowOrder_, [this](uint64) {
    meter_.Step();
    return Pass();
  });
  rowOrder_->Release();
}

}  // namespace sqxer
