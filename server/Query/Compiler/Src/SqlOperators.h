#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ParsedTree.h"
#include "SqlAst.h"

namespace sqxer {

// What the readers of the grammar's expressions share.

inline std::string_view StringOf(const PgQuery__Node& node) {
  return node.node_case == PG_QUERY__NODE__NODE_STRING ? node.string->sval : "";
}

inline std::shared_ptr<SqlExpression> Literal(int position, SqlLiteral::Kind kind,
                                              XeString text = {}) {
  auto literal = std::make_shared<SqlExpression>();
  literal->kind = SqlExpression::Kind::kLiteral;
  literal->position = position;
  literal->literal.kind = kind;
  literal->literal.text = std::move(text);
  return literal;
}

inline std::shared_ptr<SqlExpression> Call(SqlExpression::Kind kind, int position, std::string name,
                                           std::vector<SqlExpressionPtr> arguments) {
  auto call = std::make_shared<SqlExpression>();
  call->kind = kind;
  call->position = position;
  call->name = std::move(name);
  call->arguments = std::move(arguments);
  return call;
}

inline SqlExpressionPtr Operator(int position, std::string name,
                                 std::vector<SqlExpressionPtr> operands) {
  return Call(SqlExpression::Kind::kOperator, position, std::move(name), std::move(operands));
}

/// Operands joined by an operator of two. Pairing neighbours keeps the order of evaluation and
/// makes the tree as shallow as its length allows.
inline SqlExpressionPtr Chain(int position, const char* name,
                              std::vector<SqlExpressionPtr> operands) {
  while (operands.size() > 1) {
    std::vector<SqlExpressionPtr> paired;
    for (std::size_t i = 0; i + 1 < operands.size(); i += 2)
      paired.push_back(Operator(position, name, {operands[i], operands[i + 1]}));
    if (operands.size() % 2) paired.push_back(operands.back());
    operands = std::move(paired);
  }
  return operands.front();
}

inline SqlExpressionPtr Not(SqlExpressionPtr operand) {
  const int position = operand->position;
  return Operator(position, "not", {std::move(operand)});
}

inline bool IsComparison(std::string_view name) {
  constexpr std::string_view kComparisons[] = {"=", "<>", "<", "<=", ">", ">="};
  return std::ranges::find(kComparisons, name) != std::end(kComparisons);
}

}  // namespace sqxer
