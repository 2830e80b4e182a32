// How RelationRun makes one table of what stands in FROM.

#include <algorithm>
#include <numeric>
#include <utility>

#include "ColumnGather.h"
#include "NumberColumn.h"
#include "PlanError.h"
#include "RelationSource.h"
#include "RelationTypes.h"
#include "RunProfile.h"
#include "Session.h"
#include "SqlParser.h"
#include "TableReads.h"
#include "TableScan.h"

namespace sqxer {
namespace {

using Join = SqlRelation::Join;

std::shared_ptr<SqlExpression> MakeName(std::vector<XeString> path, int position) {
  auto name = std::make_shared<SqlExpression>();
  name->kind = SqlExpression::Kind::kName;
  name->path = std::move(path);
  name->position = position;
  return name;
}

SqlExpressionPtr MakeCast(SqlExpressionPtr expression, XeDataType type) {
  auto cast = std::make_shared<SqlExpression>();
  cast->kind = SqlExpression::Kind::kOperator;
  cast->name = "cast";
  cast->position = expression->position;
  cast->arguments = {std::move(expression)};
  cast->target.type = type;
  return cast;
}

/// Whether an expression reads columns of a table, and no others.
bool ReadsOnly(const SqlExpression& expression, const TableSchema& schema, bool allowsNone) {
  const std::optional<std::vector<std::size_t>> columns = FindNamedColumns(expression, schema);
  return columns && (allowsNone || !columns->empty());
}

std::vector<std::size_t> FindWanted(const TableSchema& schema, const TableRequest& wanted) {
  std::vector<std::size_t> columns;
  for (std::size_t i = 0; i < schema.columns.size(); ++i) {
    const ColumnInfo& column = schema.columns[i];
    if (column.type != XeUnknown && wanted.Wants(column.name)) columns.push_back(i);
  }
  return columns;
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

/// The integers from 0 on.
std::vector<uint32> Iota(std::size_t count) {
  std::vector<uint32> numbers(count);
  std::iota(numbers.begin(), numbers.end(), 0u);
  return numbers;
}

}  // namespace

struct RelationRun::KeyColumns {
  TableRef table;
  std::vector<std::size_t> columns;
};

SqlSelect RelationRun::Settle(const SqlQuery& query) {
  SqlSelect select = query.select;
  Conditions conditions;
  if (select.where) SplitConditions(select.where, conditions);
  const auto outerParts = std::exchange(whereParts_, {});
  auto outerMemberships = std::exchange(memberships_, {});
  for (const SqlExpressionPtr& condition : conditions) {
    if (query.from) whereParts_.insert(condition.get());
  }
  if (query.from) around_.push_back(query.from.get());
  MapExpressions(select, [this](const SqlExpressionPtr& part) { return Replace(part); });
  if (query.from) around_.pop_back();
  whereParts_ = outerParts;
  const std::vector<Membership> memberships =
      std::exchange(memberships_, std::move(outerMemberships));
  const bool isOfSession = !query.from || (!select.table.empty() && !FindCommon(select.table));
  if (isOfSession && memberships.empty()) return select;
  TableRequest wanted = FindTableReads(select);
  for (const Membership& membership : memberships) {
    SqlSelect read;
    read.where = membership.value;
    for (XeString& name : FindTableReads(read).names) wanted.names.push_back(std::move(name));
  }
  AddJoinReads(*query.from, wanted);
  // Rows are counted though nothing of them is read.
  wanted.all = wanted.all || wanted.names.empty();
  const std::unique_ptr<Source> source = MakeSource(*query.from, wanted);
  select.tableAlias.clear();
  select.tablePosition = query.from->position;
  if (source->table && memberships.empty()) {
    select.table = Register(source->table);
    return select;
  }
  conditions.clear();
  if (select.where) SplitConditions(select.where, conditions);
  // A name that several tables have is an error, whichever of them could apply the condition.
  for (const SqlExpressionPtr& condition : conditions) FindNamedColumns(*condition, source->schema);
  TableRef rows = MakeRows(*source, wanted, conditions);
  for (const Membership& membership : memberships) rows = Keep(rows, wanted, membership);
  select.table = Register(rows);
  select.where = JoinConditions(conditions);
  return select;
}

TableRef RelationRun::Filter(const TableRef& table, const TableRequest& wanted,
                             Conditions& conditions) {
  Conditions mine;
  std::erase_if(conditions, [&](const SqlExpressionPtr& condition) {
    if (!ReadsOnly(*condition, table->schema, false)) return false;
    mine.push_back(condition);
    return true;
  });
  if (mine.empty()) return table;
  SqlSelect select;
  const std::vector<std::size_t> columns = FindWanted(table->schema, wanted);
  auto renamed = std::make_shared<Table>(*table);
  // By numbers: names may stand several times.
  for (const std::size_t column : columns) {
    const XeString name = L"\x01" + std::to_wstring(column);
    ColumnInfo copy = renamed->schema.columns[column];
    copy.name = name;
    renamed->schema.columns.push_back(std::move(copy));
    renamed->schema.origins.push_back({});
    for (TableChunk& chunk : renamed->chunks) chunk.columns.push_back(chunk.columns[column]);
    select.items.push_back({MakeName({name}, 0), {}, 0});
  }
  select.where = JoinConditions(mine);
  const TableRef rows = SelectFrom(sql_, renamed, std::move(select));
  auto filtered = std::make_shared<Table>(*rows);
  filtered->schema.name = table->schema.name;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    filtered->schema.columns[i].name = table->schema.columns[columns[i]].name;
    filtered->schema.origins.push_back(table->schema.origins[columns[i]]);
  }
  return filtered;
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
  const KeyColumns left = MakeKeys(table, {membership.value}, {*type});
  const KeyColumns right = MakeKeys(members, {MakeName({L"c"}, position)}, {*type});
  const JoinedRows rows = JoinRows({left.table.get(), left.columns},
                                   {right.table.get(), right.columns}, JoinKind::kSemi, nullptr);
  const std::vector<std::size_t> columns = FindWanted(table->schema, wanted);
  auto kept = std::make_shared<Table>();
  kept->schema.name = table->schema.name;
  for (const std::size_t column : columns) {
    kept->schema.columns.push_back(table->schema.columns[column]);
    kept->schema.origins.push_back(table->schema.origins[column]);
  }
  GatherColumns(*table, columns, rows.left, *kept);
  kept->rowCount = rows.left.size();
  return kept;
}

TableRef RelationRun::MakeRows(Source& source, const TableRequest& wanted, Conditions& conditions) {
  return source.table ? Filter(source.table, wanted, conditions)
                      : MakeJoin(source, wanted, conditions);
}

RelationRun::KeyColumns RelationRun::MakeKeys(const TableRef& table, const Conditions& keys,
                                              const std::vector<XeDataType>& types) {
  KeyColumns made{table, {}};
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const auto columns = *FindNamedColumns(*keys[i], table->schema);
    const bool isColumn = keys[i]->kind == SqlExpression::Kind::kName &&
                          table->schema.columns[columns[0]].type == types[i];
    if (!isColumn) break;
    made.columns.push_back(columns[0]);
  }
  if (made.columns.size() == keys.size()) return made;
  SqlSelect select;
  made.columns.clear();
  for (std::size_t i = 0; i < keys.size(); ++i) {
    select.items.push_back({MakeCast(keys[i], types[i]), {}, keys[i]->position});
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
    SqlSelect select;
    select.items.push_back({MakeName({kPair}, 0), {}, 0});
    select.where = condition;
    const TableRef kept = SelectFrom(sql_, pairs, std::move(select));
    for (const TableChunk& chunk : kept->chunks) {
      const auto* const numbers = reinterpret_cast<const int32*>(chunk.columns[0].values);
      for (uint64 i = 0; i < chunk.rows; ++i) admitted[static_cast<std::size_t>(numbers[i])] = 1;
    }
  };
}

