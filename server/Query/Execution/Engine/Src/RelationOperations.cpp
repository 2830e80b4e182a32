// How RelationRun puts the rows of several queries together: UNION, INTERSECT, EXCEPT and VALUES.

#include <algorithm>

#include "ColumnGather.h"
#include "PlanError.h"
#include "RelationSource.h"
#include "RelationTypes.h"
#include "Session.h"
#include "SqlNames.h"
#include "TableScan.h"
#include "TableSink.h"
#include "WorkRecord.h"

namespace sqxer {
namespace {

std::string Concat(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text += part;
  return text;
}

/// A name for a column by its number, which statements of our own use.
std::string NumberedName(std::size_t column) { return Concat({"c", std::to_string(column)}); }

TableRef WithNumberedNames(const Table& table) {
  auto numbered = std::make_shared<Table>(table);
  numbered->schema.name = L"t";
  for (std::size_t i = 0; i < numbered->schema.columns.size(); ++i)
    numbered->schema.columns[i].name = Wide(NumberedName(i));
  numbered->schema.origins.assign(numbered->schema.columns.size(), {{L"t"}, false});
  return numbered;
}

std::string NumberedList(std::size_t columns) {
  std::string list;
  for (std::size_t i = 0; i < columns; ++i) list.append(i > 0 ? ", " : "").append(NumberedName(i));
  return list;
}

/// Which columns of a query are nothing but the word NULL.
std::vector<bool> FindOpenNulls(const SqlQuery& query, std::size_t columns) {
  std::vector<bool> open(columns);
  const bool areItems = query.IsSelect() && query.select.items.size() == columns;
  for (std::size_t i = 0; areItems && i < columns; ++i) {
    const SqlExpression& item = *query.select.items[i].expression;
    open[i] =
        item.kind == SqlExpression::Kind::kLiteral && item.literal.kind == SqlLiteral::Kind::kNull;
  }
  return open;
}

/// What several tables become that stand one below the other.
struct Columns {
  std::vector<ColumnInfo> columns;
  std::vector<bool> areOpen;
};

/// Adds the types of another table. Errors 58081 and 58082.
void Meet(Columns& all, const Columns& more, int position, const wchar_t* what) {
  if (more.columns.size() != all.columns.size())
    ThrowPlanError(
        kColumnCount, position,
        {what, std::to_wstring(all.columns.size()), std::to_wstring(more.columns.size())});
  for (std::size_t i = 0; i < all.columns.size(); ++i) {
    ColumnInfo& column = all.columns[i];
    const ColumnInfo& other = more.columns[i];
    const XeString name = column.name;
    if (all.areOpen[i]) {
      column = other;
      column.name = name;
      column.nullable = true;
      all.areOpen[i] = more.areOpen[i];
      continue;
    }
    column.nullable = column.nullable || other.nullable || more.areOpen[i];
    if (more.areOpen[i]) continue;
    const std::optional<XeDataType> type = FindCommonType(column, other);
    if (!type)
      ThrowPlanError(
          kColumnsDoNotMeet, position,
          {std::to_wstring(i + 1), Wide(CastName(column.type)), Wide(CastName(other.type))});
    if (*type != column.type && *type == other.type) column.length = other.length;
    column.type = *type;
    column.length = std::max(column.length, other.length);
    column.scale = std::max(column.scale, other.scale);
  }
}

}  // namespace

TableRef RelationRun::CastTo(const TableRef& table, const std::vector<ColumnInfo>& columns) {
  std::string items;
  bool isNeeded = false;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const bool isOther = table->schema.columns[i].type != columns[i].type;
    isNeeded = isNeeded || isOther;
    if (i > 0) items.append(", ");
    if (isOther) items.append("CAST(");
    items.append(NumberedName(i));
    if (isOther) items.append(" AS ").append(CastName(columns[i].type)).append(")");
  }
  const TableRef numbered = WithNumberedNames(*table);
  return isNeeded ? SelectText(Concat({"SELECT ", items, " FROM t"}), numbered) : numbered;
}

TableRef RelationRun::Stack(const std::vector<TableRef>& tables,
                            const std::vector<ColumnInfo>& columns) {
  auto stacked = std::make_shared<Table>();
  stacked->schema.name = L"union";
  stacked->schema.columns = columns;
  for (const TableRef& table : tables) {
    const TableRef cast = CastTo(table, columns);
    for (std::size_t i = 0; i < columns.size(); ++i) {
      ColumnInfo& column = stacked->schema.columns[i];
      column.length = std::max(column.length, cast->schema.columns[i].length);
      column.nullable = column.nullable || cast->schema.columns[i].nullable;
    }
    stacked->chunks.insert(stacked->chunks.end(), cast->chunks.begin(), cast->chunks.end());
    stacked->rowCount += cast->rowCount;
  }
  stacked->schema.origins.assign(columns.size(), {});
  return stacked;
}

TableRef RelationRun::MakeOperation(const SqlQuery& query) {
  const TableRef left = MakeTable(*query.left);
  return Combine(query, left, MakeTable(*query.right));
}

