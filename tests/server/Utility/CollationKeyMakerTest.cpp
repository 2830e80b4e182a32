#include <gtest/gtest.h>

#include <random>

#include "Utility/CollationKeyMaker.h"
#include "Utility/Settings.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

TEST(CollationKeyMaker, HasRoomForTheKeysOfAnyTexts) {
  ConfigScope config;
  std::mt19937 random(7);
  const auto characters = [&] {
    // Plain ones, those with decompositions, whole phrases, ideographs, syllables, and any.
    static const std::pair<wchar_t, wchar_t> kRanges[] = {
        {L'a', L'z'},       {0x300, 0x345},   {0x1E00, 0x1EFF}, {0x3040, 0x33FF},
        {0xAC00, 0xD7A3},   {0xFB00, 0xFDFF}, {0xFDFA, 0xFDFA}, {0x20000, 0x2FFFF},
        {0x1D100, 0x1D1FF}, {1, 0x10FFFF},    {0xE00, 0xE7F},   {0x600, 0x6FF}};
    const auto& [from, to] = kRanges[random() % std::size(kRanges)];
    std::wstring text;
    for (unsigned n = 1 + random() % 9; n > 0; --n)
      text += from + static_cast<wchar_t>(random() % (to - from + 1u));
    return text;
  };
  for (const char* locale : {"", "sv_SE", "de@collation=phonebook", "ja_JP", "th_TH", "ar", "fr_CA",
                             "zh@collation=pinyin", "ko", "da_DK"}) {
    for (const bool caseSensitive : {true, false}) {
      config->locale_ = locale;
      config->caseSensitiveCompare_ = caseSensitive;
      CollationKeyMaker keys;
      for (int i = 0; i < 2000; ++i) {
        const std::wstring text = characters() + characters();
        const auto length = static_cast<uint32>(text.size());
        ASSERT_LE(keys.MakeKey(AsRef(text)).length_, keys.GetKeyLength(length)) << locale;
      }
    }
  }
}

TEST(CollationKeyMaker, KeysOrderAsComparisonsInAnySettings) {
  ConfigScope config;
  const std::wstring texts[] = {L"",        L"a",          L"A",     L"a ", L"b",
                                L"\u00E4a", L"\U0001F426", L"a\t",   L"ab", L"\uFFFD",
                                L"Z",       L"\u00E9",     L"\u00C9"};
  for (const char* locale : {"", "sv_SE", "de_DE"}) {
    for (const bool caseSensitive : {true, false}) {
      config->locale_ = locale;
      config->caseSensitiveCompare_ = caseSensitive;
      const CharCompareFunc_t compare = ExecutionUtility::GetCharacterComparisonFunction();
      CollationKeyMaker left;
      CollationKeyMaker right;
      for (const std::wstring& a : texts) {
        for (const std::wstring& b : texts) {
          EXPECT_EQ(CompareBinaries(left.MakeKey(AsRef(a)), right.MakeKey(AsRef(b))),
                    compare(nullptr, AsRef(a), AsRef(b)))
              << locale << caseSensitive;
        }
      }
    }
  }
}

}  // namespace
}  // namespace sqxer
