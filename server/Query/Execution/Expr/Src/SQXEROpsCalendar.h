#pragma once

#include "Utility/XeDateTime.h"

namespace sqxer {

/// `value` later by a count of units: a member of the date-time's own, and how many of its units
/// one is. The product is exact, so that no count wraps into the calendar.
template <auto Add, int64 unitsOfAdd = 1>
struct AddUnitsOp {
  static void Apply(int32 count, XeDateTime& value) { (value.*Add)(unitsOfAdd * count); }
};

/// Whole units of elapsed time from `from` to `to`.
template <int64 (*Difference)(const XeDateTime&, const XeDateTime&)>
struct ElapsedUnitsOp {
  static int64 Apply(const XeDateTime& from, const XeDateTime& to) { return Difference(to, from); }
};

/// Boundaries of the calendar crossed from `from` to `to`: callers rely on 31 January to 1 February
/// being a month. `PartOfYear` counts the units of one year, of which there are `perYear`.
template <auto PartOfYear, int perYear>
struct CrossedUnitsOp {
  static int64 Apply(const XeDateTime& from, const XeDateTime& to) {
    return (to.*PartOfYear)() - (from.*PartOfYear)() + perYear * (to.GetYear() - from.GetYear());
  }
};
struct CrossedYearsOp {
  static int64 Apply(const XeDateTime& from, const XeDateTime& to) {
    return to.GetYear() - from.GetYear();
  }
};

}  // namespace sqxer
