#include "TableBatch.h"

#include <algorithm>
#include <atomic>

#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

constexpr uint32 kWordBits = 64;

std::atomic<uint64> batches = 0;

std::optional<ColumnBounds<int64>> FindDays(const ColumnVector& vector) {
  if (vector.form != ColumnForm::kDay32 || vector.blocks.empty()) return std::nullopt;
  std::optional<ColumnBounds<int64>> days;
  for (const ColumnBlock& block : vector.blocks) {
    if (!block.hasBounds) continue;
    if (!days) days = block.whole;
    days = {std::min(days->least, block.whole.least),
            std::max(days->greatest, block.whole.greatest)};
  }
  return days;
}

}  // namespace

BatchVector ViewOf(const ColumnVector& column, uint64 firstRow) {
  BatchVector vector;
  vector.form = column.form;
  vector.scale = column.scale;
  vector.values = column.values;
  if (column.dictionary) {
    vector.dictionary = &column.dictionary;
    vector.codeWidth = column.codeWidth;
    vector.values += firstRow * column.codeWidth;
  } else if (IsTextForm(column.form)) {
    vector.offsetWidth = column.offsetWidth;
    vector.offsets = column.offsets + firstRow * column.offsetWidth;
  } else {
    vector.values += firstRow * WidthOfForm(column.form);
  }
  if (column.validity != nullptr) vector.validity = column.validity + firstRow / kWordBits;
  return vector;
}

TableBatch::TableBatch(const std::vector<uint16>& columns, WorkRecord& record, TableScan& scan,
                       JsonScan* documents)
    : indexes_(columns),
      record_(record),
      scan_(scan),
      documents_(documents),
      fields_(columns.size()),
      days_(columns.size()),
      shifted_(columns.size()) {
  rows_.source = this;
}

void TableBatch::AddFields(std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) added_.emplace_back(record_, indexes_.size() + i);
  fields_.resize(indexes_.size() + count);
  days_.resize(fields_.size());
}

void TableBatch::SetAdded(std::span<const BatchVector> vectors, const BatchRows& rows) {
  for (std::size_t i = 0; i < added_.size(); ++i) {
    BatchVector& vector = fields_[indexes_.size() + i];
    vector = vectors[i];
    const bool isOfField = added_[i].Use(vector, rows);
    XE_ASSERT(isOfField);
  }
  hasAdded_ = true;
}

void TableBatch::StartRun() {
  static std::atomic<uint64> runs = 0;
  run_ = ++runs;
}

void TableBatch::Enter(const TableChunk& chunk) {
  chunk_ = &chunk;
  for (std::size_t i = 0; i < indexes_.size(); ++i) days_[i] = FindDays(chunk.columns[indexes_[i]]);
}

bool TableBatch::GetDays(uint32 field, ColumnBounds<int64>& days) const {
  if (days_[field]) days = *days_[field];
  return days_[field].has_value();
}

const BatchRows& TableBatch::Take(uint64 firstRow, uint32 count) {
  firstRow_ = firstRow;
  // Trees are evaluated for one source of batches after the other.
  batch_ = ++batches;
  selected_ = nullptr;
  hasAdded_ = false;
  rows_.count = count;
  for (std::size_t i = 0; i < indexes_.size(); ++i) TakeField(i);
  return rows_;
}

void TableBatch::TakeField(std::size_t field) {
  const ColumnVector& column = chunk_->columns[indexes_[field]];
  BatchVector& vector = fields_[field];
  vector = ViewOf(column, firstRow_);
  const uint64 block = firstRow_ / kColumnBlockRows;
  const bool isOneBlock = (firstRow_ + rows_.count - 1) / kColumnBlockRows == block;
  if (isOneBlock && block < column.blocks.size()) vector.block = &column.blocks[block];
  if (vector.block != nullptr && vector.block->nulls == 0) vector.validity = nullptr;
  const uint32 shift = firstRow_ % kWordBits;
  if (vector.validity == nullptr || shift == 0) return;
  const uint64* const words = vector.validity;
  std::vector<uint64>& shifted = shifted_[field];
  shifted.resize(kMostBatchWords);
  // A column can be read beyond its end.
  for (uint32 i = 0; i * kWordBits < rows_.count; ++i) {
    shifted[i] = words[i] >> shift | words[i + 1] << (kWordBits - shift);
  }
  vector.validity = shifted.data();
}

}  // namespace sqxer
