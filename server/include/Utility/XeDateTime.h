#pragma once

#include <compare>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Years that dates may hold. 0 is 1 BC, as in ISO 8601.
inline constexpr int kMinYear = -4713;
inline constexpr int kMaxYear = 9999;

class XeDateTime;

/// A calendar day (proleptic Gregorian calendar). Plain bytes; a default object is year 0, month 0,
/// day 0, which is not a day.
class XEUTILITY_API XeDate {
 public:
  XeDate() = default;
  XeDate(int year, int month, int day)
      : year_(static_cast<int16>(year)),
        month_(static_cast<uint16>(month)),
        day_(static_cast<uint16>(day)) {}
  /// The day of a date-time.
  explicit XeDate(const XeDateTime& value) { *this = value; }
  XeDate& operator=(const XeDateTime& value);

  int GetYear() const { return year_; }
  int GetMonth() const { return month_; }
  int GetDay() const { return day_; }
  void SetYear(int year) { year_ = static_cast<int16>(year); }
  void SetMonth(int month) { month_ = static_cast<uint16>(month); }
  void SetDay(int day) { day_ = static_cast<uint16>(day); }

  /// Whether the fields name a day of the calendar within the years that dates may hold.
  bool IsValid() const;

  auto operator<=>(const XeDate&) const = default;
  /// Exactly -1, 0 or 1.
  static int Compare(const XeDate& a, const XeDate& b) { return a == b ? 0 : a < b ? -1 : 1; }

 private:
  int16 year_ = 0;
  uint16 month_ = 0;
  uint16 day_ = 0;
};
static_assert(sizeof(XeDate) == 6);

/// A time of day with nanoseconds.
class XEUTILITY_API XeTime {
 public:
  XeTime() = default;
  XeTime(int hour, int minute, int second, uint32 nanosecond = 0)
      : hour_(static_cast<uint16>(hour)),
        minute_(static_cast<uint16>(minute)),
        second_(static_cast<uint16>(second)),
        nanosecond_(nanosecond) {}
  /// The time of day of a date-time.
  explicit XeTime(const XeDateTime& value) { *this = value; }
  XeTime& operator=(const XeDateTime& value);

  int GetHour() const { return hour_; }
  int GetMinute() const { return minute_; }
  int GetSecond() const { return second_; }
  uint32 GetNanosecond() const { return nanosecond_; }
  void SetHour(int hour) { hour_ = static_cast<uint16>(hour); }
  void SetMinute(int minute) { minute_ = static_cast<uint16>(minute); }
  void SetSecond(int second) { second_ = static_cast<uint16>(second); }
  void SetNanosecond(uint32 nanosecond) { nanosecond_ = nanosecond; }

  /// 00:00:00 to 23:59:59.999999999.
  bool IsValid() const;

  auto operator<=>(const XeTime&) const = default;
  /// Exactly -1, 0 or 1.
  static int Compare(const XeTime& a, const XeTime& b) { return a == b ? 0 : a < b ? -1 : 1; }

 private:
  uint16 hour_ = 0;
  uint16 minute_ = 0;
  uint16 second_ = 0;
  uint32 nanosecond_ = 0;
};
static_assert(sizeof(XeTime) == 12);

/// A day and a time of day.
class XEUTILITY_API XeDateTime {
 public:
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

  XeDate GetDate() const { return XeDate(year_, month_, day_); }
  XeTime GetTime() const { return XeTime(hour_, minute_, second_, nanosecond_); }
  bool IsValid() const;

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
  return *this = XeDateTime(date.GetYear(), date.GetMonth(), date.GetDay());
}
inline XeDateTime& XeDateTime::operator=(const XeTime& time) {
  return *this = XeDateTime(1900, 1, 1, time.GetHour(), time.GetMinute(), time.GetSecond(),
                            time.GetNanosecond());
}

/// Calendar arithmetic over whole days. Every function is total: a result outside the years that
/// dates may hold, and an argument that is no day of the calendar, raise error 59171 with a text
/// that names the day or the sum.
class XEUTILITY_API XeCalendar {
 public:
  static bool IsLeapYear(int year);
  /// 28 to 31; 0 for a month outside 1 to 12.
  static int DaysInMonth(int year, int month);
  /// Days since 1970-01-01, negative before.
  static int64 DayNumber(const XeDate& date);
  static XeDate FromDayNumber(int64 day);
  /// 1 is Sunday, 7 Saturday.
  static int DayOfWeek(const XeDate& date);
  /// 1 is 1 January.
  static int DayOfYear(const XeDate& date);
  /// Week 1 holds 1 January; a week starts on the given day (1 is Sunday), so the first and the
  /// last week of a year may be short.
  static int WeekOfYear(const XeDate& date, int firstDayOfWeek);
  /// The same day of another month, or that month's last day.
  static XeDate AddMonths(const XeDate& date, int64 months);
  static XeDate AddDays(const XeDate& date, int64 days);
};

}  // namespace sqxer
