#include "QueryRun.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "ErrorInputs.h"
#include "FilterParts.h"
#include "GroupParts.h"
#include "RecordKeys.h"
#include "SQXERBatchLoops.h"
#include "Utility/StatementBudget.h"
#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

/// Groups that are taken again stand in chunks of so many.
constexpr uint64 kRowsOfGroupChunk = uint64{64} * kColumnBlockRows;

Table TableOfGroups(const QueryPlan& plan) {
  Table groups;
  if (plan.grouped) groups.schema.columns = GroupRun::FieldsOf(plan);
  return groups;
}

std::vector<ColumnInfo> SourceFields(const QueryPlan& plan, const Table& groups) {
  std::vector<ColumnInfo> fields = plan.grouped ? groups.schema.columns : plan.scanRecord;
  fields.insert(fields.end(), plan.windowResults.begin(), plan.windowResults.end());
  return fields;
}

std::unique_ptr<GroupRun> MakeGrouping(QueryPlan& plan, const Table* table,
                                       std::unique_ptr<ChunkSource>& rest) {
  return plan.grouped ? std::make_unique<GroupRun>(plan, table, std::move(rest)) : nullptr;
}

}  // namespace

QueryRun::QueryRun(QueryPlan plan, const Table* table, std::unique_ptr<ChunkSource> rest)
    : plan_(std::move(plan)),
      groups_(TableOfGroups(plan_)),
      source_(SourceFields(plan_, groups_)),
      result_(ResultsOf(plan_.outputs)),
      grouping_(MakeGrouping(plan_, table, rest)),
      scan_(TakeReads(table), source_),
      noInput_({}) {
  XE_ASSERT((table == nullptr) == plan_.table.empty());
  if (!IsGrouped()) scan_.SetRows(table, std::move(rest));
  if (!plan_.windows.empty()) BindWindows();
  XE_ASSERT(!scan_.HasRest() || !windows_ || windows_->AreImmediate());
  BindOutputs();
  if (!AreRepeatable(outputs_) || (windows_ && !windows_->AreRepeatable())) scan_.GiveUpBatches();
  if (scan_.HasBatches()) ShareTrees(scan_, {&outputs_});
}

QueryRun::~QueryRun() = default;

RowScan::Reads QueryRun::TakeReads(const Table* table) {
  if (!IsGrouped()) return RowScan::TakeReads(plan_, table);
  RowScan::Reads reads = {.schema = &groups_.schema,
                          .columns = std::vector<uint16>(groups_.schema.columns.size()),
                          .documents = {},
                          .filter = std::move(plan_.having),
                          .areRowsNumbered = false};
  std::iota(reads.columns.begin(), reads.columns.end(), uint16{0});
  return reads;
}

void QueryRun::UseThreads(uint32 threads, std::vector<QueryPlan> plans) {
  threads_ = threads;
  if (rowOrder_) rowOrder_->SetThreads(threads);
  if (windows_) windows_->SetThreads(threads);
  RowScan& scan = IsGrouped() ? grouping_->GetScan() : scan_;
  if (!scan.HasBatches() || scan.HasDocuments() || plans.size() < 2) return;
  const SettingsScope scope(settings_);
  otherPlans_ = std::move(plans);
  if (IsGrouped() && grouping_->CanMergeParts()) {
    GroupRuns parts;
    for (QueryPlan& plan : otherPlans_) {
      parts.push_back(std::make_unique<GroupRun>(plan, scan.GetTable(), nullptr));
    }
    // Together they hold as much again as the groups of the run at most.
    const uint64 memory =
        StatementBudget::CapShare(settings_->GetSwitches().groupMemory_, 4) / parts.size();
    grouping_->SetParts(std::move(parts), memory);
  } else if (scan.GetFilter() != nullptr && FilterParts::GainsFrom(*scan.GetFilter())) {
    scan.SetFilterParts(std::make_unique<FilterParts>(otherPlans_, scan.GetTable()));
  }
}

std::vector<ColumnInfo> QueryRun::VisibleColumns() const {
  std::vector<ColumnInfo> columns;
  for (int i = 0; i < plan_.visibleOutputs; ++i) {
    columns.push_back(outputs_[static_cast<std::size_t>(i)].GetColumn());
  }
  return columns;
}

