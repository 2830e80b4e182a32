#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "Utility/BaseStringUtil.h"
#include "Utility/DateTimeMetaData.h"
#include "Utility/ErrorMessage.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer {
namespace {

XeString Wide(const std::string& text) { return BaseStringUtil::Utf8ToString(text); }

/// The date-time that a text reads as under a format (empty: none), in ISO 8601, or "refused".
std::string ReadAs(const std::string& format, const std::string& text) {
  DateTimeMetaData metaData;
  metaData.SetDateTimeFormat(Wide(format));
  XeDateTime value;
  if (!metaData.TryConvert(Wide(text), value)) return "refused";
  EXPECT_TRUE(value.IsValid()) << text;
  return BaseStringUtil::StringToUtf8(DateTimeText(value));
}

template <class Call>
std::string ErrorOf(Call call) {
  try {
    call();
  } catch (const ErrorMessage& message) {
    return std::to_string(message.GetCode()) + ": " + message.what();
  }
  return "accepted";
}

/// The cells of a table row of the page, without the quotes around code; empty for other lines.
std::vector<std::string> TableCells(const std::string& line) {
  std::vector<std::string> cells;
  if (!line.starts_with("| ")) return cells;
  std::size_t start = 2;
  for (std::size_t end; (end = line.find(" |", start)) != line.npos; start = end + 3) {
    std::string cell = line.substr(start, end - start);
    const bool isCode = cell.size() > 1 && cell.front() == '`' && cell.back() == '`';
    cells.push_back(isCode ? cell.substr(1, cell.size() - 2) : cell);
  }
  return cells;
}

TEST(DateTimeFormats, EveryExampleOfThePageHolds) {
  std::ifstream page(SQXER_SOURCE_DIR "/docs/formats.md");
  ASSERT_TRUE(page);
  int examples = 0;
  std::vector<std::string> header;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("|--")) continue;
    const std::vector<std::string> cells = TableCells(line);
    if (cells.empty() || header.empty()) {
      header = cells;
      continue;
    }
    SCOPED_TRACE(line);
    if (header.front() == "what") {
      const std::size_t open = cells[0].find('`');
      ASSERT_NE(open, std::string::npos);
      const XeString quoted = Wide(cells[0].substr(open + 1, cells[0].size() - open - 2));
      EXPECT_EQ(ErrorOf([&] {
                  DateTimeMetaData metaData;
                  XeDate date;
                  XeTime time;
                  if (cells[0].starts_with("the format")) metaData.SetDateTimeFormat(quoted);
                  if (cells[0].starts_with("the date")) metaData.Convert(quoted, date);
                  if (cells[0].starts_with("the time")) metaData.Convert(quoted, time);
                }),
                cells[1]);
    } else if (header.front() == "text") {
      ASSERT_EQ(cells.size(), 2u);
      EXPECT_EQ(ReadAs("", cells[0]), cells[1]);
    } else {
      ASSERT_GE(cells.size(), 3u);
      const auto last = cells.end();
      EXPECT_EQ(ReadAs(last[-3], last[-2]), last[-1]);
    }
    ++examples;
  }
  EXPECT_GE(examples, 40);
}

