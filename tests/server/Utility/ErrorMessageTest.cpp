#include <gtest/gtest.h>

#include <algorithm>

#include "Utility/XeAssert.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

TEST(ErrorCatalogue, IsAscendingAndEverySentenceMentionsEachArgumentOnce) {
  int previous = 0;
  for (const ErrorCatalogueEntry& entry : ErrorCatalogue()) {
    SCOPED_TRACE(entry.code);
    EXPECT_LT(std::exchange(previous, entry.code), entry.code);
    const std::string text = entry.text;
    EXPECT_EQ(std::ranges::count(text, '{'), entry.arguments);
    for (int i = 0; i < entry.arguments; ++i) {
      EXPECT_NE(text.find("{" + std::to_string(i) + "}"), text.npos) << i;
    }
    EXPECT_FALSE(text.ends_with('.'));
    EXPECT_EQ(text.find("  "), text.npos);
    EXPECT_TRUE(BaseStringUtil::IsValidUtf8(text));
  }
}

TEST(ErrorMessage, PutsArgumentsIntoTheSentence) {
  const auto text = [](int code, const std::vector<XeString>& arguments) {
    const ErrorMessage message(code, arguments);
    EXPECT_EQ(message.GetText(), Wide(message.what()));
    return std::string(message.what());
  };
  // An argument that looks like a placeholder is not one.
  EXPECT_EQ(text(59001, {L"{1}", L"\u00F6\U0001F600"}),
            "\"{1}\" cannot take \u00F6\U0001F600: cast the operands to types that it takes");
  // What the sentence has no place for is shown behind it; a missing argument is seen as such.
  EXPECT_EQ(text(59161, {L"X"}), "X overflowed: the result is beyond the limit {1}");
  EXPECT_EQ(text(1, {L"a", L"b"}) + text(2, {}), "error 1 (a, b)error 2");
}

TEST(ErrorMessage, IsThrownWithTheRaisersPlaceAndKeepsTheInnermostRowAndPosition) {
  const int line = __LINE__ + 2;
  try {
    SUGThrow(ErrorMessage(59008));
  } catch (ErrorMessage& message) {
    EXPECT_EQ(message.GetLine(), line);
    EXPECT_TRUE(std::string(message.GetFile()).ends_with("ErrorMessageTest.cpp"));
    for (int later : {3, 9}) {
      message.SetRowNumber(later);
      message.SetSourcePosition(later + 1);
    }
    EXPECT_EQ(message.GetRowNumber(), 3);
    EXPECT_EQ(message.GetSourcePosition(), 4);
  }
}

TEST(XeAssert, CallsTheHandlerAndAbortsWhenThatReturns) {
  const auto before =
      XeAssert::SetHandler([](const char*, int, const char* text) { throw std::string(text); });
  EXPECT_THROW(XE_ASSERT(1 + 1 == 3), std::string);
  EXPECT_NO_THROW(XE_ASSERT(1 + 1 == 2));
  XeAssert::SetHandler(before);
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(XeLogicError("lost"), "ErrorMessageTest.cpp:[0-9]+: broken invariant: lost");
  XeAssert::SetHandler([](const char*, int, const char*) {});
  EXPECT_DEATH(XeLogicError("lost"), "");
  XeAssert::SetHandler(before);
}

}  // namespace
}  // namespace sqxer
