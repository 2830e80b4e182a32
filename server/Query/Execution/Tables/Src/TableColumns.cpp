#include "TableColumns.h"

#include <limits>
#include <set>

namespace sqxer {

ColumnNames::ColumnNames(const std::string& file, std::vector<XeString> names,
                         const DeclaredTypes& declared, bool areComplete)
    : names_(std::move(names)), declared_(names_.size()) {
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
    if (areComplete && !seen.contains(name))
      ThrowTableError(kSchemaColumnUnknown, {Wide(file), name});
  }
}

void ThrowRefusedValue(VectorBuilder::Outcome outcome, const std::string& file,
                       const RecordPlace& place, const ColumnInfo& column, std::string_view value) {
  const bool tooLong = outcome == VectorBuilder::Outcome::kTooLong;
  ThrowTableError(
      tooLong ? kValueTooLong : kValueUnreadable,
      {Wide(file), place.Text(), column.name, DeclaredTypeName(column), QuotedValue(value)});
}

TableColumns::TableColumns(const std::string& file, std::vector<XeString> names,
                           const DeclaredTypes& declared)
    : file_(file), names_(file, std::move(names), declared), surveys_(names_.GetCount()) {}

void TableColumns::BeginLoad(uint64 rows) {
  for (std::size_t i = 0; i < GetCount(); ++i) {
    const auto& declared = names_.GetDeclared(i);
    builders_.push_back(VectorBuilder::Make(declared ? declared->type : surveys_[i].GetType(),
                                            declared ? declared->length : VectorBuilder::kAnyLength,
                                            VectorBuilder::Options()));
    builders_.back()->Expect(rows);
  }
}

ColumnInfo TableColumns::Describe(std::size_t column) const {
  return DescribeColumn(names_.GetName(column), names_.GetDeclared(column),
                        surveys_[column].GetType(), builders_[column]->GetLongest(),
                        builders_[column]->GetNulls() > 0);
}

void TableColumns::Append(std::size_t column, std::string_view text, const RecordPlace& place) {
  const VectorBuilder::Outcome outcome = builders_[column]->Append(text);
  if (outcome == VectorBuilder::Outcome::kTaken) return;
  ThrowRefusedValue(outcome, file_, place, Describe(column), text);
}

Table TableColumns::Take(const XeString& name, uint64 rows) {
  Table table;
  table.schema.name = name;
  table.rowCount = table.schema.mostRows = rows;
  table.chunks.emplace_back();
  table.chunks.back().rows = rows;
  for (std::size_t i = 0; i < GetCount(); ++i) {
    table.schema.columns.push_back(Describe(i));
    table.chunks.back().columns.push_back(builders_[i]->Take());
  }
  return table;
}

}  // namespace sqxer
