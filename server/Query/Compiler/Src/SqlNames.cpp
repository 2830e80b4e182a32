#include "SqlNames.h"

#include <algorithm>

#include "FunctionTable.h"

namespace sqxer {
namespace {

template <class Is>
bool HasPart(const SqlExpression& expression, const Is& is) {
  if (is(expression)) return true;
  bool has = false;
  ForEachOperand(expression,
                 [&](const SqlExpressionPtr& operand) { has = has || HasPart(*operand, is); });
  return has;
}

template <class Is>
bool AnyExpression(const SqlSelect& select, const Is& is) {
  bool has = false;
  const auto look = [&](const SqlExpressionPtr& expression) {
    has = has || (expression && is(*expression));
  };
  ForEachExpression(select, look);
  look(select.limit);
  look(select.offset);
  return has;
}

std::shared_ptr<SqlExpression> MakeCall(SqlExpression::Kind kind, const char* name,
                                        std::vector<SqlExpressionPtr> arguments, int position) {
  auto call = std::make_shared<SqlExpression>();
  call->kind = kind;
  call->name = name;
  call->position = position;
  call->arguments = std::move(arguments);
  return call;
}

SqlRelationPtr WithReplaced(const SqlRelationPtr& relation, const SqlReplacements& others) {
  if (relation->kind != SqlRelation::Kind::kJoin) return relation;
  auto copy = std::make_shared<SqlRelation>(*relation);
  copy->left = WithReplaced(relation->left, others);
  copy->right = WithReplaced(relation->right, others);
  if (copy->condition) copy->condition = WithReplaced(copy->condition, others);
  return copy;
}

/// Whether a call looks values up in a table of this name.
bool LooksUpIn(const SqlExpression& call, const XeString& table) {
  const auto isTable = [&](const SqlExpressionPtr& argument) {
    return argument->kind == SqlExpression::Kind::kName &&
           BaseStringUtil::IsCaseInsensitiveMatch(argument->path.back(), table);
  };
  return call.kind == SqlExpression::Kind::kFunction &&
         std::ranges::any_of(
             FindFunctions(call.name),
             [](const FunctionRow* row) { return row->lookup != FunctionRow::Lookup::kNone; }) &&
         std::ranges::any_of(call.arguments, isTable);
}

std::size_t CountReads(const SqlExpression& expression, const XeString& table) {
  std::size_t reads = expression.query ? CountReads(*expression.query, table) : 0;
  if (LooksUpIn(expression, table)) ++reads;
  ForEachOperand(expression,
                 [&](const SqlExpressionPtr& operand) { reads += CountReads(*operand, table); });
  return reads;
}

std::size_t CountReads(const SqlRelation& relation, const XeString& table) {
  switch (relation.kind) {
    case SqlRelation::Kind::kTable:
      return BaseStringUtil::IsCaseInsensitiveMatch(relation.table, table) ? 1 : 0;
    case SqlRelation::Kind::kQuery:
      return CountReads(*relation.query, table);
    case SqlRelation::Kind::kSeries: {
      std::size_t reads = 0;
      for (const SqlExpressionPtr& argument : relation.arguments)
        reads += CountReads(*argument, table);
      return reads;
    }
    case SqlRelation::Kind::kJoin:
      break;
  }
  return CountReads(*relation.left, table) + CountReads(*relation.right, table) +
         (relation.condition ? CountReads(*relation.condition, table) : 0);
}

}  // namespace

bool HasSubquery(const SqlExpression& expression) {
  return HasPart(expression, [](const SqlExpression& part) {
    return part.kind == SqlExpression::Kind::kSubquery;
  });
}

bool HasSubquery(const SqlSelect& select) {
  return AnyExpression(select, [](const SqlExpression& part) { return HasSubquery(part); });
}

bool IsAggregateCall(const SqlExpression& expression) {
  if (expression.kind != SqlExpression::Kind::kFunction || expression.over) return false;
  return std::ranges::any_of(FindFunctions(expression.name),
                             [](const FunctionRow* row) { return row->aggregate != nullptr; });
}

bool HasAggregate(const SqlExpression& expression) { return HasPart(expression, IsAggregateCall); }

bool MakesGroups(const SqlSelect& select) {
  if (!select.groupBy.empty() || select.hasGroupingSets || select.having) return true;
  return std::ranges::any_of(
             select.items,
             [](const SqlSelectItem& item) { return HasAggregate(*item.expression); }) ||
         std::ranges::any_of(select.orderBy, [](const SqlSortItem& item) {
           return HasAggregate(*item.expression);
         });
}

bool HasWindow(const SqlSelect& select) {
  return AnyExpression(select, [](const SqlExpression& part) {
    return HasPart(part, [](const SqlExpression& call) { return call.over != nullptr; });
  });
}

std::size_t CountReads(const SqlQuery& query, const XeString& table) {
  std::size_t reads = 0;
  for (const SqlCommonTable& common : query.with) reads += CountReads(*common.query, table);
  if (query.from) reads += CountReads(*query.from, table);
  for (const SqlQueryPtr& side : {query.left, query.right}) {
    if (side) reads += CountReads(*side, table);
  }
  ForEachOwnExpression(
      query, [&](const SqlExpressionPtr& expression) { reads += CountReads(*expression, table); });
  return reads;
}

SqlExpressionPtr WithReplaced(const SqlExpressionPtr& expression, const SqlReplacements& others) {
  if (!expression) return nullptr;
  const auto other = others.find(expression.get());
  if (other != others.end()) return other->second;
  SqlExpressionPtr copy = WithOperands(
      *expression, [&](const SqlExpressionPtr& operand) { return WithReplaced(operand, others); });
  if (copy->kind != SqlExpression::Kind::kSubquery) return copy;
  auto subquery = std::make_shared<SqlExpression>(*copy);
  subquery->query = WithReplaced(*subquery->query, others);
  return subquery;
}

SqlQueryPtr WithReplaced(const SqlQuery& query, const SqlReplacements& others) {
  auto copy = std::make_shared<SqlQuery>(query);
  const auto replace = [&](const SqlExpressionPtr& part) { return WithReplaced(part, others); };
  MapExpressions(copy->select, replace);
  for (std::vector<SqlExpressionPtr>& row : copy->values) {
    for (SqlExpressionPtr& value : row) value = replace(value);
  }
  for (SqlSortItem& item : copy->orderBy) item.expression = replace(item.expression);
  copy->limit = replace(copy->limit);
  copy->offset = replace(copy->offset);
  if (copy->left) copy->left = WithReplaced(*copy->left, others);
  if (copy->right) copy->right = WithReplaced(*copy->right, others);
  if (copy->from) copy->from = WithReplaced(copy->from, others);
  return copy;
}

SqlExpressionPtr MakeSqlName(std::vector<XeString> path, int position) {
  auto name = std::make_shared<SqlExpression>();
  name->kind = SqlExpression::Kind::kName;
  name->path = std::move(path);
  name->position = position;
  return name;
}

SqlExpressionPtr MakeSqlOperator(const char* name, std::vector<SqlExpressionPtr> arguments,
                                 int position) {
  return MakeCall(SqlExpression::Kind::kOperator, name, std::move(arguments), position);
}

SqlExpressionPtr MakeSqlFunction(const char* name, std::vector<SqlExpressionPtr> arguments,
                                 int position) {
  return MakeCall(SqlExpression::Kind::kFunction, name, std::move(arguments), position);
}

SqlExpressionPtr MakeSqlInteger(int64 number, int position) {
  auto literal = std::make_shared<SqlExpression>();
  literal->position = position;
  literal->literal.kind = SqlLiteral::Kind::kInteger;
  literal->literal.text = std::to_wstring(number);
  return literal;
}

SqlExpressionPtr MakeSqlFalse() {
  auto literal = std::make_shared<SqlExpression>();
  literal->literal.kind = SqlLiteral::Kind::kBoolean;
  return literal;
}

SqlExpressionPtr MakeSqlNull(int position) {
  auto literal = std::make_shared<SqlExpression>();
  literal->position = position;
  return literal;
}

SqlExpressionPtr MakeSqlCast(SqlExpressionPtr operand, const SqlTypeName& type) {
  const int position = operand->position;
  auto cast =
      std::make_shared<SqlExpression>(*MakeSqlOperator("cast", {std::move(operand)}, position));
  cast->target = type;
  return cast;
}

}  // namespace sqxer
