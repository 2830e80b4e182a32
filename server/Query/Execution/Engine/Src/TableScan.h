#pragma once

#include <vector>

#include "Table.h"
#include "Utility/HugePages.h"
#include "WorkRecord.h"

namespace sqxer {

/// Copies rows of a table into a record, the wanted columns only. How a column is copied is chosen
/// once for each chunk.
class TableScan {
 public:
  /// The fields of `target` are the columns of the table with the given indexes. The target must
  /// outlive the scan.
  TableScan(const TableSchema& schema, const std::vector<uint16>& columns, WorkRecord& target);
  /// Rows fill the fields that are marked in `fields`, and leave all others as they are.
  TableScan(const TableSchema& schema, const std::vector<uint16>& columns, WorkRecord& target,
            std::vector<bool> fields);

  /// Goes to a chunk of the table, which must stay until the next one is entered.
  void Enter(const TableChunk& chunk);
  /// Makes a row of the chunk the current one, from 0.
  void Fill(uint64 row) {
    for (const Column& column : columns_) column.copy(column, row);
  }
  /// Goes on with the chunk that was entered, after another scan has filled the same record.
  void Resume();
  /// Fetches what Fill of the row will copy into the caches: values, codes and where texts begin;
  /// then, some time later, the texts.
  void PrefetchValues(uint64 row) const {
    for (const Column& column : columns_) Prefetch(column.rows + row * column.rowBytes);
  }
  void PrefetchTexts(uint64 row) const;
  /// Whether the chunk has texts that PrefetchTexts fetches.
  bool HasTexts() const;
  /// Puts an entry of the dictionary that a column has in the chunk into its field, or the day of
  /// that number, or NULL.
  void FillValue(std::size_t field, int64 value, bool isNull);
  /// To be called when no more values are filled in by FillValue: rows of a column without NULLs in
  /// the chunk do not set the field's indicator.
  void RestoreField(std::size_t field) {
    if (target_.GetField(field).IsNullable()) *columns_[field].targetNull = 0;
  }

 private:
  struct Column;
  using Copy = void (*)(const Column&, uint64 row);
  struct Column {
    Copy copy;
    /// The vector of the chunk.
    const ColumnVector* vector;
    const uint8* values;
    const uint64* validity;
    const uint8* offsets;
    /// What stands side by side for all rows, values or offsets, and how wide it is.
    const uint8* rows;
    uint32 rowBytes;
    uint8* target;
    uint8* targetNull;
    /// Bytes of a value of fixed width in the record, without a terminator.
    uint32 width;
    /// Day of the first entry of `prepared`.
    int32 firstDay;
    int scale;
    /// What rows copy as it stands: the entries of a dictionary, or days, as the record has them.
    const uint8* prepared;
    /// Where the entries of varying length start in `prepared`.
    const uint64* starts;
  };
  /// Values in their record form, made once for a chunk.
  struct Prepared {
    std::vector<uint8> bytes;
    std::vector<uint64> starts;
  };
  struct Copies;

  Copy ChooseCopy(Column& column, Prepared& prepared);
  static void PrepareDays(const ColumnVector& vector, Column& column, Prepared& prepared);
  static void PrepareTexts(const ColumnVector& dictionary, Column& column, Prepared& prepared,
                           bool isFixed);

  const std::vector<uint16> indexes_;
  const std::vector<bool> fields_;
  WorkRecord& target_;
  std::vector<Column> columns_;
  std::vector<Prepared> prepared_;
};

}  // namespace sqxer