TEST(DateTimeFormats, RefusesMalformedTexts) {
  const struct {
    const char* format;
    const char* text;
  } kCases[] = {
      {"", ""},
      {"", "   "},
      {"", "abc"},
      {"", "2012"},
      {"", "2012-01"},
      {"", "12012-01-01"},
      {"", "2012-13-01"},
      {"", "2012-00-10"},
      {"", "2012-04-31"},
      {"", "1900-02-29"},
      {"", "-4714-01-01"},
      {"", "--001-01-01"},
      {"",
       "2012-01-31 "
       " 10:00"},
      {"", "2012-01-31T"},
      {"", "2012-01-31 8:30"},
      {"", "23:60"},
      {"", "23:59:60"},
      {"", "23:59:59."},
      {"", "23:59:59,5"},
      {"", "23:59:"},
      {"", "23"},
      {"", "\xEF\xBC\x92\xEF\xBC\x90:00"},  // wide digits are no digits
      {"YYYY-MM-DD", "2012/01/31"},
      {"YYYY-MM-DD", "2012-01-"},
      {"YYYY-MM-DD", "012-01-31"},
      {"YYYY-MM-DD", "2012-123-1"},
      {"MON YYYY", "January 2012"},
      {"MONTH YYYY", "Jan 2012"},
      {"WW YYYY", "0 2012"},
      {"YYYY WW DY", "2012 53 Tue"},
      {"DDD YYYY", "0 2012"},
      {"YYYY YYYY", "2012 2013"},
      {"YYYY YY", "2012 13"},
      {"HH:MI AM", "0:30 AM"},
      {"HH:MI AM", "1:30"},
      {"SS.FF", "1."},
      {"\"at\" HH", "on 10"},
      {"--", "--"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(ReadAs(c.format, c.text), "refused") << c.format << " of '" << c.text << "'";
  }
}

TEST(DateTimeFormats, TakesTheHalfThatIsAskedFor) {
  const struct {
    const wchar_t* text;
    bool hasDate;
    bool hasTime;
  } kCases[] = {{L"2012-01-31", true, false},
                {L"23:59:59.5", false, true},
                {L"2012-01-31 23:59:59.5", true, true},
                {L"2012-13-31 23:59:59.5", false, false}};
  const DateTimeMetaData iso;
  for (const auto& c : kCases) {
    XeDate date(1, 2, 3);
    XeTime time(4, 5, 6);
    EXPECT_EQ(iso.TryConvert(c.text, date), c.hasDate);
    EXPECT_EQ(iso.TryConvert(c.text, time), c.hasTime);
    EXPECT_EQ(date, c.hasDate ? XeDate(2012, 1, 31) : XeDate(1, 2, 3));
    EXPECT_EQ(time, c.hasTime ? XeTime(23, 59, 59, 500000000) : XeTime(4, 5, 6));
  }
}

TEST(DateTimeFormats, ReadsEveryNameAndEveryDayOfAYear) {
  DateTimeMetaData metaData;
  const char* const kFormats[] = {"YYYY DDD", "DAY MONTH DD YYYY", "DY MON DD YY", "YYYY WW DY"};
  const char* const kMonths[] = {"January",   "February", "March",    "April",
                                 "May",       "June",     "July",     "August",
                                 "September", "October",  "November", "December"};
  const char* const kDays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                               "Thursday", "Friday", "Saturday"};
  SUSystemConfig& config = SUSystemConfig::GetSystemConfig();
  const SUSystemConfig before = config;
  for (int firstDay : {1, 2, 7}) {
    config.firstDayOfWeek_ = firstDay;
    for (int i = 0; i < 366; ++i) {
      const XeDate date = XeCalendar::AddDays(XeDate(2012, 1, 1), i);
      const std::string month = kMonths[date.GetMonth() - 1];
      const std::string day = kDays[XeCalendar::DayOfWeek(date) - 1];
      const std::string texts[] = {
          "2012 " + std::to_string(i + 1),
          day + ' ' + month + ' ' + std::to_string(date.GetDay()) + " 2012",
          day.substr(0, 3) + ' ' + month.substr(0, 3) + ' ' + std::to_string(date.GetDay()) + " 12",
          "2012 " + std::to_string(XeCalendar::WeekOfYear(date, firstDay)) + ' ' +
              day.substr(0, 3)};
      for (int f = 0; f < 4; ++f) {
        metaData.SetDateTimeFormat(Wide(kFormats[f]));
        XeDate read;
        ASSERT_TRUE(metaData.TryConvert(Wide(texts[f]), read)) << texts[f];
        ASSERT_EQ(read, date) << texts[f];
      }
    }
  }
  config = before;
}

TEST(DateTimeFormats, KeepsTheOldFormatWhenTheNewOneIsRefusedAndRestoresTheDefault) {
  DateTimeMetaData metaData;
  metaData.SetDateTimeFormat(L"DD.MM.YYYY");
  EXPECT_THROW(metaData.SetDateTimeFormat(L"DD.XX"), ErrorMessage);
  EXPECT_EQ(metaData.GetDateTimeFormat(), L"DD.MM.YYYY");
  XeDate date;
  EXPECT_TRUE(metaData.TryConvert(L"31.01.2012", date));
  EXPECT_EQ(date, XeDate(2012, 1, 31));
  metaData.SetDateTimeFormat(L"");
  EXPECT_TRUE(metaData.TryConvert(L"2012-02-01", date));
  EXPECT_EQ(date, XeDate(2012, 2, 1));
}

TEST(DateTimeText, WritesWhatReadsBack) {
  const struct {
    XeDateTime value;
    const wchar_t* text;
  } kCases[] = {
      {{2012, 1, 31}, L"2012-01-31 00:00:00"},
      {{-4713, 1, 1, 0, 0, 0, 1}, L"-4713-01-01 00:00:00.000000001"},
      {{0, 12, 31, 23, 59, 59, 999999999}, L"0000-12-31 23:59:59.999999999"},
      {{9999, 12, 31, 1, 2, 3, 500000000}, L"9999-12-31 01:02:03.5"},
      {{7, 8, 9, 10, 11, 12, 10}, L"0007-08-09 10:11:12.00000001"},
  };
  const DateTimeMetaData iso;
  for (const auto& c : kCases) {
    EXPECT_EQ(DateTimeText(c.value), c.text);
    EXPECT_EQ(DateText(c.value.GetDate()) + L' ' + TimeText(c.value.GetTime()), c.text);
    XeDateTime read;
    EXPECT_TRUE(iso.TryConvert(c.text, read));
    EXPECT_EQ(read, c.value);
  }
}

}  // namespace
}  // namespace sqxer
