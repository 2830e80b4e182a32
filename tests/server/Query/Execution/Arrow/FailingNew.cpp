#include "FailingNew.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

/// Negative while memory does not end.
thread_local sqxer::int64 left = -1;

bool IsExhausted() {
  if (left < 0) return false;
  if (left == 0) return true;
  --left;
  return false;
}

void* Allocate(std::size_t bytes, std::size_t alignment) {
  void* block = nullptr;
  if (IsExhausted() || posix_memalign(&block, alignment, bytes != 0 ? bytes : 1) != 0) {
    throw std::bad_alloc();
  }
  return block;
}

}  // namespace

namespace sqxer::test {

FailingNew::FailingNew(int64 after) { left = after; }
FailingNew::~FailingNew() { left = -1; }

}  // namespace sqxer::test

// Of arrays the library's own forms come down to these.
void* operator new(std::size_t bytes) { return Allocate(bytes, alignof(std::max_align_t)); }
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return Allocate(bytes, static_cast<std::size_t>(alignment));
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return IsExhausted() ? nullptr : std::malloc(bytes != 0 ? bytes : 1);
}
// clang does not know those with a size by itself, and would hide them from the libraries.
#define FOR_LIBRARIES [[gnu::visibility("default")]]
FOR_LIBRARIES void operator delete(void* block) noexcept { std::free(block); }
FOR_LIBRARIES void operator delete(void* block, std::size_t) noexcept { std::free(block); }
FOR_LIBRARIES void operator delete(void* block, std::align_val_t) noexcept { std::free(block); }
FOR_LIBRARIES void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  std::free(block);
}
