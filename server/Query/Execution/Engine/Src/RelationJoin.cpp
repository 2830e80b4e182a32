// How RelationRun makes one table of what stands in FROM.

#include <algorithm>
#include <numeric>
#include <utility>

#include "ColumnGather.h"
#include "NumberColumn.h"
#include "PlanError.h"
#include "QuietProgress.h"
#include "RelationCorrelated.h"
#include "RelationFlow.h"
#include "RelationSource.h"
#include "RelationTypes.h"
#include "RunProfile.h"
#include "Session.h"
#include "SpilledJoin.h"
#include "SqlNames.h"

namespace sqxer {
namespace {

using Join = SqlRelation::Join;

/// Whether an expression reads columns of a table, and no others.
bool ReadsOnly(const SqlExpression& expression, const TableSchema& schema, bool allowsNone) {
  const std::optional<std::vector<std::size_t>> columns = FindNamedColumns(expression, schema);
  return columns && (allowsNone || !columns->empty());
}

JoinKind KindOf(Join join) {
  switch (join) {
    case Join::kLeft:
      return JoinKind::kLeft;
    case Join::kRight:
      return JoinKind::kRight;
    case Join::kFull:
      return JoinKind::kFull;
    case Join::kInner:
      break;
  }
  return JoinKind::kInner;
}

XeString NameOf(Join join) {
  switch (join) {
    case Join::kLeft:
      return L"left join ";
    case Join::kRight:
      return L"right join ";
    case Join::kFull:
      return L"full join ";
    case Join::kInner:
      break;
  }
  return L"join ";
}

}  // namespace

XeString DescribeJoin(const XeString& name, std::size_t keys, uint64 left, uint64 right,
                      uint64 joined) {
  return name + L" by " + std::to_wstring(keys) + (keys == 1 ? L" key: " : L" keys: ") +
         std::to_wstring(left) + L" and " + std::to_wstring(right) + L" rows give " +
         std::to_wstring(joined);
}

RelationRun::Conditions RelationRun::TakeConditionsOf(const TableSchema& schema,
                                                      Conditions& conditions) {
  Conditions taken;
  std::erase_if(conditions, [&](const SqlExpressionPtr& condition) {
    if (HasSubquery(*condition) || !ReadsOnly(*condition, schema, false)) return false;
    taken.push_back(condition);
    return true;
  });
  return taken;
}

TableRef RelationRun::Filter(const TableRef& table, const TableRequest& wanted,
                             Conditions& conditions) {
  return OpenFilter({table, nullptr}, wanted, conditions).rows;
}

TableRef RelationRun::KeepTrue(const TableRef& table, const TableRequest& wanted,
                               const Conditions& conditions) {
  SqlSelect select;
  const std::vector<std::size_t> columns = FindSome(table->schema, wanted);
  auto renamed = std::make_shared<Table>(*table);
  // By numbers: names may stand several times.
  for (const std::size_t column : columns) {
    const XeString name = L"\x01" + std::to_wstring(column);
    ColumnInfo copy = renamed->schema.columns[column];
    copy.name = name;
    renamed->schema.columns.push_back(std::move(copy));
    renamed->schema.origins.push_back({});
    for (TableChunk& chunk : renamed->chunks) chunk.columns.push_back(chunk.columns[column]);
    select.items.push_back({MakeSqlName({name}, 0), {}, 0});
  }
  select.where = JoinConditions(conditions);
  const TableRef rows = SelectFrom(sql_, renamed, std::move(select));
  auto filtered = std::make_shared<Table>(*rows);
  filtered->schema.name = table->schema.name;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    filtered->schema.columns[i].name = table->schema.columns[columns[i]].name;
    filtered->schema.origins.push_back(table->schema.origins[columns[i]]);
  }
  return filtered;
}

RelationRun::Flow RelationRun::OpenRows(Source& source, const TableRequest& wanted,
                                        Conditions& conditions, const FlowRules& rules) {
  if (!source.table) return OpenJoin(source, wanted, conditions, rules);
  return OpenFilter({source.table, std::move(source.rest)}, wanted, conditions);
}

