#pragma once

#include "Utility/KeySet.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Which rows of its partition a row's result is computed from.
struct WindowFrame {
  enum class Unit { kRows, kRange, kGroups };
  enum class Bound { kPartition, kPreceding, kCurrentRow, kFollowing };
  enum class Exclusion { kNone, kCurrentRow, kPeers, kTies };
  /// Where a frame begins or ends.
  struct Limit {
    Bound bound = Bound::kPartition;
    /// kPreceding and kFollowing: how many rows or groups of peers away.
    uint64 offset = 0;
    /// The same of a RANGE: the field that has the key's value there, of the type of `key`.
    uint16 value = 0;
    bool IsOffset() const { return bound == Bound::kPreceding || bound == Bound::kFollowing; }
    bool operator==(const Limit&) const = default;
  };
  Unit unit = Unit::kRange;
  Limit from;
  Limit to{Bound::kCurrentRow};
  Exclusion exclusion = Exclusion::kNone;
  /// Of a RANGE with an offset: the field of the key that the rows are ordered by.
  uint16 key = 0;
  SortOrder_t order = kAscending;
  NullOrder_t nulls = kNullsLast;

  bool IsRangeOfValues() const {
    return unit == Unit::kRange && (from.IsOffset() || to.IsOffset());
  }
  bool operator==(const WindowFrame&) const = default;
};

}  // namespace sqxer
