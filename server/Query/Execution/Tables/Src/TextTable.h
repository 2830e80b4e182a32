#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ColumnReader.h"
#include "ColumnSurvey.h"
#include "ColumnTypes.h"
#include "LazyTable.h"
#include "RecordScan.h"
#include "TableColumns.h"

namespace sqxer {

/// How the files of a table are read.
struct TextTableOptions {
  ScanOptions file;
  /// A field of CSV without quotation marks that is NULL; an empty one always is.
  std::string nullText;
};

/// A table of text files: of CSV, in which an empty field is NULL, a quoted empty one the empty
/// text, and an empty line is a NULL in a table of one column and nothing in any other; or of JSON
/// lines, in which a key that an object has not is NULL, like null, and nested objects and arrays
/// are their JSON texts.
///
/// A column is read when it is first asked for. What type it has is guessed from a sample and
/// confirmed by every value: where one does not fit, that column alone is read again, so that a
/// type is always the one that all values lead to (of the first rows alone, where only those were
/// asked for). What can be read once only is read whole at once, its columns as texts first.
/// Strings of JSON are texts, or the dates and times that all of them read as; only other values
/// are numbers and truth values.
///
/// The keys of JSON lines are columns as far as they are known: those of the first lines, further
/// ones once all lines were read, which a statement that wants all columns, or one that nobody
/// knows, asks for; of the first rows alone they are those of the first lines.
///
/// Where a statement reads the rows once, and the table is larger than the switch TableMemory, the
/// rows are not kept but read while they are used, chunk by chunk. Of what can be read once only
/// types and keys are then those of the rows up to that size, which come first; columns can be NULL
/// and texts be longer than those. The types of files are confirmed by a pass over them before, or
/// while the rows are used if the statement can start again. The table serves that statement only.
///
/// Errors: those of the scan; of records wherever they stand, whatever columns are read. Then
/// 57009, 57013 and 57018 as ColumnNames has them, 57034 (file) without a column, and 57010 or
/// 57011 for the first value that a declared type does not take; 57035 (file, place, column, type,
/// value) for the first one that is not of the type that the rows before it had; 57036 for a key
/// that these had not, if all are wanted; 57027 (file) for rows or columns of what can be read once
/// only and was not read whole, or not kept.
class TextTable final : public LazyTable {
 public:
  /// What the files hold. Without a word it is found by looking: JSON lines, unless a delimiter was
  /// named, or CSV.
  enum class Content { kAny, kCsv, kJsonLines };

  /// Opens the files. `declared` and `options` are copied.
  TextTable(const std::vector<std::string>& paths, const XeString& name,
            const DeclaredTypes& declared, const TextTableOptions& options,
            Content content = Content::kCsv);
  ~TextTable() override;

  const TableSchema& Require(const TableRequest& request, const LoadProgress& progress) override;
  const Table& Get() const override { return table_; }
  std::unique_ptr<ChunkSource> TakeRest() override;
  XeString FindTextReason(std::size_t column) override;
  bool HasAllRows() const override { return hasAllRows_; }
  bool IsRepeatable() const override { return scan_->IsRepeatable(); }
  /// Whether the header looks like a row of the table.
  bool LooksHeaderLikeData() const { return scan_->LooksHeaderLikeData(); }

 private:
  using Purpose = ColumnReader::Purpose;
  /// Of stretches of the rows, in their order.
  using Readers = std::vector<std::unique_ptr<ColumnReader>>;
  class Surveyor;
  class ReasonFinder;
  class Rest;
  /// What has been read and is not kept yet.
  struct Loaded {
    /// By column of the table: a vector for each stretch of rows; none for a column not read.
    std::vector<std::pair<ColumnInfo, std::vector<ColumnVector>>> columns;
    /// Of each stretch.
    std::vector<uint64> rows;
  };

  /// Takes over the names that the scan knows by now.
  void LearnNames();
  /// Whether names are missing that the statement needs to know.
  bool NeedsNames(const TableRequest& request) const;
  /// Reads all records for their names.
  void FindNames(const LoadProgress& progress);
  /// The columns from `first` on that the statement wants and that are not there yet.
  std::vector<uint32> FindWanted(const TableRequest& request, uint32 first) const;
  FileColumn MakeColumn(uint32 index, bool asText) const;
  void Load(const std::vector<uint32>& wanted, const TableRequest& request,
            const LoadProgress& progress);
  /// What can be read once only.
  void LoadOnce(const TableRequest& request, const LoadProgress& progress);
  /// Reads columns until their types are those of all values. False when there is more text than
  /// `mostBytes`.
  /// `columns` get those that show only then.
  bool ReadAll(std::vector<FileColumn>& columns, Purpose purpose, const TableRequest& request,
               uint64 mostBytes, const LoadProgress& progress, Loaded& loaded);
  Readers MakeReaders(const std::vector<FileColumn>& columns, Purpose purpose, uint32 count,
                      uint64 mostRows) const;
  /// Adds what was read, and returns the columns whose values are of another type, with what they
  /// are.
  std::vector<FileColumn> Collect(const std::vector<FileColumn>& columns, const Readers& readers,
                                  Loaded& loaded);
  [[noreturn]] void ThrowRefusal(const ColumnReader::Refusal& refusal,
                                 const std::vector<FileColumn>& columns) const;
  /// Adds the columns whose type was guessed from what turned out to be no rows.
  void AddMisguessed(const std::vector<FileColumn>& columns, const LoadProgress& progress,
                     std::vector<FileColumn>& misfits);
  void Keep(Loaded loaded, std::optional<uint64> mostRows);
  /// Leaves all rows of files to be read while they are used.
  void PrepareRest(std::vector<FileColumn> columns, const TableRequest& request,
                   const LoadProgress& progress);

  std::string path_;
  bool hasOneFile_;
  TextTableOptions options_;
  std::unique_ptr<RecordScan> scan_;
  ColumnNames names_;
  Table table_;
  std::vector<bool> isLoaded_;
  bool hasAllRows_ = false;
  /// Nothing more can be read but what stands in `rest_` behind Get(), until that is taken.
  bool isUsedUp_ = false;
  std::unique_ptr<ChunkSource> rest_;
};

}  // namespace sqxer
