#include <gtest/gtest.h>

#include <random>

#include "Utility/DateTimeMetaData.h"
#include "Utility/XeCalendar.h"
#include "Utility/XeIntlDateTimeMgr.h"
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

/// Days and weeks of a stretch of the calendar, counted one by one.
struct Counter {
  int day = 0;
  int weeks[8] = {};

  void Next(bool starts, int weekday) {
    if (starts) {
      day = 0;
      std::fill(weeks, weeks + 8, 1);
    }
    ++day;
    if (day > 1) ++weeks[weekday];
  }
};

TEST(XeDateTime, PartsAgreeWithCountingFromTheStartOfEachPeriod) {
  for (int first = 1; first <= 12; ++first) {
    const XeYearDivision fiscal(first);
    Counter year, quarter, month;
    int faults = 0;
    for (XeDate day(1995, first, 1); day.GetYear() < 2005; day = XeCalendar::AddDays(day, 1)) {
      const XeDateTime value(day);
      const int weekday = XeCalendar::DayOfWeek(day), m = day.GetMonth();
      const int monthOfYear = m - first + (m < first ? 13 : 1);
      const bool starts = day.GetDay() == 1;
      month.Next(starts, weekday);
      year.Next(starts && m == first, weekday);
      quarter.Next(starts && monthOfYear % 3 == 1, weekday);
      faults += value.FiscalYear(fiscal) != day.GetYear() + (first > 1 && m >= first);
      faults += value.FiscalMonth(fiscal) != monthOfYear;
      faults += value.FiscalQuarterOfTheYear(fiscal) != (monthOfYear + 2) / 3;
      faults += value.FiscalMonthOfTheQuarter(fiscal) != (monthOfYear + 2) % 3 + 1;
      faults += value.FiscalDayOfTheYear(fiscal) != year.day;
      faults += value.FiscalDayOfTheQuarter(fiscal) != quarter.day;
      for (int w = 1; w <= 7; ++w) {
        faults += value.FiscalWeekOfTheYear(w, fiscal) != year.weeks[w];
        faults += value.FiscalWeekOfTheQuarter(w, fiscal) != quarter.weeks[w];
        faults += value.WeekOfTheMonth(w) != month.weeks[w];
        faults += first == 1 && value.WeekOfTheYear(w) != year.weeks[w];
        faults += first == 1 && value.WeekOfTheQuarter(w) != quarter.weeks[w];
      }
    }
    EXPECT_EQ(faults, 0) << "fiscal years start in month " << first;
  }
  // The fiscal year that starts before the first day, and the one that ends behind the last.
  const XeYearDivision fiscal(10);
  EXPECT_EQ(XeDateTime(kMinYear, 1, 1).FiscalDayOfTheYear(fiscal), 93);
  EXPECT_EQ(XeDateTime(kMaxYear, 12, 31).FiscalYear(fiscal), kMaxYear + 1);
}

__extension__ typedef __int128 Instant;

/// Nanoseconds since the first day of the year 0, by counting leap years.
Instant InstantOf(const XeDateTime& value) {
  const int before = value.GetYear() + 8000 - 1;  // a whole number of cycles of leap years later
  int64 days = int64{before} * 365 + before / 4 - before / 100 + before / 400;
  for (int m = 1; m < value.GetMonth(); ++m) days += XeCalendar::DaysInMonth(value.GetYear(), m);
  days += value.GetDay() - 1;
  const int64 seconds = value.GetHour() * 3600 + value.GetMinute() * 60 + value.GetSecond();
  return Instant{days * 86400 + seconds} * 1000000000 + value.GetNanosecond();
}