TableRef RelationRun::MakeJoin(Source& source, const TableRequest& wanted, Conditions& conditions) {
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
  const TableRef left = MakeRows(*source.left, wanted, leftConditions);
  const TableRef right = MakeRows(*source.right, wanted, rightConditions);
  const JoinLayout layout = ArrangeColumns(join, left->schema, right->schema);

  // Equalities between the sides.
  Conditions leftKeys;
  Conditions rightKeys;
  std::vector<XeDataType> types;
  const auto addKey = [&](const SqlExpressionPtr& a, const SqlExpressionPtr& b) {
    const std::optional<XeDataType> type =
        FindComparisonType(TypeExpression(*a, left->schema, *this, parameters_),
                           TypeExpression(*b, right->schema, *this, parameters_));
    if (!type) return false;
    leftKeys.push_back(a);
    rightKeys.push_back(b);
    types.push_back(*type);
    return true;
  };
  for (const JoinLayout::Shared& shared : layout.shared) {
    const auto nameOf = [&](const TableSchema& schema, std::size_t column) {
      return MakeName({schema.columns[column].name}, join.position);
    };
    if (!addKey(nameOf(left->schema, shared.left), nameOf(right->schema, shared.right)))
      ThrowPlanError(kColumnsDoNotMeet, join.position,
                     {L"\"" + left->schema.columns[shared.left].name + L"\"",
                      Wide(CastName(left->schema.columns[shared.left].type)),
                      Wide(CastName(right->schema.columns[shared.right].type))});
  }
  std::erase_if(on, [&](const SqlExpressionPtr& condition) {
    const bool isEquality = condition->kind == SqlExpression::Kind::kOperator &&
                            condition->name == "=" && condition->arguments.size() == 2;
    if (!isEquality) return false;
    const SqlExpressionPtr& a = condition->arguments[0];
    const SqlExpressionPtr& b = condition->arguments[1];
    if (ReadsOnly(*a, left->schema, false) && ReadsOnly(*b, right->schema, false))
      return addKey(a, b);
    if (ReadsOnly(*b, left->schema, false) && ReadsOnly(*a, right->schema, false))
      return addKey(b, a);
    return false;
  });

  // What else decides about pairs. Conditions of an inner join that read other tables wait.
  const TableSchema both = layout.GetSchema();
  Conditions others;
  for (const SqlExpressionPtr& condition : on) {
    const bool isMine = !isInner || ReadsOnly(*condition, both, true);
    (isMine ? others : conditions).push_back(condition);
  }

  const std::vector<std::size_t> leftColumns = FindWanted(left->schema, wanted);
  const std::vector<std::size_t> rightColumns = FindWanted(right->schema, wanted);
  auto joined = std::make_shared<Table>();
  for (const std::size_t column : leftColumns) {
    joined->schema.columns.push_back(left->schema.columns[column]);
    joined->schema.origins.push_back(left->schema.origins[column]);
  }
  for (const std::size_t column : rightColumns) {
    joined->schema.columns.push_back(right->schema.columns[column]);
    joined->schema.origins.push_back(right->schema.origins[column]);
  }
  const KeyColumns leftSide = MakeKeys(left, leftKeys, types);
  const KeyColumns rightSide = MakeKeys(right, rightKeys, types);
  const JoinedRows rows =
      JoinRows({leftSide.table.get(), leftSide.columns}, {rightSide.table.get(), rightSide.columns},
               KindOf(join.join),
               MakePairFilter(left, right, joined->schema, others, leftColumns, rightColumns));
  GatherColumns(*left, leftColumns, rows.left, *joined);
  GatherColumns(*right, rightColumns, rows.right, *joined);
  joined->rowCount = rows.left.size();
  Note(join, leftKeys.size(), *left, *right, *joined);
  return Arrange(joined, layout, leftColumns, rightColumns);
}

