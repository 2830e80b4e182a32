// How RelationRun runs a subquery for each of some outer rows at once.

#include <algorithm>
#include <numeric>

#include "ColumnGather.h"
#include "NameScope.h"
#include "PlanError.h"
#include "RelationCorrelated.h"
#include "RelationSource.h"
#include "RelationTypes.h"

namespace sqxer {
namespace {

/// Aggregates take the rows alone for which a condition is true.
SqlExpressionPtr WithFilters(const SqlExpressionPtr& expression, const SqlExpressionPtr& filter) {
  if (!expression) return nullptr;
  SqlExpressionPtr made = WithOperands(
      *expression, [&](const SqlExpressionPtr& operand) { return WithFilters(operand, filter); });
  if (!IsAggregateCall(*made)) return made;
  auto call = std::make_shared<SqlExpression>(*made);
  call->filter =
      call->filter ? MakeSqlOperator("and", {filter, call->filter}, call->position) : filter;
  if (call->star) {
    // As the reader has it.
    call->star = false;
    call->arguments = {MakeSqlInteger(1, call->position)};
  }
  return call;
}

/// Windows have one more key.
SqlExpressionPtr WithWindowKey(const SqlExpressionPtr& expression, const SqlExpressionPtr& key) {
  if (!expression) return nullptr;
  SqlExpressionPtr made = WithOperands(
      *expression, [&](const SqlExpressionPtr& operand) { return WithWindowKey(operand, key); });
  if (!made->over) return made;
  auto call = std::make_shared<SqlExpression>(*made);
  auto window = std::make_shared<SqlWindow>(*call->over);
  window->partitionBy.push_back(key);
  call->over = std::move(window);
  return call;
}

/// What a key of ORDER BY means, of which a window knows the meaning alone.
SqlExpressionPtr ResolveSortKey(const SqlExpressionPtr& key, const SqlSelect& select) {
  for (std::size_t i = 0; i < select.items.size(); ++i) {
    if (MeansItem(*key, select, i)) return select.items[i].expression;
  }
  return key;
}

}  // namespace

void RelationRun::MakeDistinct(Outer& outer) {
  const Table& table = *outer.rows;
  SqlSelect select;
  select.distinct = true;
  std::vector<std::size_t> columns(table.schema.columns.size());
  std::iota(columns.begin(), columns.end(), std::size_t{0});
  for (const ColumnInfo& column : table.schema.columns)
    select.items.push_back({MakeSqlName({outer.tag, column.name}, 0), {}, 0});
  const TableRef different = SelectFrom(sql_, outer.rows, std::move(select));
  const bool isSame = std::ranges::equal(table.schema.columns, different->schema.columns, {},
                                         &ColumnInfo::type, &ColumnInfo::type);
  std::vector<uint32> firstRows;
  outer.numbers.resize(table.rowCount);
  if (isSame) {
    const JoinedRows rows =
        JoinRows({outer.rows.get(), columns}, {different.get(), columns}, JoinKind::kLeft, nullptr);
    std::vector<uint32> numberOf(different->rowCount, kNoJoinRow);
    for (std::size_t i = 0; i < rows.left.size(); ++i) {
      // A row with a NULL equals none: it is one of its own.
      uint32 own = kNoJoinRow;
      uint32& number = rows.right[i] == kNoJoinRow ? own : numberOf[rows.right[i]];
      if (number == kNoJoinRow) {
        number = static_cast<uint32>(firstRows.size());
        firstRows.push_back(rows.left[i]);
      }
      outer.numbers[rows.left[i]] = number;
    }
  } else {
    firstRows.resize(table.rowCount);
    std::iota(firstRows.begin(), firstRows.end(), 0u);
    outer.numbers = firstRows;
  }
  outer.rows = TakeRows(*outer.rows, columns, firstRows);
}

TableRef RelationRun::RunForEach(const SqlQuery& query, const Outer& outer) {
  const Scope scope = scope_;
  AddCommon(query);
  TableRef rows;
  if (query.IsSelect()) {
    Base base = StudyQuery(query);
    rows = SelectForEach(base, outer);
  } else {
    if (!query.values.empty())
      RefuseSubquery(query.position, L"VALUES that read columns of the query around them");
    if (query.limit || query.offset)
      RefuseSubquery(query.position,
                     L"LIMIT of several queries that read columns of the query around them");
    rows = Combine(query, RunForEach(*query.left, outer), RunForEach(*query.right, outer));
  }
  CheckUnused(query);
  scope_ = scope;
  return rows;
}

TableRef RelationRun::SelectForEach(Base& base, const Outer& outer) {
  SqlSelect& select = base.select;
  const int position = select.items[0].position;
  if (!select.distinctOn.empty() || select.hasGroupingSets)
    RefuseSubquery(position,
                   L"DISTINCT ON and GROUPING SETS in a subquery that reads columns of the query "
                   L"around it");
  const bool isLimited = select.limit || select.offset;
  if (isLimited && select.distinct)
    RefuseSubquery(position,
                   L"DISTINCT with LIMIT in a subquery that reads columns of the query around it");
  for (const SqlExpressionPtr& count : {select.limit, select.offset}) {
    if (count && (HasOuterName(*count) || HasSubquery(*count)))
      RefuseSubquery(count->position, L"LIMIT and OFFSET that read columns of the query around");
  }
  MakeBaseRows(base);
  ApplyLate(base, true);

  // The rows beside the outer rows that they belong to.
  auto numbered = std::make_shared<Table>(*outer.rows);
  std::vector<int32> numbers(outer.rows->rowCount);
  std::iota(numbers.begin(), numbers.end(), 0);
  AddHiddenNumbers(*numbered, outer.tag, kOuterNumber, numbers);
  SqlRelation join;
  join.kind = SqlRelation::Kind::kJoin;
  join.position = base.from ? base.from->position : position;
  Source source;
  source.relation = &join;
  source.left = std::make_unique<Source>();
  source.left->table = numbered;
  source.right = std::make_unique<Source>();
  source.right->table = base.wide.rows;
  SqlSelect reads = select;
  Conditions conditions = base.plain;
  conditions.insert(conditions.end(), base.late.begin(), base.late.end());
  reads.where = JoinConditions(conditions);
  TableRequest wanted = FindReads(reads, nullptr);
  for (const ColumnInfo& column : numbered->schema.columns) wanted.names.push_back(column.name);
  base.wide.rows = MakeJoin(source, wanted, base.plain);
  ApplyLate(base, false);

  const SqlExpressionPtr number = MakeSqlName({outer.tag, kOuterNumber}, position);
  const auto map = [&](const auto& change) {
    MapExpressions(select, [&](const SqlExpressionPtr& part) { return change(part); });
  };
  if (MakesGroups(select)) {
    if (select.groupBy.empty()) {
      base.wide.rows = AddEmptyGroups(base.wide.rows, outer);
      const SqlExpressionPtr isThere = MakeSqlOperator(
          "not",
          {MakeSqlOperator("is null", {MakeSqlName({outer.tag, kOuterMark}, position)}, position)},
          position);
      map([&](const SqlExpressionPtr& part) { return WithFilters(part, isThere); });
    }
    for (const ColumnInfo& column : numbered->schema.columns)
      select.groupBy.push_back(MakeSqlName({outer.tag, column.name}, position));
  }
  ReplaceIn(select, base.wide);
  map([&](const SqlExpressionPtr& part) { return WithWindowKey(part, number); });
  select.items.push_back({number, L"\x01number", position});
  select.where = JoinConditions(base.plain);
  SqlSelect limits;
  limits.limit = std::exchange(select.limit, nullptr);
  limits.offset = std::exchange(select.offset, nullptr);
  std::vector<SqlSortItem> order = std::exchange(select.orderBy, {});
  if (isLimited) {
    for (const SqlSortItem& item : order) {
      const SqlExpressionPtr key = ResolveSortKey(item.expression, select);
      select.items.push_back({key, L"\x01key", position});
    }
  }
  select.tableAlias.clear();
  const TableRef rows = SelectFrom(sql_, base.wide.rows, std::move(select));
  notes_.push_back(L"subquery for " + std::to_wstring(outer.rows->rowCount) +
                   L" different rows around gives " + std::to_wstring(rows->rowCount));
  if (!isLimited) return rows;
  limits.orderBy = std::move(order);
  return KeepFirstRows(rows, limits);
}

TableRef RelationRun::AddEmptyGroups(const TableRef& rows, const Outer& outer) {
  const std::size_t width = outer.rows->schema.columns.size();
  const NameScope scope(rows->schema, SqlSelect());
  const auto numberColumn =
      static_cast<std::size_t>(scope.FindColumn(*MakeSqlName({outer.tag, kOuterNumber}, 0)));
  std::vector<uint32> ofOuter = ReadNumbers(*rows, numberColumn);
  std::vector<uint32> ofRows(ofOuter.size());
  std::iota(ofRows.begin(), ofRows.end(), 0u);
  std::vector<uint8> isThere(outer.rows->rowCount);
  for (const uint32 number : ofOuter) isThere[number] = 1;
  for (uint32 number = 0; number < isThere.size(); ++number) {
    if (isThere[number] != 0) continue;
    ofOuter.push_back(number);
    ofRows.push_back(kNoJoinRow);
  }
  auto marked = std::make_shared<Table>(*rows);
  std::vector<int32> numbers(rows->rowCount);
  std::iota(numbers.begin(), numbers.end(), 0);
  AddHiddenNumbers(*marked, outer.tag, kOuterMark, numbers);
  std::vector<std::size_t> columns;
  for (std::size_t i = 0; i < marked->schema.columns.size(); ++i) {
    const bool isOuter = marked->schema.origins[i].tables == std::vector{outer.tag} &&
                         marked->schema.columns[i].name != kOuterMark;
    if (!isOuter && marked->schema.columns[i].type != XeUnknown) columns.push_back(i);
  }
  auto numbered = std::make_shared<Table>(*outer.rows);
  std::vector<int32> all(outer.rows->rowCount);
  std::iota(all.begin(), all.end(), 0);
  AddHiddenNumbers(*numbered, outer.tag, kOuterNumber, all);
  std::vector<std::size_t> outerColumns(width + 1);
  std::iota(outerColumns.begin(), outerColumns.end(), std::size_t{0});
  auto both = std::make_shared<Table>();
  const auto add = [&](const Table& table, const std::vector<std::size_t>& wanted,
                       const std::vector<uint32>& from, bool isNullable) {
    for (const std::size_t column : wanted) {
      ColumnInfo info = table.schema.columns[column];
      info.nullable = info.nullable || isNullable;
      both->schema.columns.push_back(std::move(info));
      both->schema.origins.push_back(table.schema.origins[column]);
    }
    GatherColumns(table, wanted, from, *both);
  };
  add(*numbered, outerColumns, ofOuter, false);
  add(*marked, columns, ofRows, true);
  both->rowCount = ofOuter.size();
  return both;
}

TableRef RelationRun::KeepFirstRows(const TableRef& rows, const SqlSelect& limits) {
  // Behind the columns stands the outer row, and then the keys of the order.
  const std::size_t all = rows->schema.columns.size();
  const std::size_t width = all - limits.orderBy.size();
  auto named = std::make_shared<Table>(*rows);
  named->schema.origins.assign(all, {});
  const auto nameOf = [](std::size_t column) {
    return MakeSqlName({L"\x01" + std::to_wstring(column)}, 0);
  };
  for (std::size_t i = 0; i < all; ++i) named->schema.columns[i].name = nameOf(i)->path[0];
  auto window = std::make_shared<SqlWindow>();
  window->partitionBy = {nameOf(width - 1)};
  for (std::size_t i = width; i < all; ++i) {
    const SqlSortItem& item = limits.orderBy[i - width];
    window->orderBy.push_back({nameOf(i), item.order, item.nulls});
  }
  auto place = std::make_shared<SqlExpression>();
  place->kind = SqlExpression::Kind::kFunction;
  place->name = "row_number";
  place->over = std::move(window);
  SqlSelect numbering;
  SqlSelect select;
  for (std::size_t i = 0; i < width; ++i) {
    numbering.items.push_back({nameOf(i), {}, 0});
    select.items.push_back({nameOf(i), {}, 0});
  }
  numbering.items.push_back({place, nameOf(all)->path[0], 0});
  const TableRef numbered = SelectFrom(sql_, named, std::move(numbering));
  Conditions conditions;
  SqlExpressionPtr last = limits.limit;
  if (limits.offset) {
    const int position = limits.offset->position;
    conditions.push_back(MakeSqlOperator(">", {nameOf(all), limits.offset}, position));
    if (last) last = MakeSqlOperator("+", {last, limits.offset}, position);
  }
  if (last) conditions.push_back(MakeSqlOperator("<=", {nameOf(all), last}, last->position));
  select.where = JoinConditions(conditions);
  return SelectFrom(sql_, numbered, std::move(select));
}

}  // namespace sqxer
