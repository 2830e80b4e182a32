#pragma once

#include <optional>
#include <string_view>

#include "Catalog.h"
#include "TableError.h"
#include "Utility/ColumnVector.h"
#include "ValueReader.h"

namespace sqxer {

/// What is found out about a column whose type is not declared: what all of its values can be read
/// as.
class ColumnSurvey {
 public:
  /// A valid UTF-8 text that is of none but the kinds in `among`.
  void Add(std::string_view text, unsigned among = kAllKinds) {
    const unsigned kinds = kinds_ & among;
    Add(kinds == 0 ? 0 : kinds & ClassifyText(text));
  }
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
  /// The values of a vector of texts.
  void AddTexts(const ColumnVector& texts);
  /// Values that all read as one of the given type.
  void AddValuesOf(XeDataType type, uint64 count);

  /// Whether there are values, and a kind that all have.
  bool HasKind() const { return values_ > 0 && kinds_ != 0; }
  uint64 GetValues() const { return values_; }
  /// The first kind that all values have; varying text when there is none, and without any value.
  XeDataType GetType() const;

 private:
  unsigned kinds_ = kAllKinds;
  uint64 values_ = 0;
};

/// The value that left its column without a kind, as messages say it: `"n/a" in line 4`. `file` is
/// empty where there is only one.
XeString DescribeTextReason(std::string_view value, const RecordPlace& place,
                            const std::string& file);

/// A column as expressions see it, of the declared type if one is given. `longest`: the characters
/// of its longest text, which are the length of one that has none declared.
ColumnInfo DescribeColumn(const XeString& name, const std::optional<ColumnInfo>& declared,
                          XeDataType inferred, uint32 longest, bool nullable);

}  // namespace sqxer
