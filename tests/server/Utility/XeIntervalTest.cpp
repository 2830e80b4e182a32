#include <gtest/gtest.h>

#include <random>

#include "Utility/TimeZone.h"
#include "Utility/XeInterval.h"
#include "UtilityTesting.h"
#include "support/BoundaryValues.h"

namespace sqxer {
namespace {

constexpr int64 kSecond = 1'000'000;

std::string Read(std::wstring_view text, const std::optional<IntervalFields>& fields = {},
                 const std::optional<int>& digits = {}) {
  XeInterval value{7, 7, 7};
  switch (ReadInterval(text, fields, digits, value)) {
    case IntervalReading::kRead:
      return BaseStringUtil::StringToUtf8(IntervalText(value));
    case IntervalReading::kOutOfRange:
      return "beyond";
    case IntervalReading::kUnreadable:
      break;
  }
  EXPECT_TRUE(value.IsSame({7, 7, 7})) << "a text that does not read leaves the value";
  return "none";
}

TEST(XeInterval, TextsReadBackPartByPart) {
  std::vector<XeInterval> values = test::BoundaryValues<XeInterval>();
  std::mt19937_64 random(5);
  for (int i = 0; i < 20000; ++i) {
    // Of all sizes, so that parts are 0, small and large.
    const auto some = [&](int bits) {
      return static_cast<int64>(random()) >> (64 - bits + static_cast<int>(random() % bits));
    };
    values.push_back({static_cast<int32>(some(32)), static_cast<int32>(some(32)), some(64)});
  }
  std::size_t longest = 0;
  for (const XeInterval& value : values) {
    const XeString text = IntervalText(value);
    XeInterval read;
    // What has no positive counterpart is read as the sum of its unit and more.
    const bool isLeast = value.days == INT32_MIN || value.microseconds == INT64_MIN;
    if (isLeast) continue;
    ASSERT_EQ(ReadInterval(text, read), IntervalReading::kRead)
        << BaseStringUtil::StringToUtf8(text);
    ASSERT_TRUE(read.IsSame(value)) << BaseStringUtil::StringToUtf8(text);
    longest = std::max(longest, text.size());
  }
  EXPECT_LE(longest, kMostIntervalText);
  EXPECT_LE(IntervalText({-2147483647, INT32_MIN, INT64_MAX}).size(), kMostIntervalText);
}

TEST(XeInterval, ReadsWhatPeopleWrite) {
  const std::pair<const wchar_t*, const char*> kTexts[] = {
      {L"1 year 2 mons -3 days 04:05:06.7", "1 year 2 mons -3 days +04:05:06.7"},
      {L"  P1Y2M3DT4H5M6S\t", "1 year 2 mons 3 days 04:05:06"},
      {L"P0001-02-03T04:05:06", "1 year 2 mons 3 days 04:05:06"},
      {L"P00010203T040506.5", "1 year 2 mons 3 days 04:05:06.5"},
      {L"1-2", "1 year 2 mons"},
      {L"1.5 MONTHS ago", "-1 mons -15 days"},
      {L"2 3 hours", "2 days 03:00:00"},
      {L"1 day 1 day", "none"},
      {L"", "none"},
      {L"P", "none"},
      {L"PT", "00:00:00"},
      {L"P1", "1 year"},
      {L"1 \u00e9", "none"},
      {L"2147483648 days", "beyond"},
      {L"P99999999999999999999D", "beyond"},
      {L"-2562047788:00:54.775808 ago", "beyond"},
  };
  for (const auto& [text, value] : kTexts) {
    EXPECT_EQ(Read(text), value) << BaseStringUtil::StringToUtf8(text);
  }
  using Fields = IntervalFields;
  EXPECT_EQ(Read(L"3", Fields{Fields::kDay, Fields::kDay}), "3 days");
  EXPECT_EQ(Read(L"1:2", Fields{Fields::kMinute, Fields::kSecond}), "00:01:02");
  EXPECT_EQ(Read(L"15 mons 3 days", Fields{Fields::kYear, Fields::kYear}), "1 year");
  EXPECT_EQ(Read(L"-1.25 s", {}, 1), "-00:00:01.3");
}

TEST(XeInterval, ComparesAsSpans) {
  const auto compare = [](const XeInterval& a, const XeInterval& b) {
    return XeInterval::Compare(a, b);
  };
  EXPECT_EQ(compare({1, 0, 0}, {0, 30, 0}), 0);
  EXPECT_EQ(compare({0, 1, -1}, {0, 0, 86'400 * kSecond}), -1);
  EXPECT_EQ(compare({INT32_MAX, INT32_MAX, INT64_MAX}, {INT32_MIN, INT32_MIN, INT64_MIN}), 1);
  EXPECT_EQ(compare({12, -1, 0}, {11, 29, 1}), -1);
  EXPECT_FALSE((XeInterval{1, 0, 0}.IsSame({0, 30, 0})));
}

TEST(TimeZone, KnowsTheDatabase) {
  const auto zone = TimeZone::Find(L"eUROPE/berlin");
  ASSERT_NE(zone, nullptr);
  EXPECT_EQ(zone->GetName(), L"Europe/Berlin");
  const XeDateTime summer(2012, 7, 1, 12, 0, 0, 5);
  EXPECT_EQ(zone->FromUtc(summer), XeDateTime(2012, 7, 1, 14, 0, 0, 5));
  EXPECT_EQ(zone->ToUtc(summer), XeDateTime(2012, 7, 1, 10, 0, 0, 5));
  // A time that the clocks leave out, one that they show twice, and one before 1970.
  EXPECT_EQ(zone->ToUtc({2012, 3, 25, 2, 30}), XeDateTime(2012, 3, 25, 1, 30));
  EXPECT_EQ(zone->ToUtc({2012, 10, 28, 2, 30}), XeDateTime(2012, 10, 28, 1, 30));
  EXPECT_EQ(zone->FromUtc({1969, 12, 31, 23, 59, 59, 999'999'999}),
            XeDateTime(1970, 1, 1, 0, 59, 59, 999'999'999));
  for (const wchar_t* const unknown : {L"", L"Europe/Nowhere", L"PST", L"+02:00", L"\u00e9"}) {
    EXPECT_EQ(TimeZone::Find(unknown), nullptr);
  }
  EXPECT_EQ(TimeZone::AtDistance(-3'600'000)->FromUtc(summer), XeDateTime(2012, 7, 1, 11, 0, 0, 5));
  const auto error = ErrorOf([&] { zone->FromUtc({kMaxYear, 12, 31, 23, 30}); });
  EXPECT_TRUE(error.starts_with("59171")) << error;
}

}  // namespace
}  // namespace sqxer
