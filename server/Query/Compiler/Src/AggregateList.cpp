#include "AggregateList.h"

#include <algorithm>

#include "FunctionTable.h"
#include "PlanError.h"
#include "SQXERExprAggregateBase.h"

namespace sqxer {
namespace {

/// The text of a call, from its name to the closing parenthesis.
XeString SourceText(const std::string& sql, int position) {
  std::size_t start = static_cast<std::size_t>(position);
  int open = 0;
  char quote = 0;
  for (std::size_t at = start; at < sql.size(); ++at) {
    char c = sql[at];
    if (quote) {
      if (c == quote) quote = 0;
    } else if (c == '\'' || c == '"') {
      quote = c;
    } else if (c == '(') {
      ++open;
    } else if (c == ')' && --open == 0) {
      return Wide(std::string_view(sql).substr(start, at + 1 - start));
    }
  }
  return Wide(std::string_view(sql).substr(start));
}

}  // namespace

int AggregateList::FieldOf(const TypedExpressionPtr& aggregate) {
  for (const Noted& noted : aggregates_)
    if (IsSameAggregate(*noted.aggregate, *aggregate)) return noted.firstField + aggregate->index;
  UInt16Vector columns;
  for (const TypedExpressionPtr& argument : aggregate->arguments)
    columns.push_back(InputOf(argument));
  aggregates_.push_back({aggregate, std::move(columns), fields_});
  fields_ += static_cast<int>(aggregate->function->aggregate->results.size());
  return aggregates_.back().firstField + aggregate->index;
}

uint16 AggregateList::InputOf(const TypedExpressionPtr& expression) {
  const auto known = std::ranges::find_if(
      inputs_, [&](const auto& input) { return IsSameExpression(*input, *expression); });
  const auto position = static_cast<uint16>(known - inputs_.begin());
  if (known == inputs_.end()) inputs_.push_back(expression);
  return position;
}

std::vector<PlanAggregate> AggregateList::MakePlan(const std::string& sql) const {
  std::vector<PlanAggregate> made;
  for (const Noted& noted : aggregates_) {
    PlanAggregate plan;
    const TypedExpression& aggregate = *noted.aggregate;
    plan.make = [aggregate = noted.aggregate, columns = noted.columns] {
      return BuildAggregate(*aggregate, columns);
    };
    XeString text = SourceText(sql, aggregate.position);
    plan.text = BaseStringUtil::StringToUtf8(text);
    for (const AggregateResult& result : aggregate.function->aggregate->results) {
      ColumnInfo column = TypeOfResult(result, aggregate.aggregate->input);
      column.name = text + result.suffix;
      plan.results.push_back(column);
    }
    plan.distinct = aggregate.aggregate->distinct;
    plan.position = aggregate.position;
    made.push_back(std::move(plan));
  }
  return made;
}

}  // namespace sqxer
