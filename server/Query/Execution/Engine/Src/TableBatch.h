#pragma once

#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "BatchField.h"
#include "JsonScan.h"
#include "SQXERBatch.h"
#include "TableScan.h"

namespace sqxer {

/// The values of a column from one row on. Which of them are NULL is told where that row is the
/// first of a word of validity bits.
BatchVector ViewOf(const ColumnVector& column, uint64 firstRow);

/// The rows of a chunk as batches of columns, for trees that are bound to the record of a scan.
class TableBatch final : public BatchSource {
 public:
  /// The fields of the record are the columns of the table with the given indexes. `scan` and
  /// `documents`, which may be null, fill the record; both are to have entered the chunk, and must
  /// outlive the batch.
  TableBatch(const std::vector<uint16>& columns, WorkRecord& record, TableScan& scan,
             JsonScan* documents);

  /// The record has so many fields behind those of the columns, which SetAdded gives.
  void AddFields(std::size_t count);
  /// The values of the added fields for the wanted rows of the current batch. The arrays that they
  /// view must stay until the next one.
  void SetAdded(std::span<const BatchVector> vectors, const BatchRows& rows);

  /// Goes to a chunk, which must stay until the next one is entered.
  void Enter(const TableChunk& chunk);
  /// Makes `count` rows from one on (from 0 in the chunk), at most kMostBatchRows, the batch.
  const BatchRows& Take(uint64 firstRow, uint32 count);
  uint64 GetFirstRow() const { return firstRow_; }
  /// From now on no others are wanted than these rows, in this place.
  void Select(const uint16* selected) { selected_ = selected; }
  /// Another run begins: see GetRun.
  void StartRun();

  const BatchVector& GetField(uint32 field) override { return fields_[field]; }
  void FillRow(uint32 row) override {
    scan_.Fill(firstRow_ + row);
    if (documents_ != nullptr) documents_->Fill(firstRow_ + row);
    if (hasAdded_) WriteAdded(row);
  }
  bool IsNullable(uint32 field) const override { return record_.GetField(field).IsNullable(); }
  void FillField(uint32 field, int64 code, bool isNull) override {
    scan_.FillValue(field, code, isNull);
  }
  void RestoreField(uint32 field) override { scan_.RestoreField(field); }
  uint64 GetChunkRows() const override { return chunk_->rows; }
  bool GetDays(uint32 field, ColumnBounds<int64>& days) const override;
  uint64 GetRun() const override { return run_; }
  uint64 GetBatch() const override { return batch_; }
  bool AreAllWanted(const uint16* selected) const override {
    return selected == nullptr || selected == selected_;
  }

 private:
  void TakeField(std::size_t field);
  void WriteAdded(uint32 row) {
    for (BatchField& field : added_) field.Write(row);
  }

  const std::vector<uint16> indexes_;
  WorkRecord& record_;
  TableScan& scan_;
  JsonScan* documents_;
  const TableChunk* chunk_ = nullptr;
  uint64 firstRow_ = 0;
  uint64 run_ = 0;
  uint64 batch_ = 0;
  const uint16* selected_ = nullptr;
  BatchRows rows_;
  std::vector<BatchVector> fields_;
  /// The least and greatest day of a field in the chunk, where it has any.
  std::vector<std::optional<ColumnBounds<int64>>> days_;
  /// Validity bits of a batch that does not begin with a word of them.
  std::vector<std::vector<uint64>> shifted_;
  /// Behind those of the columns; they have values once these were set for a batch.
  std::vector<BatchField> added_;
  bool hasAdded_ = false;
};

}  // namespace sqxer
