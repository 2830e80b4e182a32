#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Catalog.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// A column in memory: values side by side in their stored form, one null byte a row, and for
/// varying text the characters of all rows in one run with offsets into it. Columns of other
/// systems can be taken over in this form without copying.
struct TableColumn {
  ColumnInfo info;
  /// rows * width bytes for fixed types (width is XeRecordMetaData::GetByteLength; fixed text keeps
  /// its declared number of characters); empty for varying text.
  std::vector<uint8> values;
  /// One byte a row, non-zero for NULL; empty when the column has no NULL. What stands in `values`
  /// for a NULL is not meaningful.
  std::vector<uint8> nulls;
  /// rows + 1 offsets into `characters`, for varying text only.
  std::vector<uint64> offsets;
  std::vector<wchar_t> characters;
};

struct Table {
  TableSchema schema;
  uint64 rowCount = 0;
  std::vector<TableColumn> columns;
};

/// Called now and then while a file is read: what is done, and in all, in bytes or rows. May be
/// null.
using LoadProgress = void (*)(uint64 done, uint64 total);

}  // namespace sqxer
