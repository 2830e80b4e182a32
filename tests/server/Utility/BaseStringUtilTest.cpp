#include <gtest/gtest.h>

#include <string>

#include "Utility/BaseStringUtil.h"

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
  const struct {
    std::string bytes;
    XeString text;
  } kCases[] = {
      {"\x80", L"\uFFFD"},
      {"a\xFFz", L"a\uFFFDz"},
      {"\xC3", L"\uFFFD"},
      {"\xC3(", L"\uFFFD("},
      {"\xC0\x80", L"\uFFFD\uFFFD"},                      // longer than needed
      {"\xED\xA0\x80", L"\uFFFD\uFFFD\uFFFD"},            // a surrogate
      {"\xF4\x90\x80\x80", L"\uFFFD\uFFFD\uFFFD\uFFFD"},  // beyond U+10FFFF
      {"\xE2\x82", L"\uFFFD"},
      {"twelve byte\xF0\x9F\x98", L"twelve byte\uFFFD"},
  };
  for (const auto& c : kCases) {
    EXPECT_FALSE(BaseStringUtil::IsValidUtf8(c.bytes)) << c.bytes;
    EXPECT_EQ(BaseStringUtil::Utf8ToString(c.bytes), c.text) << c.bytes;
  }
  EXPECT_TRUE(BaseStringUtil::IsValidUtf8({}));
  EXPECT_EQ(BaseStringUtil::StringToUtf8(XeString{L'a', wchar_t(0xD800), wchar_t(0x110000)}),
            "a\uFFFD\uFFFD");
}

TEST(BaseStringUtil, MatchesNamesWithoutLetterCase) {
  const struct {
    const wchar_t* a;
    const wchar_t* b;
    bool match;
  } kCases[] = {
      {L"Origin State", L"ORIGIN state", true},
      {L"a", L"ab", false},
      {L"", L"", true},
      {L"\u00C5ngstr\u00F6m", L"\u00E5NGSTR\u00D6M", true},
      {L"\u03A3\u03C3", L"\u03C2\u03A3", true},  // both small sigmas fold alike
      {L"[", L"{", false},                       // 32 apart like letters, but none
      {L"\u00DF", L"ss", false},                 // simple folding keeps the length
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(BaseStringUtil::IsCaseInsensitiveMatch(c.a, c.b), c.match);
  }
}

}  // namespace
}  // namespace sqxer
