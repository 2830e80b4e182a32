// How RelationRun makes a SELECT over one table of one over FROM.

#include <algorithm>
#include <utility>

#include "PlanError.h"
#include "RelationCorrelated.h"
#include "RelationSource.h"
#include "RelationTypes.h"
#include "Session.h"

namespace sqxer {

SqlSelect RelationRun::Settle(const SqlQuery& query) {
  Base base = StudyQuery(query);
  SqlSelect& select = base.select;
  const bool isMade = base.from && (select.table.empty() || FindCommon(select.table) || isDry_);
  if (isDry_ && !base.from) select.where = MakeSqlFalse();
  if (!isMade && !base.isCorrelated && base.memberships.empty()) return select;
  if (base.isCorrelated) {
    MakeBaseRows(base);
    ApplyLate(base, false);
    ReplaceIn(select, base.wide);
    select.where = JoinConditions(base.plain);
    select.table = Register(base.wide.rows);
  } else {
    SettleUncorrelated(base);
  }
  select.tableAlias.clear();
  select.tablePosition = base.from->position;
  return select;
}

void RelationRun::SettleUncorrelated(Base& base) {
  SqlSelect& select = base.select;
  SqlSelect reads = select;
  for (const Membership& membership : base.memberships)
    reads.items.push_back({membership.value, {}, 0});
  const TableRequest wanted = FindReads(reads, base.from.get());
  const std::unique_ptr<Source> source = MakeSource(*base.from, wanted);
  if (source->table && base.memberships.empty()) {
    select.table = Register(source->table);
    return;
  }
  Conditions conditions;
  if (select.where) SplitConditions(select.where, conditions);
  // A name that several tables have is an error, whichever of them could apply the condition.
  for (const SqlExpressionPtr& condition : conditions) FindNamedColumns(*condition, source->schema);
  const TableRequest kept = FindReadsOfKept(reads, source->schema, wanted);
  TableRef rows = MakeRows(*source, kept, conditions);
  for (const Membership& membership : base.memberships) {
    rows = Keep(rows, WithReads(kept, conditions), membership);
  }
  select.table = Register(rows);
  select.where = JoinConditions(conditions);
}

TableRef RelationRun::Keep(const TableRef& table, const TableRequest& wanted,
                           const Membership& membership) {
  const int position = membership.value->position;
  const TableRef members = WithNames(*membership.members, L"values", {}, {L"c"}, position);
  const ColumnInfo value = TypeExpression(*membership.value, table->schema, *this, parameters_);
  const std::optional<XeDataType> type = FindComparisonType(value, members->schema.columns[0]);
  if (!type)
    ThrowPlanError(
        kColumnsDoNotMeet, position,
        {L"1", Wide(CastName(value.type)), Wide(CastName(members->schema.columns[0].type))});
  const JoinEqualities equalities{{membership.value}, {MakeSqlName({L"c"}, position)}, {*type}};
  const JoinedRows rows = JoinSides(table, members, equalities, JoinKind::kSemi, nullptr);
  const std::vector<std::size_t> columns = FindWanted(table->schema, wanted);
  return TakeRows(*table, columns, rows.left);
}

}  // namespace sqxer
