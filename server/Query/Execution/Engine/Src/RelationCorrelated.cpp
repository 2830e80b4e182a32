// How RelationRun puts columns in the place of subqueries that read columns of a query around them.

#include "RelationCorrelated.h"

#include <algorithm>
#include <numeric>

#include "ColumnGather.h"
#include "EngineError.h"
#include "NameScope.h"
#include "NumberColumn.h"
#include "PlanError.h"
#include "RelationSource.h"
#include "RelationTypes.h"
#include "TableScan.h"
#include "WorkRecord.h"

namespace sqxer {
namespace {

using Use = SqlExpression::SubqueryUse;

bool IsNot(const SqlExpression& expression) {
  return expression.kind == SqlExpression::Kind::kOperator && expression.name == "not" &&
         expression.arguments.size() == 1;
}

/// An aggregate over nothing but columns from outside is one of the query there.
void RefuseOuterAggregates(const SqlExpression& expression) {
  if (IsAggregateCall(expression) && !expression.arguments.empty()) {
    bool areOuter = true;
    bool isAny = false;
    for (const SqlExpressionPtr& argument : expression.arguments) {
      ForEachName(*argument, false, [&](const SqlExpression& name) {
        areOuter = areOuter && IsOuterName(name);
        isAny = true;
      });
    }
    if (isAny && areOuter)
      RefuseSubquery(expression.position, L"an aggregate of the query around in a subquery");
  }
  ForEachOperand(expression,
                 [](const SqlExpressionPtr& operand) { RefuseOuterAggregates(*operand); });
}

/// The columns by which a SELECT over groups tells them apart.
std::vector<std::size_t> FindKeyColumns(const SqlSelect& select, const TableSchema& schema) {
  const NameScope scope(schema, SqlSelect());
  std::vector<std::size_t> columns;
  const auto add = [&](const SqlExpression& key) {
    if (key.kind != SqlExpression::Kind::kName || !scope.HasTable(key)) return false;
    const int column = scope.FindColumn(key);
    if (column >= 0) columns.push_back(static_cast<std::size_t>(column));
    return column >= 0;
  };
  for (const SqlExpressionPtr& key : select.groupBy) {
    if (add(*key)) continue;
    for (std::size_t i = 0; i < select.items.size(); ++i) {
      if (MeansItem(*key, select, i)) add(*select.items[i].expression);
    }
  }
  return columns;
}

/// Whether GROUP BY names a result.
bool IsKey(const SqlSelect& select, std::size_t item) {
  return std::ranges::any_of(
      select.groupBy, [&](const SqlExpressionPtr& key) { return MeansItem(*key, select, item); });
}

}  // namespace

void RefuseSubquery(int position, const wchar_t* what) {
  ThrowPlanError(kClauseNotUnderstood, position, {what});
}

bool MeansItem(const SqlExpression& key, const SqlSelect& select, std::size_t item) {
  if (key.kind == SqlExpression::Kind::kLiteral)
    return key.literal.text == std::to_wstring(item + 1);
  return key.kind == SqlExpression::Kind::kName && key.path.size() == 1 &&
         BaseStringUtil::IsCaseInsensitiveMatch(select.items[item].alias, key.path[0]);
}

void AddHiddenColumn(Table& table, const XeString& tag, ColumnInfo column) {
  table.schema.columns.push_back(std::move(column));
  table.schema.origins.push_back({{tag}, true, table.schema.columns.size() - 1});
}

void AddHiddenNumbers(Table& table, const XeString& tag, const XeString& name,
                      std::span<const int32> numbers) {
  AddHiddenColumn(table, tag, {name, XeInt4Data, sizeof(int32), 0, false});
  std::size_t first = 0;
  for (TableChunk& chunk : table.chunks) {
    chunk.columns.push_back(MakeNumbers<int32>(numbers.subspan(first, chunk.rows)));
    first += chunk.rows;
  }
}

std::vector<uint32> ReadNumbers(const Table& table, std::size_t column) {
  std::vector<uint32> numbers;
  numbers.reserve(table.rowCount);
  WorkRecord record({table.schema.columns[column]});
  TableScan scan(table.schema, {static_cast<uint16>(column)}, record);
  const uint8* const value = record.GetData() + record.GetField(0).GetDataOffset();
  for (const TableChunk& chunk : table.chunks) {
    scan.Enter(chunk);
    for (uint64 row = 0; row < chunk.rows; ++row) {
      scan.Fill(row);
      std::memcpy(&numbers.emplace_back(), value, sizeof(uint32));
    }
  }
  return numbers;
}

void RelationRun::MakeBaseRows(Base& base) {
  Conditions conditions;
  if (base.select.where) SplitConditions(base.select.where, conditions);
  base.select.where = nullptr;
  for (const SqlExpressionPtr& condition : conditions)
    (HasSubquery(*condition) ? base.late : base.plain).push_back(condition);
  if (!base.from) {
    // One row without columns.
    auto row = std::make_shared<Table>();
    row->rowCount = 1;
    row->chunks.push_back({1, {}});
    AddHiddenNumbers(*row, kGivenTag, L"\x01row", std::vector<int32>{0});
    base.wide.rows = row;
    return;
  }
  SqlSelect reads = base.select;
  reads.where = JoinConditions(conditions);
  for (const Membership& membership : base.memberships)
    reads.items.push_back({membership.value, {}, 0});
  const TableRequest wanted = FindReads(reads, base.from.get());
  const std::unique_ptr<Source> source = MakeSource(*base.from, wanted);
  // A name that several tables have is an error, whichever of them could apply the condition.
  for (const SqlExpressionPtr& condition : base.plain) FindNamedColumns(*condition, source->schema);
  base.wide.rows = MakeRows(*source, wanted, base.plain);
  for (const Membership& membership : base.memberships)
    base.wide.rows = Keep(base.wide.rows, wanted, membership);
  // Without a row there is no error of a subquery.
  Conditions constant;
  std::erase_if(base.plain, [&](const SqlExpressionPtr& condition) {
    const auto columns = FindNamedColumns(*condition, source->schema);
    const bool isTaken = columns && columns->empty() && !HasSubquery(*condition);
    if (isTaken) constant.push_back(condition);
    return isTaken;
  });
  if (!constant.empty()) base.wide.rows = KeepTrue(base.wide.rows, wanted, constant);
  // From here on all columns can be read.
  base.wide.rows = WithColumns(*base.wide.rows, FindWanted(base.wide.rows->schema, wanted));
}

void RelationRun::ApplyLate(Base& base, bool areNeighboursAlone) {
  std::erase_if(base.late, [&](const SqlExpressionPtr& condition) {
    if (areNeighboursAlone && HasOuterName(*condition)) return false;
    KeepRows(base.wide, condition);
    return true;
  });
}

void RelationRun::KeepRows(Widened& wide, const SqlExpressionPtr& condition) {
  const bool isNegated = IsNot(*condition);
  const SqlExpression& subquery = isNegated ? *condition->arguments[0] : *condition;
  const bool isTruth =
      subquery.kind == SqlExpression::Kind::kSubquery && subquery.use != Use::kValue;
  if (!isTruth) {
    const SqlExpressionPtr replaced = ReplaceCorrelated(condition, wide, nullptr);
    wide.rows = KeepTrue(wide.rows, TableRequest(), {replaced});
    return;
  }
  auto settled = std::make_shared<SqlExpression>(subquery);
  for (SqlExpressionPtr& operand : settled->arguments)
    operand = ReplaceCorrelated(operand, wide, nullptr);
  Outer outer = MakeOuter(*settled, wide, nullptr);
  const std::vector<int32> truths = FindTruths(*settled, outer);
  std::vector<uint32> rows;
  for (std::size_t i = 0; i < truths.size(); ++i) {
    if (truths[i] == (isNegated ? 0 : 1)) rows.push_back(static_cast<uint32>(i));
  }
  if (rows.size() == truths.size()) return;
  const std::vector<std::size_t> columns = FindWanted(wide.rows->schema, TableRequest());
  wide.rows = TakeRows(*wide.rows, columns, rows);
}

void RelationRun::ReplaceIn(SqlSelect& select, Widened& wide) {
  if (!HasSubquery(select)) return;
  GroupKeys keys;
  GroupKeys* const groups = MakesGroups(select) ? &keys : nullptr;
  if (groups != nullptr) keys.columns = FindKeyColumns(select, wide.rows->schema);
  const auto replace = [&](SqlExpressionPtr& expression, GroupKeys* over) {
    if (!expression || !HasSubquery(*expression)) return;
    if (over != nullptr && select.hasGroupingSets)
      RefuseSubquery(expression->position,
                     L"a subquery that reads columns of the query around it, with GROUPING SETS");
    expression = ReplaceCorrelated(expression, wide, over);
  };
  for (SqlExpressionPtr& key : select.groupBy) replace(key, nullptr);
  for (std::size_t i = 0; i < select.items.size(); ++i) {
    SqlSelectItem& item = select.items[i];
    const bool isSubquery = item.expression->kind == SqlExpression::Kind::kSubquery;
    if (isSubquery && item.alias.empty()) item.alias = L"?column?";
    replace(item.expression, IsKey(select, i) ? nullptr : groups);
  }
  for (SqlExpressionPtr& key : select.distinctOn) replace(key, groups);
  replace(select.having, groups);
  for (SqlExpressionPtr& key : select.windowKeys) replace(key, groups);
  for (SqlSortItem& item : select.orderBy) replace(item.expression, groups);
  select.groupBy.insert(select.groupBy.end(), keys.added.begin(), keys.added.end());
}

SqlExpressionPtr RelationRun::ReplaceCorrelated(const SqlExpressionPtr& expression, Widened& wide,
                                                GroupKeys* keys) {
  if (!HasSubquery(*expression)) return expression;
  const auto place = std::make_pair(expression.get(), keys != nullptr);
  const auto known = wide.made.find(place);
  if (known != wide.made.end()) return known->second;
  GroupKeys* const within = IsAggregateCall(*expression) ? nullptr : keys;
  SqlExpressionPtr made = WithOperands(*expression, [&](const SqlExpressionPtr& operand) {
    return ReplaceCorrelated(operand, wide, within);
  });
  if (made->kind == SqlExpression::Kind::kSubquery) made = MakeCorrelated(*made, wide, keys);
  kept_.push_back(expression);
  wide.made[place] = made;
  return made;
}

SqlExpressionPtr RelationRun::MakeCorrelated(const SqlExpression& subquery, Widened& wide,
                                             GroupKeys* keys) {
  Outer outer = MakeOuter(subquery, wide, keys);
  auto widened = std::make_shared<Table>(*wide.rows);
  const XeString name = L"\x01" + std::to_wstring(++nextName_);
  // No two sides of a join have a table of the same name.
  const XeString tag = kGivenTag + name;
  SqlExpressionPtr given = MakeSqlName({tag, name}, subquery.position);
  if (keys != nullptr) keys->added.push_back(given);
  if (subquery.use == Use::kValue) {
    std::vector<uint32> rows;
    const TableRef values = FindScalars(subquery, outer, rows);
    ColumnInfo column = values->schema.columns[0];
    column.name = name;
    column.nullable = true;
    AddHiddenColumn(*widened, tag, std::move(column));
    const std::size_t wanted[] = {0};
    ColumnGather gather(*values, wanted, rows.size());
    std::span<const uint32> rest = rows;
    for (TableChunk& chunk : widened->chunks) {
      TableChunk made;
      made.rows = 0;
      gather.Append(rest.first(chunk.rows), made);
      rest = rest.subspan(chunk.rows);
      chunk.columns.push_back(std::move(made.columns[0]));
    }
    wide.rows = widened;
    return given;
  }
  AddHiddenNumbers(*widened, tag, name, FindTruths(subquery, outer));
  wide.rows = widened;
  const int position = subquery.position;
  if (subquery.use != Use::kExists)
    given = MakeSqlFunction("nullif", {given, MakeSqlInteger(kUnknownTruth, position)}, position);
  return MakeSqlOperator("=", {given, MakeSqlInteger(1, position)}, position);
}

SqlExpressionPtr RelationRun::ReplaceBySides(const SqlExpressionPtr& expression, Widened& left,
                                             Widened& right) {
  if (!HasSubquery(*expression)) return expression;
  if (expression->kind != SqlExpression::Kind::kSubquery) {
    return WithOperands(*expression, [&](const SqlExpressionPtr& operand) {
      return ReplaceBySides(operand, left, right);
    });
  }
  for (Widened* const side : {&left, &right}) {
    Names others;
    FindOuterNames(*expression, side->rows->schema, others);
    if (others.empty()) return ReplaceCorrelated(expression, *side, nullptr);
  }
  RefuseSubquery(expression->position,
                 L"a subquery in the ON of an outer join that reads columns of both sides");
}

RelationRun::Outer RelationRun::MakeOuter(const SqlExpression& subquery, const Widened& wide,
                                          GroupKeys* keys) {
  const Table& table = *wide.rows;
  const NameScope scope(table.schema, SqlSelect());
  Names names;
  FindOuterNames(*subquery.query, names);
  std::erase_if(names, [&](const SqlExpression* name) {
    return name->path.size() > 1 ? !scope.HasTable(*name) : scope.FindColumn(*name) < 0;
  });
  for (const SqlExpressionPtr& operand : subquery.arguments) {
    if (keys != nullptr && HasAggregate(*operand))
      RefuseSubquery(operand->position,
                     L"an aggregate compared with a subquery that reads columns of the query "
                     L"around it");
    ForEachName(*operand, false, [&](const SqlExpression& name) { names.push_back(&name); });
  }
  Outer outer;
  outer.tag = L"\x01outer" + std::to_wstring(++nextName_);
  auto rows = std::make_shared<Table>();
  rows->schema.name = L"outer";
  rows->rowCount = table.rowCount;
  for (const TableChunk& chunk : table.chunks) rows->chunks.push_back({chunk.rows, {}});
  SqlReplacements others;
  std::map<std::size_t, XeString> taken;
  const SqlExpression* ungrouped = nullptr;
  for (const SqlExpression* const name : names) {
    const int found = scope.FindColumn(*name);
    if (found < 0) scope.ThrowUnknown(*name);
    const auto column = static_cast<std::size_t>(found);
    const bool isKey = keys == nullptr ||
                       (IsOuterName(*name) && name->path[0].starts_with(kGivenTag)) ||
                       std::ranges::find(keys->columns, column) != keys->columns.end();
    if (!isKey && ungrouped == nullptr) ungrouped = name;
    XeString& own = taken[column];
    if (own.empty()) {
      own = L"\x01" + std::to_wstring(column);
      ColumnInfo info = table.schema.columns[column];
      info.name = own;
      AddHiddenColumn(*rows, outer.tag, std::move(info));
      for (std::size_t i = 0; i < rows->chunks.size(); ++i)
        rows->chunks[i].columns.push_back(table.chunks[i].columns[column]);
    }
    others[name] = MakeSqlName({outer.tag, own}, name->position);
  }
  outer.rows = rows;
  outer.query = WithReplaced(*subquery.query, others);
  keptQueries_.push_back(outer.query);
  ForEachExpression(outer.query->select,
                    [](const SqlExpressionPtr& expression) { RefuseOuterAggregates(*expression); });
  if (ungrouped != nullptr)
    ThrowPlanError(kColumnNotGrouped, ungrouped->position, {ungrouped->path.back()});
  if (!subquery.arguments.empty()) outer.operand = WithReplaced(subquery.arguments[0], others);
  return outer;
}

TableRef RelationRun::FindScalars(const SqlExpression& subquery, Outer& outer,
                                  std::vector<uint32>& rows) {
  const SqlSelect& select = outer.query->select;
  const bool isPlain = outer.query->IsSelect() && !MakesGroups(select) && !HasWindow(select) &&
                       !select.distinct && select.distinctOn.empty() && !select.limit &&
                       !select.offset;
  if (isPlain) {
    outer.numbers.resize(outer.rows->rowCount);
    std::iota(outer.numbers.begin(), outer.numbers.end(), 0u);
  } else {
    MakeDistinct(outer);
  }
  const TableRef values = RunForEach(*outer.query, outer);
  const std::size_t width = values->schema.columns.size() - 1;
  if (width != 1) ThrowPlanError(kSubqueryColumns, subquery.position, {std::to_wstring(width)});
  const std::vector<uint32> numbers = ReadNumbers(*values, width);
  std::vector<uint32> rowOf(outer.rows->rowCount, kNoJoinRow);
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (rowOf[numbers[i]] != kNoJoinRow) {
      const auto count = std::ranges::count(numbers, numbers[i]);
      ErrorMessage error(kSubqueryRows, {std::to_wstring(count)});
      error.SetSourcePosition(subquery.position);
      SUGThrow(std::move(error));
    }
    rowOf[numbers[i]] = static_cast<uint32>(i);
  }
  rows.resize(outer.numbers.size());
  for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = rowOf[outer.numbers[i]];
  return values;
}

}  // namespace sqxer
