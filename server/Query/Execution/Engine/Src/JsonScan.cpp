#include "JsonScan.h"

#include <algorithm>

namespace sqxer {

bool TextColumn::Read(uint64 row) {
  if (vector_->IsNull(row)) return false;
  const ColumnVector& texts = vector_->dictionary ? *vector_->dictionary : *vector_;
  const uint64 entry = vector_->dictionary ? vector_->GetCode(row) : row;
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

JsonScan::JsonScan(const std::vector<PlanDocuments>& documents) {
  for (const PlanDocuments& column : documents) {
    documents_.emplace_back(TextColumn(column.column), column.holder);
  }
}

}  // namespace sqxer
