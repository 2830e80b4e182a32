#include "JsonScan.h"

#include <algorithm>

namespace sqxer {

void TextColumn::Enter(uint64 row) {
  const TableChunk& chunk = FindChunk(*table_, row, firstRow_);
  rows_ = chunk.rows;
  vector_ = &chunk.columns[column_];
}

bool TextColumn::Read(uint64 row) {
  if (row - firstRow_ >= rows_) Enter(row);
  const uint64 at = row - firstRow_;
  if (vector_->IsNull(at)) return false;
  const ColumnVector& texts = vector_->dictionary ? *vector_->dictionary : *vector_;
  const uint64 entry = vector_->dictionary ? vector_->GetCode(at) : at;
  const uint64 start = texts.GetOffset(entry);
  const uint64 count = texts.GetOffset(entry + 1) - start;
  if (texts.form == ColumnForm::kText32) {
    text_ = {reinterpret_cast<const wchar_t*>(texts.values) + start, count};
    return true;
  }
  wide_.resize(count);
  std::copy_n(texts.values + start, count, wide_.data());
  text_ = wide_;
  return true;
}

JsonScan::JsonScan(const Table& table, const std::vector<PlanDocuments>& documents) {
  for (const PlanDocuments& column : documents) {
    documents_.emplace_back(TextColumn(table, column.column), column.holder);
  }
}

}  // namespace sqxer
