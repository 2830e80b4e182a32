#pragma once

#include <optional>

#include "ChunkBuilder.h"
#include "ResultSink.h"

namespace sqxer {

/// Makes vectors of the rows of a result, in chunks of so many rows or up to a batch more.
class ChunkSink : public ResultSink {
 public:
  explicit ChunkSink(uint64 rowsOfChunk) : rowsOfChunk_(rowsOfChunk) {}

  void Begin(const std::vector<ColumnInfo>& columns, const XeRecordMetaData& layout) final {
    builder_.emplace(layout, columns.size());
    TakeColumns(columns);
  }
  void Row(const uint8* record) final {
    builder_->Append(record);
    if (builder_->GetRows() >= rowsOfChunk_) TakeChunk(builder_->Take());
  }
  bool TakesBatches() const final { return true; }
  void Batch(std::span<const BatchVector> columns, const BatchRows& rows) final {
    builder_->Append(columns, rows);
    if (builder_->GetRows() >= rowsOfChunk_) TakeChunk(builder_->Take());
  }
  void End() final {
    if (builder_->GetRows() != 0) TakeChunk(builder_->Take());
    TakeEnd();
  }

 protected:
  /// Once, before the first chunk.
  virtual void TakeColumns(const std::vector<ColumnInfo>& columns) = 0;
  /// A chunk that has rows.
  virtual void TakeChunk(TableChunk chunk) = 0;
  /// After the last chunk of a statement that succeeded.
  virtual void TakeEnd() {}

 private:
  const uint64 rowsOfChunk_;
  std::optional<ChunkBuilder> builder_;
};

}  // namespace sqxer
