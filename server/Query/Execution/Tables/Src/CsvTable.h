#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ColumnSurvey.h"
#include "ColumnTypes.h"
#include "CsvScan.h"
#include "LazyTable.h"
#include "TableColumns.h"

namespace sqxer {

/// How the files of a table are read.
struct CsvTableOptions {
  CsvOptions file;
  /// A field without quotation marks that is NULL; an empty one always is.
  std::string nullText;
};

/// A table of text files whose first line names the columns. An empty field is NULL, a quoted empty
/// one the empty text; an empty line is a NULL in a table of one column and nothing in any other.
///
/// A column is read when it is first asked for. What type it has is guessed from a sample and
/// confirmed by every value: where one does not fit, that column alone is read again, so that a
/// type is always the one that all values lead to (of the first rows alone, where only those were
/// asked for). What can be read once only is read whole at once, its columns as texts first.
///
/// Errors: those of CsvScan; of records wherever they stand, whatever columns are read. Then 57009,
/// 57013 and 57018 as ColumnNames has them, and 57010 or 57011 for the first value that a declared
/// type does not take; 57027 (file) for rows or columns of what can be read once only and was not
/// read whole.
class CsvTable final : public LazyTable {
 public:
  /// Opens the files. `declared` and `options` are copied.
  CsvTable(const std::vector<std::string>& paths, const XeString& name,
           const DeclaredTypes& declared, const CsvTableOptions& options);

  const TableSchema& Require(const TableRequest& request, LoadProgress progress) override;
  const Table& Get() const override { return table_; }
  XeString FindTextReason(std::size_t column) override;
  bool HasAllRows() const override { return hasAllRows_; }
  bool IsRepeatable() const override { return scan_.IsRepeatable(); }
  /// Whether the header looks like a row of the table.
  bool LooksHeaderLikeData() const { return scan_.LooksHeaderLikeData(); }

 private:
  struct Column;
  class Worker;
  class Surveyor;
  class ReasonFinder;
  /// What has been read and is not kept yet.
  struct Loaded {
    /// By column of the table: a vector for each stretch of rows; none for a column not read.
    std::vector<std::pair<ColumnInfo, std::vector<ColumnVector>>> columns;
    /// Of each stretch.
    std::vector<uint64> rows;
  };

  void Load(const std::vector<uint32>& wanted, std::optional<uint64> mostRows,
            LoadProgress progress);
  /// Reads columns, and returns those whose values are of another type, with what they are.
  std::vector<Column> Read(const std::vector<Column>& columns, std::optional<uint64> mostRows,
                           LoadProgress progress, Loaded& loaded);
  /// Adds the columns whose type was guessed from what turned out to be no rows.
  void AddMisguessed(const std::vector<Column>& columns, LoadProgress progress,
                     std::vector<Column>& misfits);
  void Keep(Loaded loaded, std::optional<uint64> mostRows);

  std::string path_;
  bool hasOneFile_;
  CsvTableOptions options_;
  CsvScan scan_;
  ColumnNames names_;
  Table table_;
  std::vector<bool> isLoaded_;
  bool hasAllRows_ = false;
};

}  // namespace sqxer
