// How RelationRun puts the columns of a join of two tables side by side.

#include <algorithm>
#include <numeric>

#include "ColumnGather.h"
#include "RelationFlow.h"
#include "RelationSource.h"
#include "RunProfile.h"
#include "SqlNames.h"

namespace sqxer {
namespace {

/// Which of some columns one is; their number where it is none of them.
std::size_t FindPlace(const std::vector<std::size_t>& columns, std::size_t column) {
  return static_cast<std::size_t>(std::ranges::find(columns, column) - columns.begin());
}

/// The integers from 0 on.
std::vector<uint32> Iota(std::size_t count) {
  std::vector<uint32> numbers(count);
  std::iota(numbers.begin(), numbers.end(), 0u);
  return numbers;
}

}  // namespace

TableRef RelationRun::JoinWhole(const JoinSteps& steps, const TableRef& left,
                                const JoinLayout& layout) {
  const TableRef& right = steps.right;
  Table joined;
  joined.schema = steps.gathered;
  const JoinedRows rows = JoinSides(left, right, steps.equalities, steps.kind,
                                    MakePairFilter(left, right, steps.gathered, steps.others,
                                                   steps.leftColumns, steps.rightColumns));
  GatherColumns(*left, steps.leftColumns, rows.left, joined);
  GatherColumns(*right, steps.rightColumns, rows.right, joined);
  joined.rowCount = rows.left.size();
  notes_.emplace_back();
  Note(notes_.size() - 1, steps.name, steps.equalities.left.size(), left->rowCount, right->rowCount,
       joined.rowCount);
  return ArrangeRows(std::move(joined), layout, steps.leftColumns, steps.rightColumns);
}

TableRef RelationRun::ArrangeRows(Table joined, const JoinLayout& layout,
                                  const std::vector<std::size_t>& leftColumns,
                                  const std::vector<std::size_t>& rightColumns) {
  const TableSchema either = AddEither(joined, layout, leftColumns, rightColumns);
  auto arranged = std::make_shared<Table>();
  arranged->rowCount = joined.rowCount;
  const std::vector<std::size_t> places =
      Arrange(layout, leftColumns, rightColumns, &either, arranged->schema);
  for (const TableChunk& chunk : joined.chunks) {
    TableChunk& ordered = arranged->chunks.emplace_back();
    ordered.rows = chunk.rows;
    for (const std::size_t place : places) ordered.columns.push_back(chunk.columns[place]);
  }
  return arranged;
}

TableSchema RelationRun::AddEither(Table& joined, const JoinLayout& layout,
                                   const std::vector<std::size_t>& leftColumns,
                                   const std::vector<std::size_t>& rightColumns) {
  using Side = JoinLayout::Side;
  const bool hasEither = std::ranges::any_of(
      layout.columns, [](const auto& column) { return column.side == Side::kEither; });
  if (!hasEither) return {};
  auto numbered = std::make_shared<Table>(joined);
  SqlSelect select;
  for (std::size_t i = 0; i < joined.schema.columns.size(); ++i) {
    numbered->schema.columns[i].name = L"\x01" + std::to_wstring(i);
    numbered->schema.columns[i].nullable = true;
    numbered->schema.origins[i] = {};
  }
  for (const JoinLayout::Shared& shared : layout.shared) {
    auto coalesce = std::make_shared<SqlExpression>();
    coalesce->kind = SqlExpression::Kind::kFunction;
    coalesce->name = "coalesce";
    for (const std::size_t place : {FindPlace(leftColumns, shared.left),
                                    leftColumns.size() + FindPlace(rightColumns, shared.right)})
      coalesce->arguments.push_back(MakeSqlName({numbered->schema.columns[place].name}, 0));
    select.items.push_back({std::move(coalesce), {}, 0});
  }
  const TableRef either = SelectFrom(sql_, numbered, std::move(select));
  std::vector<std::size_t> all(layout.shared.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  GatherColumns(*either, all, Iota(either->rowCount), joined);
  return either->schema;
}

std::vector<std::size_t> RelationRun::Arrange(const JoinLayout& layout,
                                              const std::vector<std::size_t>& leftColumns,
                                              const std::vector<std::size_t>& rightColumns,
                                              const TableSchema* either, TableSchema& schema) {
  using Side = JoinLayout::Side;
  schema.name = L"join";
  std::vector<std::size_t> places;
  for (const JoinLayout::Column& column : layout.columns) {
    ColumnInfo info = column.info;
    if (column.side == Side::kEither) {
      places.push_back(leftColumns.size() + rightColumns.size() + column.index);
      info = either->columns[column.index];
      info.name = column.info.name;
    } else {
      const bool isLeft = column.side == Side::kLeft;
      const std::vector<std::size_t>& columns = isLeft ? leftColumns : rightColumns;
      const std::size_t place = FindPlace(columns, column.index);
      if (place == columns.size()) continue;
      places.push_back(isLeft ? place : leftColumns.size() + place);
    }
    schema.columns.push_back(std::move(info));
    schema.origins.push_back(column.origin);
  }
  return places;
}

void RelationRun::Note(std::size_t line, const XeString& name, std::size_t keys, uint64 left,
                       uint64 right, uint64 joined) {
  if (RunProfile* const profile = RunProfile::Current()) {
    profile->AddRows(RunProfile::Step::kJoin, left + right, joined);
  }
  notes_[line] = DescribeJoin(name, keys, left, right, joined);
}

}  // namespace sqxer
