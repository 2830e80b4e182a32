// How RelationRun makes one table of what stands in FROM.

#include <algorithm>
#include <numeric>
#include <utility>

#include "ColumnGather.h"
#include "NumberColumn.h"
#include "PlanError.h"
#include "RelationCorrelated.h"
#include "RelationSource.h"
#include "RelationTypes.h"
#include "RunProfile.h"
#include "Session.h"
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

/// Nobody is told of progress, as long as it lives.
class Quiet {
 public:
  explicit Quiet(RunProgress& progress) : progress_(progress), told_(std::move(progress)) {
    progress_ = nullptr;
  }
  ~Quiet() { progress_ = std::move(told_); }
  Quiet(const Quiet&) = delete;
  Quiet& operator=(const Quiet&) = delete;

 private:
  RunProgress& progress_;
  RunProgress told_;
};

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

TableRef RelationRun::Filter(const TableRef& table, const TableRequest& wanted,
                             Conditions& conditions) {
  Conditions mine;
  std::erase_if(conditions, [&](const SqlExpressionPtr& condition) {
    if (HasSubquery(*condition) || !ReadsOnly(*condition, table->schema, false)) return false;
    mine.push_back(condition);
    return true;
  });
  return mine.empty() ? table : KeepTrue(table, WithReads(wanted, conditions), mine);
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
    select.items.push_back({MakeSqlCast(keys[i], {types[i]}), {}, keys[i]->position});
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
    const Quiet quiet(session_.runProgress_);
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

JoinedRows RelationRun::JoinSides(const TableRef& left, const TableRef& right,
                                  const JoinEqualities& equalities, JoinKind kind,
                                  const PairFilter& admits) {
  const KeyColumns leftSide = MakeKeys(left, equalities.left, equalities.types);
  const KeyColumns rightSide = MakeKeys(right, equalities.right, equalities.types);
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
  // What this join reads of its sides; a side adds what is left of the conditions it is given.
  TableRequest ofSides = wanted;
  ofSides.names.insert(ofSides.names.end(), join.sharedColumns.begin(), join.sharedColumns.end());
  if (!isInner) ofSides = WithReads(WithReads(std::move(ofSides), on), conditions);
  TableRef left = MakeRows(*source.left, ofSides, leftConditions);
  TableRef right = MakeRows(*source.right, ofSides, rightConditions);
  const BudgetScope use(MemoryUse::kJoin);
  WidenSides(on, WithReads(WithReads(ofSides, on), conditions), left, right);
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
  const std::vector<std::size_t> leftColumns = FindSome(left->schema, reads);
  const std::vector<std::size_t> rightColumns = FindWanted(right->schema, reads);
  auto joined = std::make_shared<Table>();
  AddColumns(*left, leftColumns, joined->schema);
  AddColumns(*right, rightColumns, joined->schema);
  const JoinedRows rows =
      JoinSides(left, right, equalities, KindOf(join.join),
                MakePairFilter(left, right, joined->schema, others, leftColumns, rightColumns));
  GatherColumns(*left, leftColumns, rows.left, *joined);
  GatherColumns(*right, rightColumns, rows.right, *joined);
  joined->rowCount = rows.left.size();
  Note(join, equalities.left.size(), *left, *right, *joined);
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
        coalesce->arguments.push_back(MakeSqlName({numbered->schema.columns[place].name}, 0));
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
