#include "Utility/XeDateTime.h"

#include <chrono>
#include <utility>

#include "Utility/DateTimeMetaData.h"
#include "Utility/ErrorMessage.h"

namespace sqxer {

namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr int kMonthsPerYear = 12;

year_month_day ToChrono(const XeDate& date) {
  return {std::chrono::year(date.GetYear()),
          std::chrono::month(static_cast<unsigned>(date.GetMonth())),
          std::chrono::day(static_cast<unsigned>(date.GetDay()))};
}

constexpr int64 FirstDayNumber(int year) {
  return sys_days(std::chrono::year(year) / 1 / 1).time_since_epoch().count();
}
constexpr int64 kMinDayNumber = FirstDayNumber(kMinYear);
constexpr int64 kMaxDayNumber = FirstDayNumber(kMaxYear + 1) - 1;

[[noreturn]] void ThrowOutOfRange(XeString text) {
  SUGThrow(ErrorMessage(59171, {std::move(text)}));
}

XeString SumText(const XeDate& date, int64 count, const wchar_t* unit) {
  return DateText(date) + (count < 0 ? L" - " : L" + ") +
         // Without the sign; the negation of the smallest number is taken without overflow.
         std::to_wstring(count < 0 ? 0 - static_cast<uint64>(count) : static_cast<uint64>(count)) +
         unit;
}

void RequireDay(const XeDate& date) {
  if (!date.IsValid()) ThrowOutOfRange(DateText(date));
}

bool IsDayNumber(int64 day) { return day >= kMinDayNumber && day <= kMaxDayNumber; }

XeDate FromDayNumberUnchecked(int64 day) {
  const year_month_day date{sys_days(days(day))};
  return XeDate(static_cast<int>(date.year()),
                static_cast<int>(static_cast<unsigned>(date.month())),
                static_cast<int>(static_cast<unsigned>(date.day())));
}

}  // namespace

bool XeDate::IsValid() const {
  return year_ >= kMinYear && year_ <= kMaxYear && ToChrono(*this).ok();
}

bool XeTime::IsValid() const {
  return hour_ < 24 && minute_ < 60 && second_ < 60 && nanosecond_ < 1'000'000'000;
}

bool XeDateTime::IsValid() const { return GetDate().IsValid() && GetTime().IsValid(); }

bool XeCalendar::IsLeapYear(int year) {
  // Not std::chrono::year, which holds 16 bits.
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int XeCalendar::DaysInMonth(int year, int month) {
  if (month < 1 || month > kMonthsPerYear) return 0;
  if (month == 2) return IsLeapYear(year) ? 29 : 28;
  return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

int64 XeCalendar::DayNumber(const XeDate& date) {
  RequireDay(date);
  return sys_days(ToChrono(date)).time_since_epoch().count();
}

XeDate XeCalendar::FromDayNumber(int64 day) {
  if (!IsDayNumber(day)) ThrowOutOfRange(SumText(XeDate(1970, 1, 1), day, L" days"));
  return FromDayNumberUnchecked(day);
}

int XeCalendar::DayOfWeek(const XeDate& date) {
  const std::chrono::weekday weekday{sys_days(days(DayNumber(date)))};
  return static_cast<int>(weekday.c_encoding()) + 1;
}

int XeCalendar::DayOfYear(const XeDate& date) {
  return static_cast<int>(DayNumber(date) - FirstDayNumber(date.GetYear())) + 1;
}

int XeCalendar::WeekOfYear(const XeDate& date, int firstDayOfWeek) {
  const int daysBefore = (DayOfWeek(XeDate(date.GetYear(), 1, 1)) - firstDayOfWeek + 7) % 7;
  return (DayOfYear(date) - 1 + daysBefore) / 7 + 1;
}

XeDate XeCalendar::AddMonths(const XeDate& date, int64 months) {
  RequireDay(date);
  // Anything beyond this leaves the calendar from whichever end it starts.
  constexpr int64 kMostMonths = int64{kMaxYear - kMinYear + 1} * kMonthsPerYear;
  if (months <= kMostMonths && months >= -kMostMonths) {
    const std::chrono::year_month start = ToChrono(date).year() / ToChrono(date).month();
    const std::chrono::year_month sum = start + std::chrono::months(months);
    const int year = static_cast<int>(sum.year());
    if (year >= kMinYear && year <= kMaxYear) {
      const int month = static_cast<int>(static_cast<unsigned>(sum.month()));
      const int last = DaysInMonth(year, month);
      return XeDate(year, month, date.GetDay() < last ? date.GetDay() : last);
    }
  }
  ThrowOutOfRange(SumText(date, months, L" months"));
}

XeDate XeCalendar::AddDays(const XeDate& date, int64 days) {
  int64 sum;
  if (__builtin_add_overflow(DayNumber(date), days, &sum) || !IsDayNumber(sum)) {
    ThrowOutOfRange(SumText(date, days, L" days"));
  }
  return FromDayNumberUnchecked(sum);
}

}  // namespace sqxer
