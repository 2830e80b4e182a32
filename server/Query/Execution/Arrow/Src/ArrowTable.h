#pragma once

#include <vector>

#include "ArrowColumn.h"
#include "ArrowHandle.h"
#include "ArrowReader.h"

namespace sqxer {

/// Takes over arrays of one schema, one after the other.
class ArrowTable {
 public:
  /// What is known without the rows: columns that can be NULL if they say so, texts of one
  /// character.
  ArrowTable(const ArrowSchema& schema, const ArrowReadOptions& options,
             const TableRequest& request);
  ArrowTable(const ArrowTable&) = delete;
  ArrowTable& operator=(const ArrowTable&) = delete;

  const TableSchema& GetSchema() const { return schema_; }
  uint64 GetRows() const { return rows_; }
  bool HasTexts() const;

  /// The rows of an array as chunks: all but the last ones are shared, those are copied, so that no
  /// one reads beyond the end of the array's buffers. Nothing is added if it throws.
  void Take(ArrowHandle<ArrowArray> array, std::vector<TableChunk>& chunks);
  /// Widens texts to the longest one so far, as `lengthOf(longest)` says.
  template <class LengthOf>
  void SetLengths(LengthOf&& lengthOf) {
    for (std::size_t i = 0; i < schema_.columns.size(); ++i) {
      ColumnInfo& column = schema_.columns[i];
      if (column.type == XeVarCharData) column.length = lengthOf(longest_[i]);
    }
  }
  /// Says of columns whether NULLs were met, instead of whether they may come.
  void SettleNulls();
  /// Error 57207 (row, column, table, characters, value) if a text of a chunk is longer than its
  /// column, the row counted from `rowsBefore`.
  void CheckLengths(const TableChunk& chunk, uint64 rowsBefore) const;

 private:
  TableChunk TakeRows(const ArrowView& rows, const ArrowReading& reading);

  const ArrowReadOptions options_;
  ArrowField root_;
  TableSchema schema_;
  std::vector<bool> isWanted_;
  /// Characters of the longest text that was met.
  std::vector<uint32> longest_;
  std::vector<bool> hasNulls_;
  uint64 rows_ = 0;
};

}  // namespace sqxer
