#include "Utility/ColumnBuffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

namespace sqxer {
namespace {

constexpr std::align_val_t kAlignment{64};
constexpr std::size_t kLeastBytes = 1024;
constexpr std::size_t kMappedBytes = std::size_t{1} << 20;
constexpr std::size_t kHugePage = std::size_t{2} << 20;

std::size_t RoundUp(std::size_t bytes, std::size_t unit) {
  return (bytes + unit - 1) / unit * unit;
}

std::size_t PageSize() {
  static const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

/// A mapping that starts at the border of a huge page.
uint8* MapAligned(std::size_t bytes) {
  void* const start = mmap(nullptr, bytes + kHugePage, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (start == MAP_FAILED) throw std::bad_alloc();
  const auto address = reinterpret_cast<std::uintptr_t>(start);
  const std::size_t before = RoundUp(address, kHugePage) - address;
  auto* const aligned = static_cast<uint8*>(start) + before;
  if (before > 0) munmap(start, before);
  if (before < kHugePage) munmap(aligned + bytes, kHugePage - before);
  // Systems without huge pages serve as well.
  static_cast<void>(madvise(aligned, bytes, MADV_HUGEPAGE));
  return aligned;
}

}  // namespace

void ColumnBuffer::Grow(std::size_t bytes) {
  Move(std::max({bytes, capacity_ + capacity_ / 2, kLeastBytes}));
}

void ColumnBuffer::Move(std::size_t capacity) {
  const std::size_t wanted = capacity + kColumnPadding;
  ColumnBuffer target;
  if (wanted < kMappedBytes) {
    target.data_ = static_cast<uint8*>(::operator new(wanted, kAlignment));
    target.capacity_ = capacity;
  } else {
    target.mapped_ = RoundUp(wanted, kHugePage);
    target.data_ = MapAligned(target.mapped_);
    target.capacity_ = target.mapped_ - kColumnPadding;
    if (mapped_ > 0) {
      // The pages move, not what stands in them.
      if (mremap(data_, mapped_, mapped_, MREMAP_MAYMOVE | MREMAP_FIXED, target.data_) ==
          MAP_FAILED) {
        throw std::bad_alloc();
      }
      data_ = nullptr;
      capacity_ = mapped_ = 0;
      Swap(target);
      return;
    }
  }
  if (data_ != nullptr) std::memcpy(target.data_, data_, std::min(capacity_, capacity));
  Swap(target);
}

void ColumnBuffer::Shrink(std::size_t bytes) {
  if (bytes >= capacity_) return;
  // Little is not worth a copy.
  constexpr std::size_t kWorthIt = 16;
  if (mapped_ == 0 && capacity_ - bytes < capacity_ / kWorthIt) return;
  if (mapped_ == 0 || bytes + kColumnPadding < kMappedBytes) return Move(bytes);
  const std::size_t kept = RoundUp(bytes + kColumnPadding, PageSize());
  if (kept < mapped_) munmap(data_ + kept, mapped_ - kept);
  mapped_ = kept;
  capacity_ = kept - kColumnPadding;
}

void ColumnBuffer::Release() noexcept {
  if (mapped_ > 0) {
    munmap(data_, mapped_);
  } else {
    ::operator delete(data_, kAlignment);
  }
  data_ = nullptr;
  capacity_ = mapped_ = 0;
}

}  // namespace sqxer
