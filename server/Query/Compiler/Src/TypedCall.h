#pragma once

#include "SqlAst.h"
#include "TypedExpression.h"

namespace sqxer {

/// A call over arguments that its row has prepared: typed by asking its node, computed where all
/// arguments are constants, and in a form that other nodes take. `target` is that of a cast. Unary
/// plus is its operand. Errors at `position`: those of the node, and 58005 for too large a tree.
TypedExpressionPtr SettleCall(const FunctionRow& row, TypedArguments arguments, int position,
                              const SqlTypeName& target = {}, LookupTablePtr lookup = {},
                              AddedFunctionPtr added = {});

/// CAST, of a truth value to a number or a text as well, which the node does not take: 1 or 0, true
/// or false. A literal NULL becomes NULL of the target.
TypedExpressionPtr CastTyped(TypedExpressionPtr argument, const SqlTypeName& target, int position);

/// Adds up the nodes of a new expression's arguments. Error 58005 when they are too many.
void CountNodes(TypedExpression& expression);

}  // namespace sqxer