void QueryRun::BindWindows() {
  const auto fields = static_cast<std::size_t>(source_.GetLayout().GetFieldCount());
  windows_.emplace(plan_.windows, source_, fields - plan_.windowResults.size(),
                   IsGrouped() ? WindowSet::Source::kGroups : WindowSet::Source::kScan,
                   scan_.ErrorRow(1) != kNoRowNumber);
  if (!scan_.HasBatches()) return;
  windows_->PrepareColumns();
  scan_.AddFields(plan_.windowResults.size());
}

void QueryRun::PrepareWindows() {
  lookup_.reset();
  if (!windows_ || windows_->AreImmediate()) return;
  windows_->GiveUpBatches();
  if (!CanLookUpRows()) return;
  windows_->PrepareBatches(*scan_.GetTable(), scan_.GetColumns());
  windows_->SetThreads(threads_);
  if (!windows_->CanTakeBatches()) return;
  std::vector<FieldWriter*> readers;
  for (FieldWriter& output : outputs_) readers.push_back(&output);
  for (WindowRun& window : windows_->GetWindows()) {
    if (!window.IsImmediate()) continue;
    for (FieldWriter& input : window.GetInputs()) readers.push_back(&input);
  }
  lookup_.emplace(*scan_.GetTable(), scan_.GetColumns(), source_, readers);
}

void QueryRun::BindOutputs() {
  outputs_ = BindAll(plan_.outputs, source_, result_);
  if (scan_.HasBatches()) BindBatchOutputs();
  if (!IsGrouped()) PrepareWindows();
  if (plan_.distinct) {
    distinct_.emplace(result_, static_cast<std::size_t>(plan_.visibleOutputs), noInput_,
                      noAggregates_,
                      StatementBudget::CapShare(settings_->GetSwitches().groupMemory_, 4), 0);
    const bool areAllVisible = outputs_.size() == static_cast<std::size_t>(plan_.visibleOutputs);
    if (scan_.HasBatches() && areAllVisible) distinctBatch_.emplace(*distinct_);
  }
  if (plan_.order.empty()) return;
  KeySet keys;
  AddSortKeys(plan_.order, result_, keys);
  sorter_.emplace(result_.GetSize(), timer_, false, true);
  sorter_->SetRowIdSorterMetadata(keys, result_.GetLayout());
  if (plan_.distinctKeys != 0) {
    distinctKeys_ = KeySet();
    AddSortKeys(std::span(plan_.order).first(plan_.distinctKeys), result_, *distinctKeys_);
    lastDistinct_.emplace(result_.GetSize());
  } else if (plan_.limit && *plan_.limit <= std::numeric_limits<uint64>::max() - plan_.offset) {
    sorter_->SetRecordLimit(*plan_.limit + plan_.offset);
  }
  if (!IsGrouped()) PrepareRowOrder();
}

void QueryRun::PrepareRowOrder() {
  if (!sorter_ || distinct_ || !CanLookUpRows()) return;
  const Table& table = *scan_.GetTable();
  const uint64 memory =
      StatementBudget::CapShare(SortedRows::GetMostBytes(settings_->GetSwitches().groupMemory_), 2);
  if (windows_ && !windows_->KeepAllResults(table.rowCount, memory)) return;
  std::vector<SortedRows::Key> keys;
  for (const PlanSortKey& key : plan_.order) {
    FieldWriter& output = outputs_[static_cast<std::size_t>(key.column)];
    keys.push_back({&output.GetTree(), output.GetColumn().type, key.order, key.nulls});
  }
  if (!SortedRows::CanTake(keys, table, scan_.GetColumns())) return;
  uint64 limit = 0;
  if (plan_.limit && *plan_.limit <= table.rowCount && plan_.offset <= table.rowCount &&
      !distinctKeys_) {
    limit = *plan_.limit + plan_.offset;
  }
  const auto groupKeys = distinctKeys_ ? std::optional(plan_.distinctKeys) : std::nullopt;
  rowOrder_.emplace(keys, groupKeys, table, scan_.GetColumns());
  rowOrder_->SetLimit(limit);
  rowOrder_->SetThreads(threads_);
  if (rowOrder_->CountBytes() > memory) {
    rowOrder_.reset();
    return;
  }
  const auto visible = static_cast<std::size_t>(plan_.visibleOutputs);
  lateOutputs_.emplace(table, scan_.GetColumns(), source_, outputs_, result_,
                       [visible](std::size_t output) { return output < visible; });
}

