#include "TypedCall.h"

#include <algorithm>

#include "FunctionTable.h"
#include "NodeProber.h"
#include "PlanError.h"

namespace sqxer {
namespace {

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
    // How much of a fixed text is part of the long one is for the conversion to say.
    if (argument->type == XeCharData) continue;
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

TypedExpressionPtr MakeTypedCall(std::string_view name, TypedArguments arguments, int position) {
  const FunctionRow& row = *FindOperator(name, static_cast<int>(arguments.size()));
  row.prepare(arguments);
  return SettleCall(row, std::move(arguments), position);
}

/// `true` and `false`; one node reads the value, so that it is evaluated once.
TypedExpressionPtr TruthAsText(const TypedExpressionPtr& truth) {
  const auto constant = [&](PlanConstant::Value value, XeDataType type) {
    return MakeTypedConstant({type, std::move(value)}, truth->position);
  };
  return MakeTypedCall("case",
                       {truth, constant(true, XeBoolean), constant(false, XeBoolean),
                        constant(XeString(L"true"), XeLongVarCharData),
                        constant(XeString(L"false"), XeLongVarCharData)},
                       truth->position);
}

bool IsNumber(XeDataType type) {
  return type == XeInt2Data || type == XeInt4Data || type == XeFloatData || type == XeDoubleData ||
         type == XeNumericData;
}

}  // namespace

void CountNodes(TypedExpression& expression) {
  for (const TypedExpressionPtr& argument : expression.arguments) expression.size += argument->size;
  if (expression.size > kMaxSize)
    ThrowPlanError(kTooComplex, expression.position, {std::to_wstring(kMaxSize)});
}

TypedExpressionPtr SettleCall(const FunctionRow& row, TypedArguments arguments, int position,
                              const SqlTypeName& target, LookupTablePtr lookup,
                              AddedFunctionPtr added) {
  if (!row.make) return arguments[0];
  auto call = std::make_shared<TypedExpression>();
  call->kind = TypedExpression::Kind::kCall;
  call->position = position;
  call->function = &row;
  call->arguments = std::move(arguments);
  call->lookup = std::move(lookup);
  call->added = std::move(added);
  call->column.type = target.type;
  call->column.length = static_cast<uint32>(target.precision);
  call->column.scale = static_cast<int16>(target.scale);

  NodeAnswer answer = AskOperator(*call);
  const bool sameOperands = row.word < 0;
  if (sameOperands && RetypeConstants(call->arguments, answer.operandTypes))
    answer = AskOperator(*call);
  const bool isPadded = row.givesLongText && answer.type == XeCharData;
  // Other fixed texts stay calls: what becomes of their padding is known to the nodes above alone,
  // which look at the node below them.
  if (answer.value && (isPadded || answer.type != XeCharData)) {
    PlanConstant value = isPadded ? WithoutPadding(*answer.value) : *answer.value;
    if (value.type == XeLongVarCharData) value.declared = answer.length;
    return MakeTypedConstant(value, position);
  }
  TakeAnswer(*call, answer);
  CountNodes(*call);
  return isPadded ? ConvertTyped(call, XeLongVarCharData) : Widened(call);
}

TypedExpressionPtr CastTyped(TypedExpressionPtr argument, const SqlTypeName& target, int position) {
  if (target.type == XeBoolean && argument->IsOpenNull())
    return MakeTypedConstant({XeBoolean, {}}, position);
  if (argument->type == XeBoolean && !argument->IsOpenNull()) {
    if (SUXeDataTypeUtility::IsXeTextType(target.type)) argument = TruthAsText(argument);
    if (IsNumber(target.type)) argument = ConvertTyped(argument, XeInt4Data);
  }
  const FunctionRow& row = *FindOperator(target.isTry ? "try_cast" : "cast", 1);
  TypedArguments arguments{std::move(argument)};
  row.prepare(arguments);
  return SettleCall(row, std::move(arguments), position, target);
}

}  // namespace sqxer
