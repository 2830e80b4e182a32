#pragma once

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

/// Called now and then while a file is read: what is done, and in all, in bytes or rows. May be
/// null.
using LoadProgress = void (*)(uint64 done, uint64 total);

}  // namespace sqxer
