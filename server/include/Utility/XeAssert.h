#pragma once

#include <source_location>

#include "Utility/Export.h"

namespace sqxer {

/// Stops for what only a broken program can cause. Each calls the installed handler and, should
/// that return, aborts the process. A query must never be able to reach one.
class XEUTILITY_API XeAssert {
 public:
  using Handler = void (*)(const char* file, int line, const char* text);

  /// A condition that must hold does not; `text` is the condition as written.
  [[noreturn]] static void handleAssert(const char* file, int line, const char* text);
  /// Code was reached that must not be; `text` may be empty.
  [[noreturn]] static void handleLogicError(const char* file, int line, const char* text);

  /// Installs a handler and returns the one before it; null restores the default, which prints to
  /// standard error. A handler may throw (tests do). Not to be called while others evaluate.
  static Handler SetHandler(Handler handler);
};

/// handleLogicError with the caller's own place.
[[noreturn]] inline void XeLogicError(
    const char* text = "", std::source_location where = std::source_location::current()) {
  XeAssert::handleLogicError(where.file_name(), static_cast<int>(where.line()), text);
}

}  // namespace sqxer

/// Stops through XeAssert::handleAssert with the condition's own text unless it holds.
#define XE_ASSERT(condition)          \
  ((condition) ? static_cast<void>(0) \
               : ::sqxer::XeAssert::handleAssert(__FILE__, __LINE__, #condition))
