// What EXPLAIN prints of a bound query.

#include <algorithm>

#include "AggregateSet.h"
#include "EngineError.h"
#include "QueryRun.h"

namespace sqxer {
namespace {

/// Lines of text, the nodes of trees indented under their step.
class Description {
 public:
  void Add(const XeString& step) { lines_.push_back(step); }
  void AddTree(RExpression& tree) {
    const XeString text = DescribeTree(tree);
    for (std::size_t start = 0; start < text.size();) {
      const std::size_t end = std::min(text.find(L'\n', start), text.size());
      lines_.push_back(L"  " + text.substr(start, end - start));
      start = end + 1;
    }
  }
  void AddTrees(const wchar_t* step, std::vector<FieldWriter>& writers) {
    for (FieldWriter& writer : writers) {
      Add(step + writer.GetColumn().name);
      AddTree(writer.GetTree());
    }
  }
  std::vector<XeString> Take() { return std::move(lines_); }

 private:
  std::vector<XeString> lines_;
};

}  // namespace

std::vector<XeString> QueryRun::Describe() {
  Description description;
  if (table_ != nullptr) {
    description.Add(L"scan " + table_->schema.name + L" (" +
                    std::to_wstring(plan_.scanColumns.size()) + L" of " +
                    std::to_wstring(table_->columns.size()) + L" columns)");
  }
  for (const PlanDocuments& documents : plan_.documents) {
    description.Add(L"json documents of " + table_->schema.columns.at(documents.column).name);
  }
  if (filter_) {
    description.Add(L"filter");
    description.AddTree(filter_->GetTree());
  }
  description.AddTrees(L"group by ", groupKeys_);
  if (groups_) {
    AggregateSet bound(plan_.aggregates, inputRecord_, groupRecord_, groupKeys_.size());
    for (std::size_t i = 0; i < plan_.aggregates.size(); ++i) {
      Aggregate& aggregate = bound.Get(i);
      description.Add(L"aggregate " + Wide(plan_.aggregates[i].text) + L" by " +
                      NodeName(aggregate));
      for (const uint16 column : *aggregate.GetAggregateColumns()) {
        description.AddTree(aggregateInputs_.at(column).GetTree());
      }
    }
  }
  if (having_) {
    description.Add(L"having");
    description.AddTree(having_->GetTree());
  }
  const auto hidden = static_cast<std::size_t>(plan_.visibleOutputs);
  for (std::size_t i = 0; i < outputs_.size(); ++i) {
    description.Add(i < hidden ? L"output " + outputs_[i].GetColumn().name : L"sort key");
    description.AddTree(outputs_[i].GetTree());
  }
  if (distinct_) description.Add(L"distinct");
  for (const PlanSortKey& key : plan_.order) {
    const auto column = static_cast<std::size_t>(key.column);
    const XeString name = column < hidden ? outputs_[column].GetColumn().name
                                          : L"column " + std::to_wstring(column + 1);
    description.Add(L"order by " + name + (key.order == kAscending ? L"" : L" descending") +
                    (key.nulls == kNullsFirst ? L", nulls first" : L""));
  }
  if (plan_.offset != 0) description.Add(L"offset " + std::to_wstring(plan_.offset));
  if (plan_.limit) description.Add(L"limit " + std::to_wstring(*plan_.limit));
  return description.Take();
}

}  // namespace sqxer
