#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "Utility/LikePatternMatch.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

/// The meaning of a pattern with the escape !, said as plainly as it can be.
bool Follows(std::wstring_view text, std::wstring_view pattern, bool foldsCase) {
  if (pattern.empty()) return text.empty();
  if (pattern[0] == L'%' && Follows(text, pattern.substr(1), foldsCase)) return true;
  if (text.empty()) return false;
  if (pattern[0] == L'%') return Follows(text.substr(1), pattern, foldsCase);
  const bool isAny = pattern[0] == L'_';
  if (pattern[0] == L'!') pattern.remove_prefix(1);
  const auto fold = [&](wchar_t c) { return foldsCase ? BaseStringUtil::FoldCase(c) : c; };
  return (isAny || fold(text[0]) == fold(pattern[0])) &&
         Follows(text.substr(1), pattern.substr(1), foldsCase);
}

TEST(LikePatternMatch, AgreesWithThePlainMeaning) {
  std::mt19937 random(11);
  const auto pick = [&](const std::vector<XeString>& parts, unsigned count) {
    XeString text;
    for (; count > 0; --count) text += parts[random() % parts.size()];
    return text;
  };
  int matches = 0;
  for (const bool caseSensitive : {true, false}) {
    ConfigScope config;
    config->caseSensitiveCompare_ = caseSensitive;
    LikePatternMatch like;
    for (int i = 0; i < 4000; ++i) {
      XeString pattern = pick({L"a", L"ab", L"ba", L"_", L"%", L"%", L"!%", L"!!"}, random() % 7);
      if (i % 4 == 0) pattern += L"É% ";
      if (i % 8 == 1) pattern = L"%" + XeString(random() % 20, L'a') + L"b%";
      like.SetMetaPattern(pattern.c_str(), L'!');
      for (int k = 0; k < 16; ++k) {
        // Texts below and above the length that the search takes at once.
        XeString text = pick({L"a", L"b", L"A", L"ab"}, random() % (k < 8 ? 6 : 40));
        if (k % 4 == 0) text += i % 4 == 0 ? L"éb " : L"%!";
        const bool expected = Follows(text, pattern, !caseSensitive);
        ASSERT_EQ(like == AsRef(text), expected) << testing::PrintToString(pattern + L' ' + text);
        if (like.TakesBytes()) {
          std::vector<uint8> bytes(text.begin(), text.end());
          // What lies behind the text is read, and would go on with it.
          bytes.insert(bytes.end(), 64, 'a');
          ASSERT_EQ(like.MatchesBytes(bytes.data(), text.size()), expected)
              << testing::PrintToString(pattern + L' ' + text);
        }
        ASSERT_EQ(like.TakesBytes(), caseSensitive);
        matches += expected;
      }
    }
  }
  EXPECT_GT(matches, 5000) << "the sweep has become too easy";
}

TEST(LikePatternMatch, FindsInTextsSideBySideWhatItFindsInEach) {
  std::mt19937 random(5);
  LikePatternMatch like;
  for (const wchar_t* const pattern : {L"%a%", L"%ab%", L"%aba%", L"%a_b%", L"%_ab%", L"%ba_%"}) {
    like.SetMetaPattern(pattern, L'!');
    ASSERT_TRUE(like.LooksInside());
    for (int i = 0; i < 50; ++i) {
      std::vector<uint64> offsets = {random() % 3};
      for (int k = 0; k < 100; ++k) offsets.push_back(offsets.back() + random() % 5);
      std::vector<uint8> characters(offsets.back() + 64);
      for (uint8& c : characters) c = static_cast<uint8>('a' + random() % 3);
      std::vector<uint8> matches(offsets.size() - 1, 7);
      like.MatchSideBySide(characters.data(), offsets.data(), 100, matches.data());
      for (std::size_t k = 0; k < matches.size(); ++k) {
        ASSERT_EQ(matches[k],
                  like.MatchesBytes(characters.data() + offsets[k], offsets[k + 1] - offsets[k]));
      }
    }
  }
  for (const wchar_t* const pattern : {L"a%", L"%a", L"%", L"%%", L"%_%", L"%a%b%", L"a"}) {
    like.SetMetaPattern(pattern, L'!');
    EXPECT_FALSE(like.LooksInside());
  }
}

TEST(LikePatternMatch, TellsBeginningsByTheirFirstBytes) {
  LikePatternMatch like;
  std::mt19937 random(6);
  for (const wchar_t* const pattern : {L"a%", L"ab%", L"abababab%", L"\u00E4b%%"}) {
    like.SetMetaPattern(pattern, L'!');
    const auto beginning = like.GetBeginning();
    ASSERT_TRUE(beginning);
    for (int i = 0; i < 200; ++i) {
      std::vector<uint8> text(100);
      for (uint8& c : text) c = random() % 5 == 0 ? 0xE4 : static_cast<uint8>('a' + random() % 2);
      for (std::size_t k = 0; k < 8; k += 2) text[k] = random() % 3 == 0 ? text[k] : 'a';
      for (std::size_t k = 1; k < 8; k += 2) text[k] = random() % 3 == 0 ? text[k] : 'b';
      const std::size_t length = random() % 12;
      ASSERT_EQ(beginning->Matches(text.data(), length), like.MatchesBytes(text.data(), length));
    }
  }
  for (const wchar_t* const pattern :
       {L"%a%", L"%a", L"%", L"a", L"a_%", L"_a%", L"ababababa%", L"a%b%", L"\u0416%"}) {
    like.SetMetaPattern(pattern, L'!');
    EXPECT_FALSE(like.GetBeginning());
  }
}

TEST(LikePatternMatch, ManyWildcardsOverALongText) {
  const auto start = std::chrono::steady_clock::now();
  LikePatternMatch like;
  for (const wchar_t* part : {L"%a", L"%a_a", L"%aa"}) {
    XeString pattern;
    for (int i = 0; i < 50; ++i) pattern += part;
    for (const auto& [end, expected] : {std::pair(L"%b", false), {L"%b%", false}, {L"%", true}}) {
      like.SetMetaPattern((pattern + end).c_str(), L'\\');
      EXPECT_EQ(like == AsRef(XeString(200'000, L'a')), expected);
    }
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(LikePatternMatch, PatternsComeOneAfterTheOther) {
  LikePatternMatch like;
  EXPECT_TRUE(like == AsRef(L""));
  EXPECT_FALSE(like == AsRef(L"a"));
  // One buffer with other contents, one pattern with another escape; a wildcard that is the escape.
  wchar_t buffer[4];
  for (const auto& [pattern, escape, text] : {std::tuple(L"a!%", L'!', L"a%"),
                                              {L"a!%", L'\\', L"a!b"},
                                              {L"b!%", L'\\', L"b!"},
                                              {L"", L'\\', L""},
                                              {L"%%_", L'%', L"%x"},
                                              {L"a\\", L'\\', nullptr},
                                              {L"a\\", L'\\', nullptr},
                                              {L"%%_", L'%', L"%x"}}) {
    const auto set = [&] { like.SetMetaPattern(std::wcscpy(buffer, pattern), escape); };
    EXPECT_EQ(ErrorOf(set).substr(0, 5), text == nullptr ? "59025" : "accep");
    EXPECT_TRUE(text == nullptr || like == AsRef(text)) << testing::PrintToString(pattern);
  }
}

}  // namespace
}  // namespace sqxer
