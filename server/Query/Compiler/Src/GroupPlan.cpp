#include "GroupPlan.h"

#include "NodeProber.h"
#include "PlanError.h"

namespace sqxer {

using Kind = TypedExpression::Kind;

GroupPlan::GroupPlan(const std::string& sql, TypedArguments keys)
    : sql_(sql), keys_(std::move(keys)) {}

TypedExpressionPtr GroupPlan::OverGroups(const TypedExpressionPtr& expression) {
  if (expression->IsConstant() || expression->parameter) return expression;
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    if (!IsSameExpression(*keys_[i], *expression)) continue;
    return MakeTypedField(*expression, static_cast<int>(i),
                          ResultOfTree(*WithoutWidening(keys_[i]), NameOfKey(i)));
  }
  if (expression->kind == Kind::kAggregate)
    return MakeTypedField(*expression,
                          static_cast<int>(keys_.size()) + aggregates_.Note(expression),
                          expression->column);
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

}  // namespace sqxer