RelationRun::KeyColumns RelationRun::MakeKeys(const TableRef& table, const Conditions& keys,
                                              const std::vector<XeDataType>& types) {
  KeyColumns made{table, {}};
  const auto isColumn = [&](std::size_t key) {
    return keys[key]->kind == SqlExpression::Kind::kName &&
           table->schema.columns[FindNamedColumns(*keys[key], table->schema)->front()].type ==
               types[key];
  };
  for (std::size_t i = 0; i < keys.size() && isColumn(i); ++i)
    made.columns.push_back(FindNamedColumns(*keys[i], table->schema)->front());
  if (made.columns.size() == keys.size()) return made;
  SqlSelect select;
  made.columns.clear();
  for (std::size_t i = 0; i < keys.size(); ++i) {
    // A text of a fixed length keeps its own.
    select.items.push_back(
        {isColumn(i) ? keys[i] : MakeSqlCast(keys[i], {types[i]}), {}, keys[i]->position});
    made.columns.push_back(i);
  }
  made.table = SelectFrom(sql_, table, std::move(select));
  return made;
}

PairFilter RelationRun::MakePairFilter(const TableRef& left, const TableRef& right,
                                       const TableSchema& schema, const Conditions& conditions,
                                       const std::vector<std::size_t>& leftColumns,
                                       const std::vector<std::size_t>& rightColumns) {
  if (conditions.empty()) return nullptr;
  const SqlExpressionPtr condition = JoinConditions(conditions);
  return [=, this](std::span<const uint32> leftRows, std::span<const uint32> rightRows,
                   std::span<uint8> admitted) {
    const XeString kPair = L"\x01pair";
    auto pairs = std::make_shared<Table>();
    pairs->schema = schema;
    GatherColumns(*left, leftColumns, leftRows, *pairs);
    GatherColumns(*right, rightColumns, rightRows, *pairs);
    pairs->rowCount = leftRows.size();
    AddRowNumbers(*pairs, kPair);
    // The join tells how far it is.
    const QuietProgress quiet(session_.runProgress_);
    SqlSelect select;
    select.items.push_back({MakeSqlName({kPair}, 0), {}, 0});
    select.where = condition;
    const TableRef kept = SelectFrom(sql_, pairs, std::move(select));
    for (const TableChunk& chunk : kept->chunks) {
      const auto* const numbers = reinterpret_cast<const int32*>(chunk.columns[0].values);
      for (uint64 i = 0; i < chunk.rows; ++i) admitted[static_cast<std::size_t>(numbers[i])] = 1;
    }
  };
}

bool RelationRun::AddEquality(const TableRef& left, const TableRef& right,
                              const SqlExpressionPtr& a, const SqlExpressionPtr& b,
                              JoinEqualities& equalities) {
  const std::optional<XeDataType> type =
      FindComparisonType(TypeExpression(*a, left->schema, *this, parameters_),
                         TypeExpression(*b, right->schema, *this, parameters_));
  if (!type) return false;
  equalities.left.push_back(a);
  equalities.right.push_back(b);
  equalities.types.push_back(*type);
  return true;
}

void RelationRun::TakeEqualities(const TableRef& left, const TableRef& right,
                                 Conditions& conditions, JoinEqualities& equalities) {
  std::erase_if(conditions, [&](const SqlExpressionPtr& condition) {
    const bool isEquality = condition->kind == SqlExpression::Kind::kOperator &&
                            condition->name == "=" && condition->arguments.size() == 2;
    if (!isEquality) return false;
    const SqlExpressionPtr& a = condition->arguments[0];
    const SqlExpressionPtr& b = condition->arguments[1];
    if (ReadsOnly(*a, left->schema, false) && ReadsOnly(*b, right->schema, false))
      return AddEquality(left, right, a, b, equalities);
    if (ReadsOnly(*b, left->schema, false) && ReadsOnly(*a, right->schema, false))
      return AddEquality(left, right, b, a, equalities);
    return false;
  });
}

