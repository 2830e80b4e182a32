#pragma once

#include <gtest/gtest.h>

#include <stdexcept>

#include "Utility/ErrorMessage.h"
#include "Utility/XeAssert.h"

namespace sqxer::test {

/// What a broken invariant throws while a ThrowingAsserts lives; what() is the assertion's text.
struct BrokenInvariant : std::logic_error {
  using std::logic_error::logic_error;
};

/// Turns broken invariants into exceptions for the life of the object.
class ThrowingAsserts {
 public:
  ThrowingAsserts() : previous_(XeAssert::SetHandler(&Throw)) {}
  ~ThrowingAsserts() { XeAssert::SetHandler(previous_); }
  ThrowingAsserts(const ThrowingAsserts&) = delete;
  ThrowingAsserts& operator=(const ThrowingAsserts&) = delete;

 private:
  static void Throw(const char*, int, const char* text) { throw BrokenInvariant(text); }
  XeAssert::Handler previous_;
};

/// Expects `action` to raise the error with exactly these arguments and, when given, at this
/// position of the SQL.
template <class Action>
void ExpectError(int code, const std::vector<XeString>& arguments, Action action,
                 int position = ErrorMessage::kNoPosition) {
  try {
    action();
    ADD_FAILURE() << "error " << code << " was not raised";
  } catch (const ErrorMessage& error) {
    EXPECT_EQ(error.GetCode(), code) << error.what();
    EXPECT_EQ(error.GetArguments(), arguments) << error.what();
    if (position != ErrorMessage::kNoPosition) {
      EXPECT_EQ(error.GetSourcePosition(), position) << error.what();
    }
  }
}

/// Expects `action` to break an invariant.
template <class Action>
void ExpectBroken(Action action) {
  ThrowingAsserts throwing;
  EXPECT_THROW(action(), BrokenInvariant);
}

}  // namespace sqxer::test
