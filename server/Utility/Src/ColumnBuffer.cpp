#include "Utility/ColumnBuffer.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

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
    target.Count(wanted);
    target.data_ = static_cast<uint8*>(::operator new(wanted, kAlignment));
    target.capacity_ = capacity;
  } else {
    const std::size_t pages = RoundUp(wanted, kHugePage);
    // Of pages that move only the new ones count now.
    const bool isCounted = mapped_ > 0 && budget_ == StatementBudget::OfThread().budget;
    target.Count(pages - (isCounted ? std::min(pages, counted_) : 0));
    target.data_ = MapAligned(pages);
    target.mapped_ = pages;
    target.capacity_ = pages - kColumnPadding;
    if (mapped_ > 0) {
      // The pages move, not what stands in them.
      if (mremap(data_, mapped_, mapped_, MREMAP_MAYMOVE | MREMAP_FIXED, target.data_) ==
          MAP_FAILED) {
        throw std::bad_alloc();
      }
      data_ = nullptr;
      capacity_ = mapped_ = 0;
      Swap(target);
      if (isCounted) TakeCount(target);
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
  if (kept < mapped_) {
    munmap(data_ + kept, mapped_ - kept);
    CountDown(mapped_ - kept);
  }
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
  CountDown(counted_);
}

void ColumnBuffer::Count(std::size_t bytes) {
  budget_ = StatementBudget::CountBlock(bytes);
  counted_ = budget_ == nullptr ? 0 : bytes;
}

void ColumnBuffer::TakeCount(ColumnBuffer& from) {
  counted_ += std::exchange(from.counted_, 0);
  budget_ = std::exchange(from.budget_, nullptr);
}

void ColumnBuffer::CountDown(std::size_t bytes) noexcept {
  const std::size_t less = std::min(bytes, counted_);
  counted_ -= less;
  if (budget_ != nullptr && less != 0) budget_->GiveBack(less);
  if (counted_ == 0) budget_ = nullptr;
}

}  // namespace sqxer
