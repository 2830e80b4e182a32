#pragma once

#include <string>
#include <vector>

#include "ColumnBuilder.h"
#include "ColumnTypes.h"
#include "Table.h"

namespace sqxer {

/// The columns of a table that is being read from a file in two passes.
class TableColumns {
 public:
  /// Names the columns. Error 57009 (file, name) for a name that occurs twice, 57013 (file, name)
  /// for a declared column that is not among them, 57018 (file, columns) for more than 65,535.
  TableColumns(const std::string& file, std::vector<XeString> names, const DeclaredTypes& declared);

  std::size_t GetCount() const { return names_.size(); }

  /// The first pass. A column with a declared type is not classified.
  void SurveyNull(std::size_t column) { surveys_[column].AddNull(); }
  void Survey(std::size_t column, std::string_view text) {
    if (declared_[column]) {
      surveys_[column].Add(text, 0);
    } else {
      surveys_[column].Add(text);
    }
  }
  void Survey(std::size_t column, std::string_view text, unsigned kinds) {
    surveys_[column].Add(text, kinds);
  }

  /// Between the passes.
  void BeginLoad(uint64 rows);

  /// The second pass.
  void AppendNull(std::size_t column) { builders_[column].AppendNull(); }
  void Append(std::size_t column, std::string_view text, const RecordPlace& place) {
    builders_[column].Append(text, file_, place);
  }
  Table Take(const XeString& name, uint64 rows);

 private:
  const std::string& file_;
  std::vector<XeString> names_;
  std::vector<std::optional<ColumnInfo>> declared_;
  std::vector<ColumnSurvey> surveys_;
  std::vector<ColumnBuilder> builders_;
};

}  // namespace sqxer
