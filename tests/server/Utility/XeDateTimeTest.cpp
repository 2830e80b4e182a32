#include <gtest/gtest.h>

#include <string>

#include "Utility/BaseStringUtil.h"
#include "Utility/DateTimeMetaData.h"
#include "Utility/ErrorMessage.h"
#include "Utility/XeDateTime.h"

namespace sqxer {
namespace {

// Counts days one by one with nothing but the rule of leap years, from the first day to the last.
TEST(XeCalendar, AgreesWithCountingEveryDay) {
  int64 day = XeCalendar::DayNumber(XeDate(kMinYear, 1, 1));
  int weekday = XeCalendar::DayOfWeek(XeDate(kMinYear, 1, 1));
  int64 faults = 0;
  for (int year = kMinYear; year <= kMaxYear; ++year) {
    const bool leap = year % 400 == 0 || (year % 4 == 0 && year % 100 != 0);
    faults += XeCalendar::IsLeapYear(year) != leap;
    const int lengths[] = {31, leap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int dayOfYear = 0;
    for (int month = 1; month <= 12; ++month) {
      faults += XeCalendar::DaysInMonth(year, month) != lengths[month - 1];
      for (int d = 1; d <= lengths[month - 1]; ++d) {
        const XeDate date(year, month, d);
        faults += !date.IsValid();
        faults += XeCalendar::DayNumber(date) != day;
        faults += XeCalendar::FromDayNumber(day) != date;
        faults += XeCalendar::DayOfYear(date) != ++dayOfYear;
        faults += XeCalendar::DayOfWeek(date) != weekday;
        weekday = weekday % 7 + 1;
        ++day;
      }
      faults += XeDate(year, month, lengths[month - 1] + 1).IsValid();
    }
  }
  EXPECT_EQ(faults, 0);
  EXPECT_EQ(XeCalendar::DayNumber(XeDate(1970, 1, 1)), 0);
  EXPECT_EQ(XeCalendar::DayOfWeek(XeDate(1970, 1, 1)), 5);  // a Thursday
}

TEST(XeCalendar, NumbersWeeksSoThatEachStartsOnTheFirstDayOfWeek) {
  for (int year : {2011, 2012, 2017, 2023, -1}) {
    for (int first = 1; first <= 7; ++first) {
      int week = 1;
      for (int i = 0; i < (XeCalendar::IsLeapYear(year) ? 366 : 365); ++i) {
        const XeDate date = XeCalendar::AddDays(XeDate(year, 1, 1), i);
        if (i > 0 && XeCalendar::DayOfWeek(date) == first) ++week;
        ASSERT_EQ(XeCalendar::WeekOfYear(date, first), week) << year << ' ' << first << ' ' << i;
      }
    }
  }
}

TEST(XeCalendar, AddsMonthsAndDays) {
  const struct {
    XeDate from;
    int64 months;
    XeDate to;
  } kMonths[] = {
      {{2012, 1, 31}, 1, {2012, 2, 29}},
      {{2011, 1, 31}, 1, {2011, 2, 28}},
      {{2012, 1, 31}, -1, {2011, 12, 31}},
      {{2012, 3, 31}, -1, {2012, 2, 29}},
      {{2012, 12, 15}, 1, {2013, 1, 15}},
      {{2012, 2, 29}, 12, {2013, 2, 28}},
      {{1, 1, 1}, -13, {-1, 12, 1}},
      {{2012, 5, 31}, 0, {2012, 5, 31}},
      {{-4713, 1, 31}, 14712 * 12 + 11, {9999, 12, 31}},
      {{9999, 12, 31}, -14712 * 12 - 11, {-4713, 1, 31}},
  };
  for (const auto& c : kMonths) EXPECT_EQ(XeCalendar::AddMonths(c.from, c.months), c.to);
  EXPECT_EQ(XeCalendar::AddDays(XeDate(2012, 2, 28), 2), XeDate(2012, 3, 1));
  EXPECT_EQ(XeCalendar::AddDays(XeDate(1, 1, 1), -1), XeDate(0, 12, 31));
}

TEST(XeCalendar, RefusesWhatLeavesTheCalendar) {
  const struct {
    XeDate (*compute)();
    const wchar_t* text;
  } kCases[] = {
      {[] { return XeCalendar::AddMonths(XeDate(9999, 12, 1), 1); }, L"9999-12-01 + 1 months"},
      {[] { return XeCalendar::AddMonths(XeDate(-4713, 1, 1), -1); }, L"-4713-01-01 - 1 months"},
      {[] { return XeCalendar::AddMonths(XeDate(2000, 1, 1), INT64_MIN); },
       L"2000-01-01 - 9223372036854775808 months"},
      {[] { return XeCalendar::AddDays(XeDate(9999, 12, 31), 1); }, L"9999-12-31 + 1 days"},
      {[] { return XeCalendar::AddDays(XeDate(2000, 1, 1), INT64_MAX); },
       L"2000-01-01 + 9223372036854775807 days"},
      {[] { return XeCalendar::FromDayNumber(INT64_MIN); },
       L"1970-01-01 - 9223372036854775808 days"},
      {[] { return XeCalendar::FromDayNumber(2932897); }, L"1970-01-01 + 2932897 days"},
      {[] { return XeCalendar::AddDays(XeDate(2011, 2, 29), 0); }, L"2011-02-29"},
      {[] { return XeCalendar::AddMonths(XeDate(), 1); }, L"0000-00-00"},
  };
  for (const auto& c : kCases) {
    try {
      c.compute();
      ADD_FAILURE() << BaseStringUtil::StringToUtf8(c.text);
    } catch (const ErrorMessage& message) {
      EXPECT_EQ(message.GetCode(), 59171);
      EXPECT_EQ(message.GetArguments(), std::vector<XeString>{c.text});
    }
  }
  EXPECT_EQ(XeCalendar::DaysInMonth(2000, 0), 0);
  EXPECT_EQ(XeCalendar::DaysInMonth(2000, 13), 0);
}

TEST(XeDateTime, ComparesFieldByFieldAndExtendsDatesAndTimes) {
  const XeDateTime ordered[] = {{-4713, 12, 31},       {-1, 1, 1},         {0, 1, 1},
                                {2012, 1, 31},         {2012, 2, 1},       {2012, 2, 1, 0, 0, 0, 1},
                                {2012, 2, 1, 0, 0, 1}, {2012, 2, 1, 0, 1}, {2012, 2, 1, 1},
                                {2012, 2, 2},          {9999, 1, 1}};
  for (std::size_t i = 0; i < std::size(ordered); ++i) {
    for (std::size_t j = 0; j < std::size(ordered); ++j) {
      const int expected = i < j ? -1 : i > j ? 1 : 0;
      EXPECT_EQ(XeDateTime::Compare(ordered[i], ordered[j]), expected);
      EXPECT_EQ(
          XeTime::Compare(XeTime(1, 2, static_cast<int>(i)), XeTime(1, 2, static_cast<int>(j))),
          expected);
      if (ordered[i].GetTime() == ordered[j].GetTime()) {
        EXPECT_EQ(XeDate::Compare(ordered[i].GetDate(), ordered[j].GetDate()), expected);
      }
    }
  }
  XeDateTime value(2012, 1, 31, 1, 2, 3, 4);
  value = XeTime(23, 59, 59, 999999999);
  EXPECT_EQ(value, XeDateTime(1900, 1, 1, 23, 59, 59, 999999999));
  const XeTime time(value);
  EXPECT_EQ(time, XeTime(23, 59, 59, 999999999));
  value = XeDate(2012, 2, 29);
  EXPECT_EQ(value, XeDateTime(2012, 2, 29));
  const XeDate date(value);
  EXPECT_EQ(date, XeDate(2012, 2, 29));
}

TEST(XeTime, IsValidWithinTheDay) {
  const struct {
    XeTime time;
    bool valid;
  } kCases[] = {{{0, 0, 0}, true},   {{23, 59, 59, 999999999}, true},
                {{24, 0, 0}, false}, {{0, 60, 0}, false},
                {{0, 0, 60}, false}, {{0, 0, 0, 1000000000}, false}};
  for (const auto& c : kCases) {
    EXPECT_EQ(c.time.IsValid(), c.valid);
    XeDateTime value(2012, 2, 29);
    value.SetHour(c.time.GetHour());
    value.SetMinute(c.time.GetMinute());
    value.SetSecond(c.time.GetSecond());
    value.SetNanosecond(c.time.GetNanosecond());
    EXPECT_EQ(value.IsValid(), c.valid);
  }
  for (const XeDate& date : {XeDate(), XeDate(2012, 13, 1), XeDate(2012, 0, 1), XeDate(2012, 1, 0),
                             XeDate(10000, 1, 1), XeDate(-4714, 12, 31), XeDate(2011, 2, 29)}) {
    EXPECT_FALSE(date.IsValid());
    EXPECT_FALSE(XeDateTime(date).IsValid());
  }
}

}  // namespace
}  // namespace sqxer
