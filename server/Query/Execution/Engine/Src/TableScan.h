#pragma once

#include <vector>

#include "Table.h"
#include "WorkRecord.h"

namespace sqxer {

/// Copies rows of a table into a record, the wanted columns only. How a column is copied is chosen
/// once.
class TableScan {
 public:
  /// The fields of `target` are the columns of the table with the given indexes. Table and target
  /// must outlive the scan.
  TableScan(const Table& table, const std::vector<uint16>& columns, WorkRecord& target);

  /// Makes a row the current one, from 0.
  void Fill(uint64 row) {
    for (const Column& column : columns_) column.copy(column, row);
  }

 private:
  struct Column {
    void (*copy)(const Column&, uint64 row);
    const uint8* values;
    const uint8* nulls;
    const uint64* offsets;
    const wchar_t* characters;
    uint8* target;
    uint8* targetNull;
    uint32 width;
  };
  template <void (*copyValue)(const Column&, uint64)>
  static void CopyNullable(const Column& column, uint64 row);
  template <std::size_t width>
  static void CopyFixed(const Column& column, uint64 row);
  static void CopyFixedText(const Column& column, uint64 row);
  static void CopyVaryingText(const Column& column, uint64 row);
  template <void (*copyValue)(const Column&, uint64)>
  static void Choose(Column& column);
  static void ChooseCopy(Column& column, XeDataType type);

  std::vector<Column> columns_;
};

}  // namespace sqxer
