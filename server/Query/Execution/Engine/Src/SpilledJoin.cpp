#include "SpilledJoin.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <utility>

#include "ChunkBuilder.h"
#include "RunProfile.h"
#include "TableScan.h"

namespace sqxer {
namespace {

/// Rows of the left side that are in memory at a time, and of the result.
constexpr uint64 kRowsOfChunk = uint64{1} << 14;

bool KeepsLeft(JoinKind kind) { return kind == JoinKind::kLeft || kind == JoinKind::kFull; }
bool KeepsRight(JoinKind kind) { return kind == JoinKind::kRight || kind == JoinKind::kFull; }

/// The columns of a joined row, and by what numbers the rows are put in order: that of the left
/// row, and of a right row without a partner, which comes behind all others.
TableSchema ResultsOf(const TableSchema& gathered, std::size_t leftColumns, JoinKind kind) {
  TableSchema schema;
  schema.columns = gathered.columns;
  for (std::size_t i = 0; i < schema.columns.size(); ++i) {
    ColumnInfo& column = schema.columns[i];
    column.nullable = column.nullable || (i < leftColumns ? KeepsRight(kind) : KeepsLeft(kind));
  }
  for (const wchar_t* const name : {L"\x01left", L"\x01right"}) {
    schema.columns.push_back({name, XeUInt4Data, sizeof(uint32), 0, false});
  }
  return schema;
}

/// Of a table that SpilledSide has given: the numbers of its rows.
const uint32* NumbersOf(const Table& table, std::size_t column) {
  if (table.chunks.empty()) return nullptr;
  return reinterpret_cast<const uint32*>(table.chunks.front().columns[column].values);
}

std::vector<std::size_t> Iota(std::size_t count) {
  std::vector<std::size_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), std::size_t{0});
  return numbers;
}

std::vector<ColumnInfo> ColumnsOf(const TableSchema& schema,
                                  const std::vector<std::size_t>& columns) {
  std::vector<ColumnInfo> infos;
  for (const std::size_t column : columns) infos.push_back(schema.columns[column]);
  return infos;
}

}  // namespace

bool RelationRun::SpilledJoin::Takes(const JoinSteps& steps) {
  // Texts of a fixed length have other hashes where the length is another one.
  const auto isFixed = [](XeDataType type) { return type == XeCharData; };
  return !steps.equalities.types.empty() &&
         std::ranges::none_of(TypesOfKeys(steps.equalities), isFixed);
}

RelationRun::SpilledJoin::SpilledJoin(RelationRun& run, JoinSteps steps, Flow left, Flow right)
    : run_(run),
      steps_(std::move(steps)),
      left_(std::move(left)),
      right_(std::move(right)),
      types_(TypesOfKeys(steps_.equalities)),
      results_{ResultsOf(steps_.gathered, steps_.leftColumns.size(), steps_.kind), 0, {}},
      record_(results_.schema.columns),
      sorter_(record_.GetSize(), timer_, false, true),
      note_(run.notes_.size()) {
  run.notes_.emplace_back();
  KeySet rows;
  const std::size_t columns = steps_.gathered.columns.size();
  for (const std::size_t number : {columns, columns + 1}) {
    rows.Add(KeyDesc(record_.GetField(number), kAscending, KeyDesc::GetCharComparisonType()));
  }
  sorter_.SetRowIdSorterMetadata(rows, record_.GetLayout());
  sorter_.SetBufferBytes(SpilledSide::GetBufferBytes());
}

void RelationRun::SpilledJoin::Spill(Flow& flow, const std::vector<std::size_t>& columns,
                                     const Conditions& keys, std::optional<SpilledSide>& side) {
  uint64 before = 0;
  const auto add = [&](const TableRef& rows) {
    const KeyColumns made = run_.Beside(before, [&] { return run_.MakeKeys(rows, keys, types_); });
    if (!side) {
      side.emplace(ColumnsOf(rows->schema, columns), ColumnsOf(made.table->schema, made.columns));
    }
    side->Add(*rows, columns, *made.table, made.columns);
    before += rows->rowCount;
  };
  const TableSchema schema = flow.rows->schema;
  add(std::exchange(flow.rows, nullptr));
  while (const TableChunk* const chunk = flow.rest ? flow.rest->Next() : nullptr) {
    add(TableOfChunk(schema, *chunk));
  }
  flow.rest = nullptr;
  side->EndInput();
}

void RelationRun::SpilledJoin::Join() {
  // The left side comes first, as its errors do.
  Spill(left_, steps_.leftColumns, steps_.equalities.left, leftSide_);
  Spill(right_, steps_.rightColumns, steps_.equalities.right, rightSide_);
  sorter_.BeginInput();
  for (uint32 part = 0; part < SpilledSide::kParts; ++part) JoinPart(part);
  sorter_.EndInput();
  run_.Note(note_, steps_.name, types_.size(), leftSide_->CountRows(), rightSide_->CountRows(),
            joined_);
  leftSide_.reset();
  rightSide_.reset();
}

