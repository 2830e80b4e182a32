#include "Utility/XeAssert.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace sqxer {

namespace {

void PrintAssert(const char* file, int line, const char* text) {
  std::fprintf(stderr, "%s:%d: broken invariant: %s\n", file, line, text);
}

std::atomic<XeAssert::Handler> installedHandler{&PrintAssert};

[[noreturn]] void Stop(const char* file, int line, const char* text) {
  installedHandler.load()(file, line, text);
  std::abort();
}

}  // namespace

void XeAssert::handleAssert(const char* file, int line, const char* text) {
  Stop(file, line, text);
}

void XeAssert::handleLogicError(const char* file, int line, const char* text) {
  Stop(file, line, text);
}

XeAssert::Handler XeAssert::SetHandler(Handler handler) {
  return installedHandler.exchange(handler ? handler : &PrintAssert);
}

}  // namespace sqxer
