// How RelationRun replaces subqueries in expressions.

#include <algorithm>
#include <utility>

#include "EngineError.h"
#include "NameScope.h"
#include "PlanConstant.h"
#include "PlanError.h"
#include "RelationSource.h"
#include "RelationValues.h"
#include "SqlNames.h"

namespace sqxer {
namespace {

using Use = SqlExpression::SubqueryUse;

/// More values than these of a subquery are not compared one by one: an expression has its bounds.
constexpr uint64 kMostCompared = 40000;
/// A condition of more values than these is a join.
constexpr uint64 kMostListed = 500;

/// The type in which values of a column are computed with; nothing where there are no constants of
/// it.
std::optional<XeDataType> ComputedType(XeDataType type) {
  switch (type) {
    case XeInt1Data:
    case XeInt2Data:
    case XeBitData:
      return XeInt4Data;
    case XeUInt1Data:
    case XeUInt2Data:
      return XeUInt4Data;
    case XeFloatData:
      return XeDoubleData;
    case XeBoolean:
    case XeInt4Data:
    case XeUInt4Data:
    case XeDoubleData:
    case XeNumericData:
    case XeDateData:
    case XeTimeData:
    case XeDateTimeData:
    case XeIntervalData:
      return type;
    default:
      if (!SUXeDataTypeUtility::IsXeTextType(type)) return std::nullopt;
      return XeLongVarCharData;
  }
}

std::shared_ptr<SqlExpression> MakeValue(PlanConstant value, int position) {
  auto constant = std::make_shared<SqlExpression>();
  constant->kind = SqlExpression::Kind::kValue;
  constant->position = position;
  constant->value = std::make_shared<const PlanConstant>(std::move(value));
  return constant;
}

/// Whether a comparison asks for one of the values, or for none of them.
bool IsMembership(const SqlExpression& subquery) {
  return subquery.name == (subquery.use == Use::kAny ? "=" : "<>");
}

/// `value` compared with every one of some values, as ANY or ALL has it.
SqlExpressionPtr CompareAll(const SqlExpression& subquery, std::vector<PlanConstant> values) {
  const int position = subquery.position;
  const bool isAny = subquery.use == Use::kAny;
  const auto truth = [&](bool is) { return MakeValue({XeBoolean, is}, position); };
  if (values.empty()) return truth(!isAny);
  const SqlExpressionPtr& value = subquery.arguments[0];
  const std::size_t all = values.size();
  std::erase_if(values, [](const PlanConstant& one) { return one.IsNull(); });
  const bool hasNull = values.size() < all;
  const SqlExpressionPtr unknown = MakeValue({XeBoolean, {}}, position);
  SqlExpressionPtr compared;
  if (values.empty()) {
    // With nothing but NULLs.
    return unknown;
  }
  if (IsMembership(subquery)) {
    std::vector<SqlExpressionPtr> members{value};
    for (PlanConstant& one : values) members.push_back(MakeValue(std::move(one), position));
    compared = MakeSqlOperator("in", std::move(members), position);
    if (!isAny) compared = MakeSqlOperator("not", {compared}, position);
  } else {
    for (PlanConstant& one : values) {
      SqlExpressionPtr next = MakeSqlOperator(
          subquery.name.c_str(), {value, MakeValue(std::move(one), position)}, position);
      compared =
          compared ? MakeSqlOperator(isAny ? "or" : "and", {compared, next}, position) : next;
    }
  }
  // A NULL among them leaves open what no other one has decided.
  return hasNull ? MakeSqlOperator(isAny ? "or" : "and", {compared, unknown}, position) : compared;
}

}  // namespace

SqlExpressionPtr RelationRun::Replace(const SqlExpressionPtr& expression) {
  if (!expression) return nullptr;
  const auto known = replaced_.find(expression.get());
  if (known != replaced_.end()) return known->second;
  SqlExpressionPtr made = WithOperands(
      *expression, [this](const SqlExpressionPtr& operand) { return Replace(operand); });
  if (correlated_.contains(expression.get())) {
    // Its place takes a column, later.
  } else if (made->kind == SqlExpression::Kind::kSubquery) {
    made = ReplaceSubquery(*made, whereParts_.contains(expression.get()));
  }
  kept_.push_back(expression);
  replaced_[expression.get()] = made;
  return made;
}

template <class Make>
auto RelationRun::WithinSubquery(Make&& make) {
  const Scope scope = scope_;
  const std::vector<const SqlRelation*> around = around_;
  try {
    return make();
  } catch (const ErrorMessage& error) {
    scope_ = scope;
    around_ = around;
    if (!IsKnownAround(error)) throw;
    ThrowPlanError(kClauseNotUnderstood, error.GetSourcePosition(),
                   {L"a subquery that reads columns of the query around it"});
  }
}

bool RelationRun::IsKnownAround(const ErrorMessage& error) {
  const bool isTable = error.GetCode() == kNoSuchTable;
  const bool isColumn =
      error.GetCode() == kUnknownColumn || error.GetCode() == kNoColumnsWithoutTable;
  if ((!isTable && !isColumn) || error.GetArguments().empty()) return false;
  SqlExpression name;
  name.kind = SqlExpression::Kind::kName;
  name.path = {error.GetArguments()[0]};
  if (isTable) name.path.emplace_back();
  // Tables that are made to look into them have none around.
  std::vector<const SqlRelation*> around = std::exchange(around_, {});
  around.resize(std::min(around.size(), readsAround_.value_or(around.size())));
  try {
    return std::ranges::any_of(around, [&](const auto* from) { return HasName(*from, name); });
  } catch (const ErrorMessage&) {
    // The first error is the one to tell.
    return false;
  }
}

bool RelationRun::HasName(const SqlRelation& relation, const SqlExpression& name) {
  if (relation.kind == SqlRelation::Kind::kJoin)
    return HasName(*relation.left, name) || HasName(*relation.right, name);
  TableRequest wanted;
  wanted.all = true;
  const std::unique_ptr<Source> source = MakeSource(relation, wanted);
  const NameScope columns(source->schema, SqlSelect());
  return name.path.size() > 1 ? columns.HasTable(name) : columns.FindColumn(name) >= 0;
}

SqlExpressionPtr RelationRun::ReplaceSubquery(const SqlExpression& subquery, bool mayJoin) {
  const TableRef given = WithinSubquery([&] { return MakeTable(*subquery.query); });
  const int position = subquery.position;
  if (subquery.use == Use::kExists) return MakeValue({XeBoolean, given->rowCount > 0}, position);
  const std::size_t columns = given->schema.columns.size();
  if (columns != 1) ThrowPlanError(kSubqueryColumns, position, {std::to_wstring(columns)});
  const ColumnInfo& stored = given->schema.columns[0];
  const std::optional<XeDataType> type = ComputedType(stored.type);
  if (!type)
    ThrowPlanError(kClauseNotUnderstood, position, {L"a subquery of this type in an expression"});
  ColumnInfo column = stored;
  if (!SUXeDataTypeUtility::IsXeTextType(*type)) column.type = *type;
  const TableRef rows = CastTo(given, {column});
  if (subquery.use == Use::kValue) {
    if (rows->rowCount > 1) {
      ErrorMessage error(kSubqueryRows, {std::to_wstring(rows->rowCount)});
      error.SetSourcePosition(position);
      SUGThrow(std::move(error));
    }
    if (rows->rowCount == 1) return MakeValue(ReadValues(*rows, 0)[0], position);
    const bool isText = SUXeDataTypeUtility::IsXeTextType(*type);
    return MakeValue({*type, {}, isText ? column.length : 0}, position);
  }
  const bool isIn = subquery.use == Use::kAny && subquery.name == "=";
  if (mayJoin && isIn && rows->rowCount > kMostListed) {
    memberships_.push_back({subquery.arguments[0], rows});
    return MakeValue({XeBoolean, true}, position);
  }
  // Of many values each different one is compared once.
  const TableRef values =
      SelectText("SELECT DISTINCT c FROM t", WithNames(*rows, L"t", {L"t"}, {L"c"}, position));
  if (IsMembership(subquery) && values->rowCount > kMostCompared) {
    ErrorMessage error(kSubqueryValues, {std::to_wstring(kMostCompared)});
    error.SetSourcePosition(position);
    SUGThrow(std::move(error));
  }
  std::vector<PlanConstant> compared = ReadValues(*values, 0);
  if (!IsMembership(subquery) && compared.size() > 2) {
    const bool hasNull = std::ranges::any_of(compared, &PlanConstant::IsNull);
    // The outermost values decide for those between. NaN is on no side of a value.
    const bool skipsNan = subquery.use == Use::kAny && subquery.name != "<>";
    const TableRef bounds = SelectText(
        skipsNan ? "SELECT MIN(c), MAX(c) FROM t WHERE c = c" : "SELECT MIN(c), MAX(c) FROM t",
        WithNames(*values, L"t", {L"t"}, {L"c"}, position));
    compared = {ReadValues(*bounds, 0)[0], ReadValues(*bounds, 1)[0]};
    std::erase_if(compared, [](const PlanConstant& one) { return one.IsNull(); });
    if (hasNull) compared.push_back({*type, {}});
  }
  return CompareAll(subquery, std::move(compared));
}

}  // namespace sqxer
