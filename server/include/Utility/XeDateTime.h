#pragma once

#include <compare>
#include <cstring>

#include "Utility/Export.h"
#include "Utility/XeCalendar.h"
#include "Utility/XeDate.h"
#include "Utility/XeTime.h"
#include "Utility/XeTypes.h"

namespace sqxer {

struct CalendarNames;

/// A day and a time of day.
class XEUTILITY_API XeDateTime {
 public:
  /// The parts of a value, as the server numbers them.
  enum ExtractOpcode : int32 {
    extractYear = 0,
    extractMonth = 1,
    extractDay = 2,
    extractHour = 3,
    extractMinute = 4,
    extractSecond = 5,
    extractQuarterOfTheYear = 6,
    extractWeekOfTheYear = 7,
    extractDayOfTheYear = 8,
    extractMonthOfTheQuarter = 9,
    extractWeekOfTheQuarter = 10,
    extractDayOfTheQuarter = 11,
    extractWeekOfTheMonth = 12,
    extractNameOfTheMonth = 13,
    extractDayOfTheWeek = 14,
    extractNameOfTheDay = 15,
    extractFiscalYear = 16,
    extractFiscalMonth = 17,
    extractFiscalDay = 18,
    extractFiscalHour = 19,
    extractFiscalMinute = 20,
    extractFiscalSecond = 21,
    extractFiscalQuarterOfTheYear = 22,
    extractFiscalWeekOfTheYear = 23,
    extractFiscalDayOfTheYear = 24,
    extractFiscalMonthOfTheQuarter = 25,
    extractFiscalWeekOfTheQuarter = 26,
    extractFiscalDayOfTheQuarter = 27,
    extractFiscalWeekOfTheMonth = 28,
    extractFiscalNameOfTheMonth = 29,
    extractFiscalDayOfTheWeek = 30,
    extractFiscalNameOfTheDay = 31,
    maxExtractOpcode = 32,
  };
  /// The units of sums and differences, as the server numbers them.
  enum UnitOfTime : int32 {
    kMillisecond = 0,
    kSecond = 1,
    kMinute = 2,
    kHour = 3,
    kDay = 4,
    kWeek = 5,
    kMonth = 6,
    kQuarter = 7,
    kYear = 8,
  };

  XeDateTime() = default;
  XeDateTime(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
             uint32 nanosecond = 0)
      : year_(static_cast<int16>(year)),
        month_(static_cast<uint16>(month)),
        day_(static_cast<uint16>(day)),
        hour_(static_cast<uint16>(hour)),
        minute_(static_cast<uint16>(minute)),
        second_(static_cast<uint16>(second)),
        nanosecond_(nanosecond) {}
  /// The day at 00:00:00.
  explicit XeDateTime(const XeDate& date) { *this = date; }
  /// The time on 1900-01-01, the day that a bare time stands for where a date-time is needed.
  explicit XeDateTime(const XeTime& time) { *this = time; }
  XeDateTime& operator=(const XeDate& date);
  XeDateTime& operator=(const XeTime& time);

  int GetYear() const { return year_; }
  int GetMonth() const { return month_; }
  int GetDay() const { return day_; }
  int GetHour() const { return hour_; }
  int GetMinute() const { return minute_; }
  int GetSecond() const { return second_; }
  uint32 GetNanosecond() const { return nanosecond_; }
  void SetYear(int year) { year_ = static_cast<int16>(year); }
  void SetMonth(int month) { month_ = static_cast<uint16>(month); }
  void SetDay(int day) { day_ = static_cast<uint16>(day); }
  void SetHour(int hour) { hour_ = static_cast<uint16>(hour); }
  void SetMinute(int minute) { minute_ = static_cast<uint16>(minute); }
  void SetSecond(int second) { second_ = static_cast<uint16>(second); }
  void SetNanosecond(uint32 nanosecond) { nanosecond_ = nanosecond; }

  // A day goes in and out as its bytes, as records store it: a load that is split in another way
  // than the store before it has to wait for it.
  XeDate GetDate() const {
    XeDate date;
    std::memcpy(static_cast<void*>(&date), this, sizeof date);
    return date;
  }
  void SetDate(const XeDate& date) { std::memcpy(static_cast<void*>(this), &date, sizeof date); }
  XeTime GetTime() const { return XeTime(hour_, minute_, second_, nanosecond_); }
  bool IsValid() const;