std::vector<XeDataType> RelationRun::TypesOfKeys(const JoinEqualities& equalities) {
  std::vector<XeDataType> types = equalities.types;
  const auto isName = [](const SqlExpressionPtr& key) {
    return key->kind == SqlExpression::Kind::kName;
  };
  for (std::size_t i = 0; i < types.size(); ++i) {
    // Fixed texts that are computed have no length that a cast could name; as long ones they
    // compare the same.
    const bool areColumns = isName(equalities.left[i]) && isName(equalities.right[i]);
    if (types[i] == XeCharData && !areColumns) types[i] = XeLongVarCharData;
  }
  return types;
}

JoinedRows RelationRun::JoinSides(const TableRef& left, const TableRef& right,
                                  const JoinEqualities& equalities, JoinKind kind,
                                  const PairFilter& admits) {
  const std::vector<XeDataType> types = TypesOfKeys(equalities);
  const KeyColumns leftSide = MakeKeys(left, equalities.left, types);
  const KeyColumns rightSide = MakeKeys(right, equalities.right, types);
  return JoinRows({leftSide.table.get(), leftSide.columns},
                  {rightSide.table.get(), rightSide.columns}, kind, admits, session_.runProgress_);
}

void RelationRun::WidenSides(Conditions& conditions, const TableRequest& wanted, TableRef& left,
                             TableRef& right) {
  const auto hasSubquery = [](const SqlExpressionPtr& part) { return HasSubquery(*part); };
  if (std::ranges::none_of(conditions, hasSubquery)) return;
  // All columns of these can be read.
  Widened sides[2];
  sides[0].rows = WithColumns(*left, FindWanted(left->schema, wanted));
  sides[1].rows = WithColumns(*right, FindWanted(right->schema, wanted));
  for (SqlExpressionPtr& condition : conditions)
    condition = ReplaceBySides(condition, sides[0], sides[1]);
  left = sides[0].rows;
  right = sides[1].rows;
}

