#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Catalog.h"
#include "Utility/ColumnVector.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Some rows of a table, one behind the other.
struct TableChunk {
  uint64 rows = 0;
  /// One vector of `rows` rows for each column of the table, in a form of the column's type; the
  /// forms of a column may differ from chunk to chunk. A column that was not read has an empty
  /// vector.
  std::vector<ColumnVector> columns;
};

/// A table in memory. The vectors are shared: a copy of a table costs no copy of its values.
struct Table {
  TableSchema schema;
  uint64 rowCount = 0;
  /// Together they have rowCount rows.
  std::vector<TableChunk> chunks;
};

/// The chunk that holds a row of the table, from 0; `firstRow` becomes the number of its first one.
inline const TableChunk& FindChunk(const Table& table, uint64 row, uint64& firstRow) {
  firstRow = 0;
  const TableChunk* chunk = table.chunks.data();
  for (; row - firstRow >= chunk->rows; ++chunk) firstRow += chunk->rows;
  return *chunk;
}

/// The rows of a table, chunk by chunk, read while they are used.
class ChunkSource {
 public:
  virtual ~ChunkSource() = default;
  /// The next chunk, valid until the next call; null at the end. Throws ErrorMessage, and
  /// TypeRefuted where the source was asked to.
  virtual const TableChunk* Next() = 0;
};

/// A column turns out to be of another type than was told. Nothing of what was made of it may be
/// seen.
struct TypeRefuted {};

/// Called now and then while a file is read, on the thread that reads the table: what is done, and
/// in all (0 where nobody knows), in bytes or rows. May be empty. What it throws ends the reading.
using LoadProgress = std::function<void(uint64 done, uint64 total, bool areRows)>;

}  // namespace sqxer