TableRef RelationRun::Arrange(const std::shared_ptr<Table>& joined, const JoinLayout& layout,
                              const std::vector<std::size_t>& leftColumns,
                              const std::vector<std::size_t>& rightColumns) {
  using Side = JoinLayout::Side;
  const auto placeOf = [&](Side side, std::size_t index) {
    const std::vector<std::size_t>& columns = side == Side::kLeft ? leftColumns : rightColumns;
    const auto found = std::ranges::find(columns, index);
    if (found == columns.end()) return joined->schema.columns.size();
    const auto place = static_cast<std::size_t>(found - columns.begin());
    return side == Side::kLeft ? place : leftColumns.size() + place;
  };
  // The values that either side has, in the columns behind the others.
  const std::size_t gathered = joined->schema.columns.size();
  const bool hasEither = std::ranges::any_of(
      layout.columns, [](const auto& column) { return column.side == Side::kEither; });
  Table either;
  if (hasEither) {
    auto numbered = std::make_shared<Table>(*joined);
    SqlSelect select;
    for (std::size_t i = 0; i < gathered; ++i) {
      numbered->schema.columns[i].name = L"\x01" + std::to_wstring(i);
      numbered->schema.columns[i].nullable = true;
      numbered->schema.origins[i] = {};
    }
    for (const JoinLayout::Shared& shared : layout.shared) {
      auto coalesce = std::make_shared<SqlExpression>();
      coalesce->kind = SqlExpression::Kind::kFunction;
      coalesce->name = "coalesce";
      for (const std::size_t place :
           {placeOf(Side::kLeft, shared.left), placeOf(Side::kRight, shared.right)})
        coalesce->arguments.push_back(MakeName({numbered->schema.columns[place].name}, 0));
      select.items.push_back({std::move(coalesce), {}, 0});
    }
    either = *SelectFrom(sql_, numbered, std::move(select));
    std::vector<std::size_t> all(layout.shared.size());
    std::iota(all.begin(), all.end(), std::size_t{0});
    GatherColumns(either, all, Iota(either.rowCount), *joined);
  }
  auto arranged = std::make_shared<Table>();
  arranged->rowCount = joined->rowCount;
  arranged->schema.name = L"join";
  std::vector<std::size_t> places;
  for (const JoinLayout::Column& column : layout.columns) {
    const bool isEither = column.side == Side::kEither;
    const std::size_t place =
        isEither ? gathered + column.index : placeOf(column.side, column.index);
    if (!isEither && place == gathered) continue;
    ColumnInfo info = column.info;
    if (isEither) {
      info = either.schema.columns[column.index];
      info.name = column.info.name;
    }
    places.push_back(place);
    arranged->schema.columns.push_back(std::move(info));
    arranged->schema.origins.push_back(column.origin);
  }
  for (const TableChunk& chunk : joined->chunks) {
    TableChunk& ordered = arranged->chunks.emplace_back();
    ordered.rows = chunk.rows;
    for (const std::size_t place : places) ordered.columns.push_back(chunk.columns[place]);
  }
  return arranged;
}

void RelationRun::Note(const SqlRelation& join, std::size_t keys, const Table& left,
                       const Table& right, const Table& joined) {
  const wchar_t* const kind = join.join == Join::kLeft    ? L"left join "
                              : join.join == Join::kRight ? L"right join "
                              : join.join == Join::kFull  ? L"full join "
                                                          : L"join ";
  if (RunProfile* const profile = RunProfile::Current()) {
    profile->AddRows(RunProfile::Step::kJoin, left.rowCount + right.rowCount, joined.rowCount);
  }
  notes_.push_back(kind + left.schema.name + L", " + right.schema.name + L" by " +
                   std::to_wstring(keys) + (keys == 1 ? L" key: " : L" keys: ") +
                   std::to_wstring(left.rowCount) + L" and " + std::to_wstring(right.rowCount) +
                   L" rows give " + std::to_wstring(joined.rowCount));
}

}  // namespace sqxer
