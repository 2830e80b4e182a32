// Replaces the program's operator new by one that counts what is taken by it and by the gateway.
#include <atomic>
#include <cstdlib>
#include <new>

#include "support/TestRecord.h"

static std::atomic<std::size_t> count{0};

std::size_t sqxer::test::AllocationCount() {
  return count.load(std::memory_order_relaxed) + MemoryGateway::BlocksInUse();
}

#if !defined(SQXER_ADDRESS_SANITIZER)
// The library's other forms, aligned ones aside, come down to these.
void* operator new(std::size_t bytes) {
  count.fetch_add(1, std::memory_order_relaxed);
  if (void* const block = std::malloc(bytes != 0 ? bytes : 1)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
#endif
