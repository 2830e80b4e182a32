#pragma once

#include <vector>

#include "Catalog.h"
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
  /// The lines of EXPLAIN, instead of all the others. A sink that returns false (the default) gets
  /// them as the rows of one text column.
  virtual bool Plan(const std::vector<XeString>&) { return false; }
  /// Once, after the last row of a statement that succeeded.
  virtual void End() = 0;
};

}  // namespace sqxer
