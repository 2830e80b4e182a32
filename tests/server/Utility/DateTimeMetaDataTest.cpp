#include <gtest/gtest.h>

#include "Utility/DateTimeMetaData.h"
#include "Utility/XeCalendar.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

/// The date-time that a text reads as under a format (empty: none), in ISO 8601, or "refused".
std::string ReadAs(const std::string& format, const std::string& text) {
  DateTimeMetaData metaData;
  metaData.SetDateTimeFormat(Wide(format));
  XeDateTime value;
  if (!metaData.TryConvert(Wide(text), value)) return "refused";
  EXPECT_TRUE(value.IsValid()) << text;
  return BaseStringUtil::StringToUtf8(DateTimeText(value));
}

TEST(DateTimeFormats, EveryExampleOfThePageHolds) {
  std::size_t examples = 0;
  for (const auto& [header, rows] : PageTables("formats.md")) {
    examples += rows.size();
    for (const auto& row : rows) {
      const auto cell = [&](std::size_t fromLast) { return Quoted(row[row.size() - fromLast])[0]; };
      SCOPED_TRACE(cell(2));
      if (header != "what") {
        EXPECT_EQ(ReadAs(header == "text" ? "" : cell(3), cell(2)), cell(1));
        continue;
      }
      DateTimeMetaData metaData;
      XeDate date;
      XeTime time;
      const XeString text = Wide(cell(2));
      const auto convert = [&] {
        if (row[0].starts_with("the format")) metaData.SetDateTimeFormat(text);
        if (row[0].starts_with("the date")) metaData.Convert(text, date);
        if (row[0].starts_with("the time")) metaData.Convert(text, time);
      };
      EXPECT_EQ(ErrorOf(convert), row[1]);
    }
  }
  EXPECT_GE(examples, 40u);
}

TEST(DateTimeFormats, RefusesMalformedTexts) {
  // The last one has wide digits.
  for (const std::string& text :
       Split("|   |abc|2012|2012-01|12012-01-01|2012-13-01|2012-00-10|2012-04-31|1900-02-29|"
             "-4714-01-01|--001-01-01|2012-01-31  10:00|2012-01-31T|2012-01-31 8:30|23:60|23:59:60|"
             "23:59:59.|23:59:59,5|23:59:|23|\uFF12\uFF10:00")) {
    EXPECT_EQ(ReadAs("", text), "refused") << text;
  }
  for (const std::string& one :
       Split("YYYY-MM-DD=2012/01/31|YYYY-MM-DD=2012-01-|YYYY-MM-DD=012-01-31|YYYY-MM-DD=2012-123-1|"
             "MON YYYY=January 2012|MONTH YYYY=Jan 2012|WW YYYY=0 2012|YYYY WW DY=2012 53 Tue|"
             "DDD YYYY=0 2012|YYYY YYYY=2012 2013|YYYY YY=2012 13|HH:MI AM=0:30 AM|HH:MI AM=1:30|"
             "SS.FF=1.|\"at\" HH=on 10|--=--")) {
    EXPECT_EQ(ReadAs(Split(one, '=')[0], Split(one, '=')[1]), "refused") << one;
  }
}

TEST(DateTimeFormats, TakesTheHalfThatIsAskedForUnderTheLastGoodFormat) {
  DateTimeMetaData format;
  format.SetDateTimeFormat(L"DD.MM.YYYY HH:MI");
  EXPECT_THROW(format.SetDateTimeFormat(L"DD.XX"), ErrorMessage);
  XeDate date;
  XeTime time;
  EXPECT_TRUE(format.TryConvert(L"31.01.2012 23:59", date));
  EXPECT_TRUE(format.TryConvert(L"31.01.2012 23:59", time));
  EXPECT_FALSE(format.TryConvert(L"31.13.2012 23:58", time));
  format.SetDateTimeFormat(L"");
  EXPECT_FALSE(format.TryConvert(L"2012-01-31", time));
  EXPECT_FALSE(format.TryConvert(L"23:58", date));
  EXPECT_EQ(date, XeDate(2012, 1, 31));
  EXPECT_EQ(time, XeTime(23, 59, 0));
}

TEST(DateTimeFormats, ReadsEveryNameAndEveryDayOfAYear) {
  const auto kMonths = Split(
      "January|February|March|April|May|June|July|August|September|October|November|December");
  const auto kDays = Split("Sunday|Monday|Tuesday|Wednesday|Thursday|Friday|Saturday");
  ConfigScope config;
  for (int firstDay : {1, 2, 7}) {
    config->firstDayOfWeek_ = firstDay;
    for (int i = 0; i < 366; ++i) {
      const XeDate date = XeCalendar::AddDays(XeDate(2012, 1, 1), i);
      const std::string month = kMonths[date.GetMonth() - 1];
      const std::string weekday = kDays[XeCalendar::DayOfWeek(date) - 1];
      const std::string day = std::to_string(date.GetDay());
      const std::string short3 = weekday.substr(0, 3);
      const std::pair<const char*, std::string> texts[] = {
          {"YYYY DDD", "2012 " + std::to_string(i + 1)},
          {"DAY MONTH DD YYYY", weekday + ' ' + month + ' ' + day + " 2012"},
          {"DY MON DD YY", short3 + ' ' + month.substr(0, 3) + ' ' + day + " 12"},
          {"YYYY DY WW",
           "2012 " + short3 + ' ' + std::to_string(XeCalendar::WeekOfYear(date, firstDay))}};
      const std::string expected = BaseStringUtil::StringToUtf8(DateText(date)) + " 00:00:00";
      for (const auto& [format, text] : texts) ASSERT_EQ(ReadAs(format, text), expected) << text;
    }
  }
}

TEST(DateTimeText, WritesWhatReadsBack) {
  const std::pair<XeDateTime, std::string> kCases[] = {
      {{2012, 1, 31}, "2012-01-31 00:00:00"},
      {{-4713, 1, 1, 0, 0, 0, 1}, "-4713-01-01 00:00:00.000000001"},
      {{0, 12, 31, 23, 59, 59, 999999999}, "0000-12-31 23:59:59.999999999"},
      {{9999, 1, 2, 10, 11, 12, 500000000}, "9999-01-02 10:11:12.5"}};
  for (const auto& [value, text] : kCases) {
    EXPECT_EQ(DateText(value.GetDate()) + L' ' + TimeText(value.GetTime()), Wide(text));
    EXPECT_EQ(ReadAs("", text), text);
    EXPECT_EQ(DateTimeText(value), Wide(text));
  }
}

}  // namespace
}  // namespace sqxer
