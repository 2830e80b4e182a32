#pragma once

#include "SQXERBatch.h"
#include "Utility/XeAssert.h"

namespace sqxer {

/// Rows whose columns nobody reads.
class NoColumns : public BatchSource {
 public:
  const BatchVector& GetField(uint32) override { XeLogicError("a column of no record"); }
  void FillRow(uint32) override {}
  bool IsNullable(uint32) const override { return false; }
  void FillField(uint32, int64, bool) override {}
  void RestoreField(uint32) override {}
  uint64 GetChunkRows() const override { return 0; }
  bool GetDays(uint32, ColumnBounds<int64>&) const override { return false; }
  uint64 GetRun() const override { return 0; }
};

}  // namespace sqxer
