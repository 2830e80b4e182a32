#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "Utility/SUDataConvert.h"
#include "Utility/VelmarNumber.h"

namespace sqxer {
namespace {

/// Converts at odd addresses, and once more in place: both must give the same value.
template <class To, class From>
To ConvertFixed(DataConvert_t convert, const From& value) {
  std::vector<uint8> source(sizeof value + 1);
  std::vector<uint8> target(sizeof(To) + 1);
  std::memcpy(source.data() + 1, &value, sizeof value);
  uint8 result = 9;
  unsigned long produced = 0;
  convert(DataConvertParams{}, source.data() + 1, 0, 0, target.data() + 1, 0, result, produced);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(produced, sizeof(To));
  uint8 shared[32];
  std::memcpy(shared, &value, sizeof value);
  WidenValue(convert, shared, shared);
  EXPECT_EQ(std::memcmp(shared, target.data() + 1, sizeof(To)), 0);
  To out;
  std::memcpy(&out, target.data() + 1, sizeof out);
  return out;
}

template <class From, class To>
void CheckWidening(DataConvert_t convert) {
  using Limits = std::numeric_limits<From>;
  for (const From value : {Limits::lowest(), static_cast<From>(-1), From{0}, Limits::max()}) {
    EXPECT_EQ((ConvertFixed<To>(convert, value)), static_cast<To>(value)) << +value;
  }
}

TEST(SUDataConvertTest, FixedWidthValuesWidenToTheSameValue) {
  CheckWidening<int8, int32>(SUDataConvert::ConvertInt8ToInt32);
  CheckWidening<uint8, int32>(SUDataConvert::ConvertUnsignedInt8ToInt32);
  CheckWidening<int16, int32>(SUDataConvert::ConvertInt16ToInt32);
  CheckWidening<uint16, int32>(SUDataConvert::ConvertUnsignedInt16ToInt32);
  CheckWidening<int8, float64>(SUDataConvert::ConvertInt8ToFloat64);
  CheckWidening<uint8, float64>(SUDataConvert::ConvertUnsignedInt8ToFloat64);
  CheckWidening<int16, float64>(SUDataConvert::ConvertInt16ToFloat64);
  CheckWidening<uint16, float64>(SUDataConvert::ConvertUnsignedInt16ToFloat64);
  CheckWidening<int32, float64>(SUDataConvert::ConvertInt32ToFloat64);
  CheckWidening<uint32, float64>(SUDataConvert::ConvertUnsignedInt32ToFloat64);
  CheckWidening<float32, float64>(SUDataConvert::ConvertFloat32ToFloat64);

  const auto numeric = SUDataConvert::ConvertNumericToFloat64;
  EXPECT_EQ(ConvertFixed<float64>(numeric, VelmarNumber(-12.25)), -12.25);
  EXPECT_EQ(ConvertFixed<float64>(numeric, VelmarNumber()), 0.0);

  EXPECT_EQ(ConvertFixed<XeDateTime>(SUDataConvert::ConvertDateToDateTime, XeDate(2012, 2, 29)),
            XeDateTime(2012, 2, 29));
  EXPECT_EQ(ConvertFixed<XeDateTime>(SUDataConvert::ConvertTimeToDateTime, XeTime(23, 59, 58, 7)),
            XeDateTime(1900, 1, 1, 23, 59, 58, 7));
  const XeDateTime stamp(-44, 3, 15, 1, 2, 3, 4);
  EXPECT_EQ(ConvertFixed<XeDateTime>(SUDataConvert::ConvertTimeStampToDateTime, stamp), stamp);
}

struct TextCase {
  const char* source;
  uint32 capacity;
  bool plain;  // without padding or trimming
  const char* stored;
  uint8 result;
};

template <class Character>
using Text = std::basic_string<Character>;

template <class Character>
Text<Character> Widened(const char* text) {
  return Text<Character>(text, text + std::strlen(text));
}

/// Runs a text converter between odd addresses; gives the bytes that it says it produced, as
/// characters. Bytes beyond the capacity must stay untouched.
template <class Character>
Text<Character> ConvertText(DataConvert_t convert, const TextCase& test, bool sourceVaries,
                            bool targetVaries) {
  constexpr uint8 kUntouched = 0xEE;
  const Text<Character> text = Widened<Character>(test.source);
  const auto length = static_cast<uint32>(text.size());
  const std::size_t sourcePrefix = sourceVaries ? kLongVarPrefix : 0;
  const std::size_t targetPrefix = targetVaries ? kLongVarPrefix : 0;
  std::vector<uint8> source(1 + sourcePrefix + length * sizeof(Character));
  if (sourceVaries) std::memcpy(source.data() + 1, &length, sizeof length);
  if (length > 0) {
    std::memcpy(source.data() + 1 + sourcePrefix, text.data(), length * sizeof(Character));
  }
  const std::size_t room = 1 + targetPrefix + test.capacity * sizeof(Character);
  std::vector<uint8> target(room + 8, kUntouched);

  DataConvertParams params;
  params.bAvoidPaddingToChar = params.bAvoidRtrimToVarChar = test.plain;
  uint8 result = 9;
  unsigned long produced = 0;
  convert(params, source.data() + 1, length, 0, target.data() + 1, test.capacity, result, produced);
  EXPECT_EQ(result, test.result) << test.source;
  for (std::size_t i = room; i < target.size(); ++i) EXPECT_EQ(target[i], kUntouched);

  Text<Character> stored((produced - targetPrefix) / sizeof(Character), Character{});
  if (!stored.empty()) {
    std::memcpy(stored.data(), target.data() + 1 + targetPrefix, produced - targetPrefix);
  }
  if (targetVaries) {
    uint32 count = 0;
    std::memcpy(&count, target.data() + 1, sizeof count);
    EXPECT_EQ(count, stored.size());
  } else if (stored.size() < test.capacity) {
    Character terminator = 1;
    std::memcpy(&terminator, target.data() + 1 + produced, sizeof terminator);
    EXPECT_EQ(terminator, 0) << test.source;
  }
  return stored;
}

TEST(SUDataConvertTest, FixedTextBecomesVarying) {
  const TextCase kCases[] = {
      {"ab", 5, false, "ab", 0},  {"ab   ", 5, false, "ab", 0}, {"ab   ", 5, true, "ab   ", 0},
      {"a b", 2, false, "a ", 1}, {"ab  ", 2, false, "ab", 0},  {"ab  ", 3, true, "ab ", 1},
      {"    ", 4, false, "", 0},  {"", 4, false, "", 0},        {"abc", 0, false, "", 1},
  };
  for (const TextCase& test : kCases) {
    EXPECT_EQ(ConvertText<char>(SUDataConvert::ConvertCharToVarChar, test, false, true),
              Widened<char>(test.stored));
    EXPECT_EQ(ConvertText<wchar_t>(SUDataConvert::ConvertXeCharToVarXeChar, test, false, true),
              Widened<wchar_t>(test.stored));
  }
}

TEST(SUDataConvertTest, FixedTextFillsFixedText) {
  const TextCase kCases[] = {
      {"ab", 4, false, "ab  ", 0}, {"ab", 4, true, "ab", 0}, {"abc", 3, true, "abc", 0},
      {"abcd", 2, false, "ab", 1}, {"", 2, false, "  ", 0},  {"", 2, true, "", 0},
  };
  for (const TextCase& test : kCases) {
    EXPECT_EQ(ConvertText<wchar_t>(SUDataConvert::ConvertXeCharToXeChar, test, false, false),
              Widened<wchar_t>(test.stored));
  }
}

TEST(SUDataConvertTest, VaryingTextKeepsItsBlanks) {
  const TextCase kCases[] = {
      {"ab ", 5, false, "ab ", 0}, {"abc", 2, false, "ab", 1}, {"", 2, false, "", 0}};
  for (const TextCase& test : kCases) {
    EXPECT_EQ(
        ConvertText<wchar_t>(SUDataConvert::ConvertLongVarXeCharToVarXeChar, test, true, true),
        Widened<wchar_t>(test.stored));
  }
}

TEST(SUDataConvertTest, FixedTextEndsAtItsTerminatorAndConvertsInPlace) {
  wchar_t place[6] = {L'a', L'b', 0, L'x', 0, 0};
  uint8 result = 9;
  unsigned long produced = 0;
  auto* bytes = reinterpret_cast<uint8*>(place);
  SUDataConvert::ConvertXeCharToVarXeChar({}, bytes, 4, 0, bytes, 5, result, produced);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(produced, kLongVarPrefix + 2 * sizeof(wchar_t));
  EXPECT_EQ(place[0], 2);
  EXPECT_EQ(std::wstring(place + 1, 2), L"ab");
}

TEST(SUDataConvertTest, DefaultFormatsReadIsoTexts) {
  XeDate date;
  XeTime time;
  XeDateTime both;
  SUDataConvert::GetDefaultDateMetaData().Convert(L"2012-01-31", date);
  SUDataConvert::GetDefaultDateMetaData().Convert(L"23:59:59.5", time);
  SUDataConvert::GetDefaultDateTimeMetaData().Convert(L"2012-01-31 23:59:59.5", both);
  EXPECT_EQ(date, XeDate(2012, 1, 31));
  EXPECT_EQ(time, XeTime(23, 59, 59, 500'000'000));
  EXPECT_EQ(both, XeDateTime(2012, 1, 31, 23, 59, 59, 500'000'000));
}

}  // namespace
}  // namespace sqxer
