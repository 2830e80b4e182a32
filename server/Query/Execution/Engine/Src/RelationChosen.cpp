// Queries that choose columns and rows of one table: where they choose columns alone their rows are
// those of the table, and what nobody reads of them is not read there.

#include <algorithm>
#include <set>
#include <utility>

#include "NameScope.h"
#include "RelationFlow.h"
#include "RelationSource.h"
#include "RelationTypes.h"
#include "SessionObject.h"
#include "SqlNames.h"

namespace sqxer {
namespace {

bool IsStar(const SqlSelectItem& item) {
  return item.expression->kind == SqlExpression::Kind::kStar && item.expression->path.empty();
}

bool IsColumn(const SqlSelectItem& item) {
  return item.expression->kind == SqlExpression::Kind::kName && item.expression->path.size() == 1;
}

/// By which name a column of the result is known, letter case ignored.
const XeString& NameOf(const SqlSelectItem& item) {
  return item.alias.empty() ? item.expression->path.front() : item.alias;
}

/// Which columns of a table a select list gives, as far as they were read or stand for themselves,
/// and what they are then; nothing where a name is not that of a column, or two have one name.
std::optional<std::vector<std::size_t>> FindPlaces(const SqlSelect& select,
                                                   const TableSchema& table, bool needsAll,
                                                   TableSchema& schema) {
  std::vector<std::size_t> places;
  const auto add = [&](std::size_t column, const XeString& name) {
    places.push_back(column);
    schema.columns.push_back(table.columns[column]);
    schema.columns.back().name = name;
  };
  for (const SqlSelectItem& item : select.items) {
    if (IsStar(item)) {
      for (std::size_t i = 0; i < table.columns.size(); ++i) add(i, table.columns[i].name);
      continue;
    }
    const int column = NameScope(table, SqlSelect()).FindColumn(*item.expression);
    if (column < 0 && needsAll) return std::nullopt;
    if (column < 0) continue;
    const auto place = static_cast<std::size_t>(column);
    add(place, item.alias.empty() ? table.columns[place].name : item.alias);
  }
  std::set<XeString> names;
  const bool areNamesOnce = std::ranges::all_of(schema.columns, [&](const ColumnInfo& column) {
    return names.insert(FoldedName(column.name)).second;
  });
  if (!areNamesOnce) return std::nullopt;
  schema.origins.resize(places.size());
  return places;
}

TableRef WithPlaces(const Table& rows, const std::vector<std::size_t>& places,
                    const TableSchema& schema) {
  auto chosen = std::make_shared<Table>(Table{schema, rows.rowCount, {}});
  for (const TableChunk& chunk : rows.chunks) {
    TableChunk& made = chosen->chunks.emplace_back();
    made.rows = chunk.rows;
    for (const std::size_t place : places) made.columns.push_back(chunk.columns[place]);
  }
  return chosen;
}

}  // namespace

RelationRun::Flow RelationRun::OpenChosen(const SqlQuery& query, const TableRequest& wanted,
                                          const FlowRules& rules) {
  const SqlSelect& select = query.select;
  const bool isChoice =
      !isDry_ && PassesRowsOn(query) && query.from->kind == SqlRelation::Kind::kTable &&
      query.from->columns.empty() && std::ranges::all_of(select.items, [](const auto& item) {
        return IsStar(item) || IsColumn(item);
      });
  if (!isChoice) return {};
  TableRequest kept;
  kept.all = false;
  for (const SqlSelectItem& item : select.items) {
    if (!IsStar(item)) {
      if (wanted.Wants(NameOf(item))) kept.names.push_back(item.expression->path.front());
    } else if (wanted.all) {
      kept.all = true;
    } else {
      kept.names.insert(kept.names.end(), wanted.names.begin(), wanted.names.end());
    }
  }
  Conditions conditions;
  if (select.where) SplitConditions(select.where, conditions);
  const bool isFiltered = !conditions.empty();
  const TableRequest reads = WithReads(kept, conditions);
  if (reads.names.empty() && !reads.all) return {};
  Flow flow = OpenNamed(*query.from, reads, true, rules);
  // Whatever is wrong with a name is told where all columns are made, and so is the value of a
  // condition that reads none.
  TableSchema ignored;
  Conditions others = conditions;
  TakeConditionsOf(flow.rows->schema, others);
  if (!others.empty() || !FindPlaces(select, flow.rows->schema, true, ignored)) return {};
  flow = OpenFilter(std::move(flow), kept, conditions);
  TableSchema schema;
  schema.name = flow.rows->schema.name;
  // Of what was filtered the columns are left that are wanted.
  const auto places = FindPlaces(select, flow.rows->schema, !isFiltered, schema);
  if (!places) return {};
  if (!flow.rest) return {WithPlaces(*flow.rows, *places, schema), nullptr};
  return OpenMap(std::move(flow), [places = *places, schema](const TableRef& rows) {
    return WithPlaces(*rows, places, schema);
  });
}

}  // namespace sqxer
