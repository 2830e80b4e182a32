#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "Utility/ExecutionUtility.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

/// A kind of comparison with the configuration that asks for it.
struct Kind {
  CharComparisonType_t type;
  const char* locale;
  bool caseSensitive;

  void Configure(ConfigScope& config) const {
    config->locale_ = locale;
    config->caseSensitiveCompare_ = caseSensitive;
  }
};

const Kind kCodePoints{kCompareCodePoints, "", true};
const Kind kIgnoringCase{kCompareIgnoringCase, "", false};
const Kind kSwedish{kCompareLocale, "sv_SE", true};
const Kind kGerman{kCompareLocale, "de_DE", true};
const Kind kGermanIgnoringCase{kCompareLocale, "de_DE", false};

TEST(CharacterComparison, KnownOrders) {
  const std::pair<Kind, std::string> kChains[] = {
      {kCodePoints, "=   < a<B<a=a  <a\t<ab<abc<\uFFFD<\U0001F426"},
      {kIgnoringCase, "_<a=A <B<SS<\u00DF<\u00C9t\u00E9=\u00E9T\u00C9"},
      {kSwedish, "a<A<b<z<\u00F6"},
      {kGerman, "a =a<A<b<e<\u00E9=e\u0301<\u00F6<z"},
      {kGermanIgnoringCase, "e=E<\u00E9<\u00DF=\u1E9E <z"}};
  for (const auto& [kind, chain] : kChains) {
    SCOPED_TRACE(std::string(kind.locale) + std::to_string(kind.caseSensitive));
    ConfigScope config;
    kind.Configure(config);
    const CharCompareFunc_t compare = ExecutionUtility::GetCharacterComparisonFunction();
    EXPECT_EQ(KeyDesc::GetCharComparisonType(), kind.type);
    for (const std::size_t prefix : {0, 700}) {
      std::vector<std::pair<int, std::wstring>> texts;
      int place = 0;
      for (const std::string& equals : Split(chain, '<')) {
        for (const std::string& text : Split(equals, '=')) {
          texts.emplace_back(place, std::wstring(prefix, L'x') + Wide(text));
        }
        ++place;
      }
      for (const auto& [placeA, a] : texts) {
        for (const auto& [placeB, b] : texts) {
          const int expected = (placeA > placeB) - (placeA < placeB);
          EXPECT_EQ(compare(nullptr, AsRef(a), AsRef(b)), expected) << placeA << ' ' << placeB;
          EXPECT_EQ(Less_RefLongVarChar()(AsRef(a), AsRef(b)), expected < 0);
          EXPECT_EQ(Less_Char()(a.c_str(), b.c_str()), expected < 0);
        }
      }
    }
  }
}

/// Texts over characters that are close in one of the orders.
std::vector<std::wstring> GenerateTexts(const Kind& kind) {
  std::wstring alphabet(
      L" aAbzZ\u00E9\u00C9e\u0301\u00DFs\u00F6\u00C5\t\0\x7F\x80\u07FF"
      L"\u0800\uFFFF\U00010000\U0001F426\U0010FFFF",
      24);
  // Nothing keeps a text from holding values that are no characters.
  for (int32 odd : {INT32_MIN, -1, 0x110000, 0x1FFFFF, 0x200000, 0x200001, INT32_MAX}) {
    if (kind.type != kCompareLocale) alphabet += static_cast<wchar_t>(odd);
  }
  std::vector<std::wstring> texts = {L""};
  for (const wchar_t one : alphabet) {
    texts.push_back({one});
    for (const wchar_t two : alphabet) texts.push_back({one, two});
  }
  std::mt19937 random(3);
  for (int i = 0; i < 400; ++i) {
    texts.push_back(i % 2 == 0 ? L"abcdef" : L"");
    for (unsigned length = random() % 12; length > 0; --length) {
      texts.back() += alphabet[random() % (i % 4 == 1 ? 4 : alphabet.size())];
    }
  }
  return texts;
}

TEST(CharacterComparison, OrderEqualityHashAndPrefixAgree) {
  for (const Kind& kind : {kCodePoints, kIgnoringCase, kSwedish, kGerman, kGermanIgnoringCase}) {
    SCOPED_TRACE(std::string(kind.locale) + std::to_string(kind.caseSensitive));
    ConfigScope config;
    kind.Configure(config);
    const CharCompareFunc_t compare = ExecutionUtility::GetCharacterComparisonFunction(kind.type);
    std::vector<std::wstring> texts = GenerateTexts(kind);
    std::ranges::stable_sort(texts, [&](const std::wstring& a, const std::wstring& b) {
      return compare(nullptr, AsRef(a), AsRef(b)) < 0;
    });
    std::vector<uint64> hashes;
    std::vector<uint64> prefixes;
    for (const std::wstring& text : texts) {
      hashes.push_back(ExecutionUtility::HashCharacters(kind.type, AsRef(text)));
      prefixes.push_back(ExecutionUtility::CharacterSortPrefix(kind.type, AsRef(text)));
      const std::wstring padded = text + L"  ";
      ASSERT_EQ(compare(nullptr, AsRef(text), AsRef(padded)), 0);
      ASSERT_EQ(ExecutionUtility::HashCharacters(kind.type, AsRef(padded)), hashes.back());
    }
    // Every pair, not only neighbours: that shows the order to be transitive.
    for (std::size_t i = 0; i < texts.size(); ++i) {
      for (std::size_t j = i; j < texts.size(); ++j) {
        const int result = compare(nullptr, AsRef(texts[i]), AsRef(texts[j]));
        ASSERT_TRUE(result == -1 || result == 0) << i << ", " << j;
        ASSERT_EQ(compare(nullptr, AsRef(texts[j]), AsRef(texts[i])), -result) << i << ", " << j;
        ASSERT_LE(prefixes[i], prefixes[j]) << i << ", " << j;
        ASSERT_TRUE(result != 0 || prefixes[i] == prefixes[j]) << i << ", " << j;
        ASSERT_EQ(hashes[i] == hashes[j], result == 0) << i << ", " << j;
      }
    }
  }
}

}  // namespace
}  // namespace sqxer
