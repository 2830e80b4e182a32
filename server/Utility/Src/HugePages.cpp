#include "Utility/HugePages.h"

#include <sys/mman.h>

namespace sqxer {
namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;
/// Less is not worth the rest of a page.
constexpr std::size_t kLeastBytes = 2 * kHugePage;

}  // namespace

void* AllocateScattered(std::size_t bytes) {
  if (bytes < kLeastBytes) return ::operator new(bytes);
  void* const memory = ::operator new (bytes, std::align_val_t{kHugePage});
  // A system without huge pages does as well, if slower.
  static_cast<void>(madvise(memory, bytes / kHugePage * kHugePage, MADV_HUGEPAGE));
  return memory;
}

void FreeScattered(void* memory, std::size_t bytes) noexcept {
  if (bytes < kLeastBytes) {
    ::operator delete(memory);
  } else {
    ::operator delete (memory, std::align_val_t{kHugePage});
  }
}

}  // namespace sqxer