  // The parts of the calendar, and those of the fiscal one, whose years are divided as `fiscal`
  // says. Months, and so days of the month, are the same in
  // both. The first day of a year, quarter or month lies in week 1 of it; `firstDayOfWeek` starts
  // the others (1 is Sunday). Error 59171 where a value that is no day of the calendar has no such
  // part.
  int QuarterOfTheYear() const;
  int WeekOfTheYear(int firstDayOfWeek) const;
  int DayOfTheYear() const;
  int MonthOfTheQuarter() const;
  int WeekOfTheQuarter(int firstDayOfWeek) const;
  int DayOfTheQuarter() const;
  int WeekOfTheMonth(int firstDayOfWeek) const;
  /// 1 is Sunday, 7 Saturday.
  int DayOfTheWeek() const;
  /// The calendar year in which the fiscal one ends.
  int FiscalYear(XeYearDivision fiscal) const;
  /// 1 is the first month of the fiscal year.
  int FiscalMonth(XeYearDivision fiscal) const;
  int FiscalDay() const { return day_; }
  int FiscalQuarterOfTheYear(XeYearDivision fiscal) const;
  int FiscalWeekOfTheYear(int firstDayOfWeek, XeYearDivision fiscal) const;
  int FiscalDayOfTheYear(XeYearDivision fiscal) const;
  int FiscalMonthOfTheQuarter(XeYearDivision fiscal) const;
  int FiscalWeekOfTheQuarter(int firstDayOfWeek, XeYearDivision fiscal) const;
  int FiscalDayOfTheQuarter(XeYearDivision fiscal) const;
  int FiscalWeekOfTheMonth(int firstDayOfWeek) const { return WeekOfTheMonth(firstDayOfWeek); }
  int FiscalDayOfTheWeek() const { return DayOfTheWeek(); }

  // Names: exactly `capacity` characters at `name`, filled up with blanks. The fiscal ones are
  // those of the calendar month and day.
  void LongNameOfTheMonth(const CalendarNames& names, wchar_t* name, uint32 capacity) const;
  void ShortNameOfTheMonth(const CalendarNames& names, wchar_t* name, uint32 capacity) const;
  void LongNameOfTheDay(const CalendarNames& names, wchar_t* name, uint32 capacity) const;
  void ShortNameOfTheDay(const CalendarNames& names, wchar_t* name, uint32 capacity) const;
  void LongFiscalNameOfTheMonth(const CalendarNames& names, wchar_t* name, uint32 capacity) const {
    LongNameOfTheMonth(names, name, capacity);
  }
  void ShortFiscalNameOfTheMonth(const CalendarNames& names, wchar_t* name, uint32 capacity) const {
    ShortNameOfTheMonth(names, name, capacity);
  }
  void LongFiscalNameOfTheDay(const CalendarNames& names, wchar_t* name, uint32 capacity) const {
    LongNameOfTheDay(names, name, capacity);
  }
  void ShortFiscalNameOfTheDay(const CalendarNames& names, wchar_t* name, uint32 capacity) const {
    ShortNameOfTheDay(names, name, capacity);
  }

  // Sums. A day that the resulting month does not have becomes its last one. Error 59171 (the sum
  // in words) beyond the years that dates may hold, and for a value that is no day of the calendar;
  // the value then stays as it was.
  void AddMicroseconds(int64 count);
  void AddMilliseconds(int64 count);
  void AddSeconds(int64 count);
  void AddMinutes(int64 count);
  void AddHours(int64 count);
  void AddDays(int64 count);
  void AddMonths(int64 count);
  void AddYears(int64 count);

  // a - b in whole units, truncated toward zero. Error 59171 for what is no day of the calendar.
  static int64 DifferenceInMicroseconds(const XeDateTime& a, const XeDateTime& b);
  static int64 DifferenceInMilliSeconds(const XeDateTime& a, const XeDateTime& b);
  static int64 DifferenceInSeconds(const XeDateTime& a, const XeDateTime& b);
  static int64 DifferenceInMinutes(const XeDateTime& a, const XeDateTime& b);
  static int64 DifferenceInHours(const XeDateTime& a, const XeDateTime& b);
  static int64 DifferenceInDays(const XeDateTime& a, const XeDateTime& b);
  static int64 DifferenceInWeeks(const XeDateTime& a, const XeDateTime& b);

  auto operator<=>(const XeDateTime&) const = default;
  /// Exactly -1, 0 or 1.
  static int Compare(const XeDateTime& a, const XeDateTime& b) {
    return a == b ? 0 : a < b ? -1 : 1;
  }

 private:
  int16 year_ = 0;
  uint16 month_ = 0;
  uint16 day_ = 0;
  uint16 hour_ = 0;
  uint16 minute_ = 0;
  uint16 second_ = 0;
  uint32 nanosecond_ = 0;
};
static_assert(sizeof(XeDateTime) == 16);

inline XeDate& XeDate::operator=(const XeDateTime& value) { return *this = value.GetDate(); }
inline XeTime& XeTime::operator=(const XeDateTime& value) { return *this = value.GetTime(); }
inline XeDateTime& XeDateTime::operator=(const XeDate& date) {
  SetDate(date);
  hour_ = minute_ = second_ = 0;
  nanosecond_ = 0;
  return *this;
}
inline XeDateTime& XeDateTime::operator=(const XeTime& time) {
  return *this = XeDateTime(1900, 1, 1, time.GetHour(), time.GetMinute(), time.GetSecond(),
                            time.GetNanosecond());
}

}  // namespace sqxer
