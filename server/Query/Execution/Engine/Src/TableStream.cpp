#include "TableStream.h"

namespace sqxer {
namespace {

/// The record comes before the stream that shows it.
struct StreamRecord {
  explicit StreamRecord(const std::vector<ColumnInfo>& columns) : record(columns) {}
  WorkRecord record;
};

class TableStream : private StreamRecord, public XeAListStream {
 public:
  TableStream(std::shared_ptr<const Table> table, const std::vector<ColumnInfo>& columns)
      : StreamRecord(columns),
        XeAListStream(&record.GetLayout(), record.GetData()),
        table_(std::move(table)),
        scan_(*table_, {0, 1}, record) {}

  void BeginRead() override { row_ = 0; }
  bool ReadRecord() override {
    if (row_ == table_->rowCount) return false;
    scan_.Fill(row_++);
    return true;
  }

 private:
  std::shared_ptr<const Table> table_;
  TableScan scan_;
  uint64 row_ = 0;
};

}  // namespace

TableLookup::TableLookup(std::shared_ptr<const Table> table)
    : table_(std::move(table)),
      columns_{table_->schema.columns.at(0), table_->schema.columns.at(1)} {}

std::unique_ptr<XeAListStream> TableLookup::Open() const {
  return std::make_unique<TableStream>(table_, columns_);
}

}  // namespace sqxer
