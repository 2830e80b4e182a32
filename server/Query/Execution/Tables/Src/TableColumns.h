#pragma once

#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "ColumnSurvey.h"
#include "ColumnTypes.h"
#include "Table.h"
#include "TableError.h"
#include "VectorBuilder.h"

namespace sqxer {

/// The names of a table's columns, and the types that are declared for them.
class ColumnNames {
 public:
  ColumnNames(std::string file, DeclaredTypes types)
      : file_(std::move(file)), types_(std::move(types)) {}

  /// Adds names behind the others. Error 57009 (file, name) for a name that occurs twice, 57018
  /// (file, columns) for more than 65,535: none is added then.
  void Append(std::span<const XeString> names);
  /// Error 57013 (file, name) for a declared column that is neither among them nor among further
  /// names.
  void CheckDeclared(std::span<const XeString> further = {}) const;
  bool HasAllDeclared() const;

  std::size_t GetCount() const { return names_.size(); }
  const XeString& GetName(std::size_t column) const { return names_[column]; }
  const std::optional<ColumnInfo>& GetDeclared(std::size_t column) const {
    return declared_[column];
  }

 private:
  std::string file_;
  DeclaredTypes types_;
  std::vector<XeString> names_;
  std::set<XeString> known_;
  std::vector<std::optional<ColumnInfo>> declared_;
};

/// Refuses a value that a column's type does not take: error 57010 or 57011 (file, place, column,
/// type, value).
[[noreturn]] void ThrowRefusedValue(VectorBuilder::Outcome outcome, const std::string& file,
                                    const RecordPlace& place, const ColumnInfo& column,
                                    std::string_view value);

/// The columns of a table that is read in two passes, row by row: what it holds, then the values.
class TableColumns {
 public:
  /// Error as ColumnNames has them.
  TableColumns(const std::string& file, const std::vector<XeString>& names,
               const DeclaredTypes& declared);

  std::size_t GetCount() const { return names_.GetCount(); }

  /// The first pass: NULLs need not be told.
  void Survey(std::size_t column, std::string_view text) {
    if (!names_.GetDeclared(column)) surveys_[column].Add(text);
  }
  void Survey(std::size_t column, unsigned kinds) { surveys_[column].Add(kinds); }

  /// Between the passes.
  void BeginLoad(uint64 rows);

  /// The second pass.
  void AppendNull(std::size_t column) { builders_[column]->AppendNull(); }
  void Append(std::size_t column, std::string_view text, const RecordPlace& place);
  Table Take(const XeString& name, uint64 rows);

 private:
  ColumnInfo Describe(std::size_t column) const;

  const std::string& file_;
  ColumnNames names_;
  std::vector<ColumnSurvey> surveys_;
  std::vector<std::unique_ptr<VectorBuilder>> builders_;
};

}  // namespace sqxer
