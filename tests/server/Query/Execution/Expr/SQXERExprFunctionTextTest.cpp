#include <random>

#include "FunctionTesting.h"
#include "Utility/ExecutionUtility.h"
#include "Utility/SystemUtility.h"

namespace sqxer::test {
namespace {

TEST(TextFunction, KnownResults) {
  const XeString wide = L"\u00E4\U0001F426";
  const auto locate = [](auto start) { return Outcome<Locate>(T(L"a"), T(L"banana"), start); };
  // clang-format off
  const std::pair<std::string, std::string> kCases[] = {
      {Outcome<Length>(T(L"ab  ")), "2"}, {Outcome<Length>(T(L"   ")), "0"},
      {OutcomeOf(new Length(T(L"ab  "), {}, true)), "4"},
      {Outcome<CharacterLength>(T(L"ab  ")), "4"}, {Outcome<CharacterLength>(T(wide)), "2"},
      {Outcome<OctetLength>(T(L"abc")), "12"}, {Outcome<BitLength>(T(wide)), "64"},
      // Callers rely on signed bytes.
      {Outcome<Ascii>(T(L"Abc")), "65"}, {Outcome<Ascii>(T(wide)), "-28"},
      {Outcome<Ascii>(T(L"\u20AC")), "63"}, {Outcome<Ascii>(T(L"")), "0"},
      {Outcome<Position>(T(L""), T(L"abc")), "0"}, {Outcome<Position>(T(L"B"), T(L"abc")), "0"},
      {locate(3), "4"}, {locate(10), "0"}, {locate(-7), "0"}, {locate(2.9), "2"},
      {locate(VelmarNumber(int32{-2})), "4"}, {locate(INT32_MIN), "0"}, {locate(INT32_MAX), "0"},
      {OutcomeOf(new Locate(T(L"a"), {T(L"banana"), nullptr})), "2"},
      // A fixed text is measured and searched without its padding.
      {Outcome<Position>(Fixed(L"b "), T(L"abc")), "2"},
      {Outcome<CharacterLength>(Fixed(L"ab  ")), "2"}};
  // clang-format on
  for (const auto& [outcome, expected] : kCases) EXPECT_EQ(outcome, expected);
}

TEST(TextFunction, TypesNullabilityAndStatuses) {
  const auto refused = [](RExpression* function, const XeString& name, XeDataType type) {
    ExpectErrorAt(kPosition, 59001, TypeError(name, type), [&] { Bound(function); });
  };
  for (const XeDataType type : {Bit, Int4, Double, Numeric, Date, Bin, LongBin, Bool}) {
    refused(Function<Length>(Leaf(type)), L"Length", type);
    refused(Function<CharacterLength>(Leaf(type)), L"CharacterLength", type);
    refused(Function<OctetLength>(Leaf(type)), L"OctetLength", type);
    refused(Function<BitLength>(Leaf(type)), L"BitLength", type);
    // Callers match the name.
    refused(Function<Ascii>(Leaf(type)), L"Position", type);
    refused(Function<Position>(Leaf(type), T(L"")), L"Position", type);
    refused(Function<Locate>(T(L""), Leaf(type)), L"Locate", type);
    refused(Function<NLSSort>(Leaf(type)), L"NLSSort", type);
    refused(Function<NLSSort>(T(L""), Leaf(type)), L"NLSSort", type);
  }
  refused(Function<Locate>(T(L""), T(L""), Leaf(UInt4)), L"Locate", UInt4);
  // The locale must be known at binding.
  refused(Function<NLSSort>(T(L""), Leaf(LongChar)), L"NLSSort", LongChar);
  TestRecord record({});
  record.Bind(Function<Locate>(T(L""), T(L""), Leaf(Int4)));
  EXPECT_TRUE(record.info.isNullable_);
  record.Bind(Function<Locate>(T(L""), T(L"")));
  EXPECT_FALSE(record.info.isNullable_);
  const RefLongVarChar value = AsRef(L"a");
  ExpectStatusesPassUp<1, Length, CharacterLength, OctetLength, BitLength, Ascii, NLSSort>(value);
  ExpectStatusesPassUp<2, Position, Locate>(value);
}

TEST(Locate, AgreesWithTryingEveryStart) {
  ConfigScope config;
  std::mt19937 engine(9);
  const auto next = [&](std::size_t longest) {
    XeString text(engine() % (longest + 1), L'a');
    for (wchar_t& c : text) c = L"abA\u00E4\u00C4"[engine() % 5];
    return text;
  };
  for (int i = 0; i < 3000; ++i) {
    config->caseSensitiveCompare_ = i % 2 == 0;
    const XeString needle = next(3), haystack = next(10);
    const int start = static_cast<int>(engine() % 27) - 13, step = start < 0 ? -1 : 1;
    const int length = static_cast<int>(haystack.size());
    int at = start < 0 ? start + length + 1 : std::max(start, 1);
    const auto found = [&] {
      const XeString part = haystack.substr(static_cast<std::size_t>(at) - 1, needle.size());
      return i % 2 == 0 ? part == needle : BaseStringUtil::IsCaseInsensitiveMatch(part, needle);
    };
    while (at >= 1 && at <= length && !(found() && !needle.empty())) at += step;
    EXPECT_EQ(Outcome<Locate>(T(needle), T(haystack), start),
              std::to_string(at >= 1 && at <= length ? at : 0))
        << BaseStringUtil::StringToUtf8(needle + L" in " + haystack) << " from " << start;
  }
}

using Key = std::vector<uint8>;

Key KeyOf(RExpression& sort) {
  const auto key = EvalAs<RefLongVarBinary>(sort).value();
  return {key.buffer_, key.buffer_ + key.length_};
}

TEST(NLSSort, KnownOrdersOfWords) {
  const std::pair<const wchar_t*, std::string> kChains[] = {
      {L"sv_SE", "a<A<z<\u00E5<\u00E4<\u00F6"},
      {L"de@collation=phonebook", "Ad<\u00C4rger<Af<Goethe<G\u00F6tz<Gof"},
      {L"de_DE", "Ad<Af<\u00C4rger<Gof<G\u00F6tz"},
      {L"es", "llano<luz<nube<\u00F1and\u00FA<oso"},
      {L"es@collation=traditional", "luz<llano<nube<\u00F1and\u00FA"},
      {L"", "a<A<\u00E4<z"}};
  for (const auto& [locale, chain] : kChains) {
    Key previous;
    for (const std::string& word : Split(chain, '<')) {
      const Key key = KeyOf(*Bound(Function<NLSSort>(T(Wide(word)), T(locale))));
      EXPECT_LT(previous, key) << BaseStringUtil::StringToUtf8(locale) << ": " << word;
      previous = key;
    }
  }
  for (const wchar_t* const locale : {L"xx_YY", L"not a locale", L"sv_SE_"}) {
    ExpectErrorAt(kPosition, 59174, {locale}, [&] { Bound(Function<NLSSort>(T(L""), T(locale))); });
  }
}

TEST(NLSSort, KeysOrderAsComparisonsByTheConfiguredLocale) {
  ConfigScope config;
  config->locale_ = "sv_SE";
  std::mt19937 engine(1);
  for (const bool caseSensitive : {true, false}) {
    config->caseSensitiveCompare_ = caseSensitive;
    const auto compare = ExecutionUtility::GetCharacterComparisonFunction(kCompareLocale);
    auto* const text = new Stub<RefLongVarChar>(LongChar, {}, kTrue, 604);
    TestRecord record({});
    const auto tree = record.Bind(Function<NLSSort>(text));
    EXPECT_EQ(tree->GetResultDataType(), LongBin);
    EXPECT_EQ(tree->GetExpressionType(), kNLSSortExpression);
    std::vector<std::pair<XeString, Key>> keys;
    for (std::size_t i = 0; i < 150; ++i) {
      // Some beyond the room that the buffers have at first.
      XeString random(i % 25 == 0 ? 600 : 0, L'x');
      const XeString letters = L"aAbe\u0301\u00E9\u00F6 -\U0001F426";
      for (std::size_t n = engine() % 5; n > 0; --n) random += letters[engine() % letters.size()];
      text->value_ = AsRef(random);
      keys.emplace_back(random, KeyOf(*tree));
    }
    for (const auto& [a, aKey] : keys) {
      for (const auto& [b, bKey] : keys) {
        ASSERT_EQ((aKey > bKey) - (aKey < bKey), compare(nullptr, AsRef(a), AsRef(b)));
      }
    }
  }
}

TEST(SystemUtility, CodesOfOneByteAndBack) {
  for (int code = 0; code < 256; ++code) {
    const char byte = static_cast<char>(code);
    wchar_t text[] = L"x\u20ACz";
    char back[] = "xy";
    SystemUtility::MultiByteToWideChar(SystemUtility::GetMultiByteCodePage(), &byte, 1, text, 9);
    EXPECT_EQ(text[0], code);
    EXPECT_EQ(SystemUtility::WideCharToMultiByte(28591, text, 3, back, 2), 2u);
    EXPECT_EQ(std::string(back, 2), std::string({byte, '?'}));
  }
}

}  // namespace
}  // namespace sqxer::test
