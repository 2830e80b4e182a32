#include <utility>

#include "SqlExpressionReader.h"
#include "SqlOperators.h"

namespace sqxer {
namespace {

using Row = std::vector<SqlExpressionPtr>;

/// Value by value, as their operator asks: the first values that differ decide of an order.
SqlExpressionPtr CompareRows(int position, const std::string& name, const Row& a, const Row& b) {
  if (a.size() != b.size())
    SqlExpressionReader::Refuse(position, L"a comparison of rows that differ in length");
  const bool isOrder = name != "=" && name != "<>";
  SqlExpressionPtr all;
  for (std::size_t i = a.size(); i-- > 0;) {
    const Row pair{a[i], b[i]};
    if (all == nullptr) {
      all = Operator(position, name, pair);
    } else if (!isOrder) {
      all = Operator(position, name == "=" ? "and" : "or", {Operator(position, name, pair), all});
    } else {
      SqlExpressionPtr before = Operator(position, name.substr(0, 1), pair);
      SqlExpressionPtr tied = Operator(position, "and", {Operator(position, "=", pair), all});
      all = Operator(position, "or", {std::move(before), std::move(tied)});
    }
  }
  return all;
}

}  // namespace

Row SqlExpressionReader::ReadRow(const PgQuery__Node* node) const {
  if (node == nullptr || node->node_case != PG_QUERY__NODE__NODE_ROW_EXPR) return {};
  return ReadAll(node->row_expr->args, node->row_expr->n_args);
}

SqlExpressionPtr SqlExpressionReader::ReadMembership(const PgQuery__AExpr& expression) const {
  const PgQuery__List& list = *expression.rexpr->list;
  const int position = Place(expression.location);
  const bool negated = StringOf(*expression.name[0]) == "<>";
  const Row row = ReadRow(expression.lexpr);
  if (row.empty()) {
    Row operands = ReadAll(list.items, list.n_items);
    operands.insert(operands.begin(), Read(*expression.lexpr));
    return Operator(position, negated ? "not in" : "in", std::move(operands));
  }
  Row members;
  for (std::size_t i = 0; i < list.n_items; ++i) {
    members.push_back(CompareRows(position, "=", row, ReadRow(list.items[i])));
  }
  SqlExpressionPtr any = Chain(position, "or", std::move(members));
  return negated ? Not(std::move(any)) : any;
}

SqlExpressionPtr SqlExpressionReader::ReadRowComparison(const PgQuery__AExpr& expression) const {
  const Row a = ReadRow(expression.lexpr);
  const Row b = ReadRow(expression.rexpr);
  const std::string name(StringOf(*expression.name[expression.n_name - 1]));
  if (a.empty() || b.empty() || !IsComparison(name)) return nullptr;
  return CompareRows(Place(expression.location), name, a, b);
}

SqlExpressionPtr SqlExpressionReader::ReadArrayComparison(const PgQuery__AExpr& expression) const {
  const int position = Place(expression.location);
  const PgQuery__Node& array = *expression.rexpr;
  const std::string name(StringOf(*expression.name[expression.n_name - 1]));
  const bool isLike = name == "~~" || name == "!~~";
  const bool isWritten = array.node_case == PG_QUERY__NODE__NODE_A_ARRAY_EXPR &&
                         array.a_array_expr->n_elements > 0 && (isLike || IsComparison(name));
  if (!isWritten) Refuse(position, L"ANY or ALL of an array that is not written out");
  const bool isAny = expression.kind == PG_QUERY__A__EXPR__KIND__AEXPR_OP_ANY;
  const SqlExpressionPtr value = Read(*expression.lexpr);
  Row members = ReadAll(array.a_array_expr->elements, array.a_array_expr->n_elements);
  if (name == (isAny ? "=" : "<>")) {
    members.insert(members.begin(), value);
    return Operator(position, isAny ? "in" : "not in", std::move(members));
  }
  for (SqlExpressionPtr& member : members) {
    member = Operator(position, isLike ? "like" : name, {value, member});
    if (name == "!~~") member = Not(member);
  }
  return Chain(position, isAny ? "or" : "and", std::move(members));
}

}  // namespace sqxer
