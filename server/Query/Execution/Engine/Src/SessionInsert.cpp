// INSERT of a session: rows that become those of a table, their values cast to its types.

#include <algorithm>
#include <iterator>

#include "EngineError.h"
#include "PlanError.h"
#include "SessionNames.h"
#include "SessionStatements.h"
#include "SqlNames.h"
#include "SqlParser.h"
#include "TablePath.h"
#include "TableSink.h"
#include "TableSummary.h"

namespace sqxer {
namespace {

/// Columns by numbers, so that each has a name of its own.
Table WithNumberedNames(const Table& table) {
  Table numbered = table;
  numbered.schema.name = L"t";
  numbered.schema.origins.clear();
  for (std::size_t i = 0; i < numbered.schema.columns.size(); ++i) {
    numbered.schema.columns[i].name = NumberedName(i);
  }
  return numbered;
}

/// Of a text with a length that was declared.
bool HasLength(const SqlTypeName& type) {
  return type.precision > 0 && (IsText(type.type) || type.type == XeCharData);
}

/// VALUES whose values have the types of the columns that they go into, but for the lengths of
/// texts, which are checked: literals of several rows need not be of one type then.
SqlQuery CastValues(const SqlQuery& query, const SessionObject& object,
                    const std::vector<std::optional<std::size_t>>& places) {
  SqlQuery cast = query;
  for (std::vector<SqlExpressionPtr>& row : cast.values) {
    for (std::size_t i = 0; i < places.size(); ++i) {
      if (!places[i] || *places[i] >= row.size()) continue;
      SqlTypeName type = object.types[i];
      if (HasLength(type)) type = {XeLongVarCharData};
      row[*places[i]] = MakeSqlCast(row[*places[i]], type);
    }
  }
  return cast;
}

/// Where an item of a query stands, whose value is one that does not fit.
int PlaceOfItem(const SqlQuery& query, std::size_t column, int otherwise) {
  if (query.IsSelect() && column < query.select.items.size()) {
    const SqlExpression& item = *query.select.items[column].expression;
    if (item.kind != SqlExpression::Kind::kStar) return item.position;
  }
  const bool areValues = !query.values.empty() && column < query.values.front().size();
  return areValues ? query.values.front()[column]->position : otherwise;
}

}  // namespace

SessionObject& SessionStatements::FindTable(const SqlPlacedName& name) const {
  const auto found = session_.objects_.find(FoldedName(name.name));
  if (found != session_.objects_.end() && !found->second.IsView()) return found->second;
  if (const wchar_t* const kind = FindKind(name.name))
    ThrowPlanError(kNotInsertable, name.position, {name.name, kind});
  const std::string utf8 = BaseStringUtil::StringToUtf8(name.name);
  const bool isFile = TablePath::Parse(utf8).IsPath() ||
                      !FindFileInFolder(session_.directory_, utf8 + ".csv").empty();
  if (isFile)
    ThrowPlanError(kNotInsertable, name.position, {name.name, L"a file (COPY writes files)"});
  std::vector<XeString> names;
  for (const auto& [key, object] : session_.objects_) {
    if (!object.IsView()) names.push_back(object.name);
  }
  ThrowPlanError(kNoSuchObject, name.position, {L"a table", name.name, Advice(name.name, names)});
}

std::vector<std::optional<std::size_t>> SessionStatements::PlaceColumns(const SqlInsert& insert,
                                                                        const Table& table,
                                                                        std::size_t width) const {
  const std::vector<ColumnInfo>& columns = table.schema.columns;
  std::vector<std::optional<std::size_t>> places(columns.size());
  const std::size_t wanted = insert.columns.empty() ? columns.size() : insert.columns.size();
  if (width > wanted || (width < wanted && !insert.columns.empty()))
    ThrowPlanError(kInsertCount, insert.name.position,
                   {insert.name.name, std::to_wstring(wanted), std::to_wstring(width)});
  for (std::size_t i = 0; i < width; ++i) {
    if (insert.columns.empty()) {
      places[i] = i;
      continue;
    }
    const SqlPlacedName& name = insert.columns[i];
    const auto found = std::ranges::find_if(columns, [&](const ColumnInfo& column) {
      return BaseStringUtil::IsCaseInsensitiveMatch(column.name, name.name);
    });
    if (found == columns.end()) {
      std::vector<XeString> names;
      for (const ColumnInfo& column : columns) names.push_back(column.name);
      ThrowPlanError(kNoSuchColumn, name.position,
                     {insert.name.name, name.name, Advice(name.name, names)});
    }
    std::optional<std::size_t>& place = places[static_cast<std::size_t>(found - columns.begin())];
    if (place) ThrowPlanError(kColumnTwice, name.position, {name.name});
    place = i;
  }
  return places;
}

void SessionStatements::CheckLengths(const Table& rows, const SessionObject& object, int position) {
  const Table numbered = WithNumberedNames(rows);
  for (std::size_t i = 0; i < object.types.size(); ++i) {
    const SqlTypeName& type = object.types[i];
    if (!HasLength(type)) continue;
    const SqlSelect longer =
        ParseSelect("SELECT COUNT(*) FROM t WHERE LENGTH(CAST(c" + std::to_string(i) +
                    " AS VARCHAR)) > " + std::to_string(type.precision));
    RowTexts count;
    RunOver(numbered, longer, count);
    if (count.Get().front() != "0")
      ThrowPlanError(kTextTooLong, position,
                     {object.rows->Get().schema.columns[i].name, std::to_wstring(type.precision)});
  }
}

Table SessionStatements::Assign(const Table& source, const SessionObject& object,
                                const TableSchema& schema,
                                const std::vector<std::optional<std::size_t>>& places,
                                const SqlQuery& query) {
  const Table numbered = WithNumberedNames(source);
  // In the order of the table, before texts are cut to their lengths.
  SqlSelect placed;
  SqlSelect cast;
  for (std::size_t i = 0; i < places.size(); ++i) {
    const int position =
        places[i] ? PlaceOfItem(query, *places[i], query.position) : query.position;
    SqlExpressionPtr value = places[i] ? MakeSqlName({NumberedName(*places[i])}, position)
                                       : MakeSqlCast(MakeSqlNull(position), object.types[i]);
    const SqlTypeName& type = object.types[i];
    const XeDataType given =
        places[i] ? source.schema.columns[*places[i]].type : schema.columns[i].type;
    const bool isSame = given == schema.columns[i].type || (IsText(given) && IsText(type.type));
    // By the names of the table's columns, which errors tell with the values.
    const XeString& name = schema.columns[i].name;
    placed.items.push_back({value, name, position});
    SqlExpressionPtr column = MakeSqlName({name}, position);
    if (!isSame || type.precision != 0) column = MakeSqlCast(std::move(column), type);
    cast.items.push_back({std::move(column), name, position});
  }
  TableSink inOrder;
  RunOver(numbered, placed, inOrder);
  Table& rows = inOrder.GetTable();
  rows.schema.name = L"t";
  CheckLengths(rows, object, query.position);
  TableSink assigned;
  RunOver(rows, cast, assigned);
  return std::move(assigned.GetTable());
}

void SessionStatements::MergeLastChunks(Table& table) {
  constexpr uint64 kMostRows = uint64{1} << 16;
  std::vector<TableChunk>& chunks = table.chunks;
  if (chunks.empty()) return;
  auto first = chunks.end() - 1;
  uint64 rows = first->rows;
  // Each one is at least twice as long as the next one then.
  while (first != chunks.begin() && (first - 1)->rows <= rows &&
         (first - 1)->rows + rows <= kMostRows)
    rows += (--first)->rows;
  if (chunks.end() - first < 2) return;
  Table last{table.schema, rows, {first, chunks.end()}};
  last.schema.name = L"t";
  SqlSelect all;
  for (const ColumnInfo& column : last.schema.columns) {
    all.items.push_back({MakeSqlName({column.name}, 0), column.name, 0});
  }
  TableSink sink;
  RunOver(last, all, sink);
  Table& merged = sink.GetTable();
  if (!std::ranges::equal(merged.schema.columns, last.schema.columns, {}, &ColumnInfo::type,
                          &ColumnInfo::type))
    return;
  chunks.erase(first, chunks.end());
  std::ranges::move(merged.chunks, std::back_inserter(chunks));
}

void SessionStatements::Do(const SqlInsert& insert) {
  SessionObject& object = FindTable(insert.name);
  // The query may read the table: what it sees is the table as it was.
  const std::shared_ptr<LazyTable> before = object.rows;
  const Table& old = before->Get();
  std::vector<std::optional<std::size_t>> places;
  Table source;
  if (insert.query->values.empty()) {
    source = MakeTable(*insert.query);
    places = PlaceColumns(insert, old, source.schema.columns.size());
  } else {
    places = PlaceColumns(insert, old, insert.query->values.front().size());
    source = MakeTable(CastValues(*insert.query, object, places));
  }
  Table rows = Assign(source, object, old.schema, places, *insert.query);
  Table both = old;
  const auto areSame = [](const ColumnInfo& a, const ColumnInfo& b) {
    return a.type == b.type || (IsText(a.type) && IsText(b.type));
  };
  if (!std::ranges::equal(both.schema.columns, rows.schema.columns, areSame)) {
    // Of types that are stored alone, casts make those that are computed.
    std::vector<std::optional<std::size_t>> all(places.size());
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
    both = Assign(old, object, rows.schema, all, *insert.query);
    both.schema.name = old.schema.name;
  }
  for (std::size_t i = 0; i < places.size(); ++i) {
    ColumnInfo& column = both.schema.columns[i];
    const ColumnInfo& added = rows.schema.columns[i];
    column.length = std::max(column.length, added.length);
    column.scale = std::max(column.scale, added.scale);
    column.nullable = column.nullable || added.nullable;
    if (column.type != added.type) column.type = XeLongVarCharData;
  }
  both.rowCount += rows.rowCount;
  for (TableChunk& chunk : rows.chunks) both.chunks.push_back(std::move(chunk));
  MergeLastChunks(both);
  object.rows = std::make_shared<LoadedTable>(std::make_shared<const Table>(std::move(both)));
  Finish("INSERT 0 " + std::to_string(rows.rowCount), rows.rowCount);
}

}  // namespace sqxer
