#include "AggregateList.h"

#include <algorithm>

#include "FunctionTable.h"
#include "PlanError.h"
#include "SQXERExprAggregateBase.h"

namespace sqxer {
namespace {

constexpr const char* kBlanks = " \t\n\r\f\v";

/// The place behind `end`, looked for from `start` on, or that of the statement's end.
std::size_t Behind(const std::string& sql, std::string_view end, std::size_t start) {
  const std::size_t found = sql.find(end, start);
  return found == sql.npos ? sql.size() : found + end.size();
}

/// The place behind the comment, the text in quotes or else the character at a place.
std::size_t EndOfPiece(const std::string& sql, std::size_t at) {
  if (sql.compare(at, 2, "--") == 0) return Behind(sql, "\n", at);
  if (sql.compare(at, 2, "/*") == 0) return Behind(sql, "*/", at + 2);
  const char c = sql[at];
  return c == '\'' || c == '"' ? Behind(sql, {&c, 1}, at + 1) : at + 1;
}

/// The first place that is neither blank nor in a comment.
std::size_t SkipBlanks(const std::string& sql, std::size_t at) {
  for (;;) {
    at = std::min(sql.find_first_not_of(kBlanks, at), sql.size());
    if (sql.compare(at, 2, "--") != 0 && sql.compare(at, 2, "/*") != 0) return at;
    at = EndOfPiece(sql, at);
  }
}

/// The place behind what is in parentheses from `start` on.
std::size_t EndOfParentheses(const std::string& sql, std::size_t start) {
  int open = 0;
  for (std::size_t at = start; at < sql.size(); at = EndOfPiece(sql, at)) {
    if (sql[at] == '(') ++open;
    if (sql[at] == ')' && --open == 0) return at + 1;
  }
  return sql.size();
}

/// The place behind OVER and its window, which is in parentheses or a name.
std::size_t EndOfWindow(const std::string& sql, std::size_t start) {
  constexpr std::size_t kOver = 4;
  std::size_t at = SkipBlanks(sql, SkipBlanks(sql, start) + kOver);
  if (sql[at] == '(') return EndOfParentheses(sql, at);
  if (sql[at] != '"') return std::min(sql.find_first_of(" \t\n\r\f\v,;+-*/|<>=)", at), sql.size());
  // A quote in a name is written twice.
  while (sql[at] == '"') at = EndOfPiece(sql, at);
  return at;
}

/// The text of a call, from its name to the end of its arguments or its window.
XeString SourceText(const std::string& sql, const TypedExpression& call) {
  const auto start = static_cast<std::size_t>(call.position);
  std::size_t end = EndOfParentheses(sql, start);
  if (call.kind == TypedExpression::Kind::kWindow) end = EndOfWindow(sql, end);
  return Wide(std::string_view(sql).substr(start, end - start));
}

}  // namespace

int AggregateList::FieldOf(const TypedExpression& aggregate) const {
  const auto [first, last] = aggregatePlaces_.equal_range(HashOf(aggregate));
  const auto known = std::find_if(first, last, [&](const auto& place) {
    return IsSameAggregate(*aggregates_[place.second].aggregate, aggregate);
  });
  return known == last ? -1 : aggregates_[known->second].firstField + aggregate.index;
}

int AggregateList::Note(const TypedExpressionPtr& aggregate) {
  const int known = FieldOf(*aggregate);
  if (known >= 0) return known;
  const auto inputsOf = [this](TypedArgumentSpan arguments) {
    UInt16Vector inputs;
    for (const TypedExpressionPtr& argument : arguments) inputs.push_back(InputOf(argument));
    return inputs;
  };
  UInt16Vector columns = inputsOf(ColumnsOf(*aggregate));
  UInt16Vector frameColumns = inputsOf(FrameColumnsOf(*aggregate));
  aggregatePlaces_.emplace(HashOf(*aggregate), aggregates_.size());
  aggregates_.push_back({aggregate, std::move(columns), std::move(frameColumns), fields_});
  fields_ += static_cast<int>(aggregate->function->aggregate->results.size());
  return FieldOf(*aggregate);
}

uint16 AggregateList::InputOf(const TypedExpressionPtr& expression) {
  const std::size_t hash = HashOf(*expression);
  const auto [first, last] = inputPlaces_.equal_range(hash);
  const auto known = std::find_if(first, last, [&](const auto& place) {
    return IsSameExpression(*inputs_[place.second], *expression);
  });
  if (known != last) return static_cast<uint16>(known->second);
  inputPlaces_.emplace(hash, inputs_.size());
  inputs_.push_back(expression);
  return static_cast<uint16>(inputs_.size() - 1);
}

uint32 AggregateList::HeldBytesOf(const Noted& noted) const {
  const TypedExpression& aggregate = *noted.aggregate;
  // Of the rows that it sorts the aggregate itself holds those of one group at a time.
  if (!aggregate.aggregate->keyOrders.empty()) return 0;
  const uint32 bytes = aggregate.function->aggregate->heldBytes;
  // Medians and quantiles of one column hold its numbers once.
  const auto shares = [&](const Noted& other) {
    return other.columns == noted.columns && other.aggregate->aggregate->keyOrders.empty() &&
           other.aggregate->function->aggregate->heldBytes == bytes;
  };
  const bool isNumber = bytes == sizeof(float64);
  return isNumber && &*std::ranges::find_if(aggregates_, shares) != &noted ? 0 : bytes;
}

std::vector<PlanAggregate> AggregateList::MakePlan(const std::string& sql) const {
  std::vector<PlanAggregate> made;
  for (const Noted& noted : aggregates_) {
    PlanAggregate plan;
    const TypedExpression& aggregate = *noted.aggregate;
    plan.make = [aggregate = noted.aggregate, columns = noted.columns] {
      return BuildAggregate(*aggregate, columns);
    };
    XeString text = SourceText(sql, aggregate);
    plan.text = BaseStringUtil::StringToUtf8(text);
    for (const AggregateResult& result : aggregate.function->aggregate->results) {
      ColumnInfo column = TypeOfResult(result, aggregate.aggregate->input);
      column.name = text + result.suffix;
      plan.results.push_back(column);
    }
    plan.distinct = aggregate.aggregate->distinct || aggregate.aggregate->dropsDuplicates;
    plan.sorts = !aggregate.aggregate->keyOrders.empty();
    plan.growsByNeed = aggregate.function->aggregate->growsByNeed;
    plan.heldBytes = HeldBytesOf(noted);
    plan.position = aggregate.position;
    plan.frame = aggregate.aggregate->frame;
    if (plan.frame && !noted.frameColumns.empty()) {
      for (uint16* field : {&plan.frame->key, &plan.frame->from.value, &plan.frame->to.value})
        *field = noted.frameColumns[*field];
    }
    made.push_back(std::move(plan));
  }
  return made;
}

}  // namespace sqxer
