#include "QueryRun.h"

#include <limits>

#include "EngineError.h"
#include "Utility/SUSystemConfig.h"
#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

std::vector<ColumnInfo> ResultsOf(const std::vector<PlanExpression>& expressions) {
  std::vector<ColumnInfo> fields;
  for (const PlanExpression& expression : expressions) fields.push_back(expression.result);
  return fields;
}

std::vector<ColumnInfo> GroupFields(const QueryPlan& plan) {
  std::vector<ColumnInfo> fields = ResultsOf(plan.groupKeys);
  for (const PlanAggregate& aggregate : plan.aggregates) {
    fields.insert(fields.end(), aggregate.results.begin(), aggregate.results.end());
  }
  return fields;
}

void BindAll(std::vector<PlanExpression>& expressions, WorkRecord& source, WorkRecord& target,
             std::vector<FieldWriter>& writers) {
  for (PlanExpression& expression : expressions) {
    writers.emplace_back(std::move(expression), source, target, writers.size());
  }
}

void WriteAll(std::vector<FieldWriter>& writers) {
  for (FieldWriter& writer : writers) writer.Write();
}

}  // namespace

QueryRun::QueryRun(QueryPlan plan, const Table* table)
    : plan_(std::move(plan)),
      table_(table),
      scanRecord_(plan_.scanRecord),
      inputRecord_(ResultsOf(plan_.aggregateInputs)),
      groupRecord_(GroupFields(plan_)),
      resultRecord_(ResultsOf(plan_.outputs)),
      noInput_({}) {
  XE_ASSERT((table_ == nullptr) == plan_.table.empty());
  BindScan();
  if (plan_.grouped) BindGroups();
  BindOutputs();
}

std::vector<ColumnInfo> QueryRun::VisibleColumns() const {
  std::vector<ColumnInfo> columns;
  for (int i = 0; i < plan_.visibleOutputs; ++i) {
    columns.push_back(outputs_[static_cast<std::size_t>(i)].GetColumn());
  }
  return columns;
}

void QueryRun::BindScan() {
  if (table_ != nullptr) scan_.emplace(*table_, plan_.scanColumns, scanRecord_);
  if (!plan_.documents.empty()) documents_.emplace(*table_, plan_.documents);
  if (plan_.filter) filter_.emplace(std::move(plan_.filter), scanRecord_);
}

void QueryRun::BindGroups() {
  const uint64 memory = SUSystemConfig::GetSystemConfig().groupMemory_;
  BindAll(plan_.groupKeys, scanRecord_, groupRecord_, groupKeys_);
  BindAll(plan_.aggregateInputs, scanRecord_, inputRecord_, aggregateInputs_);
  groups_.emplace(groupRecord_, groupKeys_.size(), inputRecord_, plan_.aggregates, memory,
                  table_ != nullptr ? table_->rowCount : 1);
  if (plan_.having) having_.emplace(std::move(plan_.having), groupRecord_);
}

void QueryRun::BindOutputs() {
  BindAll(plan_.outputs, plan_.grouped ? groupRecord_ : scanRecord_, resultRecord_, outputs_);
  if (plan_.distinct) {
    distinct_.emplace(resultRecord_, static_cast<std::size_t>(plan_.visibleOutputs), noInput_,
                      noAggregates_, SUSystemConfig::GetSystemConfig().groupMemory_, 0);
  }
  if (plan_.order.empty()) return;
  KeySet keys;
  for (const PlanSortKey& key : plan_.order) {
    keys.Add(KeyDesc(resultRecord_.GetField(static_cast<std::size_t>(key.column)), key.order,
                     KeyDesc::GetCharComparisonType(), key.nulls));
  }
  sorter_.emplace(resultRecord_.GetSize(), timer_, false, true);
  sorter_->SetRowIdSorterMetadata(keys, resultRecord_.GetLayout());
  if (plan_.limit && *plan_.limit <= std::numeric_limits<uint64>::max() - plan_.offset) {
    sorter_->SetRecordLimit(*plan_.limit + plan_.offset);
  }
}

void QueryRun::Run(ResultSink& sink) {
  Start(sink);
  if (!WantsNothing()) {
    ScanRows();
    const auto emitGroup = [this] { return EmitGroup(); };
    if (groups_) {
      groups_->EmitLive(emitGroup);
      groups_->EmitSorted(emitGroup);
    }
    if (distinct_) distinct_->EmitSorted([this] { return Deliver(); });
    if (sorter_) EmitSortedRows();
  }
  sink.End();
}

void QueryRun::Start(ResultSink& sink) {
  sink_ = &sink;
  row_ = skipped_ = passed_ = 0;
  if (groups_) {
    groups_->Clear();
    if (groupKeys_.empty()) groups_->OpenGroup();
  }
  if (distinct_) distinct_->Clear();
  if (sorter_) sorter_->BeginInput();
  sink.Begin(VisibleColumns(), resultRecord_.GetLayout());
}

void QueryRun::ScanRows() {
  const uint64 rows = table_ != nullptr ? table_->rowCount : 1;
  for (uint64 row = 0; row < rows; ++row) {
    if (scan_) scan_->Fill(row);
    if (documents_) documents_->Fill(row);
    bool passes = false;
    try {
      passes = EvaluateRow();
    } catch (ErrorMessage& error) {
      if (table_ != nullptr) error.SetRowNumber(static_cast<int64>(row + 1));
      throw;
    }
    if (!passes) continue;
    if (groups_) {
      groups_->Add(row + 1);
    } else if (distinct_) {
      if (distinct_->Add(row + 1) && !Deliver()) return;
    } else if (!Deliver()) {
      return;
    }
  }
}

bool QueryRun::EvaluateRow() {
  if (filter_ && !filter_->Passes()) return false;
  if (groups_) {
    WriteAll(groupKeys_);
    WriteAll(aggregateInputs_);
  } else {
    WriteAll(outputs_);
  }
  return true;
}

bool QueryRun::EmitGroup() {
  if (having_ && !having_->Passes()) return true;
  WriteAll(outputs_);
  if (distinct_ && !distinct_->Add(++row_)) return true;
  return Deliver();
}

bool QueryRun::Deliver() {
  if (!sorter_) return Pass();
  sorter_->SortRecord(resultRecord_.GetData());
  return true;
}

bool QueryRun::Pass() {
  if (skipped_ < plan_.offset) {
    ++skipped_;
    return true;
  }
  if (plan_.limit && passed_ == *plan_.limit) return false;
  sink_->Row(resultRecord_.GetData());
  ++passed_;
  return !plan_.limit || passed_ < *plan_.limit;
}

void QueryRun::EmitSortedRows() {
  sorter_->EndInput();
  while (sorter_->GetRecord(resultRecord_.GetData())) {
    if (!Pass()) return;
  }
}

}  // namespace sqxer
