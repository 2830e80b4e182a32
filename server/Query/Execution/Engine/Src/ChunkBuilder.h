#pragma once

#include <memory>
#include <span>
#include <vector>

#include "ColumnAppender.h"
#include "Table.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {

/// Turns rows, which come as records or in batches, into the vectors of a chunk.
class ChunkBuilder {
 public:
  /// For the first `fields` fields of records of a layout.
  ChunkBuilder(const XeRecordMetaData& layout, std::size_t fields) {
    for (std::size_t i = 0; i < fields; ++i) {
      columns_.push_back(ColumnAppender::Make(*layout.GetFieldDescriptor(static_cast<int>(i))));
    }
  }

  void Append(const uint8* record) {
    for (const auto& column : columns_) column->AppendRecords(&record, 1);
    ++rows_;
  }
  /// The wanted rows of a batch, a vector for each field.
  void Append(std::span<const BatchVector> vectors, const BatchRows& rows) {
    for (std::size_t i = 0; i < columns_.size(); ++i) columns_[i]->AppendVector(vectors[i], rows);
    rows_ += rows.GetWanted();
  }
  /// Some fields alone, of `count` records; when all fields have come, EndRecords is called.
  void AppendFields(std::size_t first, std::size_t end, const uint8* const* records, uint32 count) {
    for (std::size_t i = first; i < end; ++i) columns_[i]->AppendRecords(records, count);
  }
  void EndRecords(uint32 count) { rows_ += count; }

  uint64 GetRows() const { return rows_; }
  /// The rows so far; the builder is empty afterwards.
  TableChunk Take() {
    TableChunk chunk;
    chunk.rows = rows_;
    for (const auto& column : columns_) chunk.columns.push_back(column->Take());
    rows_ = 0;
    return chunk;
  }

 private:
  std::vector<std::unique_ptr<ColumnAppender>> columns_;
  uint64 rows_ = 0;
};

}  // namespace sqxer
