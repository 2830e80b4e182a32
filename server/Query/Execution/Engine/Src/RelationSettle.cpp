// How RelationRun makes a SELECT over one table of one over FROM.

#include <algorithm>
#include <numeric>
#include <utility>

#include "PlanError.h"
#include "RelationCorrelated.h"
#include "RelationFlow.h"
#include "RelationSource.h"
#include "RelationTypes.h"
#include "Session.h"

namespace sqxer {

SqlSelect RelationRun::Settle(const SqlQuery& query, const FlowRules& around, bool isOpened) {
  Base base = StudyQuery(query);
  SqlSelect& select = base.select;
  const bool isMade = base.from && (select.table.empty() || FindCommon(select.table) ||
                                    session_.IsView(select.table) || isDry_ || isOpened);
  if (isDry_ && !base.from) select.where = MakeSqlFalse();
  if (!isMade && !base.isCorrelated && base.memberships.empty()) return select;
  if (base.isCorrelated) {
    MakeBaseRows(base);
    ApplyLate(base, false);
    ReplaceIn(select, base.wide);
    select.where = JoinConditions(base.plain);
    select.table = Register(base.wide.rows);
  } else {
    SettleUncorrelated(base, around);
  }
  select.tableAlias.clear();
  select.tablePosition = base.from->position;
  return select;
}

void RelationRun::SettleUncorrelated(Base& base, const FlowRules& around) {
  SqlSelect& select = base.select;
  SqlSelect reads = select;
  for (const Membership& membership : base.memberships)
    reads.items.push_back({membership.value, {}, 0});
  const TableRequest wanted = FindReads(reads, base.from.get());
  const FlowRules rules = FindFlowRules(select, around);
  const std::unique_ptr<Source> source = MakeSource(*base.from, wanted, rules);
  if (source->table && base.memberships.empty()) {
    select.table = Register(Flow{source->table, std::move(source->rest)});
    return;
  }
  Conditions conditions;
  if (select.where) SplitConditions(select.where, conditions);
  // A name that several tables have is an error, whichever of them could apply the condition.
  for (const SqlExpressionPtr& condition : conditions) FindNamedColumns(*condition, source->schema);
  const TableRequest kept = FindReadsOfKept(reads, source->schema, wanted);
  Flow rows = OpenRows(*source, kept, conditions, rules);
  for (const Membership& membership : base.memberships) {
    rows = OpenKept(std::move(rows), WithReads(kept, conditions), membership, rules);
  }
  select.table = Register(std::move(rows));
  select.where = JoinConditions(conditions);
}

TableRef RelationRun::Keep(const TableRef& table, const TableRequest& wanted,
                           const Membership& membership) {
  return TakeAll(OpenKept({table, nullptr}, wanted, membership, FlowRules()));
}

RelationRun::Flow RelationRun::OpenKept(Flow input, const TableRequest& wanted,
                                        const Membership& membership, const FlowRules& rules) {
  const TableSchema schema = input.rows->schema;
  const int position = membership.value->position;
  const TableRef members = WithNames(*membership.members, L"values", {}, {L"c"}, position);
  const ColumnInfo value = TypeExpression(*membership.value, schema, *this, parameters_);
  const std::optional<XeDataType> type = FindComparisonType(value, members->schema.columns[0]);
  if (!type)
    ThrowPlanError(
        kColumnsDoNotMeet, position,
        {L"1", Wide(CastName(value.type)), Wide(CastName(members->schema.columns[0].type))});
  const JoinEqualities equalities{{membership.value}, {MakeSqlName({L"c"}, position)}, {*type}};
  const std::vector<std::size_t> columns = FindWanted(schema, wanted);
  if (MayFlow(input, members->rowCount, rules)) {
    JoinSteps steps{.kind = JoinKind::kSemi,
                    .right = members,
                    .equalities = equalities,
                    .others = {},
                    .leftColumns = columns,
                    .rightColumns = {},
                    .gathered = {},
                    .places = std::vector<std::size_t>(columns.size()),
                    .schema = {},
                    .name = {}};
    AddColumns(*input.rows, columns, steps.gathered);
    std::iota(steps.places.begin(), steps.places.end(), std::size_t{0});
    steps.schema = steps.gathered;
    steps.schema.name = schema.name;
    if (OpenJoinFlow(std::move(steps), input)) return input;
  }
  const TableRef table = TakeAll(std::move(input));
  const JoinedRows rows = JoinSides(table, members, equalities, JoinKind::kSemi, nullptr);
  return {TakeRows(*table, columns, rows.left), nullptr};
}

}  // namespace sqxer
