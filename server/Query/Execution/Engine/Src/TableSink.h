#pragma once

#include "ChunkSink.h"

namespace sqxer {

/// Keeps a result as a table in memory.
class TableSink final : public ChunkSink {
 public:
  TableSink() : ChunkSink(kRowsOfChunk) {}

  Table& GetTable() { return table_; }
  MemoryUse GetMemoryUse() const override { return MemoryUse::kInnerRows; }

 private:
  static constexpr uint64 kRowsOfChunk = uint64{64} * kColumnBlockRows;

  void TakeColumns(const std::vector<ColumnInfo>& columns) override {
    table_.schema.columns = columns;
  }
  void TakeChunk(TableChunk chunk) override {
    table_.rowCount += chunk.rows;
    table_.chunks.push_back(std::move(chunk));
  }

  Table table_;
};

}  // namespace sqxer
