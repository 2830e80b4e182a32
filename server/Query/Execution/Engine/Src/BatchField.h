#pragma once

#include "SQXERBatch.h"
#include "WorkRecord.h"

namespace sqxer {

/// A field of a record that values of a batch go to.
class BatchField {
 public:
  /// The record must outlive it.
  BatchField(WorkRecord& record, std::size_t field);

  /// Takes the values that Write is to take from now on. False when some wanted one is not for this
  /// field: NULL where it has none, or a text that is too long.
  bool Use(const BatchVector& vector, const BatchRows& rows);
  /// Puts a wanted row's value into the field.
  void Write(uint32 row) {
    const bool isNull = vector_->IsNull(row);
    if (null_ != nullptr) *null_ = isNull;
    if (!isNull) write_(*this, vector_->isConstant ? 0 : row);
  }

 private:
  using WriteFunction = void (*)(const BatchField&, uint32 row);
  struct Writes;

  static WriteFunction Choose(ColumnForm form, bool isFixedText, uint32 width);

  XeDataType type_;
  uint8* value_;
  /// Null for a field without NULLs.
  uint8* null_ = nullptr;
  /// Characters of a text.
  uint32 length_;
  uint32 width_;
  const BatchVector* vector_ = nullptr;
  WriteFunction write_ = nullptr;
};

}  // namespace sqxer