void QueryRun::BindBatchOutputs() {
  for (std::size_t i = 0; i < outputs_.size(); ++i) {
    RExpression& tree = outputs_[i].GetTree();
    // A column alone is copied as it stands.
    (tree.CountOperands() > 0 && HasBatchLoops(tree) ? batchOutputs_ : rowOutputs_).push_back(i);
    batchFields_.emplace_back(result_, i);
  }
  outputVectors_.resize(outputs_.size());
}

void QueryRun::Run(ResultSink& sink, const RunProgress& progress) {
  meter_.SetProgress(progress);
  const SettingsScope scope(settings_);
  sink_ = &sink;
  profile_ = RunProfile::Current();
  sorted_ = skipped_ = passed_ = 0;
  if (IsComplete()) {
    BeginResult();
    return sink.End();
  }
  if (IsGrouped()) {
    grouping_->Run(meter_);
    ReadGroups();
  }
  Start(true);
  // A scan of a table that ends in TypeRefuted must not have been seen.
  const bool emitsWhileScanning = IsGrouped() || !sorter_;
  if (emitsWhileScanning) BeginResult();
  Scan();
  if (isOrderGivenUp_) {
    Start(false);
    Scan();
  }
  if (!emitsWhileScanning) BeginResult();
  if (windows_) EmitWindowRows();
  if (isOrderGivenUp_) {
    Start(false);
    Scan();
    EmitWindowRows();
  }
  const BudgetScope use(sink_->GetMemoryUse());
  if (distinct_ && !IsComplete()) EmitDistinct();
  if (sortsNumbers_) {
    EmitRowsByNumber();
  } else if (sorter_) {
    EmitSortedRows();
  }
  if (profile_ != nullptr) CountRowsOfSteps();
  sink.End();
}

void QueryRun::CountRowsOfSteps() const {
  if (windows_ && !windows_->AreImmediate()) {
    profile_->AddRows(Step::kWindow, windows_->CountRows(), windows_->CountRows());
  }
  if (sorter_) profile_->AddRows(Step::kSort, sorted_, skipped_ + passed_);
  profile_->AddRows(Step::kWrite, skipped_ + passed_, passed_);
}

void QueryRun::ReadGroups() {
  const RunProfile::Scope step(profile_, Step::kGroup);
  const BudgetScope use(MemoryUse::kGroups);
  groups_.chunks.clear();
  groups_.rowCount = 0;
  rowOrder_.reset();
  lateOutputs_.reset();
  const uint64 memory = StatementBudget::CapShare(settings_->GetSwitches().groupMemory_, 4);
  const bool comeAgain = windows_ ? !windows_->AreImmediate() : sorter_ && !distinct_;
  const bool areKept = comeAgain && scan_.HasBatches() && grouping_->AreAllLive() &&
                       grouping_->CountLive() <= memory / source_.GetSize();
  std::unique_ptr<ChunkSource> rows =
      grouping_->TakeGroups(areKept ? kRowsOfGroupChunk : kMostBatchRows, meter_, AfterScan());
  if (areKept) {
    try {
      while (const TableChunk* const chunk = rows->Next()) {
        groups_.chunks.push_back(*chunk);
        groups_.rowCount += chunk->rows;
      }
      rows.reset();
    } catch (const ErrorMessage&) {
      // It comes again behind the groups before it, one of which may have an error, too.
    }
  }
  scan_.SetRows(&groups_, std::move(rows));
  PrepareWindows();
  PrepareRowOrder();
}

