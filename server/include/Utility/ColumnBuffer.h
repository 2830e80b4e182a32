#pragma once

#include <cstddef>
#include <utility>

#include "Utility/Export.h"
#include "Utility/StatementBudget.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// The memory of a column: bytes aligned to 64, with room to read and write kColumnPadding bytes
/// behind the last one. It counts with the budget of the thread that makes it grow, whose errors
/// pass and change nothing. It grows without being zeroed. From a mebibyte on it stands in pages of
/// its own, huge ones where the system has them, and what it does not touch costs nothing. Out of
/// memory throws std::bad_alloc and changes nothing. Not copied, not thread-safe.
class XEUTILITY_API ColumnBuffer {
 public:
  static constexpr std::size_t kColumnPadding = 64;

  ColumnBuffer() = default;
  ~ColumnBuffer() { Release(); }
  ColumnBuffer(ColumnBuffer&& other) noexcept { Swap(other); }
  ColumnBuffer& operator=(ColumnBuffer&& other) noexcept {
    Swap(other);
    return *this;
  }

  uint8* GetData() { return data_; }
  const uint8* GetData() const { return data_; }
  template <class T>
  T* As() {
    return reinterpret_cast<T*>(data_);
  }
  template <class T>
  const T* As() const {
    return reinterpret_cast<const T*>(data_);
  }
  /// Bytes that it holds without growing, the padding not counted.
  std::size_t GetCapacity() const { return capacity_; }

  /// Makes room for `bytes`, and for more than that where it has to move what stands in it, so that
  /// growing by little is cheap.
  void Reserve(std::size_t bytes) {
    if (bytes > capacity_) Grow(bytes);
  }
  /// Gives back what lies beyond `bytes` and the padding, if that is worth it.
  void Shrink(std::size_t bytes);
  void Release() noexcept;

 private:
  void Grow(std::size_t bytes);
  void Move(std::size_t capacity);
  /// Counts with the thread's budget.
  void Count(std::size_t bytes);
  void CountDown(std::size_t bytes) noexcept;
  /// Of a buffer that counts with the same budget.
  void TakeCount(ColumnBuffer& from);
  void Swap(ColumnBuffer& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(capacity_, other.capacity_);
    std::swap(mapped_, other.mapped_);
    std::swap(budget_, other.budget_);
    std::swap(counted_, other.counted_);
  }

  uint8* data_ = nullptr;
  std::size_t capacity_ = 0;
  /// Bytes of the mapping that it stands in; 0 for a block of the heap.
  std::size_t mapped_ = 0;
  /// What it counts with, and how much; null for none.
  StatementBudget* budget_ = nullptr;
  std::size_t counted_ = 0;
};

}  // namespace sqxer
