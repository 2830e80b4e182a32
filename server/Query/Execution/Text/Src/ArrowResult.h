#pragma once

#include "ChunkSink.h"
#include "ResultFormats.h"

namespace sqxer {

/// A file of Arrow's IPC format. The layouts of its columns are those that hold all rows, which are
/// kept until the statement has succeeded.
class ArrowResult final : public FormattedResult {
 public:
  using FormattedResult::FormattedResult;
  void Begin(const std::vector<ColumnInfo>& columns, const XeRecordMetaData& layout) override {
    chunks_.Begin(columns, layout);
  }
  bool Plan(const std::vector<XeString>&) override { return false; }
  void Row(const uint8* record) override { chunks_.Row(record); }
  bool TakesBatches() const override { return true; }
  void Batch(std::span<const BatchVector> columns, const BatchRows& rows) override {
    chunks_.Batch(columns, rows);
  }
  void End() override { chunks_.End(); }

 private:
  class Chunks final : public ChunkSink {
   public:
    Chunks() : ChunkSink(uint64{32} * kColumnBlockRows) {}
    TableSchema schema;
    std::vector<TableChunk> chunks;

   private:
    void TakeColumns(const std::vector<ColumnInfo>& columns) override { schema.columns = columns; }
    void TakeChunk(TableChunk chunk) override { chunks.push_back(std::move(chunk)); }
  };

  void Header() override {}
  void PrintRows() override;

  Chunks chunks_;
};

}  // namespace sqxer
