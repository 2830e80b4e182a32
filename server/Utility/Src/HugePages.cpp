#include "Utility/HugePages.h"

#include <sys/mman.h>

#include <cstring>

#include "Utility/StatementBudget.h"

namespace sqxer {
namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
/// Less is not worth the rest of a page.
constexpr std::size_t kLeastBytes = 2 * kHugePage;

constexpr std::size_t kAddressBytes = sizeof(void*);

/// A block that may count has behind it the budget that it counts with, if any.
std::size_t CountRoom(std::size_t bytes) {
  return bytes < StatementBudget::kLeastBytes ? bytes : bytes + kAddressBytes;
}

void* Allocate(std::size_t bytes) {
  if (bytes < kLeastBytes) return ::operator new(bytes);
  void* const memory = ::operator new (bytes, std::align_val_t{kHugePage});
  // A system without huge pages does as well, if slower.
  static_cast<void>(madvise(memory, bytes / kHugePage * kHugePage, MADV_HUGEPAGE));
  return memory;
}

void Free(void* memory, std::size_t bytes) noexcept {
  if (bytes < kLeastBytes) {
    ::operator delete(memory);
  } else {
    ::operator delete (memory, std::align_val_t{kHugePage});
  }
}

}  // namespace

void* AllocateScattered(std::size_t bytes) {
  const std::size_t room = CountRoom(bytes);
  if (room == bytes) return Allocate(bytes);
  if (room < bytes) throw std::bad_alloc();
  StatementBudget* const budget = StatementBudget::CountBlock(room);
  try {
    void* const memory = Allocate(room);
    std::memcpy(static_cast<char*>(memory) + bytes, &budget, kAddressBytes);
    return memory;
  } catch (...) {
    if (budget != nullptr) budget->GiveBack(room);
    throw;
  }
}

void FreeScattered(void* memory, std::size_t bytes) noexcept {
  const std::size_t room = CountRoom(bytes);
  if (room != bytes && memory != nullptr) {
    StatementBudget* budget;
    std::memcpy(&budget, static_cast<const char*>(memory) + bytes, kAddressBytes);
    if (budget != nullptr) budget->GiveBack(room);
  }
  Free(memory, room);
}

}  // namespace sqxer
