#include <gtest/gtest.h>

#include "Utility/DateTimeMetaData.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

// Counts days one by one with nothing but the rule of leap years, from the first day to the last;
// each week starts on the first day of the week.
TEST(XeCalendar, AgreesWithCountingEveryDay) {
  int64 day = XeCalendar::DayNumber(XeDate(kMinYear, 1, 1));
  int weekday = XeCalendar::DayOfWeek(XeDate(kMinYear, 1, 1));
  int64 faults = 0;
  for (int year = kMinYear; year <= kMaxYear; ++year) {
    const bool leap = year % 400 == 0 || (year % 4 == 0 && year % 100 != 0);
    const int lengths[] = {0, 31, leap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31, 0};
    faults += XeCalendar::IsLeapYear(year) != leap;
    int dayOfYear = 0;
    int weeks[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    for (int month = 0; month <= 13; ++month) {
      const int length = lengths[month];
      faults += XeCalendar::DaysInMonth(year, month) != length;
      faults += XeDate(year, month, 0).IsValid() || XeDate(year, month, length + 1).IsValid();
      for (int d = 1; d <= length; ++d) {
        const XeDate date(year, month, d);
        faults += !date.IsValid() || !XeDateTime(date).IsValid();
        faults += XeCalendar::DayNumber(date) != day;
        faults += XeCalendar::FromDayNumber(day++) != date;
        faults += XeCalendar::DayOfYear(date) != ++dayOfYear;
        faults += XeCalendar::DayOfWeek(date) != weekday;
        if (dayOfYear > 1) ++weeks[weekday];
        for (int first = 1; first <= 7 && year > 1990 && year < 2030; ++first) {
          faults += XeCalendar::WeekOfYear(date, first) != weeks[first];
        }
        weekday = weekday % 7 + 1;
      }
    }
  }
  EXPECT_EQ(faults, 0);
  EXPECT_EQ(XeCalendar::DayNumber(XeDate(1970, 1, 1)), 0);
  EXPECT_EQ(XeCalendar::DayOfWeek(XeDate(1970, 1, 1)), 5);  // a Thursday
  EXPECT_FALSE(XeDate(kMaxYear + 1, 1, 1).IsValid() || XeDate(kMinYear - 1, 12, 31).IsValid());
}

TEST(XeCalendar, AddsMonthsAndDays) {
  const std::tuple<XeDate, int64, XeDate> kMonths[] = {
      {{2012, 1, 31}, 1, {2012, 2, 29}},
      {{2012, 1, 31}, -1, {2011, 12, 31}},
      {{2012, 2, 29}, 12, {2013, 2, 28}},
      {{1, 1, 1}, -13, {-1, 12, 1}},
      {{9999, 12, 31}, -14712 * 12 - 11, {-4713, 1, 31}}};
  for (const auto& [from, months, to] : kMonths) EXPECT_EQ(XeCalendar::AddMonths(from, months), to);
  EXPECT_EQ(XeCalendar::AddDays(XeDate(1, 1, 1), -1), XeDate(0, 12, 31));

  const auto refusal = [](auto compute, const XeDate& date, int64 count) {
    const std::string text = ErrorOf([&] { compute(date, count); });
    return text.substr(0, 7) + text.substr(text.rfind(": ") + 2);
  };
  const auto months = XeCalendar::AddMonths;
  const auto days = XeCalendar::AddDays;
  EXPECT_EQ(refusal(days, XeDate(9999, 12, 31), 1), "59171: 9999-12-31 + 1 days");
  EXPECT_EQ(refusal(months, XeDate(-4713, 1, 1), -1), "59171: -4713-01-01 - 1 months");
  EXPECT_EQ(refusal(months, XeDate(2000, 1, 1), INT64_MIN),
            "59171: 2000-01-01 - 9223372036854775808 months");
  EXPECT_EQ(refusal(days, XeDate(2011, 2, 29), 0), "59171: 2011-02-29");
}

TEST(XeDateTime, ComparesFieldByFieldAndExtendsDatesAndTimes) {
  const XeDateTime ordered[] = {{-4713, 12, 31},       {-1, 1, 1},         {0, 1, 1},
                                {2012, 1, 31},         {2012, 2, 1},       {2012, 2, 1, 0, 0, 0, 1},
                                {2012, 2, 1, 0, 0, 1}, {2012, 2, 1, 0, 1}, {2012, 2, 1, 1},
                                {2012, 2, 2},          {9999, 1, 1}};
  for (const XeDateTime& a : ordered) {
    for (const XeDateTime& b : ordered) {
      const int expected = (&a > &b) - (&a < &b);
      EXPECT_EQ(XeDateTime::Compare(a, b), expected);
      const int dates = XeDate::Compare(a.GetDate(), b.GetDate());
      EXPECT_EQ(dates != 0 ? dates : XeTime::Compare(a.GetTime(), b.GetTime()), expected);
    }
  }
  XeDateTime value(2012, 1, 31, 1, 2, 3, 4);
  value = XeTime(23, 59, 59, 999999999);
  EXPECT_EQ(value, XeDateTime(1900, 1, 1, 23, 59, 59, 999999999));
  EXPECT_EQ(XeTime(value), XeTime(23, 59, 59, 999999999));
  value = XeDate(2012, 2, 29);
  EXPECT_EQ(value, XeDateTime(2012, 2, 29));
  EXPECT_EQ(XeDate(value), XeDate(2012, 2, 29));
  EXPECT_TRUE(XeTime(0, 0, 0).IsValid() && XeTime(23, 59, 59, 999999999).IsValid());
  EXPECT_FALSE(XeTime(24, 0, 0).IsValid() || XeTime(0, 60, 0).IsValid());
  EXPECT_FALSE(XeTime(0, 0, 60).IsValid() || XeDateTime(2012, 2, 29, 0, 0, 60).IsValid());
  EXPECT_FALSE(XeTime(0, 0, 0, 1000000000).IsValid());
}

}  // namespace
}  // namespace sqxer
