// Replaces the program's operator new by one that counts.

#include "AllocationCount.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> count{0};

[[maybe_unused]] void* AllocateOrNull(std::size_t bytes) {
  count.fetch_add(1, std::memory_order_relaxed);
  return std::malloc(bytes != 0 ? bytes : 1);
}

[[maybe_unused]] void* Allocate(std::size_t bytes) {
  if (void* const block = AllocateOrNull(bytes)) return block;
  throw std::bad_alloc();
}

}  // namespace

#if !defined(__SANITIZE_ADDRESS__)

void* operator new(std::size_t bytes) { return Allocate(bytes); }
void* operator new[](std::size_t bytes) { return Allocate(bytes); }
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return AllocateOrNull(bytes);
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  return AllocateOrNull(bytes);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

#endif

std::size_t sqxer::test::AllocationCount() { return count.load(std::memory_order_relaxed); }
