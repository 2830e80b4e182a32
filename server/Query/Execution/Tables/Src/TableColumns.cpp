#include "TableColumns.h"

#include <limits>
#include <set>

namespace sqxer {

TableColumns::TableColumns(const std::string& file, std::vector<XeString> names,
                           const DeclaredTypes& declared)
    : file_(file), names_(std::move(names)), declared_(names_.size()), surveys_(names_.size()) {
  if (names_.size() > std::numeric_limits<uint16>::max()) {
    ThrowTableError(kTooManyColumns, {Wide(file), std::to_wstring(names_.size())});
  }
  std::set<XeString> seen;
  for (std::size_t i = 0; i < names_.size(); ++i) {
    if (!seen.insert(names_[i]).second) {
      ThrowTableError(kDuplicateColumn, {Wide(file), names_[i]});
    }
    const auto found = declared.find(names_[i]);
    if (found != declared.end()) declared_[i] = found->second;
  }
  for (const auto& [name, type] : declared) {
    if (!seen.contains(name)) ThrowTableError(kSchemaColumnUnknown, {Wide(file), name});
  }
}

void TableColumns::BeginLoad(uint64 rows) {
  builders_.reserve(names_.size());
  for (std::size_t i = 0; i < names_.size(); ++i) {
    builders_.emplace_back(surveys_[i].Describe(names_[i], declared_[i]), surveys_[i], rows);
  }
}

Table TableColumns::Take(const XeString& name, uint64 rows) {
  Table table;
  table.schema.name = name;
  table.rowCount = table.schema.mostRows = rows;
  for (ColumnBuilder& builder : builders_) {
    table.columns.push_back(builder.Take());
    table.schema.columns.push_back(table.columns.back().info);
  }
  return table;
}

}  // namespace sqxer
