#pragma once

#include <gtest/gtest.h>

#include <stdexcept>

#include "Utility/ErrorMessage.h"
#include "Utility/XeAssert.h"

namespace sqxer::test {

/// Expects `action` to raise the error with exactly these arguments (none: whatever it has), at
/// this position of the SQL.
template <class Action>
void ExpectErrorAt(int position, int code, const std::vector<XeString>& arguments, Action action) {
  try {
    action();
    ADD_FAILURE() << "error " << code << " was not raised";
  } catch (const ErrorMessage& error) {
    EXPECT_EQ(error.GetCode(), code) << error.what();
    EXPECT_TRUE(arguments.empty() || error.GetArguments() == arguments) << error.what();
    EXPECT_EQ(error.GetSourcePosition(), position) << error.what();
  }
}
template <class Action>
void ExpectError(int code, const std::vector<XeString>& arguments, Action action) {
  ExpectErrorAt(ErrorMessage::kNoPosition, code, arguments, action);
}

/// What a broken invariant throws while it is expected.
struct BrokenInvariant : std::logic_error {
  using std::logic_error::logic_error;
};

/// Expects `action` to break an invariant.
template <class Action>
void ExpectBroken(Action action) {
  const auto previous =
      XeAssert::SetHandler([](const char*, int, const char* text) { throw BrokenInvariant(text); });
  EXPECT_THROW(action(), BrokenInvariant);
  XeAssert::SetHandler(previous);
}

}  // namespace sqxer::test
