#pragma once

#include <memory>

#include "Catalog.h"
#include "Table.h"
#include "TableScan.h"
#include "WorkRecord.h"

namespace sqxer {

/// The first two columns of a table, which it keeps, as a source of lookups.
class TableLookup : public LookupSource {
 public:
  /// The table has two columns or more.
  explicit TableLookup(std::shared_ptr<const Table> table);

  const std::vector<ColumnInfo>& GetColumns() const override { return columns_; }
  std::unique_ptr<XeAListStream> Open() const override;

 private:
  std::shared_ptr<const Table> table_;
  std::vector<ColumnInfo> columns_;
};

}  // namespace sqxer
