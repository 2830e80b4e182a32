#pragma once

#include <span>
#include <string>
#include <vector>

#include "Catalog.h"
#include "SQXERBatch.h"
#include "Utility/StatementBudget.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {

/// Takes the rows of a result, in order. ValueText.h gives the texts of their values.
class ResultSink {
 public:
  virtual ~ResultSink() = default;
  /// Once, before the first row: what the columns are, and the layout of every record to come (the
  /// visible columns are its first fields, in order).
  virtual void Begin(const std::vector<ColumnInfo>& columns, const XeRecordMetaData& layout) = 0;
  /// The record is valid during the call only.
  virtual void Row(const uint8* record) = 0;
  /// What memory is taken for that it keeps rows in.
  virtual MemoryUse GetMemoryUse() const { return MemoryUse::kResult; }
  /// Whether rows may come by Batch, too.
  virtual bool TakesBatches() const { return false; }
  /// The wanted rows of a batch, in order, a vector for each visible column. Valid during the call
  /// only.
  virtual void Batch(std::span<const BatchVector> /*columns*/, const BatchRows& /*rows*/) {}
  /// The lines of EXPLAIN, instead of all the others. A sink that returns false (the default) gets
  /// them as the rows of one text column.
  virtual bool Plan(const std::vector<XeString>&) { return false; }
  /// Once, after the last row of a statement that succeeded.
  virtual void End() = 0;
  /// Instead of all the others: what a statement without rows has done, as PostgreSQL tags commands
  /// ("INSERT 0 12"), and how many rows it has written. The statement has succeeded.
  virtual void Done(const std::string& /*tag*/, uint64 /*rows*/) {}
};

}  // namespace sqxer
