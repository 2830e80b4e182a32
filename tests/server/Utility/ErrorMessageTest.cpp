#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"
#include "Utility/XeAssert.h"

namespace sqxer {
namespace {

TEST(ErrorCatalogue, IsAscendingAndEverySentenceMentionsEachArgumentOnce) {
  int previous = 0;
  for (const ErrorCatalogueEntry& entry : ErrorCatalogue()) {
    SCOPED_TRACE(entry.code);
    EXPECT_LT(previous, entry.code);
    previous = entry.code;

    const std::string text = entry.text;
    std::multiset<int> mentioned;
    for (std::size_t open = text.find('{'); open != text.npos; open = text.find('{', open + 1)) {
      ASSERT_LT(open + 2, text.size());
      ASSERT_EQ(text[open + 2], '}');
      mentioned.insert(text[open + 1] - '0');
    }
    std::multiset<int> expected;
    for (int i = 0; i < entry.arguments; ++i) expected.insert(i);
    EXPECT_EQ(mentioned, expected);

    EXPECT_FALSE(text.ends_with('.'));
    EXPECT_EQ(text.find("  "), text.npos);
    EXPECT_TRUE(BaseStringUtil::IsValidUtf8(text));
  }
}

TEST(ErrorCatalogue, CoversWhatTheExpressionsRaise) {
  const std::vector<std::pair<int, int>> raised = {
      {46030, 2}, {59001, 2}, {59002, 2}, {59003, 1}, {59005, 1}, {59006, 0}, {59007, 2},
      {59008, 0}, {59009, 1}, {59010, 1}, {59013, 2}, {59014, 0}, {59015, 1}, {59020, 0},
      {59021, 0}, {59022, 1}, {59023, 0}, {59025, 0}, {59028, 0}, {59029, 0}, {59030, 2},
      {59032, 0}, {59033, 0}, {59149, 0}, {59150, 0}, {59161, 2}, {59162, 2}, {59163, 0},
      {59164, 0}, {59165, 0}, {59167, 0}, {59168, 0}, {59169, 0}};
  for (const auto& [code, arguments] : raised) {
    const auto found =
        std::ranges::find(ErrorCatalogue(), code, [](const auto& entry) { return entry.code; });
    ASSERT_NE(found, ErrorCatalogue().end()) << code;
    EXPECT_EQ(found->arguments, arguments) << code;
  }
}

TEST(ErrorMessage, PutsArgumentsIntoTheSentence) {
  const struct {
    int code;
    std::vector<XeString> arguments;
    const char* text;
  } kCases[] = {
      {59161,
       {L"AddInt", L"2147483647"},
       "AddInt overflowed: the result is beyond the limit 2147483647"},
      {59008, {}, "division by zero: leave out the rows whose divisor is 0, or make it NULL there"},
      {59007, {L"-1", L"Left"}, "\"Left\" cannot return this number of characters or tokens: -1"},
      {46030,
       {L"7", L"3"},
       "field position 7 is outside the record layout, whose number of fields is 3"},
      // An argument that looks like a placeholder is not one.
      {59001,
       {L"{1}", L"DATE"},
       "\"{1}\" cannot take DATE: cast the operands to types that it takes"},
      {59015,
       {L"Gr\u00F6\u00DFe \U0001F600"},
       "there is no column of this name: \"Gr\u00F6\u00DFe \U0001F600\""},
      // What the sentence has no place for is shown behind it; a missing argument is seen as such.
      {59014,
       {L"a", L"b"},
       "an expression names a column position beyond the last column of its input (a, b)"},
      {59161, {L"AddInt"}, "AddInt overflowed: the result is beyond the limit {1}"},
      {1, {L"a"}, "error 1 (a)"},
      {2, {}, "error 2"},
  };
  for (const auto& c : kCases) {
    const ErrorMessage message(c.code, c.arguments);
    EXPECT_STREQ(message.what(), c.text);
    EXPECT_EQ(message.GetText(), BaseStringUtil::Utf8ToString(c.text));
    EXPECT_EQ(message.GetCode(), c.code);
    EXPECT_EQ(message.GetArguments(), c.arguments);
  }
}

TEST(ErrorMessage, IsThrownWithTheRaisersPlaceAndKeepsTheInnermostRowAndPosition) {
  const int line = __LINE__ + 2;
  try {
    SUGThrow(ErrorMessage(59008));
  } catch (ErrorMessage& message) {
    EXPECT_EQ(message.GetLine(), line);
    EXPECT_TRUE(std::string(message.GetFile()).ends_with("ErrorMessageTest.cpp"));
    EXPECT_EQ(message.GetRowNumber(), ErrorMessage::kNoRow);
    EXPECT_EQ(message.GetSourcePosition(), ErrorMessage::kNoPosition);
    for (int later : {3, 9}) {
      message.SetRowNumber(later);
      message.SetSourcePosition(later + 1);
    }
    EXPECT_EQ(message.GetRowNumber(), 3);
    EXPECT_EQ(message.GetSourcePosition(), 4);
  }
}

TEST(XeAssert, CallsTheHandlerAndAbortsWhenThatReturns) {
  const XeAssert::Handler before =
      XeAssert::SetHandler([](const char*, int, const char* text) { throw std::string(text); });
  const auto catchText = [](auto stop) {
    try {
      stop();
    } catch (const std::string& text) {
      return text;
    }
    return std::string("went on");
  };
  EXPECT_EQ(catchText([] { XE_ASSERT(1 + 1 == 3); }), "1 + 1 == 3");
  EXPECT_EQ(catchText([] { XE_ASSERT(1 + 1 == 2); }), "went on");
  EXPECT_EQ(catchText([] { XeLogicError("lost"); }), "lost");
  XeAssert::SetHandler(before);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(XeLogicError("lost"), "ErrorMessageTest.cpp:[0-9]+: broken invariant: lost");
  EXPECT_DEATH(
      {
        XeAssert::SetHandler([](const char*, int, const char*) {});
        XeLogicError("lost");
      },
      "");
}

}  // namespace
}  // namespace sqxer
