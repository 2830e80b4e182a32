// Loaded before a program: from the call of malloc on whose number, counted from the start of main,
// FAIL_AFTER gives, there is no memory left.
#include <dlfcn.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
}

namespace {

using Main = int (*)(int, char**, char**);

Main realMain = nullptr;
bool isCounting = false;
long left = 0;

bool IsExhausted() {
  if (!isCounting || left-- > 0) return false;
  left = 0;
  errno = ENOMEM;
  return true;
}

int CountingMain(int count, char** arguments, char** environment) {
  const char* const after = std::getenv("FAIL_AFTER");
  left = after == nullptr ? 0 : std::atol(after);
  isCounting = after != nullptr;
  const int status = realMain(count, arguments, environment);
  isCounting = false;
  return status;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) { return IsExhausted() ? nullptr : __libc_malloc(size); }
void* calloc(std::size_t count, std::size_t size) {
  return IsExhausted() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) {
  return IsExhausted() ? nullptr : __libc_realloc(block, size);
}

int __libc_start_main(Main main, int count, char** arguments, void (*init)(), void (*fini)(),
                      void (*loaderFini)(), void* stackEnd) {
  realMain = main;
  using Start = int (*)(Main, int, char**, void (*)(), void (*)(), void (*)(), void*);
  const auto start = reinterpret_cast<Start>(dlsym(RTLD_NEXT, "__libc_start_main"));
  return start(&CountingMain, count, arguments, init, fini, loaderFini, stackEnd);
}
}