void QueryRun::Start(bool byNumbers) {
  windowsSortNumbers_ = byNumbers && scan_.HasBatches() && windows_ && !windows_->AreImmediate() &&
                        windows_->CanTakeBatches();
  const bool haveBatches =
      scan_.HasBatches() && (!windows_ || windows_->AreImmediate() || windowsSortNumbers_);
  distinctTakesBatches_ = haveBatches && distinctBatch_;
  // Rows that nothing sorts out before they are taken are taken as they are.
  passesBatches_ = haveBatches && !distinct_ && !sorter_ && sink_->TakesBatches();
  outputsTakeBatches_ =
      haveBatches && !distinctTakesBatches_ && (passesBatches_ || !batchOutputs_.empty());
  sortsNumbers_ = byNumbers && haveBatches && rowOrder_;
  windowsGiveBatches_ = windows_ && (outputsTakeBatches_ || distinctTakesBatches_ || sortsNumbers_);
  areWindowsComplete_ = false;
  windowsReadTo_ = 0;
  windowError_ = nullptr;
  isOrderGivenUp_ = false;
  scan_.Start(outputsTakeBatches_ || distinctTakesBatches_ || sortsNumbers_ || windowsSortNumbers_);
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

MemoryUse QueryRun::UseOfScan() const {
  if (windows_ && !windows_->AreImmediate()) return MemoryUse::kWindow;
  if (distinct_) return MemoryUse::kGroups;
  return sorter_ ? MemoryUse::kSort : sink_->GetMemoryUse();
}

void QueryRun::Scan() {
  const BudgetScope use(UseOfScan());
  meter_.Start(AfterScan(), IsGrouped() ? grouping_->CountLive() : scan_.CountRows());
  scan_.Scan(*this, meter_);
}

void QueryRun::BeginResult() { sink_->Begin(VisibleColumns(), result_.GetLayout()); }

RowTaker::Outcome QueryRun::TakeBatch(const BatchRows& rows) {
  if (windowsSortNumbers_ && !areWindowsComplete_) {
    isOrderGivenUp_ = !AddToWindows(rows);
    return isOrderGivenUp_ ? Outcome::kStop : Outcome::kTaken;
  }
  if (!windows_) return TakeSourceBatch(rows);
  return windowsGiveBatches_ ? TakeWindowBatch(rows) : Outcome::kByRows;
}

RowTaker::Outcome QueryRun::TakeWindowBatch(BatchRows rows) {
  const uint64 first = scan_.GetBatchRow();
  const uint32 wanted = rows.GetWanted();
  const uint64 last = first + rows.GetRow(wanted - 1);
  {
    const RunProfile::Scope step(profile_, Step::kWindow);
    windows_->ReadBatch(rows, first, windowError_);
  }
  if (profile_ != nullptr && windows_->AreImmediate()) {
    profile_->AddRows(Step::kWindow, rows.GetWanted(), rows.GetWanted());
  }
  windowsReadTo_ = last;
  const uint32 read = rows.GetWanted();
  if (read == 0) std::rethrow_exception(windowError_);
  if (read < wanted) failedRow_ = first + rows.GetRow(read - 1) + 1;
  scan_.SetAdded(windows_->GetVectors(), rows);
  const Outcome outcome = TakeSourceBatch(rows);
  if (outcome == Outcome::kTaken && windowError_) std::rethrow_exception(windowError_);
  return outcome;
}

RowTaker::Outcome QueryRun::TakeSourceBatch(const BatchRows& rows) {
  if (sortsNumbers_) {
    isOrderGivenUp_ = !AddToOrder(rows);
    return isOrderGivenUp_ ? Outcome::kStop : Outcome::kTaken;
  }
  if (distinctTakesBatches_) {
    if (!FindDistinct(rows)) return Outcome::kFailed;
    const RunProfile::Scope step(profile_, Step::kDistinct);
    const bool goesOn = distinctBatch_->TakeKeys(scan_.GetBatchRow(), [this] {
      const RunProfile::RowScope sample(profile_);
      return Deliver();
    });
    return goesOn ? Outcome::kTaken : Outcome::kStop;
  }
  if (!outputsTakeBatches_) return Outcome::kByRows;
  if (!EvaluateOutputs(rows)) return Outcome::kFailed;
  return EmitBatch(rows) ? Outcome::kTaken : Outcome::kStop;
}

bool QueryRun::AdmitFailedBatch() {
  isOrderGivenUp_ = sortsNumbers_ || windowsSortNumbers_;
  return !isOrderGivenUp_;
}

bool QueryRun::AddToWindows(const BatchRows& rows) {
  const RunProfile::Scope step(profile_, Step::kWindow);
  try {
    return windows_->AddBatch(rows, scan_.GetBatchRow() - 1);
  } catch (const ErrorMessage&) {
    // The rows tell it.
    return false;
  }
}

bool QueryRun::AddToOrder(const BatchRows& rows) {
  const RunProfile::Scope step(profile_, Step::kSort);
  const uint64 first = scan_.GetBatchRow() - 1;
  try {
    if (!lateOutputs_->Admit(rows) || !rowOrder_->Add(rows, first)) return false;
    sorted_ += rows.GetWanted();
    return true;
  } catch (const ErrorMessage&) {
    // The rows tell it.
    return false;
  }
}

bool QueryRun::EvaluateOutput(std::size_t output, const BatchRows& rows) {
  BatchVector& vector = outputVectors_[output];
  return EvaluateBatch(outputs_[output].GetTree(), rows, vector) &&
         batchFields_[output].Use(vector, rows);
}

bool QueryRun::EvaluateOutputs(const BatchRows& rows) {
  const RunProfile::Scope step(profile_, Step::kOutputs);
  if (profile_ != nullptr) {
    profile_->AddRows(Step::kOutputs, rows.GetWanted(), rows.GetWanted());
  }
  const auto evaluate = [&](std::size_t output) { return EvaluateOutput(output, rows); };
  try {
    return std::ranges::all_of(batchOutputs_, evaluate) &&
           (!passesBatches_ || std::ranges::all_of(rowOutputs_, evaluate));
  } catch (const ErrorMessage&) {
    return false;
  }
}

bool QueryRun::FindDistinct(const BatchRows& rows) {
  const RunProfile::Scope step(profile_, Step::kDistinct);
  if (profile_ != nullptr) profile_->AddRows(Step::kDistinct, rows.GetWanted(), 0);
  try {
    if (!EvaluateTrees(outputs_, rows, outputVectors_)) return false;
  } catch (const ErrorMessage&) {
    return false;
  }
  // The groups that it opens are to be emitted: from here on nothing is done again.
  return distinctBatch_->FindGroups(rows, outputVectors_, outputVectors_, {}, scan_.GetBatchRow());
}

bool QueryRun::EmitBatch(const BatchRows& rows) {
  if (passesBatches_) return PassBatch(rows);
  for (uint32 i = 0; i < rows.GetWanted(); ++i) {
    const RunProfile::RowScope sample(profile_);
    const uint32 batchRow = rows.GetRow(i);
    const uint64 row = scan_.GetBatchRow() + batchRow;
    if (!rowOutputs_.empty()) {
      scan_.FillBatchRow(batchRow);
      AtRow(scan_.ErrorRow(row), source_, TreesOf(outputs_), [this] {
        for (const std::size_t output : rowOutputs_) outputs_[output].Write();
      });
    }
    for (const std::size_t output : batchOutputs_) batchFields_[output].Write(batchRow);
    if (!TakeResult(row)) return false;
  }
  return true;
}

bool QueryRun::PassBatch(BatchRows rows) {
  const uint64 wanted = rows.GetWanted();
  const uint64 skipped = std::min(plan_.offset - skipped_, wanted);
  const uint64 left = plan_.limit ? *plan_.limit - passed_ : wanted;
  const uint64 passed = std::min(wanted - skipped, left);
  skipped_ += skipped;
  passed_ += passed;
  if (passed == 0) return true;
  if (passed < wanted) {
    passedRows_.clear();
    for (uint64 i = skipped; i < skipped + passed; ++i) {
      passedRows_.push_back(static_cast<uint16>(rows.GetRow(static_cast<uint32>(i))));
    }
    rows.selected = passedRows_.data();
    rows.selectedCount = static_cast<uint32>(passed);
  }
  const RunProfile::Scope step(profile_, Step::kWrite);
  sink_->Batch({outputVectors_.data(), static_cast<std::size_t>(plan_.visibleOutputs)}, rows);
  return !IsComplete();
}

bool QueryRun::TakeRow(uint64 row) {
  if (!windows_) return Emit(row);
  if (row <= windowsReadTo_) {
    if (windowError_ && row >= failedRow_) std::rethrow_exception(windowError_);
    return Emit(row);
  }
  if (windows_->AreImmediate() || areWindowsComplete_) {
    RunProfile::InStep(profile_, Step::kWindow, [&] { windows_->WriteResults(row); });
    if (profile_ != nullptr && windows_->AreImmediate()) [[unlikely]]
      profile_->AddRows(Step::kWindow, 1, 1);
    return Emit(row);
  }
  RunProfile::InStep(profile_, Step::kWindow, [&] { windows_->Add(row); });
  return true;
}

bool QueryRun::Emit(uint64 row) {
  if (profile_ != nullptr) [[unlikely]]
    profile_->AddRows(Step::kOutputs, 1, 1);
  RunProfile::InStep(profile_, Step::kOutputs, [&] {
    AtRow(scan_.ErrorRow(row), source_, TreesOf(outputs_), [this] { WriteAll(outputs_); });
  });
  return TakeResult(row);
}

bool QueryRun::TakeResult(uint64 row) {
  if (!distinct_) return Deliver();
  if (profile_ != nullptr) [[unlikely]]
    profile_->AddRows(Step::kDistinct, 1, 0);
  const auto add = [&] { return distinct_->Add(row); };
  if (!RunProfile::InStep(profile_, Step::kDistinct, add)) return true;
  return Deliver();
}

bool QueryRun::Deliver() {
  if (profile_ != nullptr && distinct_) [[unlikely]]
    profile_->AddRows(Step::kDistinct, 0, 1);
  if (!sorter_) return Pass();
  RunProfile::InStep(profile_, Step::kSort, [this] { sorter_->SortRecord(result_.GetData()); });
  ++sorted_;
  return true;
}

bool QueryRun::Pass() {
  if (skipped_ < plan_.offset) {
    ++skipped_;
    return true;
  }
  if (IsComplete()) return false;
  sink_->Row(result_.GetData());
  ++passed_;
  return !IsComplete();
}

void QueryRun::EmitWindowRows() {
  if (windows_->AreImmediate()) return;
  const RunProfile::Scope step(profile_, Step::kWindow);
  windows_->EndInput(meter_);
  meter_.Start(AfterWindows(), windows_->CountRows());
  areWindowsComplete_ = true;
  if (windowsGiveBatches_) return scan_.ScanAgain(windows_->GetRowNumbers(), *this, meter_);
  if (windowsSortNumbers_) lookup_->Begin();
  while (const uint64 row = windows_->Next()) {
    const RunProfile::RowScope sample(profile_);
    meter_.Step();
    if (windowsSortNumbers_) {
      lookup_->Fill(row - 1);
    } else if (!IsGrouped()) {
      scan_.FillAgain(row);
    }
    windows_->WriteResults(row);
    if (!Emit(row)) return;
  }
}

void QueryRun::EmitDistinct() {
  const RunProfile::Scope step(profile_, Step::kDistinct);
  while (distinct_->NextSorted(meter_, AfterDistinct())) {
    const RunProfile::RowScope sample(profile_);
    meter_.Step();
    if (!Deliver()) return;
  }
}

void QueryRun::EmitSortedRows() {
  const RunProfile::Scope step(profile_, Step::kSort);
  sorter_->EndInput();
  meter_.Start(RunPhase::kWriting, sorted_);
  bool isFirst = true;
  while (sorter_->GetRecord(result_.GetData())) {
    meter_.Step();
    if (distinctKeys_) {
      uint8* const last = lastDistinct_->Get();
      if (!isFirst && distinctKeys_->Compare(last, result_.GetData()) == 0) continue;
      isFirst = false;
      result_.GetPacker().Copy(result_.GetData(), last);
    }
    if (!Pass()) return;
  }
}

void QueryRun::EmitRowsByNumber() {
  const RunProfile::Scope step(profile_, Step::kSort);
  rowOrder_->Sort();
  if (distinctKeys_) rowOrder_->KeepFirstOfGroups();
  meter_.Start(RunPhase::kWriting, rowOrder_->GetCount());
  const auto pass = [this](uint64) {
    meter_.Step();
    return Pass();
  };
  if (!windows_) {
    lateOutputs_->ForEach(*rowOrder_, pass);
  } else {
    const RowNumbers& numbers = windows_->GetRowNumbers();
    const bool areAll = rowOrder_->GetCount() == numbers.GetCount();
    const auto ordinal = [&](uint64 place) {
      return areAll ? rowOrder_->GetOrdinal(place) : numbers.Find(rowOrder_->GetRow(place));
    };
    const auto fill = [&](uint64 place) {
      const uint64 ahead = std::min(place + LateWriters::kValuesAhead, rowOrder_->GetCount() - 1);
      windows_->PrefetchResultsOf(ordinal(ahead));
      windows_->WriteResultsOf(ordinal(place));
    };
    lateOutputs_->ForEach(*rowOrder_, fill, pass);
  }
  rowOrder_->Release();
}

}  // namespace sqxer
