#include "WindowPlan.h"

#include <algorithm>

#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

using Kind = TypedExpression::Kind;

bool ShareWindow(const TypedExpression& a, const TypedExpression& b) {
  return a.aggregate->rowOrders == b.aggregate->rowOrders &&
         AreSameArguments(PartitionKeysOf(a), PartitionKeysOf(b)) &&
         AreSameArguments(OrderKeysOf(a), OrderKeysOf(b));
}

}  // namespace

void WindowPlan::Note(const TypedExpressionPtr& expression) {
  if (expression->kind == Kind::kWindow) {
    FindWindow(expression).functions.Note(expression);
    return;
  }
  for (const TypedExpressionPtr& argument : expression->arguments) Note(argument);
}

WindowPlan::Window& WindowPlan::FindWindow(const TypedExpressionPtr& call) {
  const auto known = std::ranges::find_if(
      windows_, [&](const Window& window) { return ShareWindow(*window.call, *call); });
  if (known != windows_.end()) return *known;
  Window& window = windows_.emplace_back();
  window.call = call;
  // Before the functions note their columns: these inputs stand first.
  for (const TypedExpressionPtr& key : PartitionKeysOf(*call)) window.functions.InputOf(key);
  window.partitionKeys = static_cast<int>(window.functions.GetInputs().size());
  const TypedArgumentSpan orderKeys = OrderKeysOf(*call);
  for (std::size_t i = 0; i < orderKeys.size(); ++i) {
    const RowOrder& direction = call->aggregate->rowOrders[i];
    window.order.push_back(
        {window.functions.InputOf(orderKeys[i]), direction.order, direction.nulls});
  }
  return window;
}

TypedExpressionPtr WindowPlan::OverWindows(const TypedExpressionPtr& expression,
                                           int firstResult) const {
  if (!ContainsWindow(*expression)) return expression;
  if (expression->kind != Kind::kWindow) {
    auto over = std::make_shared<TypedExpression>(*expression);
    for (TypedExpressionPtr& argument : over->arguments)
      argument = OverWindows(argument, firstResult);
    return over;
  }
  int field = firstResult;
  for (const Window& window : windows_) {
    const int result = window.functions.FieldOf(*expression);
    if (result >= 0) return MakeTypedField(*expression, field + result, expression->column);
    field += window.functions.GetFieldCount();
  }
  XeLogicError("a window that is not noted");
}

std::vector<PlanWindow> WindowPlan::MakeWindows(const Build& build) const {
  std::vector<PlanWindow> made;
  for (const Window& window : windows_) {
    PlanWindow& plan = made.emplace_back();
    for (const TypedExpressionPtr& input : window.functions.GetInputs())
      plan.inputs.push_back(build(input));
    plan.partitionKeys = window.partitionKeys;
    plan.order = window.order;
    plan.functions = window.functions.MakePlan(sql_);
  }
  return made;
}

}  // namespace sqxer
