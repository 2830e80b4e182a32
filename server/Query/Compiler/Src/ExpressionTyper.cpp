#include "ExpressionTyper.h"

#include <limits>

#include "LookupTable.h"
#include "NodeProber.h"
#include "PlanError.h"
#include "TextReason.h"
#include "TypedCall.h"

namespace sqxer {
namespace {

using Kind = TypedExpression::Kind;

/// A word of the grammar, so that no other function has this name.
constexpr std::string_view kGrouping = "grouping";

}  // namespace

XeString UpperName(std::string_view name) {
  XeString upper;
  for (char c : name) upper += static_cast<wchar_t>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  return upper;
}

TypedExpressionPtr ExpressionTyper::Type(const SqlExpression& expression,
                                         const Clause& clause) const {
  switch (expression.kind) {
    case SqlExpression::Kind::kLiteral:
      return TypeLiteral(expression);
    case SqlExpression::Kind::kName:
      return TypeName(expression, clause);
    case SqlExpression::Kind::kOperator:
      return WithTextReasons(expression, [&] { return TypeOperator(expression, clause); });
    case SqlExpression::Kind::kFunction:
      return WithTextReasons(expression, [&] { return TypeFunction(expression, clause); });
    case SqlExpression::Kind::kParameter:
      return TypeParameter(expression);
    case SqlExpression::Kind::kStar:
      break;
  }
  ThrowPlanError(kClauseNotUnderstood, expression.position,
                 {L"* outside the select list and COUNT(*)"});
}

template <class Action>
TypedExpressionPtr ExpressionTyper::WithTextReasons(const SqlExpression& call,
                                                    Action&& action) const {
  try {
    return action();
  } catch (const ErrorMessage& error) {
    // The error of an operand is none of this call.
    if (error.GetSourcePosition() == call.position) {
      ThrowIfTextsExplain(error, catalog_, scope_, call.arguments);
    }
    throw;
  }
}

TypedExpressionPtr ExpressionTyper::TypeLiteral(const SqlExpression& expression) const {
  return MakeTypedConstant(ReadLiteral(expression.literal, expression.position),
                           expression.position);
}

TypedExpressionPtr ExpressionTyper::TypeParameter(const SqlExpression& expression) const {
  const int index = expression.parameter - 1;
  if (!parameters_.layout || index < 0 || index >= parameters_.layout->GetFieldCount())
    ThrowPlanError(kNoSuchParameter, expression.position, {std::to_wstring(index + 1)});
  const ExecutionParameter parameter(parameters_.layout, parameters_.values, index);
  TypedExpressionPtr typed = MakeTypedParameter(parameter, expression.position);
  // A parameter node has a value; NULL is a constant of its type.
  if (!parameter.GetNullValue()) return typed;
  const bool isText = SUXeDataTypeUtility::IsXeTextType(typed->type);
  return MakeTypedConstant({typed->type, {}, isText ? typed->length : 0}, expression.position);
}

TypedExpressionPtr ExpressionTyper::TypeColumn(int column, int position) const {
  auto typed = std::make_shared<TypedExpression>();
  typed->kind = Kind::kColumn;
  typed->position = position;
  typed->index = column;
  typed->column = scope_.GetSchema()->columns[static_cast<std::size_t>(column)];
  TakeAnswer(*typed, AskColumn(typed->column, false, position));
  return typed;
}

TypedExpressionPtr ExpressionTyper::TypeName(const SqlExpression& expression,
                                             const Clause& clause) const {
  int column = scope_.FindColumn(expression);
  if (column >= 0) return TypeColumn(column, expression.position);
  const XeString& name = expression.path.back();
  if (clause.aliases && expression.path.size() == 1) {
    std::vector<NamedThing> names;
    for (std::size_t i = 0; i < clause.aliases->size(); ++i)
      names.push_back({(*clause.aliases)[i].name, static_cast<int>(i)});
    std::vector<int> found = FindByName(names, name);
    for (int index : found) {
      const auto& first = *(*clause.aliases)[static_cast<std::size_t>(found[0])].expression;
      const auto& other = *(*clause.aliases)[static_cast<std::size_t>(index)].expression;
      if (!IsSameExpression(first, other))
        ThrowPlanError(kAmbiguousName, expression.position, {name, L"several result columns"});
    }
    if (!found.empty()) {
      TypedExpressionPtr aliased = (*clause.aliases)[static_cast<std::size_t>(found[0])].expression;
      if (!clause.windows && ContainsWindow(*aliased))
        ThrowPlanError(kWindowNotAllowed, expression.position, {clause.name, name});
      if (!clause.aggregates && ContainsAggregate(*aliased))
        ThrowPlanError(kAggregateNotAllowed, expression.position, {clause.name, name});
      return aliased;
    }
  }
  scope_.ThrowUnknown(expression);
}

TypedExpressionPtr ExpressionTyper::TypeOperator(const SqlExpression& expression,
                                                 const Clause& clause) const {
  const FunctionRow* row =
      FindOperator(expression.name, static_cast<int>(expression.arguments.size()));
  if (!row)
    ThrowPlanError(kNoSuchFunction, expression.position,
                   {L"operator", Wide(expression.name), kFunctionsAreListed});
  // Only casts have a target.
  if (expression.target.type != XeUnknown)
    return CastTyped(Type(*expression.arguments[0], clause), expression.target,
                     expression.position);
  return TypeCall(*row, expression, clause);
}

TypedExpressionPtr ExpressionTyper::TypeFunction(const SqlExpression& expression,
                                                 const Clause& clause) const {
  if (JsonColumns::IsCall(expression)) {
    if (expression.over) ThrowPlanError(kNoWindowForm, expression.position, {L"JSON_VALUE"});
    return JsonColumns::Type(expression, json_);
  }
  if (expression.name == kGrouping) return TypeGrouping(expression, clause);
  if (const AddedFunctionPtr added = catalog_.FindFunction(expression.name)) {
    return TypeAdded(added, expression, clause);
  }
  if (TypedExpressionPtr clock = TypeClock(expression)) return clock;
  const FunctionRow& row = LookUpFunction(expression);
  if (!row.aggregate) {
    if (expression.distinct)
      ThrowPlanError(kNoDistinct, expression.position, {UpperName(expression.name)});
    if (expression.filter)
      ThrowPlanError(kNoFilter, expression.filter->position, {UpperName(expression.name)});
    return TypeCall(row, expression, clause);
  }
  if (row.aggregate->results.size() > 1)
    ThrowPlanError(kSeveralResults, expression.position, {UpperName(expression.name)});
  const bool isWrittenOut =
      expression.distinct && row.aggregate->distinct == AggregateShape::Distinct::kWrittenOut;
  return isWrittenOut ? TypeDistinctAverage(row, expression, clause)
                      : TypeAggregate(row, expression, clause, 0);
}

std::vector<TypedExpressionPtr> ExpressionTyper::TypeSeveralResults(const SqlExpression& expression,
                                                                    const Clause& clause) const {
  std::vector<TypedExpressionPtr> results;
  if (expression.kind != SqlExpression::Kind::kFunction) return results;
  const bool isOther = JsonColumns::IsCall(expression) || expression.name == kGrouping ||
                       catalog_.FindFunction(expression.name);
  if (isOther) return results;
  if (TypeClock(expression)) return results;
  const FunctionRow& row = LookUpFunction(expression);
  if (!row.aggregate) return results;
  int count = static_cast<int>(row.aggregate->results.size());
  for (int i = 0; count > 1 && i < count; ++i)
    results.push_back(
        WithTextReasons(expression, [&] { return TypeAggregate(row, expression, clause, i); }));
  return results;
}

TypedExpressionPtr ExpressionTyper::TypeGrouping(const SqlExpression& expression,
                                                 const Clause& clause) const {
  // A bit each of an integer that has no sign.
  constexpr std::size_t kMostArguments = 31;
  if (!clause.aggregates)
    ThrowPlanError(kAggregateNotAllowed, expression.position, {clause.name, L"GROUPING"});
  if (expression.arguments.size() > kMostArguments)
    ThrowPlanError(kGroupingSets, expression.position,
                   {L"GROUPING has at most " + std::to_wstring(kMostArguments) + L" arguments"});
  auto grouping = std::make_shared<TypedExpression>();
  grouping->kind = Kind::kGrouping;
  grouping->position = expression.position;
  grouping->type = XeInt4Data;
  grouping->length = sizeof(int32);
  grouping->nullable = false;
  for (const SqlExpressionPtr& argument : expression.arguments)
    grouping->arguments.push_back(Type(*argument, clause));
  CountNodes(*grouping);
  return grouping;
}

TypedExpressionPtr ExpressionTyper::TypeWord(const SqlExpression& expression,
                                             const Clause& clause) const {
  const bool isBare = expression.kind == SqlExpression::Kind::kName && expression.path.size() == 1;
  return isBare ? MakeTypedConstant({XeLongVarCharData, expression.path[0]}, expression.position)
                : Type(expression, clause);
}

TypedExpressionPtr ExpressionTyper::TypeWithoutColumns(const SqlExpression& expression,
                                                       const Clause& clause) const {
  const NameScope noColumns;
  return ExpressionTyper(noColumns, catalog_, parameters_).Type(expression, clause);
}

std::optional<uint64> ExpressionTyper::ReadRowCount(const SqlExpression& expression,
                                                    const wchar_t* clause) const {
  if (NamesColumn(expression)) ThrowPlanError(kLimitNotConstant, expression.position, {clause});
  TypedExpressionPtr count = TypeWithoutColumns(expression, {clause});
  if (!count->IsConstant()) {
    if (std::optional<PlanConstant> value = EvaluateWithoutColumns(*count))
      count = MakeTypedConstant(*value, count->position);
  }
  if (count->IsConstant() && count->constant.IsNull()) return {};
  if (count->IsConstant() && count->type != XeBoolean) {
    std::optional<PlanConstant> number = ConvertConstant(count->constant, XeNumericData);
    const VelmarNumber* value = number ? std::get_if<VelmarNumber>(&number->value) : nullptr;
    const VelmarNumber most(std::numeric_limits<int64>::max());
    if (value && !value->isNegative() && value->decimalPlaces() == 0 && *value <= most)
      return std::stoull(value->asString());
  }
  ThrowPlanError(kLimitNotConstant, expression.position, {clause});
}

TypedExpressionPtr ExpressionTyper::TypeCall(const FunctionRow& row,
                                             const SqlExpression& expression,
                                             const Clause& clause) const {
  TypedArguments arguments;
  for (const SqlExpressionPtr& argument : expression.arguments) {
    const bool isWord = static_cast<int>(arguments.size()) == row.word;
    arguments.push_back(isWord ? TypeWord(*argument, clause) : Type(*argument, clause));
  }
  const FunctionRow& chosen = ChooseByTypes(row, arguments);
  return MakeCall(chosen, std::move(arguments), expression.position);
}

TypedExpressionPtr ExpressionTyper::MakeCall(const FunctionRow& row, TypedArguments arguments,
                                             int position) const {
  row.prepare(arguments);
  LookupTablePtr lookup;
  if (row.lookup != FunctionRow::Lookup::kNone) lookup = FindLookupTable(row, arguments, catalog_);
  return SettleCall(row, std::move(arguments), position, {}, std::move(lookup));
}

}  // namespace sqxer
