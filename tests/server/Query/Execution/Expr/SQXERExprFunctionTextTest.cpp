#include <random>

#include "FunctionTesting.h"
#include "Utility/SystemUtility.h"

namespace sqxer::test {
namespace {

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
