#pragma once

#include <map>
#include <vector>

#include "SqlQuery.h"

namespace sqxer {

/// Whether an expression holds a subquery, at any depth.
bool HasSubquery(const SqlExpression& expression);
/// The same of the expressions of a SELECT; its FROM is not looked at.
bool HasSubquery(const SqlSelect& select);

/// A call of an aggregate that is no window function.
bool IsAggregateCall(const SqlExpression& expression);
bool HasAggregate(const SqlExpression& expression);
/// Whether a SELECT makes groups, be it one of all rows.
bool MakesGroups(const SqlSelect& select);
bool HasWindow(const SqlSelect& select);

/// Calls `visit` for the names in an expression; those in its subqueries as well if `isDeep`.
template <class Visit>
void ForEachName(const SqlExpression& expression, bool isDeep, const Visit& visit);
/// The same of a whole query, its FROM and WITH left out but for the conditions of joins.
template <class Visit>
void ForEachName(const SqlQuery& query, const Visit& visit);
/// Calls `visit` for the expressions of a query, those of its FROM, its WITH and the two sides of
/// an operation left out.
template <class Visit>
void ForEachOwnExpression(const SqlQuery& query, const Visit& visit);
template <class Visit>
void ForEachCondition(const SqlRelation& relation, const Visit& visit) {
  if (relation.kind != SqlRelation::Kind::kJoin) return;
  if (relation.condition) visit(relation.condition);
  ForEachCondition(*relation.left, visit);
  ForEachCondition(*relation.right, visit);
}

/// How many times a table of a name is read in a query, or in those within it, if each of them is
/// run once.
std::size_t CountReads(const SqlQuery& query, const XeString& table);

/// What to put in the place of some expressions.
using SqlReplacements = std::map<const SqlExpression*, SqlExpressionPtr>;
/// Copies with the replacements, those within subqueries included.
SqlExpressionPtr WithReplaced(const SqlExpressionPtr& expression, const SqlReplacements& others);
SqlQueryPtr WithReplaced(const SqlQuery& query, const SqlReplacements& others);

/// A name; a path of several parts.
SqlExpressionPtr MakeSqlName(std::vector<XeString> path, int position);
SqlExpressionPtr MakeSqlOperator(const char* name, std::vector<SqlExpressionPtr> arguments,
                                 int position);
SqlExpressionPtr MakeSqlFunction(const char* name, std::vector<SqlExpressionPtr> arguments,
                                 int position);
SqlExpressionPtr MakeSqlInteger(int64 number, int position);
/// The words FALSE and NULL.
SqlExpressionPtr MakeSqlFalse();
SqlExpressionPtr MakeSqlNull(int position);
/// At the place of its operand.
SqlExpressionPtr MakeSqlCast(SqlExpressionPtr operand, const SqlTypeName& type);

template <class Visit>
void ForEachName(const SqlExpression& expression, bool isDeep, const Visit& visit) {
  if (expression.kind == SqlExpression::Kind::kName) visit(expression);
  if (isDeep && expression.kind == SqlExpression::Kind::kSubquery)
    ForEachName(*expression.query, visit);
  ForEachOperand(expression,
                 [&](const SqlExpressionPtr& operand) { ForEachName(*operand, isDeep, visit); });
}

template <class Visit>
void ForEachOwnExpression(const SqlQuery& query, const Visit& visit) {
  const auto look = [&](const SqlExpressionPtr& expression) {
    if (expression) visit(expression);
  };
  for (const std::vector<SqlExpressionPtr>& row : query.values) std::ranges::for_each(row, look);
  for (const SqlSortItem& item : query.orderBy) look(item.expression);
  ForEachExpression(query.select, look);
  for (const SqlExpressionPtr& count :
       {query.limit, query.offset, query.select.limit, query.select.offset}) {
    look(count);
  }
}

template <class Visit>
void ForEachName(const SqlQuery& query, const Visit& visit) {
  const auto look = [&](const SqlExpressionPtr& expression) {
    ForEachName(*expression, true, visit);
  };
  if (query.operation != SqlQuery::Operation::kNone) {
    ForEachName(*query.left, visit);
    ForEachName(*query.right, visit);
  }
  ForEachOwnExpression(query, look);
  if (query.from) ForEachCondition(*query.from, look);
}

}  // namespace sqxer
