#pragma once

#include <cstddef>
#include <new>

#include "Utility/Export.h"

namespace sqxer {

/// Memory for tables whose entries are looked up in no order: from some mebibytes on it stands in
/// huge pages where the system has them. It counts with the statement's budget, whose errors pass.
/// Out of memory throws std::bad_alloc.
XEUTILITY_API void* AllocateScattered(std::size_t bytes);
/// `bytes` are those that were asked for.
XEUTILITY_API void FreeScattered(void* memory, std::size_t bytes) noexcept;

/// Has the memory at an address, valid or not, brought to the caches while other work goes on.
inline void Prefetch(const void* address) {
  __builtin_prefetch(address);
  // A function that does nothing else has no effect in the eyes of GCC 12, which drops its calls.
  asm volatile("");
}

/// The allocator for standard containers.
template <class T>
struct ScatteredAllocator {
  using value_type = T;

  ScatteredAllocator() = default;
  template <class U>
  ScatteredAllocator(const ScatteredAllocator<U>&) {}
  T* allocate(std::size_t count) { return static_cast<T*>(AllocateScattered(count * sizeof(T))); }
  void deallocate(T* memory, std::size_t count) noexcept {
    FreeScattered(memory, count * sizeof(T));
  }
  bool operator==(const ScatteredAllocator&) const { return true; }
};

}  // namespace sqxer
