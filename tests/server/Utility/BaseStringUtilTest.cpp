#include <gtest/gtest.h>

#include <algorithm>

#include "UtilityTesting.h"

namespace sqxer {
namespace {

TEST(BaseStringUtil, ConvertsEveryCodePointBothWays) {
  XeString all;
  for (wchar_t c = 0; c <= 0x10FFFF; ++c) {
    if (c < 0xD800 || c > 0xDFFF) all += c;
  }
  const std::string utf8 = BaseStringUtil::StringToUtf8(all);
  EXPECT_TRUE(BaseStringUtil::IsValidUtf8(utf8));
  EXPECT_EQ(BaseStringUtil::CountCharacters(utf8), all.size());
  EXPECT_EQ(BaseStringUtil::Utf8ToString(utf8), all);
  XeString decoded(all.size(), L'x');
  BaseStringUtil::DecodeUtf8(utf8, decoded.data());
  EXPECT_EQ(decoded, all);
}

TEST(BaseStringUtil, TellsInvalidBytesAndReplacesThem) {
  // Stray and missing bytes, a form longer than needed, a surrogate, one beyond U+10FFFF.
  for (const std::string& one :
       Split("\x80=?|a\xFFz=a?z|\xC3(=?(|\xC0\x80=??|\xED\xA0\x80=???|\xF4\x90\x80\x80=????|"
             "twelve byte\xF0\x9F\x98=twelve byte?")) {
    XeString expected = Wide(Split(one, '=')[1]);
    std::ranges::replace(expected, L'?', L'\uFFFD');
    EXPECT_FALSE(BaseStringUtil::IsValidUtf8(Split(one, '=')[0])) << one;
    EXPECT_EQ(Wide(Split(one, '=')[0]), expected) << one;
  }
  EXPECT_EQ(BaseStringUtil::StringToUtf8(XeString{L'a', wchar_t(0xD800), wchar_t(0x110000)}),
            "a\uFFFD\uFFFD");
}

TEST(BaseStringUtil, MatchesNamesWithoutLetterCase) {
  const auto match = BaseStringUtil::IsCaseInsensitiveMatch;
  EXPECT_TRUE(match(L"Origin State", L"ORIGIN state"));
  EXPECT_TRUE(match(L"\u03A3\u03C3\u00C5", L"\u03C2\u03A3\u00E5"));  // small sigmas fold alike
  EXPECT_FALSE(match(L"a", L"ab"));
  EXPECT_FALSE(match(L"[", L"{"));        // 32 apart like letters, but none
  EXPECT_FALSE(match(L"\u00DF", L"ss"));  // simple folding keeps the length
}

TEST(BaseStringUtil, CaseOfCharactersAndOfTexts) {
  XeString text, upper, lower;
  // Runs of ASCII of every length to 20 between all letters of other scripts.
  for (wchar_t c = 0; c < 0x1F000; ++c) {
    text.append(1, c).append(static_cast<std::size_t>(c % 21), c % 2 == 0 ? L'q' : L'Q');
  }
  for (const wchar_t c : text) {
    upper += BaseStringUtil::UpperCase(c);
    lower += BaseStringUtil::LowerCase(c);
  }
  XeString out(text.size(), L'\0');
  const RefLongVarChar ref{static_cast<uint32>(text.size()), text.data()};
  BaseStringUtil::UpperCase(ref, out.data());
  EXPECT_TRUE(out == upper);
  BaseStringUtil::LowerCase(ref, out.data());
  EXPECT_TRUE(out == lower);
  // Sharp s has no upper case of one character; a titlecase digraph and a circled letter have one.
  const std::pair<wchar_t, wchar_t> kUpper[] = {
      {L'z', L'Z'},     {L'{', L'{'},       {0xDF, 0xDF},       {0x1C5, 0x1C4},
      {0x24D0, 0x24B6}, {0x10428, 0x10400}, {0x1F426, 0x1F426}, {-1, -1}};
  for (const auto& [c, expected] : kUpper) EXPECT_EQ(BaseStringUtil::UpperCase(c), expected);
  EXPECT_EQ(BaseStringUtil::LowerCase(0x10400), 0x10428);
}

}  // namespace
}  // namespace sqxer