void RelationRun::SpilledJoin::JoinPart(uint32 part) {
  const auto right =
      std::make_shared<const Table>(rightSide_->Take(part, std::numeric_limits<uint64>::max()));
  const bool keepsRight = KeepsRight(steps_.kind);
  // Those that have a partner.
  std::vector<uint8> paired(keepsRight ? right->rowCount : 0);
  JoinProbe probe({right.get(), rightSide_->GetKeyColumns()},
                  KeepsLeft(steps_.kind) ? JoinKind::kLeft : JoinKind::kInner);
  JoinedRows rows;
  for (;;) {
    const auto left = std::make_shared<const Table>(leftSide_->Take(part, kRowsOfChunk));
    if (left->rowCount == 0) {
      if (keepsRight) KeepUnpaired(*left, *right, paired);
      return;
    }
    probe.Enter(
        {left.get(), leftSide_->GetKeyColumns()},
        run_.MakePairFilter(left, right, steps_.gathered, steps_.others,
                            Iota(steps_.leftColumns.size()), Iota(steps_.rightColumns.size())));
    while (run_.Beside(0, [&] { return probe.Next(rows); })) {
      if (rows.left.empty()) continue;
      Keep(*left, *right, rows);
      for (std::size_t i = 0; keepsRight && i < rows.right.size(); ++i) {
        if (rows.right[i] != kNoJoinRow) paired[rows.right[i]] = 1;
      }
    }
  }
}

void RelationRun::SpilledJoin::KeepUnpaired(const Table& none, const Table& right,
                                            const std::vector<uint8>& paired) {
  JoinedRows rows;
  for (uint32 row = 0; row < paired.size(); ++row) {
    if (!paired[row]) {
      rows.left.push_back(kNoJoinRow);
      rows.right.push_back(row);
    }
    if (rows.left.size() < kRowsOfChunk && row + 1 < paired.size()) continue;
    if (!rows.left.empty()) Keep(none, right, rows);
    rows.left.clear();
    rows.right.clear();
  }
}

void RelationRun::SpilledJoin::Keep(const Table& left, const Table& right, const JoinedRows& rows) {
  TableChunk chunk;
  const std::vector<std::size_t> ofLeft = Iota(steps_.leftColumns.size());
  const std::vector<std::size_t> ofRight = Iota(steps_.rightColumns.size());
  ColumnGather(left, ofLeft, rows.left.size()).Append(rows.left, chunk);
  if (!ofRight.empty()) ColumnGather(right, ofRight, rows.left.size()).Append(rows.right, chunk);
  const std::size_t columns = steps_.gathered.columns.size();
  TableSchema gathered;
  gathered.columns.assign(results_.schema.columns.begin(), results_.schema.columns.end() - 2);
  std::vector<uint16> all(columns);
  std::iota(all.begin(), all.end(), uint16{0});
  TableScan scan(gathered, all, record_);
  scan.Enter(chunk);
  const uint32* const leftNumbers = NumbersOf(left, leftSide_->GetRowColumn());
  const uint32* const rightNumbers = NumbersOf(right, rightSide_->GetRowColumn());
  const auto put = [&](std::size_t field, uint32 number) {
    std::memcpy(record_.GetData() + record_.GetField(field).GetDataOffset(), &number,
                sizeof number);
  };
  for (uint64 row = 0; row < chunk.rows; ++row) {
    scan.Fill(row);
    const bool isPaired = rows.left[row] != kNoJoinRow;
    put(columns, isPaired ? leftNumbers[rows.left[row]] : kNoJoinRow);
    // Pairs of one left row come in their order.
    put(columns + 1, isPaired ? 0 : rightNumbers[rows.right[row]]);
    sorter_.SortRecord(record_.GetData());
  }
  joined_ += chunk.rows;
}

const TableChunk* RelationRun::SpilledJoin::Next() {
  const RunProfile::Scope step(RunProfile::Current(), RunProfile::Step::kJoin);
  const BudgetScope use(MemoryUse::kJoin);
  if (!std::exchange(isJoined_, true)) Join();
  chunk_ = {};
  ChunkBuilder builder(record_.GetLayout(), steps_.gathered.columns.size());
  while (builder.GetRows() < kRowsOfChunk && sorter_.GetRecord(record_.GetData())) {
    builder.Append(record_.GetData());
  }
  if (builder.GetRows() == 0) return nullptr;
  TableChunk gathered = builder.Take();
  chunk_.rows = gathered.rows;
  for (const std::size_t place : steps_.places) chunk_.columns.push_back(gathered.columns[place]);
  return &chunk_;
}

RelationRun::Flow RelationRun::OpenSpilled(JoinSteps steps, const JoinLayout* layout, Flow left,
                                           Flow right) {
  if (layout != nullptr) {
    steps.schema = steps.gathered;
    steps.places = Iota(steps.gathered.columns.size());
  }
  const std::vector<std::size_t> leftColumns = steps.leftColumns;
  const std::vector<std::size_t> rightColumns = steps.rightColumns;
  const TableRef rows = WithoutRows(steps.schema);
  Flow flow{rows, std::make_unique<SpilledJoin>(*this, std::move(steps), std::move(left),
                                                std::move(right))};
  if (layout == nullptr) return flow;
  return OpenMap(std::move(flow), [=, this, layout = *layout](const TableRef& joined) {
    return ArrangeRows(*joined, layout, leftColumns, rightColumns);
  });
}

}  // namespace sqxer
