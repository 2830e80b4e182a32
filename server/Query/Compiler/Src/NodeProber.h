#pragma once

#include <optional>
#include <vector>

#include "TypedExpression.h"

namespace sqxer {

/// The typing rules stand in the nodes alone: to learn the type of an operator over operands of
/// known types, a fresh operator is bound over leaves of those types (a column of a record that is
/// made up for the purpose, or the constant itself) and asked.

/// What a bound node says of itself.
struct NodeAnswer {
  XeDataType type = XeUnknown;
  uint32 length = 0;
  bool nullable = true;
  /// The types in which it takes its operands, in order.
  std::vector<XeDataType> operandTypes;
  /// The value, when all operands are constants and evaluating it raises no error.
  std::optional<PlanConstant> value;
};

/// The expression's type is what the node says.
void TakeAnswer(TypedExpression& expression, const NodeAnswer& answer);

/// Asks the operator of a call about its arguments. Errors of its Bind carry the call's position.
NodeAnswer AskOperator(const TypedExpression& call);

/// The type that a stored column has as the operand of a node, or as a whole tree (`isRoot`).
/// Error 59003 (type), at `position`, for a column that no expression can read.
NodeAnswer AskColumn(const ColumnInfo& column, bool isRoot, int position);

/// The value of an expression that reads no column. Nothing when evaluating it raises an error.
std::optional<PlanConstant> EvaluateWithoutColumns(const TypedExpression& expression);

/// Raises, at the aggregate's position, what binding it to its columns raises.
void AskAggregate(const TypedExpression& aggregate);

/// The result of a typed expression that is a whole tree.
ColumnInfo ResultOfTree(const TypedExpression& expression, const XeString& name);

}  // namespace sqxer
