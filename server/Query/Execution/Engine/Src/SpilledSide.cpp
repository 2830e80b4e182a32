#include "SpilledSide.h"

#include <cstring>
#include <numeric>

#include "ChunkBuilder.h"
#include "ColumnGather.h"
#include "RecordKeys.h"
#include "TableJoin.h"
#include "TableScan.h"
#include "Utility/Cancellation.h"
#include "Utility/StatementBudget.h"

namespace sqxer {
namespace {

std::vector<ColumnInfo> FieldsOf(const std::vector<ColumnInfo>& columns,
                                 const std::vector<ColumnInfo>& keys) {
  std::vector<ColumnInfo> fields = columns;
  fields.insert(fields.end(), keys.begin(), keys.end());
  for (const wchar_t* const name : {L"\x01row", L"\x01part"}) {
    fields.push_back({name, XeUInt4Data, sizeof(uint32), 0, false});
  }
  return fields;
}

}  // namespace

SpilledSide::SpilledSide(const std::vector<ColumnInfo>& columns,
                         const std::vector<ColumnInfo>& keys)
    : columns_(columns.size()),
      row_(columns.size() + keys.size()),
      fields_(FieldsOf(columns, keys)),
      record_(fields_),
      sorter_(std::in_place, record_.GetSize(), timer_, false, true) {
  for (std::size_t i = columns_; i < row_; ++i) {
    keys_.Add(KeyDesc(record_.GetField(i), kAscending, KeyDesc::GetCharComparisonType()));
  }
  KeySet part;
  part.Add(KeyDesc(record_.GetField(row_ + 1), kAscending, KeyDesc::GetCharComparisonType()));
  sorter_->SetRowIdSorterMetadata(part, record_.GetLayout());
  sorter_->SetBufferBytes(GetBufferBytes());
  sorter_->BeginInput();
}

std::size_t SpilledSide::GetBufferBytes() {
  // There are two sides and the joined rows, and beside them a part of the right side.
  return StatementBudget::CapShare(std::size_t{16} << 20, 16);
}

std::vector<std::size_t> SpilledSide::GetKeyColumns() const {
  std::vector<std::size_t> places(row_ - columns_);
  std::iota(places.begin(), places.end(), columns_);
  return places;
}

void SpilledSide::Add(const Table& table, const std::vector<std::size_t>& columns,
                      const Table& keyTable, const std::vector<std::size_t>& keys) {
  ColumnGather gatherKeys(keyTable, keys, table.rowCount);
  std::vector<uint32> numbers;
  uint32 first = 0;
  for (const TableChunk& chunk : table.chunks) {
    TableChunk both;
    both.rows = chunk.rows;
    for (const std::size_t column : columns) both.columns.push_back(chunk.columns[column]);
    numbers.resize(chunk.rows);
    std::iota(numbers.begin(), numbers.end(), first);
    first += static_cast<uint32>(chunk.rows);
    if (chunk.rows != 0) gatherKeys.Append(numbers, both);
    if (chunk.rows != 0) AddChunk(both);
  }
}

void SpilledSide::AddChunk(const TableChunk& chunk) {
  constexpr uint64 kRowsPerCheck = 4096;
  TableSchema schema;
  schema.columns.assign(fields_.begin(), fields_.begin() + static_cast<std::ptrdiff_t>(row_));
  std::vector<uint16> all(row_);
  std::iota(all.begin(), all.end(), uint16{0});
  TableScan scan(schema, all, record_);
  scan.Enter(chunk);
  const auto put = [&](std::size_t field, uint32 value) {
    std::memcpy(record_.GetData() + record_.GetField(field).GetDataOffset(), &value, sizeof value);
  };
  for (uint64 i = 0; i < chunk.rows; ++i, ++rows_) {
    if (i % kRowsPerCheck == 0) Cancellation::Check();
    scan.Fill(i);
    put(row_, static_cast<uint32>(rows_));
    put(row_ + 1, static_cast<uint32>(Scatter(keys_.Hash(record_.GetData())) % kParts));
    sorter_->SortRecord(record_.GetData());
  }
  if (rows_ > kMostJoinRows) ThrowJoinTooLarge(L"a side");
}

void SpilledSide::EndInput() {
  sorter_->EndInput();
  hasNext_ = sorter_->GetRecord(record_.GetData());
}

Table SpilledSide::Take(uint32 part, uint64 most) {
  Cancellation::Check();
  Table table;
  table.schema.columns.assign(fields_.begin(), fields_.end() - 1);
  ChunkBuilder builder(record_.GetLayout(), table.schema.columns.size());
  const uint8* const next = record_.GetData() + record_.GetField(row_ + 1).GetDataOffset();
  while (hasNext_ && builder.GetRows() < most) {
    uint32 of;
    std::memcpy(&of, next, sizeof of);
    if (of != part) break;
    builder.Append(record_.GetData());
    hasNext_ = sorter_->GetRecord(record_.GetData());
  }
  if (builder.GetRows() == 0) return table;
  table.rowCount = builder.GetRows();
  table.chunks.push_back(builder.Take());
  return table;
}

}  // namespace sqxer
