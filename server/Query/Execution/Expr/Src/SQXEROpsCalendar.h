#pragma once

#include "Utility/XeCalendar.h"
#include "Utility/XeDateTime.h"

namespace sqxer {

/// `value` later by a count of units: a member of the date-time's own, and how many of its units
/// one is.
template <auto Add, uint32 unitsOfAdd = 1>
struct AddUnitsOp {
  static void Apply(int32 count, XeDateTime& value) {
    // Of 32 bits, and what is beyond them wraps: callers rely on the dates that such counts of
    // weeks and quarters have always led to.
    const uint32 units = unitsOfAdd * static_cast<uint32>(count);
    (value.*Add)(static_cast<int32>(units));
  }
};

/// Whole units of elapsed time from `from` to `to`. The same of moments counted in microseconds, of
/// which a unit has so many; what does not fit wraps.
template <int64 (*Difference)(const XeDateTime&, const XeDateTime&), int64 microsecondsOfUnit>
struct ElapsedUnitsOp {
  static int64 Apply(const XeDateTime& from, const XeDateTime& to) { return Difference(to, from); }
  static int64 OfMicroseconds(int64 from, int64 to) {
    const uint64 elapsed = static_cast<uint64>(to) - static_cast<uint64>(from);
    return static_cast<int64>(elapsed) / microsecondsOfUnit;
  }
};

/// The same between midnights, for a unit of whole days.
template <int days>
struct ElapsedDaysOp {
  static int64 Apply(const XeDate& from, const XeDate& to) {
    const int64 end = XeCalendar::DayNumber(to);
    return OfDayNumbers(XeCalendar::DayNumber(from), end);
  }
  static int64 OfDayNumbers(int64 from, int64 to) { return (to - from) / days; }
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

inline constexpr int64 kSecond = 1'000'000;
using ElapsedMilliseconds = ElapsedUnitsOp<&XeDateTime::DifferenceInMilliSeconds, kSecond / 1000>;
using ElapsedSeconds = ElapsedUnitsOp<&XeDateTime::DifferenceInSeconds, kSecond>;
using ElapsedMinutes = ElapsedUnitsOp<&XeDateTime::DifferenceInMinutes, kSecond * 60>;
using ElapsedHours = ElapsedUnitsOp<&XeDateTime::DifferenceInHours, kSecond * 3600>;
using ElapsedDays = ElapsedUnitsOp<&XeDateTime::DifferenceInDays, kSecond * 86400>;
using ElapsedWeeks = ElapsedUnitsOp<&XeDateTime::DifferenceInWeeks, kSecond * 86400 * 7>;
using CrossedMonths = CrossedUnitsOp<&XeDateTime::GetMonth, 12>;
using CrossedQuarters = CrossedUnitsOp<&XeDateTime::QuarterOfTheYear, 4>;

using UnitDifference = int64 (*)(const XeDateTime& from, const XeDateTime& to);
/// In the order of XeDateTime::UnitOfTime.
inline constexpr UnitDifference kUnitDifferences[] = {
    &ElapsedMilliseconds::Apply, &ElapsedSeconds::Apply,  &ElapsedMinutes::Apply,
    &ElapsedHours::Apply,        &ElapsedDays::Apply,     &ElapsedWeeks::Apply,
    &CrossedMonths::Apply,       &CrossedQuarters::Apply, &CrossedYearsOp::Apply,
};

using DayDifference = int64 (*)(const XeDate& from, const XeDate& to);
/// For the units that have one, from kDay on.
inline constexpr DayDifference kDayDifferences[] = {&ElapsedDaysOp<1>::Apply,
                                                    &ElapsedDaysOp<7>::Apply};

}  // namespace sqxer
