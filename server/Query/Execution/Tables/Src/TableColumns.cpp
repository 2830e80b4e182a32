#include "TableColumns.h"

#include <algorithm>
#include <limits>

namespace sqxer {

void ColumnNames::Append(std::span<const XeString> names) {
  const std::size_t count = names_.size() + names.size();
  if (count > std::numeric_limits<uint16>::max()) {
    ThrowTableError(kTooManyColumns, {Wide(file_), std::to_wstring(count)});
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (known_.insert(names[i]).second) continue;
    for (const XeString& added : names.first(i)) known_.erase(added);
    ThrowTableError(kDuplicateColumn, {Wide(file_), names[i]});
  }
  for (const XeString& name : names) {
    names_.push_back(name);
    const auto found = types_.find(name);
    declared_.push_back(found == types_.end() ? std::nullopt : std::optional(found->second));
  }
}

void ColumnNames::CheckDeclared(std::span<const XeString> further) const {
  for (const auto& [name, type] : types_) {
    if (!known_.contains(name) && std::ranges::find(further, name) == further.end()) {
      ThrowTableError(kSchemaColumnUnknown, {Wide(file_), name});
    }
  }
}

bool ColumnNames::HasAllDeclared() const {
  return std::ranges::all_of(types_,
                             [this](const auto& type) { return known_.contains(type.first); });
}

void ThrowRefusedValue(VectorBuilder::Outcome outcome, const std::string& file,
                       const RecordPlace& place, const ColumnInfo& column, std::string_view value) {
  const bool tooLong = outcome == VectorBuilder::Outcome::kTooLong;
  ThrowTableError(
      tooLong ? kValueTooLong : kValueUnreadable,
      {Wide(file), place.Text(), column.name, DeclaredTypeName(column), QuotedValue(value)});
}

TableColumns::TableColumns(const std::string& file, const std::vector<XeString>& names,
                           const DeclaredTypes& declared)
    : file_(file), names_(file, declared), surveys_(names.size()) {
  names_.Append(names);
  names_.CheckDeclared();
}

void TableColumns::BeginLoad(uint64 rows) {
  for (std::size_t i = 0; i < GetCount(); ++i) {
    const auto& declared = names_.GetDeclared(i);
    builders_.push_back(VectorBuilder::Make(declared ? declared->type : surveys_[i].GetType(),
                                            MostCharacters(declared),
                                            {.isBigint = declared && declared->isBigint}));
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
