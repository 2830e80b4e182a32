#include "JsonScan.h"

namespace sqxer {

TextColumn::TextColumn(const TableColumn& column)
    : nulls_(column.nulls.empty() ? nullptr : column.nulls.data()),
      characters_(column.characters.data()),
      offsets_(column.offsets.data()),
      length_(column.info.length) {
  if (column.info.type != XeCharData) return;
  characters_ = reinterpret_cast<const wchar_t*>(column.values.data());
  offsets_ = nullptr;
}

JsonScan::JsonScan(const Table& table, const std::vector<PlanDocuments>& documents) {
  for (const PlanDocuments& column : documents) {
    documents_.emplace_back(TextColumn(table.columns.at(column.column)), column.holder);
  }
}

}  // namespace sqxer
