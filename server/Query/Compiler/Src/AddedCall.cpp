// Calls of functions that were added to those of the function table.

#include "ExpressionTyper.h"
#include "PlanError.h"
#include "TypedCall.h"

namespace sqxer {
namespace {

FunctionRow MakeRow(bool isVolatile) {
  FunctionRow row{};
  row.kind = FunctionRow::Kind::kFunction;
  row.make = [](const TypedExpression& call, Operands& operands) {
    return call.added->MakeNode(operands);
  };
  row.isVolatile = isVolatile;
  return row;
}

TypedExpressionPtr AsDeclared(const TypedExpressionPtr& argument, const ColumnInfo& type) {
  const bool isSized = SUXeDataTypeUtility::IsXeTextType(type.type) && type.length != 0;
  if (argument->type == type.type && !isSized && !argument->IsOpenNull()) return argument;
  TypedArguments arguments{argument};
  PrepareCast(arguments);
  return CastTyped(
      arguments[0],
      {.type = type.type, .precision = static_cast<int>(type.length), .scale = type.scale},
      argument->position);
}

/// One of any type, as functions take it.
TypedExpressionPtr AsItComes(const TypedExpressionPtr& argument) {
  if (argument->IsOpenNull()) return ConvertTyped(argument, XeLongVarCharData);
  switch (argument->type) {
    case XeNumericData:
      return ConvertTyped(argument, XeDoubleData);
    case XeCharData:
      return ConvertTyped(argument, XeLongVarCharData);
    case XeBitData:
      return ConvertTyped(argument, XeInt4Data);
    default:
      return argument;
  }
}

}  // namespace

TypedExpressionPtr ExpressionTyper::TypeAdded(const AddedFunctionPtr& added,
                                              const SqlExpression& call,
                                              const Clause& clause) const {
  const XeString name = UpperName(call.name);
  if (call.over) ThrowPlanError(kNoWindowForm, call.position, {name});
  if (call.distinct) ThrowPlanError(kNoDistinct, call.position, {name});
  const std::vector<ColumnInfo>* const types = added->GetArguments();
  if (call.star || (types != nullptr && types->size() != call.arguments.size())) {
    const XeString wanted =
        types == nullptr
            ? L"arguments"
            : std::to_wstring(types->size()) + (types->size() == 1 ? L" argument" : L" arguments");
    ThrowPlanError(kArgumentCount, call.position,
                   {name, wanted, call.star ? L"*" : std::to_wstring(call.arguments.size())});
  }
  TypedArguments arguments;
  for (std::size_t i = 0; i < call.arguments.size(); ++i) {
    const TypedExpressionPtr argument = Type(*call.arguments[i], clause);
    arguments.push_back(types == nullptr ? AsItComes(argument) : AsDeclared(argument, (*types)[i]));
  }
  RefuseBinary(arguments, name.c_str());
  static const FunctionRow kSteady = MakeRow(false);
  static const FunctionRow kVolatile = MakeRow(true);
  return SettleCall(added->IsVolatile() ? kVolatile : kSteady, std::move(arguments), call.position,
                    {}, {}, added);
}

}  // namespace sqxer
