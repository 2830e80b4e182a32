#include "GroupPlan.h"

#include <algorithm>

#include "NodeProber.h"
#include "PlanError.h"

namespace sqxer {

using Kind = TypedExpression::Kind;

GroupPlan::GroupPlan(const std::string& sql, TypedArguments keys,
                     std::vector<std::vector<bool>> sets)
    : sql_(sql), keys_(std::move(keys)), sets_(std::move(sets)) {}

std::size_t GroupPlan::FindKey(const TypedExpression& expression) const {
  const auto key = std::ranges::find_if(
      keys_, [&](const TypedExpressionPtr& other) { return IsSameExpression(*other, expression); });
  return static_cast<std::size_t>(key - keys_.begin());
}

void GroupPlan::NoteGroupings(const TypedExpression& expression) {
  if (expression.kind != Kind::kGrouping) {
    for (const TypedExpressionPtr& argument : expression.arguments) NoteGroupings(*argument);
    return;
  }
  for (const TypedExpressionPtr& argument : expression.arguments) {
    if (FindKey(*argument) == keys_.size()) ThrowPlanError(kNotAGroupKey, argument->position, {});
  }
  const bool isKnown = std::ranges::any_of(
      groupings_, [&](const auto& other) { return IsSameExpression(*other, expression); });
  if (!isKnown) groupings_.push_back(std::make_shared<TypedExpression>(expression));
  // One set of all keys is what GROUP BY is without sets.
  if (sets_.empty()) sets_.emplace_back(keys_.size(), true);
}

TypedExpressionPtr GroupPlan::OverGroups(const TypedExpressionPtr& expression) {
  if (expression->IsConstant() || expression->parameter) return expression;
  const int groupings = static_cast<int>(CountGroupings());
  if (const std::size_t key = FindKey(*expression); key < keys_.size()) {
    ColumnInfo column = ResultOfTree(*WithoutWidening(keys_[key]), NameOfKey(key));
    column.nullable = column.nullable || !IsInAllSets(key);
    auto field = MakeTypedField(*expression, static_cast<int>(key), std::move(column));
    return IsInAllSets(key) ? field : AsNullable(*field);
  }
  if (expression->kind == Kind::kGrouping) {
    const auto noted = std::ranges::find_if(
        groupings_, [&](const auto& other) { return IsSameExpression(*other, *expression); });
    const auto index = static_cast<std::size_t>(noted - groupings_.begin()) + 1;
    return MakeTypedField(*expression, static_cast<int>(keys_.size() + index),
                          GetGroupings()[index]);
  }
  if (expression->kind == Kind::kAggregate)
    return MakeTypedField(*expression,
                          static_cast<int>(keys_.size()) + groupings + aggregates_.Note(expression),
                          expression->column);
  if (expression->kind == Kind::kColumn || expression->kind == Kind::kJsonValue)
    ThrowPlanError(kColumnNotGrouped, expression->position, {expression->column.name});
  auto over = std::make_shared<TypedExpression>(*expression);
  for (TypedExpressionPtr& argument : over->arguments) {
    argument = OverGroups(argument);
    // What it is made of may be left out by a set.
    over->nullable = over->nullable || (!sets_.empty() && argument->nullable);
  }
  return over;
}

bool GroupPlan::IsInAllSets(std::size_t key) const {
  return std::ranges::all_of(sets_, [key](const std::vector<bool>& set) { return set[key]; });
}

TypedExpressionPtr GroupPlan::AsNullable(const TypedExpression& typed) {
  auto nullable = std::make_shared<TypedExpression>(typed);
  nullable->nullable = true;
  return nullable;
}

XeString GroupPlan::NameOfKey(std::size_t index) const {
  const TypedExpression& key = *keys_[index];
  return key.kind == Kind::kColumn ? key.column.name : L"key " + std::to_wstring(index + 1);
}

std::vector<ColumnInfo> GroupPlan::GetGroupings() const {
  return std::vector<ColumnInfo>(CountGroupings(),
                                 {L"grouping", XeInt4Data, sizeof(int32), 0, false});
}

std::vector<PlanGroupingSet> GroupPlan::MakeSets() const {
  std::vector<PlanGroupingSet> made;
  for (const std::vector<bool>& set : sets_) {
    PlanGroupingSet& plan = made.emplace_back();
    for (std::size_t key = 0; key < keys_.size(); ++key) {
      if (set[key]) plan.keys.push_back(key);
    }
    plan.groupings.push_back(static_cast<int32>(made.size()));
    for (const TypedExpressionPtr& grouping : groupings_) {
      plan.groupings.push_back(ValueOf(*grouping, set));
    }
  }
  return made;
}

int32 GroupPlan::ValueOf(const TypedExpression& grouping, const std::vector<bool>& set) const {
  // A bit for each argument, the last one's least: 1 where the set leaves it out.
  uint32 bits = 0;
  for (const TypedExpressionPtr& argument : grouping.arguments) {
    bits = bits << 1 | (set[FindKey(*argument)] ? 0 : 1);
  }
  return static_cast<int32>(bits);
}

}  // namespace sqxer
