#pragma once

#include <optional>
#include <string_view>

#include "Catalog.h"
#include "ValueReader.h"

namespace sqxer {

/// What is found out about a column whose type is not declared: what all of its values can be read
/// as.
class ColumnSurvey {
 public:
  /// A valid UTF-8 text.
  void Add(std::string_view text) { Add(kinds_ == 0 ? 0 : ClassifyText(text)); }
  /// A value whose kinds are known (0 for text).
  void Add(unsigned kinds) {
    kinds_ &= kinds;
    ++values_;
  }
  /// What another survey has found out about further values.
  void Add(const ColumnSurvey& other) {
    kinds_ &= other.kinds_;
    values_ += other.values_;
  }
  /// Values that all read as one of the given type.
  void AddValuesOf(XeDataType type, uint64 count);

  uint64 GetValues() const { return values_; }
  /// The first kind that all values have; varying text when there is none, and without any value.
  XeDataType GetType() const;

 private:
  unsigned kinds_ = kAllKinds;
  uint64 values_ = 0;
};

/// A column as expressions see it, of the declared type if one is given. `longest`: the characters
/// of its longest text.
ColumnInfo DescribeColumn(const XeString& name, const std::optional<ColumnInfo>& declared,
                          XeDataType inferred, uint32 longest, bool nullable);

}  // namespace sqxer
