#pragma once

#include <numeric>
#include <optional>

#include "ChunkSink.h"
#include "TableScan.h"

namespace sqxer::test {

/// Has a result go through chunks of vectors, and another sink get the rows that these hold.
class ChunkReplay : public ChunkSink {
 public:
  ChunkReplay(ResultSink& target, uint64 rowsOfChunk) : ChunkSink(rowsOfChunk), target_(target) {}

  void Done(const std::string& tag, uint64 rows) override { target_.Done(tag, rows); }

 private:
  void TakeColumns(const std::vector<ColumnInfo>& columns) override {
    schema_.columns = columns;
    record_.emplace(columns);
    std::vector<uint16> all(columns.size());
    std::iota(all.begin(), all.end(), uint16{0});
    scan_.emplace(schema_, all, *record_);
    target_.Begin(columns, record_->GetLayout());
  }
  void TakeChunk(TableChunk chunk) override {
    scan_->Enter(chunk);
    for (uint64 row = 0; row < chunk.rows; ++row) {
      scan_->Fill(row);
      target_.Row(record_->GetData());
    }
  }
  void TakeEnd() override { target_.End(); }

  ResultSink& target_;
  TableSchema schema_;
  std::optional<WorkRecord> record_;
  std::optional<TableScan> scan_;
};

}  // namespace sqxer::test
