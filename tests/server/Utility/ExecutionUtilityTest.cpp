#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "SortTesting.h"
#include "Utility/ErrorMessage.h"
#include "Utility/ExecutionUtility.h"

namespace sqxer {
namespace {

/// A kind of comparison with the configuration that asks for it.
struct Kind {
  const char* name;
  CharComparisonType_t type;
  const char* locale;
  bool caseSensitive;
};

const Kind kCodePoints{"code points", kCompareCodePoints, "", true};
const Kind kIgnoringCase{"ignoring case", kCompareIgnoringCase, "", false};
const Kind kSwedish{"sv_SE", kCompareLocale, "sv_SE", true};
const Kind kGerman{"de_DE", kCompareLocale, "de_DE", true};
const Kind kGermanIgnoringCase{"de_DE ignoring case", kCompareLocale, "de_DE", false};
const Kind kKinds[] = {kCodePoints, kIgnoringCase, kSwedish, kGerman, kGermanIgnoringCase};

void Configure(ConfigScope& config, const Kind& kind) {
  config->locale_ = kind.locale;
  config->caseSensitiveCompare_ = kind.caseSensitive;
}

TEST(CharacterComparison, KnownPairs) {
  const std::wstring longText(700, L'x');
  const struct {
    Kind kind;
    std::wstring a;
    std::wstring b;
    int expected;
  } cases[] = {
      {kCodePoints, L"", L"   ", 0},
      {kCodePoints, L"a", L"a  ", 0},
      {kCodePoints, L" a", L"a", -1},
      {kCodePoints, L"a", L"a\t", -1},
      {kCodePoints, L"a", L"B", 1},
      {kCodePoints, L"ab", L"abc", -1},
      {kCodePoints, L"\xFFFD", L"\x1F426", -1},
      {kCodePoints, longText + L"a", longText + L"b", -1},
      {kIgnoringCase, L"a", L"A ", 0},
      {kIgnoringCase, L"a", L"B", -1},
      {kIgnoringCase, L"_", L"A", -1},
      {kIgnoringCase, L"\xC9t\xE9", L"\xE9T\xC9", 0},
      {kIgnoringCase,
       L"stra\xDF"
       L"e",
       L"STRASSE", 1},
      {kSwedish, L"z", L"\xF6", -1},
      {kGerman, L"z", L"\xF6", 1},
      {kGerman, L"a", L"A", -1},
      {kGerman, L"A", L"b", -1},
      {kGerman, L"a ", L"a", 0},
      {kGerman, L"\xE9", L"e\x301", 0},
      {kGerman, longText + L"a", longText + L"b", -1},
      {kGerman, longText + L"\x1F426", longText + L"\x1F426", 0},
      {kGermanIgnoringCase,
       L"stra\xDF"
       L"e",
       L"STRA\x1E9E"
       L"E ",
       0},
      {kGermanIgnoringCase, L"e", L"\xE9", -1},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(std::string(one.kind.name) + " case " + std::to_string(&one - cases));
    ConfigScope config;
    Configure(config, one.kind);
    const CharCompareFunc_t compare = ExecutionUtility::GetCharacterComparisonFunction();
    EXPECT_EQ(KeyDesc::GetCharComparisonType(), one.kind.type);
    EXPECT_EQ(compare(nullptr, AsRef(one.a), AsRef(one.b)), one.expected);
    EXPECT_EQ(compare(nullptr, AsRef(one.b), AsRef(one.a)), -one.expected);
    EXPECT_EQ(Less_RefLongVarChar()(AsRef(one.a), AsRef(one.b)), one.expected < 0);
    EXPECT_EQ(Less_Char()(one.a.c_str(), one.b.c_str()), one.expected < 0);
  }
}

/// Texts over characters that are close in one of the orders.
std::vector<std::wstring> GenerateTexts() {
  std::vector<std::wstring> alphabet = {L" ",      L"a",       L"A",       L"b",
                                        L"z",      L"Z",       L"\xE9",    L"\xC9",
                                        L"e",      L"\x301",   L"\xDF",    L"s",
                                        L"\xF6",   L"\xC5",    L"\t",      std::wstring(1, L'\0'),
                                        L"\x7F",   L"\x80",    L"\x7FF",   L"\x800",
                                        L"\xFFFF", L"\x10000", L"\x1F426", L"\x10FFFF"};
  std::vector<std::wstring> texts = {L""};
  for (const std::wstring& one : alphabet) {
    texts.push_back(one);
    for (const std::wstring& two : alphabet) texts.push_back(one + two);
  }
  std::mt19937 random(3);
  for (int i = 0; i < 400; ++i) {
    std::wstring text = i % 2 == 0 ? L"abcdef" : L"";
    for (unsigned length = random() % 12; length > 0; --length) {
      text += alphabet[random() % (i % 4 == 1 ? 4 : alphabet.size())];
    }
    texts.push_back(text);
  }
  return texts;
}

TEST(CharacterComparison, OrderEqualityHashAndPrefixAgree) {
  const std::vector<std::wstring> generated = GenerateTexts();
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    ConfigScope config;
    Configure(config, kind);
    const CharCompareFunc_t compare = ExecutionUtility::GetCharacterComparisonFunction(kind.type);
    std::vector<std::wstring> texts = generated;
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
    std::size_t chanceCollisions = 0;
    for (std::size_t i = 0; i < texts.size(); ++i) {
      for (std::size_t j = i; j < texts.size(); ++j) {
        const int result = compare(nullptr, AsRef(texts[i]), AsRef(texts[j]));
        ASSERT_TRUE(result == -1 || result == 0) << i << ", " << j;
        ASSERT_EQ(compare(nullptr, AsRef(texts[j]), AsRef(texts[i])), -result) << i << ", " << j;
        ASSERT_LE(prefixes[i], prefixes[j]) << i << ", " << j;
        if (result == 0) {
          ASSERT_EQ(hashes[i], hashes[j]) << i << ", " << j;
          ASSERT_EQ(prefixes[i], prefixes[j]) << i << ", " << j;
        } else {
          chanceCollisions += hashes[i] == hashes[j];
        }
      }
    }
    EXPECT_EQ(chanceCollisions, 0u);
  }
}

TEST(CharacterComparison, AnyCharacterValueHasItsPlace) {
  // Nothing keeps a text from holding values that are no characters.
  std::vector<std::wstring> texts;
  const int32 values[] = {INT32_MIN, -1,       0,        1,        0x10FFFF,
                          0x110000,  0x1FFFFF, 0x200000, 0x200001, INT32_MAX};
  for (const int32 first : values) {
    texts.push_back({static_cast<wchar_t>(first)});
    for (const int32 second : values) {
      texts.push_back({static_cast<wchar_t>(first), static_cast<wchar_t>(second)});
    }
  }
  for (const CharComparisonType_t type : {kCompareCodePoints, kCompareIgnoringCase}) {
    const CharCompareFunc_t compare = ExecutionUtility::GetCharacterComparisonFunction(type);
    for (const std::wstring& a : texts) {
      for (const std::wstring& b : texts) {
        if (compare(nullptr, AsRef(a), AsRef(b)) > 0) continue;
        ASSERT_LE(ExecutionUtility::CharacterSortPrefix(type, AsRef(a)),
                  ExecutionUtility::CharacterSortPrefix(type, AsRef(b)))
            << &a - texts.data() << ", " << &b - texts.data();
      }
    }
  }
}

TEST(CharacterComparison, LocaleWithoutCollationIsRefused) {
  ConfigScope config;
  config->locale_ = std::string(300, 'x');
  try {
    ExecutionUtility::GetCharacterComparisonFunction();
    FAIL() << "no error";
  } catch (const ErrorMessage& error) {
    EXPECT_EQ(error.GetCode(), 58041);
  }
}

TEST(ExecutionUtility, BitStringTypes) {
  std::vector<int> bits;
  for (int type = 0; type < XeMaxType; ++type) {
    if (ExecutionUtility::IsBitCharacterString(static_cast<XeDataType>(type))) bits.push_back(type);
  }
  EXPECT_EQ(bits,
            (std::vector<int>{XeBitData, XeBinaryData, XeVarBinaryData, XeLongVarBinaryData}));
}

}  // namespace
}  // namespace sqxer
