#include "ExpressionTyper.h"

#include <limits>

#include "LookupTable.h"
#include "NodeProber.h"
#include "PlanError.h"

namespace sqxer {
namespace {

using Kind = TypedExpression::Kind;

/// Bounds the trees that a statement can ask for: IS TRUE reads its operand twice, so nesting it
/// would double the tree at every level.
constexpr int kMaxSize = 50000;

/// Constants that the operator would convert for every row, converted once. True when one was. NULL
/// needs no conversion, and a value whose place among the operands is another one allows none.
bool RetypeConstants(TypedArguments& arguments, const std::vector<XeDataType>& wanted) {
  if (wanted.size() != arguments.size()) return false;
  bool changed = false;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    TypedExpressionPtr& argument = arguments[i];
    if (!argument->IsConstant() || argument->constant.IsNull()) continue;
    if (argument->type == wanted[i]) continue;
    if (std::optional<PlanConstant> constant = ConvertConstant(argument->constant, wanted[i])) {
      argument = MakeTypedConstant(*constant, argument->position);
      changed = true;
    }
  }
  return changed;
}

/// A fixed text as the long one that a conversion makes of it.
PlanConstant WithoutPadding(PlanConstant constant) {
  constant.type = XeLongVarCharData;
  if (auto* text = std::get_if<XeString>(&constant.value))
    text->erase(text->find_last_not_of(L' ') + 1);
  return constant;
}

}  // namespace

void CountNodes(TypedExpression& expression) {
  for (const TypedExpressionPtr& argument : expression.arguments) expression.size += argument->size;
  if (expression.size > kMaxSize)
    ThrowPlanError(kTooComplex, expression.position, {std::to_wstring(kMaxSize)});
}

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
      return TypeOperator(expression, clause);
    case SqlExpression::Kind::kFunction:
      return TypeFunction(expression, clause);
    case SqlExpression::Kind::kParameter:
      return TypeParameter(expression);
    case SqlExpression::Kind::kStar:
      break;
  }
  ThrowPlanError(kClauseNotUnderstood, expression.position,
                 {L"* outside the select list and COUNT(*)"});
}

TypedExpressionPtr ExpressionTyper::TypeLiteral(const SqlExpression& expression) const {
  auto typed = std::make_shared<TypedExpression>(*MakeTypedConstant(
      ReadLiteral(expression.literal, expression.position), expression.position));
  typed->untypedNull = expression.literal.kind == SqlLiteral::Kind::kNull;
  return typed;
}

TypedExpressionPtr ExpressionTyper::TypeParameter(const SqlExpression& expression) const {
  const int index = expression.parameter - 1;
  if (!parameters_.layout || index < 0 || index >= parameters_.layout->GetFieldCount())
    ThrowPlanError(kNoSuchParameter, expression.position, {std::to_wstring(index + 1)});
  const ExecutionParameter parameter(parameters_.layout, parameters_.values, index);
  TypedExpressionPtr typed = MakeTypedParameter(parameter, expression.position);
  // A parameter node has a value; NULL is a constant of its type.
  return parameter.GetNullValue() ? MakeTypedConstant({typed->type, {}}, expression.position)
                                  : typed;
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
  if (!scope_.GetSchema()) ThrowPlanError(kNoColumnsWithoutTable, expression.position, {name});
  ThrowPlanError(59015, expression.position, {name});
}

TypedExpressionPtr ExpressionTyper::TypeOperator(const SqlExpression& expression,
                                                 const Clause& clause) const {
  const FunctionRow* row =
      FindOperator(expression.name, static_cast<int>(expression.arguments.size()));
  if (!row)
    ThrowPlanError(kNoSuchFunction, expression.position, {L"operator", Wide(expression.name)});
  return TypeCall(*row, expression, clause);
}

TypedExpressionPtr ExpressionTyper::TypeFunction(const SqlExpression& expression,
                                                 const Clause& clause) const {
  if (JsonColumns::IsCall(expression)) {
    if (expression.over) ThrowPlanError(kNoWindowForm, expression.position, {L"JSON_VALUE"});
    return JsonColumns::Type(expression, json_);
  }
  const FunctionRow& row = LookUpFunction(expression);
  if (!row.aggregate) {
    if (expression.distinct)
      ThrowPlanError(kNoDistinct, expression.position, {UpperName(expression.name)});
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
  if (JsonColumns::IsCall(expression)) return results;
  const FunctionRow& row = LookUpFunction(expression);
  if (!row.aggregate) return results;
  int count = static_cast<int>(row.aggregate->results.size());
  for (int i = 0; count > 1 && i < count; ++i)
    results.push_back(TypeAggregate(row, expression, clause, i));
  return results;
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
  return MakeCall(row, std::move(arguments), expression.position, expression.target);
}

TypedExpressionPtr ExpressionTyper::MakeCall(const FunctionRow& row, TypedArguments arguments,
                                             int position, const SqlTypeName& target) const {
  auto call = std::make_shared<TypedExpression>();
  call->kind = Kind::kCall;
  call->position = position;
  call->function = &row;
  call->arguments = std::move(arguments);
  call->column.type = target.type;
  call->column.length = static_cast<uint32>(target.precision);
  call->column.scale = static_cast<int16>(target.scale);
  row.prepare(call->arguments);
  if (row.lookup != FunctionRow::Lookup::kNone)
    call->lookup = FindLookupTable(row, call->arguments, catalog_);
  // Unary plus is its operand.
  if (!row.make) return call->arguments[0];

  NodeAnswer answer = AskOperator(*call);
  const bool sameOperands = row.word < 0;
  if (sameOperands && RetypeConstants(call->arguments, answer.operandTypes))
    answer = AskOperator(*call);
  const bool isPadded = row.givesLongText && answer.type == XeCharData;
  if (answer.value) {
    if (isPadded) *answer.value = WithoutPadding(*answer.value);
    return MakeTypedConstant(*answer.value, position);
  }
  TakeAnswer(*call, answer);
  CountNodes(*call);
  return isPadded ? ConvertTyped(call, XeLongVarCharData) : Widened(call);
}

}  // namespace sqxer
