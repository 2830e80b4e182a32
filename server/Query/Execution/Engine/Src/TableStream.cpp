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
        scan_(table_->schema, {0, 1}, record) {}

  void BeginRead() override { chunk_ = row_ = rows_ = 0; }
  bool ReadRecord() override {
    while (row_ == rows_) {
      if (chunk_ == table_->chunks.size()) return false;
      const TableChunk& chunk = table_->chunks[chunk_++];
      scan_.Enter(chunk);
      row_ = 0;
      rows_ = chunk.rows;
    }
    scan_.Fill(row_++);
    return true;
  }

 private:
  std::shared_ptr<const Table> table_;
  TableScan scan_;
  /// The chunk that comes next, and the row that does of the one before.
  std::size_t chunk_ = 0;
  uint64 row_ = 0;
  uint64 rows_ = 0;
};

}  // namespace

TableLookup::TableLookup(std::shared_ptr<const Table> table)
    : table_(std::move(table)),
      columns_{table_->schema.columns.at(0), table_->schema.columns.at(1)} {}

std::unique_ptr<XeAListStream> TableLookup::Open() const {
  return std::make_unique<TableStream>(table_, columns_);
}

}  // namespace sqxer
