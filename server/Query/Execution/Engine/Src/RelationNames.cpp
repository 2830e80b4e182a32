// How RelationRun finds the subqueries that read columns of a query around them.

#include <algorithm>

#include "NameScope.h"
#include "PlanError.h"
#include "RelationCorrelated.h"
#include "RelationFlow.h"
#include "RelationSource.h"
#include "RelationTypes.h"

namespace sqxer {
namespace {

bool Knows(const TableSchema& schema, const SqlExpression& name) {
  const NameScope scope(schema, SqlSelect());
  return name.path.size() > 1 ? scope.HasTable(name) : scope.FindColumn(name) >= 0;
}

}  // namespace

bool HasOuterName(const SqlExpression& expression) {
  bool has = false;
  ForEachName(expression, true, [&](const SqlExpression& name) { has = has || IsOuterName(name); });
  return has;
}

TableSchema RelationRun::FindSchema(const SqlRelation& relation, const TableRequest& wanted) {
  switch (relation.kind) {
    case SqlRelation::Kind::kTable:
      return OpenNamed(relation, wanted, false, FlowRules()).rows->schema;
    case SqlRelation::Kind::kJoin:
      return ArrangeColumns(relation, FindSchema(*relation.left, wanted),
                            FindSchema(*relation.right, wanted))
          .GetSchema();
    default:
      return MakeLeaf(relation)->schema;
  }
}

void RelationRun::FindOuterNames(const SqlExpression& expression, const TableSchema& schema,
                                 Names& names) {
  if (expression.kind == SqlExpression::Kind::kName && !Knows(schema, expression))
    names.push_back(&expression);
  if (expression.kind == SqlExpression::Kind::kSubquery) {
    Names inner;
    FindOuterNames(*expression.query, inner);
    std::ranges::copy_if(inner, std::back_inserter(names),
                         [&](const SqlExpression* name) { return !Knows(schema, *name); });
  }
  ForEachOperand(expression,
                 [&](const SqlExpressionPtr& operand) { FindOuterNames(*operand, schema, names); });
}

void RelationRun::FindOuterNames(const SqlQuery& query, Names& names) {
  const Scope outer = scope_;
  AddCommon(query);
  if (query.operation != SqlQuery::Operation::kNone) {
    FindOuterNames(*query.left, names);
    FindOuterNames(*query.right, names);
  }
  TableSchema schema;
  if (query.from) schema = FindSchema(*query.from, FindReads(query.select, query.from.get()));
  const auto look = [&](const SqlExpressionPtr& expression) {
    if (expression) FindOuterNames(*expression, schema, names);
  };
  for (const std::vector<SqlExpressionPtr>& row : query.values) std::ranges::for_each(row, look);
  const SqlSelect& select = query.select;
  for (const SqlSelectItem& item : select.items) look(item.expression);
  look(select.where);
  look(select.limit);
  look(select.offset);
  if (query.from) ForEachCondition(*query.from, look);
  // The other clauses know the names of results as well.
  const std::size_t found = names.size();
  std::ranges::for_each(select.distinctOn, look);
  std::ranges::for_each(select.groupBy, look);
  look(select.having);
  std::ranges::for_each(select.windowKeys, look);
  for (const SqlSortItem& item : select.orderBy) look(item.expression);
  const auto isResult = [&](const SqlExpression* name) {
    return name->path.size() == 1 &&
           std::ranges::any_of(select.items, [&](const SqlSelectItem& item) {
             return BaseStringUtil::IsCaseInsensitiveMatch(item.alias, name->path[0]);
           });
  };
  names.erase(
      std::remove_if(names.begin() + static_cast<std::ptrdiff_t>(found), names.end(), isResult),
      names.end());
  scope_ = outer;
}

bool RelationRun::IsCorrelated(const SqlExpression& subquery, const TableSchema& schema) {
  const Scope scope = scope_;
  const std::vector<const SqlRelation*> around = around_;
  Names names;
  try {
    FindOuterNames(*subquery.query, names);
  } catch (const ErrorMessage& error) {
    scope_ = scope;
    around_ = around;
    if (!IsKnownAround(error)) throw;
    ThrowPlanError(kClauseNotUnderstood, error.GetSourcePosition(),
                   {L"a subquery in FROM that reads columns of the query around it"});
  }
  return std::ranges::any_of(
      names, [&](const SqlExpression* name) { return IsOuterName(*name) || Knows(schema, *name); });
}

bool RelationRun::NoteCorrelated(const SqlExpression& expression, const TableSchema& schema) {
  bool isOne = false;
  if (expression.kind == SqlExpression::Kind::kSubquery && IsCorrelated(expression, schema)) {
    correlated_.insert(&expression);
    isOne = true;
  }
  ForEachOperand(expression, [&](const SqlExpressionPtr& operand) {
    isOne = NoteCorrelated(*operand, schema) || isOne;
  });
  return isOne;
}

SqlRelationPtr RelationRun::TakeConditions(const SqlRelationPtr& relation,
                                           const TableRequest& wanted, Conditions& taken) {
  using Join = SqlRelation::Join;
  if (relation->kind != SqlRelation::Kind::kJoin || relation->join == Join::kFull) return relation;
  const std::size_t before = taken.size();
  auto copy = std::make_shared<SqlRelation>(*relation);
  if (relation->join != Join::kRight) copy->left = TakeConditions(copy->left, wanted, taken);
  if (relation->join != Join::kLeft) copy->right = TakeConditions(copy->right, wanted, taken);
  if (relation->join == Join::kInner && relation->condition) {
    Conditions parts;
    SplitConditions(relation->condition, parts);
    const TableSchema schema = FindSchema(*relation, wanted);
    std::erase_if(parts, [&](const SqlExpressionPtr& part) {
      const bool isTaken =
          HasOuterName(*part) || (HasSubquery(*part) && NoteCorrelated(*part, schema));
      if (isTaken) taken.push_back(part);
      return isTaken;
    });
    copy->condition = JoinConditions(parts);
  }
  return taken.size() == before ? relation : copy;
}

RelationRun::Base RelationRun::StudyQuery(const SqlQuery& query) {
  Base base;
  base.select = query.select;
  base.from = query.from;
  SqlSelect& select = base.select;
  if (base.from) around_.push_back(base.from.get());
  bool hasOuter = false;
  bool hasSubquery = HasSubquery(select);
  if (base.from) {
    ForEachCondition(*base.from, [&](const SqlExpressionPtr& condition) {
      hasSubquery = hasSubquery || HasSubquery(*condition);
      hasOuter = hasOuter || HasOuterName(*condition);
    });
  }
  if (hasSubquery || hasOuter) {
    TableSchema schema;
    Conditions taken;
    if (base.from) {
      const TableRequest wanted = FindReads(select, base.from.get());
      base.from = TakeConditions(base.from, wanted, taken);
      schema = FindSchema(*base.from, wanted);
    }
    if (select.where) taken.insert(taken.begin(), select.where);
    select.where = JoinConditions(taken);
    const auto look = [&](const SqlExpressionPtr& expression) {
      base.isCorrelated = NoteCorrelated(*expression, schema) || base.isCorrelated;
    };
    ForEachExpression(select, look);
  }
  Conditions conditions;
  if (select.where) SplitConditions(select.where, conditions);
  const auto outerParts = std::exchange(whereParts_, {});
  auto outerMemberships = std::exchange(memberships_, {});
  for (const SqlExpressionPtr& condition : conditions) {
    if (base.from) whereParts_.insert(condition.get());
  }
  MapExpressions(select, [this](const SqlExpressionPtr& part) { return Replace(part); });
  whereParts_ = outerParts;
  base.memberships = std::exchange(memberships_, std::move(outerMemberships));
  if (base.from) around_.pop_back();
  return base;
}

}  // namespace sqxer
