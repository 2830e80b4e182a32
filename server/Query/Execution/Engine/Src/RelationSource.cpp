#include "RelationSource.h"

#include <algorithm>

#include "ColumnGather.h"
#include "LazyTable.h"
#include "NameScope.h"
#include "PlanError.h"
#include "RelationFlow.h"
#include "RelationTypes.h"
#include "Session.h"
#include "SqlNames.h"
#include "TableReads.h"

namespace sqxer {
namespace {

bool HaveTableInCommon(const std::vector<XeString>& a, const std::vector<XeString>& b,
                       XeString& name) {
  for (const XeString& one : a) {
    for (const XeString& other : b) {
      if (!BaseStringUtil::IsCaseInsensitiveMatch(one, other)) continue;
      name = one;
      return true;
    }
  }
  return false;
}

std::size_t FindShared(const XeString& name, int position, const TableSchema& schema) {
  SqlExpression column;
  column.kind = SqlExpression::Kind::kName;
  column.path = {name};
  column.position = position;
  const NameScope scope(schema, SqlSelect());
  const int found = scope.FindColumn(column);
  if (found < 0) scope.ThrowUnknown(column);
  return static_cast<std::size_t>(found);
}

/// The names that both sides have.
std::vector<XeString> FindNatural(const TableSchema& left, const TableSchema& right) {
  std::vector<XeString> names;
  for (std::size_t i = 0; i < left.columns.size(); ++i) {
    if (left.origins[i].isShared) continue;
    for (std::size_t j = 0; j < right.columns.size(); ++j) {
      const bool isSame =
          !right.origins[j].isShared &&
          BaseStringUtil::IsCaseInsensitiveMatch(left.columns[i].name, right.columns[j].name);
      if (isSame) names.push_back(left.columns[i].name);
    }
  }
  return names;
}

}  // namespace

TableRef WithNames(const Table& table, const XeString& name, std::vector<XeString> tables,
                   const std::vector<XeString>& columns, int position) {
  auto named = std::make_shared<Table>(table);
  TableSchema& schema = named->schema;
  schema.name = name;
  if (columns.size() > schema.columns.size())
    ThrowPlanError(kColumnCount, position,
                   {L"\"" + name + L"\"", std::to_wstring(columns.size()),
                    std::to_wstring(schema.columns.size())});
  for (std::size_t i = 0; i < columns.size(); ++i) schema.columns[i].name = columns[i];
  schema.origins.assign(schema.columns.size(), {std::move(tables)});
  for (std::size_t i = 0; i < schema.origins.size(); ++i) schema.origins[i].place = i;
  return named;
}

TableRef WithoutRows(const TableSchema& schema) {
  auto table = std::make_shared<Table>();
  table->schema = schema;
  return table;
}

TableRef TableOfChunk(const TableSchema& schema, const TableChunk& chunk) {
  auto table = std::make_shared<Table>();
  table->schema = schema;
  table->rowCount = chunk.rows;
  table->chunks.push_back(chunk);
  return table;
}

void AddColumns(const Table& table, std::span<const std::size_t> columns, TableSchema& schema) {
  for (const std::size_t column : columns) {
    schema.columns.push_back(table.schema.columns[column]);
    schema.origins.push_back(table.schema.origins[column]);
  }
}

TableRef WithColumns(const Table& table, std::span<const std::size_t> columns) {
  auto some = std::make_shared<Table>();
  some->schema.name = table.schema.name;
  AddColumns(table, columns, some->schema);
  some->rowCount = table.rowCount;
  for (const TableChunk& chunk : table.chunks) {
    TableChunk& made = some->chunks.emplace_back();
    made.rows = chunk.rows;
    for (const std::size_t column : columns) made.columns.push_back(chunk.columns[column]);
  }
  return some;
}

TableRef TakeRows(const Table& table, std::span<const std::size_t> columns,
                  std::span<const uint32> rows) {
  auto taken = std::make_shared<Table>();
  taken->schema.name = table.schema.name;
  AddColumns(table, columns, taken->schema);
  GatherColumns(table, columns, rows, *taken);
  taken->rowCount = rows.size();
  return taken;
}

std::vector<std::size_t> FindWanted(const TableSchema& schema, const TableRequest& wanted) {
  std::vector<std::size_t> columns;
  for (std::size_t i = 0; i < schema.columns.size(); ++i) {
    const ColumnInfo& column = schema.columns[i];
    if (column.type != XeUnknown && wanted.Wants(column.name)) columns.push_back(i);
  }
  return columns;
}

std::vector<std::size_t> FindSome(const TableSchema& schema, const TableRequest& wanted) {
  std::vector<std::size_t> columns = FindWanted(schema, wanted);
  if (!columns.empty()) return columns;
  const std::vector<std::size_t> all = FindWanted(schema, TableRequest());
  if (!all.empty()) columns.push_back(all.front());
  return columns;
}

TableSchema JoinLayout::GetSchema() const {
  TableSchema schema;
  for (const Column& column : columns) {
    schema.columns.push_back(column.info);
    schema.origins.push_back(column.origin);
  }
  return schema;
}

JoinLayout ArrangeColumns(const SqlRelation& join, const TableSchema& left,
                          const TableSchema& right) {
  using Side = JoinLayout::Side;
  using Join = SqlRelation::Join;
  for (const ColumnOrigin& origin : left.origins) {
    for (const ColumnOrigin& other : right.origins) {
      XeString name;
      if (HaveTableInCommon(origin.tables, other.tables, name))
        ThrowPlanError(kTableNamedTwice, join.position, {name});
    }
  }
  JoinLayout layout;
  const std::vector<XeString> names =
      join.isNatural ? FindNatural(left, right) : join.sharedColumns;
  for (const XeString& name : names) {
    layout.shared.push_back(
        {FindShared(name, join.position, left), FindShared(name, join.position, right)});
  }
  const bool isLeftNull = join.join == Join::kRight || join.join == Join::kFull;
  const bool isRightNull = join.join == Join::kLeft || join.join == Join::kFull;
  const auto add = [&](Side side, std::size_t index, bool isShared) {
    const bool isLeft = side == Side::kLeft;
    const TableSchema& schema = isLeft ? left : right;
    ColumnInfo info = schema.columns[index];
    info.nullable = info.nullable || (isLeft ? isLeftNull : isRightNull);
    ColumnOrigin origin = schema.origins[index];
    origin.isShared = origin.isShared || isShared;
    layout.columns.push_back({side, index, std::move(info), std::move(origin)});
  };
  for (std::size_t i = 0; i < layout.shared.size(); ++i) {
    const JoinLayout::Shared& shared = layout.shared[i];
    if (join.join == Join::kFull) {
      ColumnInfo info = left.columns[shared.left];
      info.nullable = info.nullable || right.columns[shared.right].nullable;
      layout.columns.push_back({Side::kEither, i, std::move(info), {}});
    } else if (join.join == Join::kRight) {
      add(Side::kRight, shared.right, false);
    } else {
      add(Side::kLeft, shared.left, false);
    }
  }
  const auto addRest = [&](Side side, bool ofShared) {
    const TableSchema& schema = side == Side::kLeft ? left : right;
    for (std::size_t i = 0; i < schema.columns.size(); ++i) {
      const bool isShared = std::ranges::any_of(layout.shared, [&](const auto& shared) {
        return (side == Side::kLeft ? shared.left : shared.right) == i;
      });
      const bool isThere = isShared && join.join != Join::kFull &&
                           (side == Side::kRight) == (join.join == Join::kRight);
      if (isShared == ofShared && !isThere) add(side, i, isShared);
    }
  };
  addRest(Side::kLeft, false);
  addRest(Side::kRight, false);
  addRest(Side::kLeft, true);
  addRest(Side::kRight, true);
  return layout;
}

void AddJoinReads(const SqlRelation& relation, TableRequest& wanted) {
  if (relation.kind != SqlRelation::Kind::kJoin) return;
  // Its columns are known only when those of all tables are.
  wanted.all = wanted.all || relation.isNatural;
  wanted.names.insert(wanted.names.end(), relation.sharedColumns.begin(),
                      relation.sharedColumns.end());
  if (relation.condition) {
    SqlSelect condition;
    condition.where = relation.condition;
    const TableRequest read = FindTableReads(condition);
    wanted.all = wanted.all || read.all;
    wanted.names.insert(wanted.names.end(), read.names.begin(), read.names.end());
  }
  AddJoinReads(*relation.left, wanted);
  AddJoinReads(*relation.right, wanted);
}

TableRequest FindReads(const SqlSelect& select, const SqlRelation* from) {
  TableRequest wanted = FindTableReads(select);
  const auto add = [&](const SqlExpression& name) { wanted.names.push_back(name.path.back()); };
  const auto look = [&](const SqlExpressionPtr& expression) {
    if (HasSubquery(*expression)) ForEachName(*expression, true, add);
  };
  ForEachExpression(select, look);
  if (from != nullptr) {
    ForEachCondition(*from, look);
    AddJoinReads(*from, wanted);
  }
  // Rows are counted though nothing of them is read.
  wanted.all = wanted.all || wanted.names.empty();
  return wanted;
}

TableRequest WithReads(TableRequest wanted, const std::vector<SqlExpressionPtr>& conditions) {
  for (const SqlExpressionPtr& condition : conditions) {
    ForEachName(*condition, true,
                [&](const SqlExpression& name) { wanted.names.push_back(name.path.back()); });
  }
  return wanted;
}

TableRequest WantedOf(TableRequest wanted, const std::vector<XeString>& columns) {
  wanted.all = wanted.all || !columns.empty();
  return wanted;
}

TableRequest FindReadsOfKept(const SqlSelect& select, const TableSchema& schema,
                             const TableRequest& wanted) {
  if (wanted.all) return wanted;
  SqlSelect behind = select;
  behind.where = nullptr;
  TableRequest reads = FindReads(behind, nullptr);
  const auto isKnown = [&](const XeString& name) {
    const auto matches = [&](const XeString& other) {
      return BaseStringUtil::IsCaseInsensitiveMatch(name, other);
    };
    return std::ranges::any_of(schema.columns, matches, &ColumnInfo::name) ||
           std::ranges::any_of(select.items, matches, &SqlSelectItem::alias);
  };
  return !reads.all && std::ranges::all_of(reads.names, isKnown) ? reads : wanted;
}

std::unique_ptr<RelationRun::Source> RelationRun::MakeSource(const SqlRelation& relation,
                                                             const TableRequest& wanted,
                                                             const FlowRules& rules) {
  auto source = std::make_unique<Source>();
  source->relation = &relation;
  switch (relation.kind) {
    case SqlRelation::Kind::kTable:
    case SqlRelation::Kind::kQuery:
    case SqlRelation::Kind::kSeries: {
      Flow leaf = relation.kind == SqlRelation::Kind::kTable
                      ? OpenNamed(relation, wanted, true, rules)
                      : OpenLeaf(relation, wanted, rules);
      source->table = std::move(leaf.rows);
      source->rest = std::move(leaf.rest);
      break;
    }
    case SqlRelation::Kind::kJoin:
      source->left = MakeSource(*relation.left, wanted, RulesOfLeft(relation, rules));
      source->right = MakeSource(*relation.right, wanted, RulesOfSide(rules));
      source->schema =
          ArrangeColumns(relation, source->left->schema, source->right->schema).GetSchema();
      around_.push_back(&relation);
      if (relation.condition) {
        if (HasSubquery(*relation.condition)) NoteCorrelated(*relation.condition, source->schema);
        SplitConditions(Replace(relation.condition), source->conditions);
      }
      around_.pop_back();
      // ON knows the tables of its join alone, and those by clear names.
      for (const SqlExpressionPtr& condition : source->conditions) {
        if (!HasSubquery(*condition) && !FindNamedColumns(*condition, source->schema))
          TypeExpression(*condition, source->schema, *this, parameters_);
      }
      return source;
  }
  source->schema = source->table->schema;
  return source;
}

std::unique_ptr<RelationRun::Source> RelationRun::MakeSource(const SqlRelation& relation,
                                                             const TableRequest& wanted) {
  return MakeSource(relation, wanted, FlowRules());
}

TableRef RelationRun::MakeLeaf(const SqlRelation& relation) {
  TableRef& leaf = leaves_[&relation];
  if (leaf) return leaf;
  TableRef rows;
  if (relation.kind == SqlRelation::Kind::kSeries) {
    rows = MakeSeries(relation);
  } else {
    rows = WithLeafNames(*MakeTable(*relation.query), relation);
  }
  leaves_[&relation] = rows;
  return rows;
}

TableRef RelationRun::WithLeafNames(const Table& rows, const SqlRelation& relation) {
  std::vector<XeString> tables;
  if (!relation.alias.empty()) tables.push_back(relation.alias);
  return WithNames(rows, relation.alias.empty() ? L"subquery" : relation.alias, std::move(tables),
                   relation.columns, relation.position);
}

RelationRun::Flow RelationRun::OpenOfSession(const SqlRelation& relation,
                                             const TableRequest& wanted, bool isRead,
                                             const FlowRules& rules) {
  TableRequest request;
  request.all = wanted.all;
  request.names = wanted.names;
  const auto tableOf = [](const std::shared_ptr<LazyTable>& table) {
    return TableRef(table, &table->Get());
  };
  Flow flow;
  if (rules.files) {
    flow.rows = session_.OpenView(relation.table, request, rules, relation.position, flow.rest);
    if (flow.rows) return flow;
    request.onePass = true;
    request.canStartAgain = rules.canStartAgain;
    flow.rows = tableOf(session_.OpenToFlow(relation.table, request, relation.position, flow.rest));
    return flow;
  }
  const TableSchema& schema = *session_.FindTable(relation.table, request);
  const bool hasRows = isRead && !isDry_;
  flow.rows = hasRows ? tableOf(session_.FindOrLoad(relation.table)) : WithoutRows(schema);
  return flow;
}

RelationRun::Flow RelationRun::OpenNamed(const SqlRelation& relation, const TableRequest& wanted,
                                         bool isRead, const FlowRules& rules) {
  Flow flow;
  std::vector<XeString> tables = {relation.alias};
  if (const std::shared_ptr<Common> common = FindCommon(relation.table)) {
    flow = OpenCommon(*common, wanted, rules);
    if (relation.alias.empty()) tables = {common->written->name};
  } else {
    try {
      flow = OpenOfSession(relation, wanted, isRead, rules);
    } catch (ErrorMessage& error) {
      error.SetSourcePosition(relation.position);
      throw;
    }
    if (relation.alias.empty()) tables = {relation.table, flow.rows->schema.name};
  }
  flow.rows =
      WithNames(*flow.rows, relation.alias.empty() ? flow.rows->schema.name : relation.alias,
                std::move(tables), relation.columns, relation.position);
  return flow;
}

}  // namespace sqxer
