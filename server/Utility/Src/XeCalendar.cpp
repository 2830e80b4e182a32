#include "Utility/XeCalendar.h"

#include <algorithm>
#include <chrono>

#include "DateRange.h"
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

XeDate FromDayNumberUnchecked(int64 day) {
  const year_month_day date{sys_days(days(day))};
  return XeDate(static_cast<int>(date.year()),
                static_cast<int>(static_cast<unsigned>(date.month())),
                static_cast<int>(static_cast<unsigned>(date.day())));
}

/// The day of the month, or the last one of a shorter month.
XeDate DayWithin(int year, int month, int day) {
  return XeDate(year, month, std::min(day, XeCalendar::DaysInMonth(year, month)));
}

/// 1 is Sunday.
int DayOfWeekOf(int64 day) {
  return static_cast<int>(std::chrono::weekday(sys_days(days(day))).c_encoding()) + 1;
}

}  // namespace

void ThrowSumOutOfRange(const XeString& start, int64 count, const wchar_t* unit) {
  // Without the sign; the negation of the smallest number is taken without overflow.
  const uint64 size = count < 0 ? 0 - static_cast<uint64>(count) : static_cast<uint64>(count);
  SUGThrow(ErrorMessage(kDateOutOfRange, {start + (count < 0 ? L" - " : L" + ") +
                                          std::to_wstring(size) + L" " + unit}));
}

bool XeDate::IsValid() const {
  // Every month has 28 days; only what lies behind them asks for the length of the month.
  return year_ >= kMinYear && year_ <= kMaxYear && month_ >= 1 && month_ <= kMonthsPerYear &&
         day_ >= 1 && (day_ <= 28 || day_ <= XeCalendar::DaysInMonth(year_, month_));
}

bool XeCalendar::IsLeapYear(int year) {
  // Not std::chrono::year, which holds 16 bits.
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

int XeCalendar::DaysInMonth(int year, int month) {
  if (month < 1 || month > kMonthsPerYear) return 0;
  if (month == 2) return IsLeapYear(year) ? 29 : 28;
  return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

void XeCalendar::RequireDay(const XeDate& date) {
  if (!date.IsValid()) SUGThrow(ErrorMessage(kDateOutOfRange, {DateText(date)}));
}

int64 XeCalendar::DayNumber(const XeDate& date) {
  RequireDay(date);
  return sys_days(ToChrono(date)).time_since_epoch().count();
}

bool XeCalendar::IsDayNumber(int64 day) { return day >= kMinDayNumber && day <= kMaxDayNumber; }

XeDate XeCalendar::FromDayNumber(int64 day) {
  if (!IsDayNumber(day)) ThrowSumOutOfRange(DateText(XeDate(1970, 1, 1)), day, L"days");
  return FromDayNumberUnchecked(day);
}

int XeCalendar::DayOfWeek(const XeDate& date) { return DayOfWeekOf(DayNumber(date)); }

int XeCalendar::DayOfYear(const XeDate& date) {
  return XeYearDivision(1).GetDay(XeYearDivision::kYear, date);
}

int XeCalendar::WeekOfYear(const XeDate& date, int firstDayOfWeek) {
  return XeYearDivision(1).GetWeek(XeYearDivision::kYear, date, firstDayOfWeek);
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
      return DayWithin(year, month, date.GetDay());
    }
  }
  ThrowSumOutOfRange(DateText(date), months, L"months");
}

XeDate XeCalendar::AddYears(const XeDate& date, int64 years) {
  RequireDay(date);
  if (years < kMinYear - date.GetYear() || years > kMaxYear - date.GetYear()) {
    ThrowSumOutOfRange(DateText(date), years, L"years");
  }
  return DayWithin(date.GetYear() + static_cast<int>(years), date.GetMonth(), date.GetDay());
}

XeDate XeCalendar::AddDays(const XeDate& date, int64 days) {
  int64 sum;
  if (__builtin_add_overflow(DayNumber(date), days, &sum) || !IsDayNumber(sum)) {
    ThrowSumOutOfRange(DateText(date), days, L"days");
  }
  return FromDayNumberUnchecked(sum);
}

int XeYearDivision::MonthsBefore(Period period, const XeDate& date) const {
  const int ofYear = (date.GetMonth() - firstMonth_ + kMonthsPerYear) % kMonthsPerYear;
  return period == kYear ? ofYear : period == kQuarter ? ofYear % 3 : 0;
}

int64 XeYearDivision::FirstDay(Period period, const XeDate& date) const {
  // A fiscal year may start before the first year that dates may hold.
  int year = date.GetYear();
  int month = date.GetMonth() - MonthsBefore(period, date);
  if (month < 1) {
    month += kMonthsPerYear;
    --year;
  }
  return sys_days(std::chrono::year(year) / month / 1).time_since_epoch().count();
}

int XeYearDivision::GetYear(const XeDate& date) const {
  return date.GetYear() + (firstMonth_ > 1 && date.GetMonth() >= firstMonth_ ? 1 : 0);
}

int XeYearDivision::GetDay(Period period, const XeDate& date) const {
  return static_cast<int>(XeCalendar::DayNumber(date) - FirstDay(period, date)) + 1;
}

int XeYearDivision::GetWeek(Period period, const XeDate& date, int firstDayOfWeek) const {
  const int64 day = XeCalendar::DayNumber(date);
  const int64 firstDay = FirstDay(period, date);
  const int daysBefore = (DayOfWeekOf(firstDay) - firstDayOfWeek + 7) % 7;
  return (static_cast<int>(day - firstDay) + daysBefore) / 7 + 1;
}

}  // namespace sqxer
