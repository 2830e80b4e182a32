// What EXPLAIN prints of a bound query.

#include <algorithm>

#include "AggregateSet.h"
#include "EngineError.h"
#include "QueryRun.h"

namespace sqxer {
namespace {

XeString DirectionOf(const PlanSortKey& key) {
  return XeString(key.order == kAscending ? L"" : L" descending") +
         (key.nulls == kNullsFirst ? L", nulls first" : L"");
}

/// Of trees over the rows of a scan.
BatchMarks MarksOf(const RowScan& scan) {
  return scan.HasBatches() ? BatchMarks::kByRows : BatchMarks::kNone;
}

/// Lines of text, the nodes of trees indented under their step.
class Description {
 public:
  explicit Description(const NodeTimes* times) : times_(times) {}
  void Add(const XeString& step) { lines_.push_back(step); }
  void AddTree(RExpression& tree, BatchMarks marks = BatchMarks::kNone) {
    const XeString text = DescribeTree(tree, marks, times_);
    for (std::size_t start = 0; start < text.size();) {
      const std::size_t end = std::min(text.find(L'\n', start), text.size());
      lines_.push_back(L"  " + text.substr(start, end - start));
      start = end + 1;
    }
  }
  void AddTrees(const wchar_t* step, std::vector<FieldWriter>& writers, BatchMarks marks) {
    for (FieldWriter& writer : writers) {
      Add(step + writer.GetColumn().name);
      AddTree(writer.GetTree(), marks);
    }
  }
  /// The aggregates of a plan, as they are bound, and the trees of the columns that they read.
  void AddAggregates(const wchar_t* step, const std::vector<PlanAggregate>& plan, auto&& bound,
                     std::vector<FieldWriter>& inputs, BatchMarks marks) {
    for (std::size_t i = 0; i < plan.size(); ++i) {
      Aggregate& aggregate = bound.Get(i);
      Add(step + Wide(plan[i].text) + L" by " + NodeName(aggregate));
      for (const uint16 column : *aggregate.GetAggregateColumns()) {
        AddTree(inputs.at(column).GetTree(), marks);
      }
    }
  }
  /// The rows of a table, and what they are filtered by.
  void AddScan(RowScan& scan, const QueryPlan& plan) {
    if (const Table* const table = scan.GetTable()) {
      Add(L"scan " + table->schema.name + L" (" + std::to_wstring(plan.scanColumns.size()) +
          L" of " + std::to_wstring(table->schema.columns.size()) + L" columns)");
      for (const XeString& note : plan.scanNotes) Add(L"  " + note);
      for (const PlanDocuments& documents : plan.documents) {
        Add(L"json documents of " + table->schema.columns.at(documents.column).name);
      }
    }
    if (RExpression* const filter = scan.GetFilter()) {
      Add(L"filter");
      AddTree(*filter, MarksOf(scan));
    }
  }
  void AddWindow(WindowRun& window) {
    std::vector<FieldWriter>& inputs = window.GetInputs();
    const PlanWindow& plan = window.GetPlan();
    Add(window.IsSorted()      ? L"window of sorted rows"
        : window.IsImmediate() ? L"window of the rows so far"
                               : L"window of all rows");
    for (std::size_t i = 0; i < static_cast<std::size_t>(plan.partitionKeys); ++i) {
      Add(L"partition key");
      AddTree(inputs[i].GetTree());
    }
    for (const PlanSortKey& key : plan.order) {
      Add(L"order key" + DirectionOf(key));
      AddTree(inputs.at(static_cast<std::size_t>(key.column)).GetTree());
    }
    AddAggregates(L"function ", plan.functions, window.GetFunctions(), inputs, BatchMarks::kNone);
  }
  std::vector<XeString> Take() { return std::move(lines_); }

 private:
  const NodeTimes* const times_;
  std::vector<XeString> lines_;
};

}  // namespace

std::vector<XeString> QueryRun::Describe(const NodeTimes* times) {
  const SettingsScope scope(settings_);
  Description description(times);
  RowScan& scan = IsGrouped() ? grouping_->GetScan() : scan_;
  description.AddScan(scan, plan_);
  if (IsGrouped()) {
    const BatchMarks marks = MarksOf(scan);
    description.AddTrees(L"group by ", grouping_->GetKeys(), marks);
    for (const PlanGroupingSet& set : plan_.groupingSets) {
      XeString keys;
      for (const std::size_t key : set.keys) {
        keys += (keys.empty() ? L"" : L", ") + grouping_->GetKeys()[key].GetColumn().name;
      }
      description.Add(L"grouping set (" + keys + L")");
    }
    description.AddAggregates(L"aggregate ", plan_.aggregates, grouping_->MakeAggregates(),
                              grouping_->GetInputs(), marks);
    if (RExpression* const having = scan_.GetFilter()) {
      description.Add(L"having");
      description.AddTree(*having, MarksOf(scan_));
    }
  }
  if (windows_) {
    for (WindowRun& window : windows_->GetWindows()) description.AddWindow(window);
  }
  const auto hidden = static_cast<std::size_t>(plan_.visibleOutputs);
  if (IsGrouped()) {
    // As it is where all groups are in memory.
    scan_.SetRows(&groups_, nullptr);
    PrepareWindows();
  }
  const bool haveBatches = !windows_ || windows_->AreImmediate() || windows_->CanTakeBatches();
  const BatchMarks outputMarks = haveBatches ? MarksOf(scan_) : BatchMarks::kNone;
  for (std::size_t i = 0; i < outputs_.size(); ++i) {
    description.Add(i < hidden ? L"output " + outputs_[i].GetColumn().name : L"sort key");
    description.AddTree(outputs_[i].GetTree(), outputMarks);
  }
  if (distinct_) description.Add(L"distinct");
  for (const PlanSortKey& key : plan_.order) {
    const auto column = static_cast<std::size_t>(key.column);
    const XeString name = column < hidden ? outputs_[column].GetColumn().name
                                          : L"column " + std::to_wstring(column + 1);
    description.Add(L"order by " + name + DirectionOf(key));
  }
  if (plan_.distinctKeys != 0) {
    description.Add(L"first row of each " + std::to_wstring(plan_.distinctKeys) +
                    (plan_.distinctKeys == 1 ? L" key" : L" keys"));
  }
  if (plan_.offset != 0) description.Add(L"offset " + std::to_wstring(plan_.offset));
  if (plan_.limit) description.Add(L"limit " + std::to_wstring(*plan_.limit));
  return description.Take();
}

}  // namespace sqxer