TEST(XeDateTime, SumsAndDifferencesAgreeWithNanosecondsOnOneScale) {
  struct Unit {
    int64 microseconds;
    void (XeDateTime::*add)(int64 count);
    int64 (*difference)(const XeDateTime& a, const XeDateTime& b);
  };
  const Unit kUnits[] = {{1, nullptr, XeDateTime::DifferenceInMicroseconds},
                         {1000, &XeDateTime::AddMilliseconds, XeDateTime::DifferenceInMilliSeconds},
                         {1'000'000, &XeDateTime::AddSeconds, XeDateTime::DifferenceInSeconds},
                         {60'000'000, &XeDateTime::AddMinutes, XeDateTime::DifferenceInMinutes},
                         {3'600'000'000, &XeDateTime::AddHours, XeDateTime::DifferenceInHours},
                         {86'400'000'000, &XeDateTime::AddDays, XeDateTime::DifferenceInDays},
                         {7 * 86'400'000'000, nullptr, XeDateTime::DifferenceInWeeks}};
  const Instant least = InstantOf(XeDateTime(kMinYear, 1, 1));
  const Instant most = InstantOf(XeDateTime(kMaxYear, 12, 31, 23, 59, 59, 999999999));
  std::mt19937_64 engine(4);
  const auto below = [&](uint64 limit) { return static_cast<int>(engine() % limit); };
  const auto random = [&] {
    const int year =
        below(8) == 0 ? (below(2) == 0 ? kMinYear : kMaxYear) : below(14713) + kMinYear;
    const int month = below(12) + 1;
    const bool sharp = below(3) == 0;  // midnight or its last nanosecond, where days turn
    const bool last = below(2) == 0;
    return XeDateTime(year, month, below(unsigned(XeCalendar::DaysInMonth(year, month))) + 1,
                      sharp ? last * 23 : below(24), sharp ? last * 59 : below(60),
                      sharp ? last * 59 : below(60),
                      sharp ? uint32(last) * 999999999 : uint32(below(1000000000)));
  };
  int refused = 0;
  for (int i = 0; i < 20000; ++i) {
    const XeDateTime a = random(), b = random();
    for (const Unit& unit : kUnits) {
      const Instant nanoseconds = Instant{unit.microseconds} * 1000;
      ASSERT_TRUE(unit.difference(a, b) == (InstantOf(a) - InstantOf(b)) / nanoseconds);
      if (unit.add == nullptr) continue;
      const int64 count = static_cast<int64>(engine()) >> below(64);
      const Instant expected = InstantOf(a) + count * nanoseconds;
      XeDateTime sum = a;
      const std::string outcome = ErrorOf([&] { (sum.*unit.add)(count); });
      if (expected < least || expected > most) {
        ++refused;
        ASSERT_EQ(outcome.substr(0, 5), "59171");
        ASSERT_EQ(sum, a);
      } else {
        ASSERT_EQ(outcome, "accepted");
        ASSERT_TRUE(sum.IsValid() && InstantOf(sum) == expected);
      }
    }
    XeDateTime years = a, months = a;
    const int64 count = static_cast<int64>(engine()) >> (50 + below(14));
    const std::string outcome = ErrorOf([&] { years.AddYears(count); });
    ASSERT_EQ(outcome == "accepted", ErrorOf([&] { months.AddMonths(12 * count); }) == "accepted");
    ASSERT_EQ(years, months);
  }
  EXPECT_GT(refused, 1000);
  XeDateTime value(9999, 12, 31, 23, 30);
  const std::string text = ErrorOf([&] { value.AddHours(3); });
  EXPECT_EQ(text.substr(text.rfind(": ")), ": 9999-12-31 23:30:00 + 3 hours");
}

TEST(XeIntlDateTimeMgr, NamesAndFirstDaysOfLocales) {
  ConfigScope config;
  // locale: January, its short name, Wednesday, its short name, first day of the week
  for (const std::string& one :
       Split(" January Jan Wednesday Wed 1|en_US January Jan Wednesday Wed 1|"
             "sv_SE januari jan. onsdag ons 2|de@collation=phonebook Januar Jan Mittwoch Mi 2|"
             "pl_PL stycze\u0144 sty \u015broda \u015br. 2|ja_JP 1\u6708 1\u6708 "
             "\u6c34\u66dc\u65e5 \u6c34 1|"
             // Another calendar by default, but the days are those of this one.
             "fa_IR \u0698\u0627\u0646\u0648\u06cc\u0647 \u0698\u0627\u0646\u0648\u06cc\u0647 "
             "\u0686\u0647\u0627\u0631\u0634\u0646\u0628\u0647 "
             "\u0686\u0647\u0627\u0631\u0634\u0646\u0628\u0647 7")) {
    const auto parts = Split(one, ' ');
    config->Set("Locale", parts[0]);
    const XeString names[] = {
        XeIntlDateTimeMgr::GetLongMonthName(1), XeIntlDateTimeMgr::GetShortMonthName(1),
        XeIntlDateTimeMgr::GetLongDayName(4), XeIntlDateTimeMgr::GetShortDayName(4)};
    for (std::size_t i = 0; i < 4; ++i)
      EXPECT_EQ(BaseStringUtil::StringToUtf8(names[i]), parts[i + 1]);
    config->firstDayOfWeek_ = SUSystemConfig::kFirstDayOfLocale;
    EXPECT_EQ(std::to_string(XeIntlDateTimeMgr::GetFirstDayOfWeek()), parts[5]) << parts[0];
    config->firstDayOfWeek_ = 4;
    EXPECT_EQ(XeIntlDateTimeMgr::GetFirstDayOfWeek(), 4);
  }
  config->locale_.clear();
  EXPECT_EQ(XeIntlDateTimeMgr::GetMaxDayMonthNameLength(), 9u);  // September, Wednesday
}

TEST(XeDateTime, ExtendsDatesAndTimes) {
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
