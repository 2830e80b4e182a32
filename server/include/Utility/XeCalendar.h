#pragma once

#include "Utility/Export.h"
#include "Utility/XeDate.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Calendar arithmetic over whole days. Every function is total: a result outside the years that
/// dates may hold, and an argument that is no day of the calendar, raise error 59171 with a text
/// that names the day or the sum.
class XEUTILITY_API XeCalendar {
 public:
  static bool IsLeapYear(int year);
  /// 28 to 31; 0 for a month outside 1 to 12.
  static int DaysInMonth(int year, int month);
  /// Raises the error for what is no day of the calendar.
  static void RequireDay(const XeDate& date);
  /// Days since 1970-01-01, negative before.
  static int64 DayNumber(const XeDate& date);
  static XeDate FromDayNumber(int64 day);
  /// Whether that day lies within the years that dates may hold.
  static bool IsDayNumber(int64 day);
  /// 1 is Sunday, 7 Saturday.
  static int DayOfWeek(const XeDate& date);
  /// 1 is 1 January.
  static int DayOfYear(const XeDate& date);
  /// Week 1 holds 1 January, as XeYearDivision counts.
  static int WeekOfYear(const XeDate& date, int firstDayOfWeek);
  /// The same day of another month, or that month's last day.
  static XeDate AddMonths(const XeDate& date, int64 months);
  /// The same day of another year, 28 February for a 29th that it does not have.
  static XeDate AddYears(const XeDate& date, int64 years);
  static XeDate AddDays(const XeDate& date, int64 days);
};

/// The year as it is divided from its first month on: into quarters of three months, months and
/// weeks. Parts count from 1. Days and weeks raise error 59171 for what is no day of the calendar.
class XEUTILITY_API XeYearDivision {
 public:
  enum Period { kYear, kQuarter, kMonth };

  /// 1 is January, the first month of the calendar year.
  explicit constexpr XeYearDivision(int firstMonth) : firstMonth_(firstMonth) {}

  /// The calendar year in which the year ends.
  int GetYear(const XeDate& date) const;
  int GetMonth(const XeDate& date) const { return MonthsBefore(kYear, date) + 1; }
  int GetQuarter(const XeDate& date) const { return MonthsBefore(kYear, date) / 3 + 1; }
  int GetMonthOfQuarter(const XeDate& date) const { return MonthsBefore(kQuarter, date) + 1; }
  int GetDay(Period period, const XeDate& date) const;
  /// Week 1 holds the period's first day; a week starts on the given day (1 is Sunday), so the
  /// first and the last week of a period may be short.
  int GetWeek(Period period, const XeDate& date, int firstDayOfWeek) const;

 private:
  /// Months of the period that lie before the one of the date.
  int MonthsBefore(Period period, const XeDate& date) const;
  /// The number of the day with which the period of the date starts.
  int64 FirstDay(Period period, const XeDate& date) const;

  int firstMonth_;
};

}  // namespace sqxer
