#include <gtest/gtest.h>

#include "Utility/SUDataConvert.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeFieldDataBinder.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

/// Converts at odd addresses, and once more in place: both must give the value.
template <class From, class To>
void CheckFixed(DataConvert_t convert, const From& value, const To& expected) {
  uint8 source[33];
  uint8 target[33];
  std::memcpy(source + 1, &value, sizeof value);
  uint8 result = 9;
  unsigned long produced = 0;
  convert({}, source + 1, 0, 0, target + 1, 0, result, produced);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(produced, sizeof(To));
  WidenValue(convert, source + 1, source + 1);
  EXPECT_EQ(std::memcmp(source + 1, &expected, sizeof(To)), 0);
  EXPECT_EQ(std::memcmp(target + 1, &expected, sizeof(To)), 0);
}

TEST(SUDataConvertTest, FixedWidthValuesWidenToTheSameValue) {
  using Convert = SUDataConvert;
  CheckFixed(Convert::ConvertInt8ToInt32, int8{-128}, int32{-128});
  CheckFixed(Convert::ConvertUnsignedInt8ToInt32, uint8{255}, int32{255});
  CheckFixed(Convert::ConvertInt16ToInt32, int16{-32768}, int32{-32768});
  CheckFixed(Convert::ConvertUnsignedInt16ToInt32, uint16{65535}, int32{65535});
  CheckFixed(Convert::ConvertInt8ToFloat64, int8{-128}, -128.0);
  CheckFixed(Convert::ConvertUnsignedInt8ToFloat64, uint8{255}, 255.0);
  CheckFixed(Convert::ConvertInt16ToFloat64, int16{-32768}, -32768.0);
  CheckFixed(Convert::ConvertUnsignedInt16ToFloat64, uint16{65535}, 65535.0);
  CheckFixed(Convert::ConvertInt32ToFloat64, INT32_MIN, -2147483648.0);
  CheckFixed(Convert::ConvertUnsignedInt32ToFloat64, UINT32_MAX, 4294967295.0);
  CheckFixed(Convert::ConvertFloat32ToFloat64, 0.1f, float64{0.1f});
  CheckFixed(Convert::ConvertNumericToFloat64, VelmarNumber(-12.25), -12.25);
  CheckFixed(Convert::ConvertDateToDateTime, XeDate(-4713, 1, 1), XeDateTime(-4713, 1, 1));
  CheckFixed(Convert::ConvertTimeToDateTime, XeTime(1, 2, 3), XeDateTime(1900, 1, 1, 1, 2, 3));
}

/// What a text becomes, and whether it is cut: a fixed text ends at its first zero character.
std::pair<XeString, bool> Converted(XeString text, bool fromVaries, bool toVaries, bool plain,
                                    std::size_t room) {
  if (!fromVaries) text = text.c_str();
  if (!fromVaries && toVaries && !plain) text.erase(text.find_last_not_of(L' ') + 1);
  const bool cut = text.size() > room;
  text.resize(std::min(room, text.size()));
  if (!toVaries && !plain) text.resize(room, L' ');
  return {text, cut};
}

const XeString kTexts[] = {L"", L"ab", L"a c  ", L"     ", L"abcde", {L'a', 0, L'b'}, L"\u00E9"};
const uint32 kRooms[] = {0, 1, 2, 5, 7};

/// Converts texts between odd addresses; nothing but the result may be written.
template <class Character>
void CheckTexts(DataConvert_t convert, bool fromVaries, bool toVaries) {
  using Text = std::basic_string<Character>;
  for (const XeString& text : kTexts) {
    for (const uint32 room : kRooms) {
      for (const bool plain : {false, true}) {
        SCOPED_TRACE(testing::Message() << text.c_str() << " into " << room << plain);
        const auto [wide, cut] = Converted(text, fromVaries, toVaries, plain, room);
        std::vector<uint8> source = Stored(Text(text.begin(), text.end()), fromVaries);
        std::vector<uint8> wanted = Stored(Text(wide.begin(), wide.end()), toVaries);
        source.insert(source.begin(), 0);
        const std::size_t length = wanted.size();
        if (!toVaries && wide.size() < room) wanted.resize(length + sizeof(Character));
        wanted.insert(wanted.begin(), 0xEE);
        wanted.insert(wanted.end(), 8, 0xEE);
        std::vector<uint8> target(wanted.size(), 0xEE);
        uint8 result = 9;
        unsigned long produced = 0;
        convert({0, 0, false, plain, plain}, source.data() + 1, static_cast<uint32>(text.size()), 0,
                target.data() + 1, room, result, produced);
        EXPECT_EQ(result, cut);
        EXPECT_EQ(produced, length);
        EXPECT_EQ(target, wanted);
      }
    }
  }
}

TEST(SUDataConvertTest, TextsAreTrimmedPaddedAndCut) {
  CheckTexts<char>(SUDataConvert::ConvertCharToVarChar, false, true);
  CheckTexts<wchar_t>(SUDataConvert::ConvertXeCharToVarXeChar, false, true);
  CheckTexts<wchar_t>(SUDataConvert::ConvertXeCharToXeChar, false, false);
  CheckTexts<wchar_t>(SUDataConvert::ConvertLongVarXeCharToVarXeChar, true, true);
}

TEST(XeFieldConverter, ConvertsBetweenAllFormsOfText) {
  for (int kind = 0; kind < 16; ++kind) {
    const bool narrow = kind & 1, null = kind & 2, fromVaries = kind & 4, toVaries = kind & 8;
    for (XeString text : kTexts) {
      for (const uint32 room : kRooms) {
        SCOPED_TRACE(testing::Message() << kind << text.c_str() << " into " << room);
        if (!fromVaries) text.resize(5, L' ');
        const auto source = narrow ? Stored(std::string(text.begin(), text.end()), fromVaries)
                                   : Stored(text, fromVaries);
        const XeString from = null ? L"" : text;
        auto wanted = Stored(Converted(from, fromVaries, toVaries, false, room).first, toVaries);
        wanted.insert(wanted.end(), {0, 0, 0, 0, 0xAA, 0xAA, 0xAA, 0xAA});
        std::vector<uint8> target(wanted.size(), 0xAA);
        XeFieldConverter(fromVaries ? XeVarCharData : XeCharData, 5, narrow,
                         toVaries ? XeLongVarCharData : XeCharData, room)
            .Convert(source.data(), null, target.data());
        EXPECT_EQ(target, wanted);
      }
    }
  }
}

}  // namespace
}  // namespace sqxer
