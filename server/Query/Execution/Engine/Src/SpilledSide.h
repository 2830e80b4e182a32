#pragma once

#include <optional>
#include <vector>

#include "Table.h"
#include "Utility/KeySet.h"
#include "Utility/OperatorTimer.h"
#include "Utility/SqrtSorter.h"
#include "WorkRecord.h"

namespace sqxer {

/// One side of a join whose rows go to a temporary file, in parts by a hash of their keys: equal
/// keys are in parts of the same number on both sides. The rows of a part come back in their order.
class SpilledSide {
 public:
  /// More of them than this would each take a share of memory that is too small.
  static constexpr uint32 kParts = 128;

  /// Rows have the columns, then the keys, then their number as GetRowColumn says.
  SpilledSide(const std::vector<ColumnInfo>& columns, const std::vector<ColumnInfo>& keys);

  /// Adds the rows of a table, of which some columns are wanted, with their keys, which are columns
  /// of another table of as many rows.
  void Add(const Table& table, const std::vector<std::size_t>& columns, const Table& keyTable,
           const std::vector<std::size_t>& keys);
  /// When all rows have been added.
  void EndInput();

  /// What a sorter of the join may take for its buffer.
  static std::size_t GetBufferBytes();

  uint64 CountRows() const { return rows_; }
  /// The number of the row (from 0) among all of the side, a column of the tables that Take gives.
  std::size_t GetRowColumn() const { return row_; }
  /// Where the keys are in these tables.
  std::vector<std::size_t> GetKeyColumns() const;
  /// The next rows of a part, `most` at most, as one chunk; no rows where there are no more. Parts
  /// come in ascending order. Error 57110 when it is cancelled.
  Table Take(uint32 part, uint64 most);

 private:
  void AddChunk(const TableChunk& chunk);

  const std::size_t columns_;
  const std::size_t row_;
  const std::vector<ColumnInfo> fields_;
  WorkRecord record_;
  KeySet keys_;
  OperatorTimer timer_;
  std::optional<SqrtSorter> sorter_;
  uint64 rows_ = 0;
  /// The record is the next row.
  bool hasNext_ = false;
};

}  // namespace sqxer