RelationRun::Flow RelationRun::OpenJoin(Source& source, const TableRequest& wanted,
                                        Conditions& conditions, const FlowRules& rules) {
  const RunProfile::Scope step(RunProfile::Current(), RunProfile::Step::kJoin);
  const SqlRelation& join = *source.relation;
  const bool isInner = join.join == Join::kInner;
  Conditions on = source.conditions;
  // Those of a side alone go below the join, where that changes nothing: not of a side whose rows
  // come without a partner, too.
  if (isInner) {
    on.insert(on.end(), conditions.begin(), conditions.end());
    conditions.clear();
  }
  Conditions none;
  Conditions& leftConditions = isInner                     ? on
                               : join.join == Join::kLeft  ? conditions
                               : join.join == Join::kRight ? on
                                                           : none;
  Conditions& rightConditions = isInner                     ? on
                                : join.join == Join::kLeft  ? on
                                : join.join == Join::kRight ? conditions
                                                            : none;
  // What this join reads of its sides; a side adds what is left of the conditions it is given.
  TableRequest ofSides = wanted;
  ofSides.names.insert(ofSides.names.end(), join.sharedColumns.begin(), join.sharedColumns.end());
  if (!isInner) ofSides = WithReads(WithReads(std::move(ofSides), on), conditions);
  const bool flowsLeft = isInner || join.join == Join::kLeft;
  Flow flow = OpenRows(*source.left, ofSides, leftConditions, RulesOfLeft(join, rules));
  // Errors of the first left rows come before those of right ones.
  Buffer(flow, CountFirstRows());
  Flow rightFlow = OpenRows(*source.right, ofSides, rightConditions, RulesOfSide(rules));
  const BudgetScope use(MemoryUse::kJoin);
  const uint64 memory =
      StatementBudget::CapShare(Settings::Current()->GetSwitches().joinMemory_, 4);
  bool isSpilled = !FitsMemory(rightFlow, memory);
  if (!flowsLeft) {
    isSpilled = !FitsMemory(flow, memory) || isSpilled;
    // Pairs are known when all rows have been: about what a pair takes, with the columns gathered.
    constexpr uint64 kBytesOfRow = 48;
    const uint64 bytes = (flow.rows->rowCount + rightFlow.rows->rowCount) * kBytesOfRow;
    isSpilled = isSpilled || StatementBudget::CapShare(bytes, 1) < bytes;
  }
  const auto hasSubquery = [](const SqlExpressionPtr& part) { return HasSubquery(*part); };
  if (std::ranges::any_of(on, hasSubquery)) {
    flow = {TakeAll(std::move(flow)), nullptr};
    rightFlow = {TakeAll(std::move(rightFlow)), nullptr};
    isSpilled = false;
    WidenSides(on, WithReads(WithReads(ofSides, on), conditions), flow.rows, rightFlow.rows);
  }
  const TableRef left = WithoutRows(flow.rows->schema);
  const TableRef right = WithoutRows(rightFlow.rows->schema);
  const JoinLayout layout = ArrangeColumns(join, left->schema, right->schema);

  JoinEqualities equalities;
  for (const JoinLayout::Shared& shared : layout.shared) {
    const auto nameOf = [&](const TableSchema& schema, std::size_t column) {
      return MakeSqlName({schema.columns[column].name}, join.position);
    };
    if (!AddEquality(left, right, nameOf(left->schema, shared.left),
                     nameOf(right->schema, shared.right), equalities))
      ThrowPlanError(kColumnsDoNotMeet, join.position,
                     {L"\"" + left->schema.columns[shared.left].name + L"\"",
                      Wide(CastName(left->schema.columns[shared.left].type)),
                      Wide(CastName(right->schema.columns[shared.right].type))});
  }
  TakeEqualities(left, right, on, equalities);

  // What else decides about pairs. Conditions of an inner join that read other tables wait.
  const TableSchema both = layout.GetSchema();
  Conditions others;
  for (const SqlExpressionPtr& condition : on) {
    const bool isMine = !isInner || ReadsOnly(*condition, both, true);
    (isMine ? others : conditions).push_back(condition);
  }

  // Keys and what a side was filtered by are not gathered when nothing reads them any more.
  TableRequest reads = WithReads(WithReads(wanted, others), conditions);
  const bool makesShared = join.join == Join::kFull;
  if (makesShared)
    reads.names.insert(reads.names.end(), join.sharedColumns.begin(), join.sharedColumns.end());
  JoinSteps steps{.kind = KindOf(join.join),
                  .right = right,
                  .equalities = equalities,
                  .others = others,
                  .leftColumns = FindSome(left->schema, reads),
                  .rightColumns = FindWanted(right->schema, reads),
                  .gathered = {},
                  .places = {},
                  .schema = {},
                  .name = NameOf(join.join) + left->schema.name + L", " + right->schema.name};
  AddColumns(*left, steps.leftColumns, steps.gathered);
  AddColumns(*right, steps.rightColumns, steps.gathered);
  if (flowsLeft)
    steps.places = Arrange(layout, steps.leftColumns, steps.rightColumns, nullptr, steps.schema);
  const bool maySpill = SpilledJoin::Takes(steps);
  if (isSpilled && maySpill)
    return OpenSpilled(std::move(steps), flowsLeft ? nullptr : &layout, std::move(flow),
                       std::move(rightFlow));
  steps.right = TakeAll(std::move(rightFlow));
  if (flowsLeft && MayFlow(flow, equalities.left.empty() ? 0 : steps.right->rowCount, rules)) {
    if (OpenJoinFlow(steps, flow)) return flow;
    if (flow.rest && maySpill) {
      rightFlow = {std::exchange(steps.right, right), nullptr};
      return OpenSpilled(std::move(steps), nullptr, std::move(flow), std::move(rightFlow));
    }
  }
  return {JoinWhole(steps, TakeAll(std::move(flow)), layout), nullptr};
}

FlowRules RelationRun::RulesOfSide(const FlowRules& rules) {
  return {.tables = false, .files = rules.files, .canStartAgain = true};
}

FlowRules RelationRun::RulesOfLeft(const SqlRelation& join, const FlowRules& rules) {
  return join.join == Join::kInner || join.join == Join::kLeft ? rules : RulesOfSide(rules);
}

bool RelationRun::MayFlow(Flow& left, uint64 rightRows, const FlowRules& rules) {
  if (!left.rest && !rules.tables) return false;
  // Of a left side with far fewer rows the table is made by which keys are looked up.
  const uint64 least = rightRows / 2;
  if (least > 0) Buffer(left, least - 1);
  return left.rows->rowCount >= least;
}

}  // namespace sqxer
