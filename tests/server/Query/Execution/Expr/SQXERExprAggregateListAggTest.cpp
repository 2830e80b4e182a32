#include <random>
#include <set>

#include "AggregateTesting.h"

namespace sqxer::test {
namespace {

constexpr std::size_t kMost = ListAgg::kMostCharacters;

TEST(ListAgg, JoinsDaysAndTextsOfOneByteACharacter) {
  TestRecord date({{Date}}), narrow({{VarChar, 4}}, false), binary({{Bin, 4}}),
      target({{VarChar, 4000}});
  Driven(Make<ListAgg, false>(), date, target).Run<XeDate>({XeDate(2012, 1, 31)});
  EXPECT_EQ(target.GetText(0), L"2012-01-31");
  Driven list(Make<ListAgg, false>(), narrow, target);
  narrow.Set(0, uint32{3});
  std::memcpy(narrow.data(0) + kLongVarPrefix, "\xE9t ", 3);
  list->Initialize(false);
  list.Compute();
  list.Finish();
  EXPECT_EQ(target.GetText(0), L"\u00E9t");
  ExpectError(59001, {L"ListAgg", L"BINARY"},
              [&] { Driven(Make<ListAgg, false>(), binary, target); });
}

TEST(ListAgg, IsCutWithoutAMarkAndStopsAtATextLongerThanItsColumn) {
  TestRecord input({{LongChar, kMost + 1}}), target({{VarChar, kMost}});
  Driven list(Make<ListAgg, false>(), input, target);
  for (std::size_t length = kMost - 4; length <= kMost + 1; ++length) {
    const XeString first(length, L'a');
    list.Run<XeString>({first, L"xyz", L"end"});
    EXPECT_EQ(target.GetText(0), (first + L"; xyz; end").substr(0, kMost));
  }
  ExpectBroken([&] { list.Run<XeString>({XeString(kMost + 2, L'a')}); });
}

TEST(ListAgg, OfDistinctTextsBeyondTheSortBuffer) {
  const std::size_t buffer = SqrtSorter::GetInitialBufferBytes();
  SqrtSorter::SetInitialBufferBytes(1024);
  TestRecord input({{VarChar, 8}}), target({{VarChar, kMost}});
  Driven list(Make<ListAgg, true>(), input, target);
  std::mt19937 random(5);
  for (const unsigned count : {2000u, 3u, 5000u, 400u}) {
    Rows<XeString> texts;
    for (unsigned i = 0; i < count; ++i) texts.push_back(std::to_wstring(random() % count));
    XeString expected;
    for (const auto& text : std::set(texts.begin(), texts.end())) expected += *text + L"; ";
    list.Run(texts);
    EXPECT_EQ(target.GetText(0), expected.substr(0, std::min(kMost, expected.size() - 2)));
  }
  SqrtSorter::SetInitialBufferBytes(buffer);
}

}  // namespace
}  // namespace sqxer::test
