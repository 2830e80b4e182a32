#include "Utility/XeDateTime.h"

#include <algorithm>
#include <array>

#include "DateRange.h"
#include "Utility/DateTimeMetaData.h"
#include "Utility/XeCalendar.h"
#include "Utility/XeIntlDateTimeMgr.h"

namespace sqxer {

namespace {

constexpr XeYearDivision kCalendarYear(1);

const XeString& MonthName(const XeDate& date, const std::array<XeString, 12>& names) {
  XeCalendar::RequireDay(date);
  return names[static_cast<std::size_t>(date.GetMonth()) - 1];
}

const XeString& DayName(const XeDate& date, const std::array<XeString, 7>& names) {
  return names[static_cast<std::size_t>(XeCalendar::DayOfWeek(date)) - 1];
}

void PutName(const XeString& name, wchar_t* out, uint32 capacity) {
  const std::size_t length = std::min<std::size_t>(name.size(), capacity);
  std::fill(std::copy_n(name.data(), length, out), out + capacity, L' ');
}

/// A unit of the clock, of which a day has a whole number.
struct ClockUnit {
  int64 perDay;
  const wchar_t* name;
};
constexpr ClockUnit kMicroseconds = {86'400'000'000, L"microseconds"};
constexpr ClockUnit kMilliseconds = {86'400'000, L"milliseconds"};
constexpr ClockUnit kSeconds = {86'400, L"seconds"};
constexpr ClockUnit kMinutes = {1'440, L"minutes"};
constexpr ClockUnit kHours = {24, L"hours"};

constexpr int64 kNanosecondsPerSecond = 1'000'000'000;
constexpr int64 kNanosecondsPerDay = kSeconds.perDay * kNanosecondsPerSecond;

int64 NanosecondOfDay(const XeDateTime& value) {
  const int64 second = (value.GetHour() * 60 + value.GetMinute()) * 60 + value.GetSecond();
  return second * kNanosecondsPerSecond + value.GetNanosecond();
}

XeDateTime OfDay(const XeDate& date, int64 nanosecondOfDay) {
  const int second = static_cast<int>(nanosecondOfDay / kNanosecondsPerSecond);
  return XeDateTime(date.GetYear(), date.GetMonth(), date.GetDay(), second / 3600, second / 60 % 60,
                    second % 60, static_cast<uint32>(nanosecondOfDay % kNanosecondsPerSecond));
}

void AddClockTime(XeDateTime& value, int64 count, const ClockUnit& unit) {
  const int64 day = XeCalendar::DayNumber(value.GetDate());
  int64 nanosecond =
      NanosecondOfDay(value) + count % unit.perDay * (kNanosecondsPerDay / unit.perDay);
  int64 days = count / unit.perDay + nanosecond / kNanosecondsPerDay;
  nanosecond %= kNanosecondsPerDay;
  if (nanosecond < 0) {
    nanosecond += kNanosecondsPerDay;
    --days;
  }
  if (!XeCalendar::IsDayNumber(day + days)) {
    ThrowSumOutOfRange(DateTimeText(value), count, unit.name);
  }
  value = OfDay(days == 0 ? value.GetDate() : XeCalendar::FromDayNumber(day + days), nanosecond);
}

/// The time between two values, as whole days and a rest of the same sign.
struct Elapsed {
  int64 days;
  int64 nanoseconds;

  int64 In(const ClockUnit& unit) const {
    return days * unit.perDay + nanoseconds / (kNanosecondsPerDay / unit.perDay);
  }
};

Elapsed Subtract(const XeDateTime& a, const XeDateTime& b) {
  Elapsed elapsed{XeCalendar::DayNumber(a.GetDate()) - XeCalendar::DayNumber(b.GetDate()),
                  NanosecondOfDay(a) - NanosecondOfDay(b)};
  if (elapsed.days > 0 && elapsed.nanoseconds < 0) {
    --elapsed.days;
    elapsed.nanoseconds += kNanosecondsPerDay;
  } else if (elapsed.days < 0 && elapsed.nanoseconds > 0) {
    ++elapsed.days;
    elapsed.nanoseconds -= kNanosecondsPerDay;
  }
  return elapsed;
}

}  // namespace

bool XeTime::IsValid() const {
  return hour_ < 24 && minute_ < 60 && second_ < 60 && nanosecond_ < kNanosecondsPerSecond;
}

bool XeDateTime::IsValid() const { return GetDate().IsValid() && GetTime().IsValid(); }

int XeDateTime::QuarterOfTheYear() const { return kCalendarYear.GetQuarter(GetDate()); }

int XeDateTime::WeekOfTheYear(int firstDayOfWeek) const {
  return kCalendarYear.GetWeek(XeYearDivision::kYear, GetDate(), firstDayOfWeek);
}

int XeDateTime::DayOfTheYear() const {
  return kCalendarYear.GetDay(XeYearDivision::kYear, GetDate());
}

int XeDateTime::MonthOfTheQuarter() const { return kCalendarYear.GetMonthOfQuarter(GetDate()); }

int XeDateTime::WeekOfTheQuarter(int firstDayOfWeek) const {
  return kCalendarYear.GetWeek(XeYearDivision::kQuarter, GetDate(), firstDayOfWeek);
}

int XeDateTime::DayOfTheQuarter() const {
  return kCalendarYear.GetDay(XeYearDivision::kQuarter, GetDate());
}

int XeDateTime::WeekOfTheMonth(int firstDayOfWeek) const {
  return kCalendarYear.GetWeek(XeYearDivision::kMonth, GetDate(), firstDayOfWeek);
}

int XeDateTime::DayOfTheWeek() const { return XeCalendar::DayOfWeek(GetDate()); }

int XeDateTime::FiscalYear(XeYearDivision fiscal) const { return fiscal.GetYear(GetDate()); }

int XeDateTime::FiscalMonth(XeYearDivision fiscal) const { return fiscal.GetMonth(GetDate()); }

int XeDateTime::FiscalQuarterOfTheYear(XeYearDivision fiscal) const {
  return fiscal.GetQuarter(GetDate());
}

int XeDateTime::FiscalWeekOfTheYear(int firstDayOfWeek, XeYearDivision fiscal) const {
  return fiscal.GetWeek(XeYearDivision::kYear, GetDate(), firstDayOfWeek);
}

int XeDateTime::FiscalDayOfTheYear(XeYearDivision fiscal) const {
  return fiscal.GetDay(XeYearDivision::kYear, GetDate());
}

int XeDateTime::FiscalMonthOfTheQuarter(XeYearDivision fiscal) const {
  return fiscal.GetMonthOfQuarter(GetDate());
}

int XeDateTime::FiscalWeekOfTheQuarter(int firstDayOfWeek, XeYearDivision fiscal) const {
  return fiscal.GetWeek(XeYearDivision::kQuarter, GetDate(), firstDayOfWeek);
}

int XeDateTime::FiscalDayOfTheQuarter(XeYearDivision fiscal) const {
  return fiscal.GetDay(XeYearDivision::kQuarter, GetDate());
}

void XeDateTime::LongNameOfTheMonth(const CalendarNames& names, wchar_t* name,
                                    uint32 capacity) const {
  PutName(MonthName(GetDate(), names.longMonths), name, capacity);
}

void XeDateTime::ShortNameOfTheMonth(const CalendarNames& names, wchar_t* name,
                                     uint32 capacity) const {
  PutName(MonthName(GetDate(), names.shortMonths), name, capacity);
}

void XeDateTime::LongNameOfTheDay(const CalendarNames& names, wchar_t* name,
                                  uint32 capacity) const {
  PutName(DayName(GetDate(), names.longDays), name, capacity);
}

void XeDateTime::ShortNameOfTheDay(const CalendarNames& names, wchar_t* name,
                                   uint32 capacity) const {
  PutName(DayName(GetDate(), names.shortDays), name, capacity);
}

void XeDateTime::AddMicroseconds(int64 count) { AddClockTime(*this, count, kMicroseconds); }

void XeDateTime::AddMilliseconds(int64 count) { AddClockTime(*this, count, kMilliseconds); }

void XeDateTime::AddSeconds(int64 count) { AddClockTime(*this, count, kSeconds); }

void XeDateTime::AddMinutes(int64 count) { AddClockTime(*this, count, kMinutes); }

void XeDateTime::AddHours(int64 count) { AddClockTime(*this, count, kHours); }

void XeDateTime::AddDays(int64 count) { SetDate(XeCalendar::AddDays(GetDate(), count)); }

void XeDateTime::AddMonths(int64 count) { SetDate(XeCalendar::AddMonths(GetDate(), count)); }

void XeDateTime::AddYears(int64 count) { SetDate(XeCalendar::AddYears(GetDate(), count)); }

int64 XeDateTime::DifferenceInMicroseconds(const XeDateTime& a, const XeDateTime& b) {
  return Subtract(a, b).In(kMicroseconds);
}

int64 XeDateTime::DifferenceInMilliSeconds(const XeDateTime& a, const XeDateTime& b) {
  return Subtract(a, b).In(kMilliseconds);
}

int64 XeDateTime::DifferenceInSeconds(const XeDateTime& a, const XeDateTime& b) {
  return Subtract(a, b).In(kSeconds);
}

int64 XeDateTime::DifferenceInMinutes(const XeDateTime& a, const XeDateTime& b) {
  return Subtract(a, b).In(kMinutes);
}

int64 XeDateTime::DifferenceInHours(const XeDateTime& a, const XeDateTime& b) {
  return Subtract(a, b).In(kHours);
}

int64 XeDateTime::DifferenceInDays(const XeDateTime& a, const XeDateTime& b) {
  return Subtract(a, b).days;
}

int64 XeDateTime::DifferenceInWeeks(const XeDateTime& a, const XeDateTime& b) {
  return Subtract(a, b).days / 7;
}

}  // namespace sqxer
