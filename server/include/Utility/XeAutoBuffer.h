#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>

namespace sqxer {

/// A growable buffer of plain values with the first InlineCount of them in place, so that small
/// contents never touch the heap. Growing does not shrink and keeps the contents. Not copyable:
/// nodes hand out pointers into it.
template <class T, std::size_t InlineCount>
class XeAutoBuffer {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  XeAutoBuffer() = default;
  XeAutoBuffer(const XeAutoBuffer&) = delete;
  XeAutoBuffer& operator=(const XeAutoBuffer&) = delete;

  /// Makes room for at least `count` values: what is in place, else 64, doubling from there. New
  /// room is zero. Pointers into the old room are no longer valid when it grew.
  void Reserve(std::size_t count) {
    if (count > capacity_) Grow(std::unique_ptr<T[]>(new T[CountGrown(count)]()), count);
  }
  /// The same, but new room is not set: what is never used of it is never touched.
  void ReserveUnset(std::size_t count) {
    if (count > capacity_) Grow(std::unique_ptr<T[]>(new T[CountGrown(count)]), count);
  }

  T* data() { return heap_ ? heap_.get() : inline_; }
  const T* data() const { return heap_ ? heap_.get() : inline_; }
  std::size_t capacity() const { return capacity_; }
  bool IsOnHeap() const { return heap_ != nullptr; }

 private:
  std::size_t CountGrown(std::size_t count) const {
    std::size_t grown = capacity_ < 64 ? 64 : capacity_;
    while (grown < count) grown *= 2;
    return grown;
  }
  void Grow(std::unique_ptr<T[]> room, std::size_t count) {
    for (std::size_t i = 0; i < capacity_; ++i) room[i] = data()[i];
    heap_ = std::move(room);
    capacity_ = CountGrown(count);
  }

  T inline_[InlineCount] = {};
  std::unique_ptr<T[]> heap_;
  std::size_t capacity_ = InlineCount;
};

}  // namespace sqxer
