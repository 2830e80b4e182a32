#include "GroupPlan.h"

#include "FunctionTable.h"
#include "NodeProber.h"
#include "PlanError.h"
#include "SQXERExprAggregate.h"

namespace sqxer {
namespace {

using Kind = TypedExpression::Kind;

TypedExpressionPtr GroupField(const TypedExpression& expression, int index, ColumnInfo column) {
  auto field = std::make_shared<TypedExpression>();
  field->kind = Kind::kGroupField;
  field->position = expression.position;
  field->type = expression.type;
  field->length = expression.length;
  field->nullable = expression.nullable;
  field->index = index;
  field->column = std::move(column);
  return field;
}

}  // namespace

GroupPlan::GroupPlan(const std::string& sql, TypedArguments keys)
    : sql_(sql), keys_(std::move(keys)), fields_(static_cast<int>(keys_.size())) {}

TypedExpressionPtr GroupPlan::OverGroups(const TypedExpressionPtr& expression) {
  if (expression->IsConstant() || expression->parameter) return expression;
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    if (!IsSameExpression(*keys_[i], *expression)) continue;
    return GroupField(*expression, static_cast<int>(i), ResultOfTree(*keys_[i], NameOfKey(i)));
  }
  if (expression->kind == Kind::kAggregate)
    return GroupField(*expression, FieldOf(expression), expression->column);
  if (expression->kind == Kind::kColumn || expression->kind == Kind::kJsonValue)
    ThrowPlanError(kColumnNotGrouped, expression->position, {expression->column.name});
  auto over = std::make_shared<TypedExpression>(*expression);
  for (TypedExpressionPtr& argument : over->arguments) argument = OverGroups(argument);
  return over;
}

XeString GroupPlan::NameOfKey(std::size_t index) const {
  const TypedExpression& key = *keys_[index];
  return key.kind == Kind::kColumn ? key.column.name : L"key " + std::to_wstring(index + 1);
}

int GroupPlan::FieldOf(const TypedExpressionPtr& aggregate) {
  for (const Noted& noted : aggregates_)
    if (IsSameAggregate(*noted.aggregate, *aggregate)) return noted.firstField + aggregate->index;
  int input = -1;
  if (!aggregate->arguments.empty()) {
    const TypedExpressionPtr& argument = aggregate->arguments[0];
    input = 0;
    while (input < static_cast<int>(inputs_.size()) &&
           !IsSameExpression(*inputs_[static_cast<std::size_t>(input)], *argument))
      ++input;
    if (input == static_cast<int>(inputs_.size())) inputs_.push_back(argument);
  }
  aggregates_.push_back({aggregate, input, fields_});
  fields_ += static_cast<int>(aggregate->function->aggregate->results.size());
  return aggregates_.back().firstField + aggregate->index;
}

std::vector<PlanAggregate> GroupPlan::MakeAggregates() const {
  std::vector<PlanAggregate> made;
  for (const Noted& noted : aggregates_) {
    PlanAggregate plan;
    const AggregateShape* shape = noted.aggregate->function->aggregate;
    uint16 input = static_cast<uint16>(noted.input < 0 ? 0 : noted.input);
    bool distinct = noted.aggregate->distinct;
    plan.make = [shape, input, distinct] { return shape->Make(input, distinct); };
    XeString text = SourceText(noted.aggregate->position);
    plan.text = BaseStringUtil::StringToUtf8(text);
    for (const AggregateResult& result : shape->results) {
      ColumnInfo column = TypeOfResult(result, noted.aggregate->input);
      column.name = text + result.suffix;
      plan.results.push_back(column);
    }
    plan.distinct = distinct;
    plan.position = noted.aggregate->position;
    made.push_back(std::move(plan));
  }
  return made;
}

XeString GroupPlan::SourceText(int position) const {
  std::size_t start = static_cast<std::size_t>(position);
  int open = 0;
  char quote = 0;
  for (std::size_t at = start; at < sql_.size(); ++at) {
    char c = sql_[at];
    if (quote) {
      if (c == quote) quote = 0;
    } else if (c == '\'' || c == '"') {
      quote = c;
    } else if (c == '(') {
      ++open;
    } else if (c == ')' && --open == 0) {
      return Wide(std::string_view(sql_).substr(start, at + 1 - start));
    }
  }
  return Wide(std::string_view(sql_).substr(start));
}

}  // namespace sqxer