TableRef RelationRun::Combine(const SqlQuery& query, const TableRef& left, const TableRef& right) {
  using Operation = SqlQuery::Operation;
  const wchar_t* const kind = query.operation == Operation::kUnion       ? L"union"
                              : query.operation == Operation::kIntersect ? L"intersect"
                                                                         : L"except";
  notes_.push_back(kind + XeString(query.keepsAll ? L" all of " : L" of ") +
                   std::to_wstring(left->rowCount) + L" and " + std::to_wstring(right->rowCount) +
                   L" rows");
  const auto columnsOf = [](const SqlQuery& side, const Table& rows) {
    return Columns{rows.schema.columns, FindOpenNulls(side, rows.schema.columns.size())};
  };
  Columns all = columnsOf(*query.left, *left);
  Meet(all, columnsOf(*query.right, *right), query.position,
       L"each side of a UNION, INTERSECT or EXCEPT");
  if (query.operation == Operation::kUnion) {
    const TableRef rows = Stack({left, right}, all.columns);
    if (query.keepsAll) return rows;
    const std::string list = NumberedList(all.columns.size());
    const TableRef distinct =
        SelectText(Concat({"SELECT DISTINCT ", list, " FROM t"}), WithNumberedNames(*rows));
    return WithColumnNames(*distinct, all.columns);
  }
  // Which side a row is of goes into a column of its own; groups of equal rows count both.
  const std::size_t width = all.columns.size();
  const std::string list = NumberedList(width);
  std::vector<TableRef> sides;
  for (const TableRef& side : {left, right}) {
    const char* const number = sides.empty() ? ", 0 FROM t" : ", 1 FROM t";
    sides.push_back(SelectText(Concat({"SELECT ", list, number}),
                               WithNumberedNames(*CastTo(side, all.columns))));
  }
  std::vector<ColumnInfo> marked = sides[0]->schema.columns;
  const TableRef both = Stack(sides, marked);
  const std::string side = NumberedName(width);
  const bool isIntersection = query.operation == Operation::kIntersect;
  const TableRef counted = WithNumberedNames(
      *SelectText(Concat({"SELECT ", list, ", COUNT(*) FILTER (WHERE ", side,
                          " = 0), COUNT(*) FILTER (WHERE ", side, " = 1) FROM t GROUP BY ", list}),
                  WithNumberedNames(*both)));
  const std::vector<uint32> rows = ChooseRows(*counted, width, [&](uint64 here, uint64 there) {
    const uint64 kept = isIntersection   ? std::min(here, there)
                        : query.keepsAll ? here - std::min(here, there)
                        : there == 0     ? here
                                         : 0;
    return query.keepsAll ? kept : std::min<uint64>(kept, 1);
  });
  std::vector<std::size_t> wanted(width);
  for (std::size_t i = 0; i < width; ++i) wanted[i] = i;
  auto made = std::make_shared<Table>();
  made->schema.columns.assign(counted->schema.columns.begin(),
                              counted->schema.columns.begin() + static_cast<std::ptrdiff_t>(width));
  made->rowCount = rows.size();
  GatherColumns(*counted, wanted, rows, *made);
  return WithColumnNames(*made, all.columns);
}

TableRef RelationRun::WithColumnNames(const Table& table, const std::vector<ColumnInfo>& columns) {
  std::vector<XeString> names;
  for (const ColumnInfo& column : columns) names.push_back(column.name);
  return WithNames(table, L"union", {}, names, 0);
}

std::vector<uint32> RelationRun::ChooseRows(
    const Table& counted, std::size_t firstCount,
    const std::function<uint64(uint64 left, uint64 right)>& count) {
  std::vector<uint32> rows;
  WorkRecord record({counted.schema.columns[firstCount], counted.schema.columns[firstCount + 1]});
  TableScan scan(counted.schema,
                 {static_cast<uint16>(firstCount), static_cast<uint16>(firstCount + 1)}, record);
  const auto read = [&](std::size_t field) {
    uint32 value;
    std::memcpy(&value, record.GetData() + record.GetField(field).GetDataOffset(), sizeof value);
    return uint64{value};
  };
  uint32 next = 0;
  for (const TableChunk& chunk : counted.chunks) {
    scan.Enter(chunk);
    for (uint64 row = 0; row < chunk.rows; ++row, ++next) {
      scan.Fill(row);
      rows.insert(rows.end(), count(read(0), read(1)), next);
    }
  }
  return rows;
}

TableRef RelationRun::MakeValues(const SqlQuery& query) {
  std::vector<TableRef> rows;
  Columns all;
  for (const std::vector<SqlExpressionPtr>& written : query.values) {
    SqlQuery row;
    for (const SqlExpressionPtr& value : written) {
      row.select.items.push_back({Replace(value),
                                  L"column" + std::to_wstring(row.select.items.size() + 1),
                                  value->position});
    }
    if (isDry_) row.select.where = MakeSqlFalse();
    TableSink sink;
    session_.RunSelect(sql_, row.select, this, sink, 1);
    rows.push_back(std::make_shared<const Table>(std::move(sink.GetTable())));
    Columns columns{rows.back()->schema.columns,
                    FindOpenNulls(row, rows.back()->schema.columns.size())};
    if (rows.size() == 1) {
      all = std::move(columns);
    } else {
      Meet(all, columns, query.position, L"each row of VALUES");
    }
  }
  return Stack(rows, all.columns);
}

}  // namespace sqxer
