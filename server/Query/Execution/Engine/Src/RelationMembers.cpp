// How RelationRun finds for which outer rows EXISTS, IN, ANY and ALL of a subquery are true.

#include <algorithm>
#include <numeric>

#include "NameScope.h"
#include "PlanError.h"
#include "RelationCorrelated.h"
#include "RelationSource.h"
#include "RelationTypes.h"

namespace sqxer {
namespace {

using Use = SqlExpression::SubqueryUse;

/// LIMIT does not matter to whether there is a row, if it is a number of 1 or more.
bool LimitsRows(const SqlSelect& select, Use use) {
  if (select.offset) return true;
  if (!select.limit) return false;
  const SqlExpression& limit = *select.limit;
  const bool isCount = limit.kind == SqlExpression::Kind::kLiteral &&
                       limit.literal.kind == SqlLiteral::Kind::kInteger &&
                       limit.literal.text.front() != L'-' && limit.literal.text != L"0";
  return use != Use::kExists || !isCount;
}

/// Whether a query gives nothing but the rows that its FROM and WHERE give.
bool GivesRows(const SqlQuery& query, Use use) {
  const SqlSelect& select = query.select;
  return query.IsSelect() && !MakesGroups(select) && !HasWindow(select) &&
         select.distinctOn.empty() && !LimitsRows(select, use);
}

bool HasOuterSubquery(const SqlExpression& expression) {
  bool has = expression.kind == SqlExpression::Kind::kSubquery && HasOuterName(expression);
  ForEachOperand(expression,
                 [&](const SqlExpressionPtr& operand) { has = has || HasOuterSubquery(*operand); });
  return has;
}

}  // namespace

RelationRun::Members RelationRun::MakeMembers(const SqlExpression& subquery, Outer& outer) {
  const SqlQuery& query = *outer.query;
  Members members;
  if (GivesRows(query, subquery.use)) {
    const Scope scope = scope_;
    AddCommon(query);
    Base base = StudyQuery(query);
    const bool isTogether = std::ranges::any_of(base.select.items, [](const SqlSelectItem& item) {
      return HasOuterSubquery(*item.expression);
    });
    Conditions conditions;
    if (base.select.where) SplitConditions(base.select.where, conditions);
    const bool isNested = std::ranges::any_of(
        conditions, [](const SqlExpressionPtr& part) { return HasOuterSubquery(*part); });
    if (!isTogether && !isNested) {
      MakeBaseRows(base);
      CheckUnused(query);
      for (const SqlExpressionPtr& condition : base.late) {
        if (HasOuterName(*condition)) {
          base.plain.push_back(ReplaceCorrelated(condition, base.wide, nullptr));
        } else {
          KeepRows(base.wide, condition);
        }
      }
      for (SqlSelectItem& item : base.select.items)
        item.expression = ReplaceCorrelated(item.expression, base.wide, nullptr);
      members.rows = base.wide.rows;
      members.conditions = std::move(base.plain);
      // Errors of what is selected are errors where only rows are asked for, too.
      TableSchema both = members.rows->schema;
      const TableSchema& more = outer.rows->schema;
      both.columns.insert(both.columns.end(), more.columns.begin(), more.columns.end());
      both.origins.insert(both.origins.end(), more.origins.begin(), more.origins.end());
      SqlExpressionPtr value = base.select.items[0].expression;
      std::size_t width = 0;
      for (const SqlSelectItem& item : base.select.items) {
        if (item.expression->kind != SqlExpression::Kind::kStar) {
          TypeExpression(*item.expression, both, *this, parameters_);
          ++width;
          continue;
        }
        for (const int column :
             NameScope(members.rows->schema, SqlSelect()).ExpandStar(*item.expression)) {
          const auto at = static_cast<std::size_t>(column);
          const ColumnOrigin& origin = members.rows->schema.origins[at];
          std::vector<XeString> path;
          if (!origin.tables.empty()) path.push_back(origin.tables[0]);
          path.push_back(members.rows->schema.columns[at].name);
          value = MakeSqlName(std::move(path), item.position);
          ++width;
        }
      }
      scope_ = scope;
      if (subquery.use == Use::kExists) return members;
      if (width != 1) ThrowPlanError(kSubqueryColumns, subquery.position, {std::to_wstring(width)});
      members.value = value;
      return members;
    }
    scope_ = scope;
  }
  // The operand that is compared is no matter of the query.
  const TableRef all = outer.rows;
  MakeDistinct(outer);
  const TableRef given = RunForEach(query, outer);
  const std::size_t width = given->schema.columns.size() - 1;
  if (subquery.use != Use::kExists && width != 1)
    ThrowPlanError(kSubqueryColumns, subquery.position, {std::to_wstring(width)});
  const XeString tag = L"\x01given" + std::to_wstring(++nextName_);
  auto rows = std::make_shared<Table>(*given);
  rows->schema.origins.assign(width + 1, {{tag}, true});
  rows->schema.columns[0].name = L"\x01value";
  rows->schema.columns[width].name = kOuterNumber;
  members.rows = rows;
  auto numbered = std::make_shared<Table>(*all);
  std::vector<int32> numbers(outer.numbers.begin(), outer.numbers.end());
  AddHiddenNumbers(*numbered, outer.tag, kOuterNumber, numbers);
  outer.rows = numbered;
  const int position = subquery.position;
  members.conditions = {MakeSqlOperator("=",
                                        {MakeSqlName({outer.tag, kOuterNumber}, position),
                                         MakeSqlName({tag, kOuterNumber}, position)},
                                        position)};
  if (subquery.use != Use::kExists) members.value = MakeSqlName({tag, L"\x01value"}, position);
  return members;
}

std::vector<uint8> RelationRun::MarkRows(const TableRef& outer, const TableRef& members,
                                         Conditions conditions) {
  SqlSelect reads;
  reads.where = JoinConditions(conditions);
  const TableRequest wanted = FindReads(reads, nullptr);
  const TableRef right = Filter(members, wanted, conditions);
  // What decides about outer rows alone.
  TableRef left = outer;
  std::vector<uint32> numbers;
  Conditions ofOuter;
  std::erase_if(conditions, [&](const SqlExpressionPtr& condition) {
    const bool isTaken = FindNamedColumns(*condition, outer->schema).has_value();
    if (isTaken) ofOuter.push_back(condition);
    return isTaken;
  });
  if (!ofOuter.empty()) {
    auto numbered = std::make_shared<Table>(*outer);
    std::vector<int32> all(outer->rowCount);
    std::iota(all.begin(), all.end(), 0);
    AddHiddenNumbers(*numbered, kGivenTag, L"\x01row", all);
    TableRequest withNumbers = wanted;
    withNumbers.names.push_back(L"\x01row");
    left = KeepTrue(numbered, withNumbers, ofOuter);
    numbers = ReadNumbers(*left, left->schema.columns.size() - 1);
  }
  JoinEqualities equalities;
  TakeEqualities(left, right, conditions, equalities);
  const std::vector<std::size_t> leftColumns = FindWanted(left->schema, wanted);
  const std::vector<std::size_t> rightColumns = FindWanted(right->schema, wanted);
  TableSchema both;
  AddColumns(*left, leftColumns, both);
  AddColumns(*right, rightColumns, both);
  const JoinedRows rows =
      JoinSides(left, right, equalities, JoinKind::kSemi,
                MakePairFilter(left, right, both, conditions, leftColumns, rightColumns));
  notes_.push_back(DescribeJoin(L"semi join", equalities.left.size(), left->rowCount,
                                right->rowCount, rows.left.size()));
  std::vector<uint8> marks(outer->rowCount);
  for (const uint32 row : rows.left) marks[numbers.empty() ? row : numbers[row]] = 1;
  return marks;
}

std::vector<int32> RelationRun::FindTruths(const SqlExpression& subquery, Outer& outer) {
  Members members = MakeMembers(subquery, outer);
  const auto mark = [&](std::initializer_list<SqlExpressionPtr> more) {
    Conditions conditions = members.conditions;
    for (const SqlExpressionPtr& condition : more) SplitConditions(condition, conditions);
    return MarkRows(outer.rows, members.rows, std::move(conditions));
  };
  std::vector<int32> truths(outer.rows->rowCount);
  const auto set = [&](const std::vector<uint8>& marks, int32 truth) {
    for (std::size_t i = 0; i < marks.size(); ++i) {
      if (marks[i] != 0) truths[i] = truth;
    }
  };
  if (subquery.use == Use::kExists) {
    set(mark({}), 1);
    return truths;
  }
  const bool isAny = subquery.use == Use::kAny;
  const int position = subquery.position;
  const auto isNull = [&](const SqlExpressionPtr& value) {
    return MakeSqlOperator("is null", {value}, position);
  };
  const SqlExpressionPtr compared =
      MakeSqlOperator(subquery.name.c_str(), {outer.operand, members.value}, position);
  std::ranges::fill(truths, isAny ? 0 : 1);
  // A comparison is NULL where a side is.
  set(mark({isNull(members.value)}), kUnknownTruth);
  set(mark({isNull(outer.operand)}), kUnknownTruth);
  if (isAny) {
    set(mark({compared}), 1);
  } else if (subquery.name == "<>") {
    set(mark({MakeSqlOperator("=", {outer.operand, members.value}, position)}), 0);
  } else {
    set(mark({MakeSqlOperator("not", {compared}, position)}), 0);
  }
  return truths;
}

}  // namespace sqxer
