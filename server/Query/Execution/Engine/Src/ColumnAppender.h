#pragma once

#include <algorithm>
#include <memory>

#include "SQXERBatch.h"
#include "TextRun.h"
#include "Utility/ColumnBuffer.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {

/// Turns the values of a field, which come in records or in batches, into a vector, in the
/// narrowest form that holds all of them: decimals as whole numbers of one scale, timestamps as
/// microseconds, texts with a byte a character.
class ColumnAppender {
 public:
  /// For the types that query results have, binaries apart.
  static std::unique_ptr<ColumnAppender> Make(const XeFieldDescriptor& field);

  explicit ColumnAppender(const XeFieldDescriptor& field);
  virtual ~ColumnAppender() = default;
  ColumnAppender(const ColumnAppender&) = delete;
  ColumnAppender& operator=(const ColumnAppender&) = delete;

  /// The field's values in some records.
  virtual void AppendRecords(const uint8* const* records, uint32 count) = 0;
  /// The values of the wanted rows of a batch, of the field's type.
  virtual void AppendVector(const BatchVector& vector, const BatchRows& rows) = 0;
  /// The values so far; the appender is empty afterwards.
  ColumnVector Take();

 protected:
  bool IsNull(const uint8* record) const { return nullOffset_ != 0 && record[nullOffset_] != 0; }
  const uint8* GetValue(const uint8* record) const { return record + valueOffset_; }
  /// Has `count` rows follow, with values but for those that MarkNull names.
  void BeginRows(uint64 count);
  void MarkNull(uint64 row) {
    buffers_.validity.As<uint64>()[row / 64] &= ~(uint64{1} << row % 64);
    hasNulls_ = true;
  }
  void EndRows(uint64 count) { rows_ += count; }
  /// Sets form, scale and what else the vector says of the values. The next rows are the first.
  virtual void Describe(ColumnVector& vector) = 0;

  uint64 rows_ = 0;
  KeptBuffers buffers_;

 private:
  const uint32 valueOffset_;
  /// 0 for a field without NULLs.
  const uint32 nullOffset_;
  bool hasNulls_ = false;
  /// Rows that have a word of validity bits.
  uint64 validRows_ = 0;
};

}  // namespace sqxer
