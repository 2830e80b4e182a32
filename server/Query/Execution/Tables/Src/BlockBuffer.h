#pragma once

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "CsvSlicer.h"
#include "Utility/HugePages.h"

namespace sqxer {

/// Text that is read block by block and used up from its front, with the padding of CsvSlicer.
class BlockBuffer {
 public:
  /// Holds at most this much: a slice counts its positions in 32 bits.
  static constexpr std::size_t kMostBytes = std::size_t{2} << 30;

  explicit BlockBuffer(std::size_t blockBytes) : blockBytes_(blockBytes), goal_(blockBytes) {}

  std::string_view GetText() const {
    return {bytes_.data() + (bytes_.empty() ? 0 : CsvSlicer::kPadding), size_};
  }
  bool IsFull() const { return size_ >= goal_; }

  /// Calls read(out, size) for the room behind the text, and returns how much it has read.
  template <class Read>
  std::size_t Fill(Read&& read) {
    const std::size_t needed = goal_ + 2 * CsvSlicer::kPadding;
    if (bytes_.size() < needed) bytes_.resize(needed);
    const std::size_t count = read(bytes_.data() + CsvSlicer::kPadding + size_, goal_ - size_);
    size_ += count;
    return count;
  }

  /// Makes room for a record that is longer than the text.
  void Grow() { goal_ = std::min(std::max(blockBytes_, 2 * size_), kMostBytes); }

  /// Drops `count` bytes of the front. What is left may be the start of a record that is longer
  /// than a block, so there is room for as much again.
  void Consume(std::size_t count) {
    char* const text = bytes_.data() + CsvSlicer::kPadding;
    size_ -= count;
    if (count != 0 && size_ != 0) std::memmove(text, text + count, size_);
    Grow();
  }

 private:
  std::size_t blockBytes_;
  /// How much the text is filled up to.
  std::size_t goal_;
  std::vector<char, ScatteredAllocator<char>> bytes_;
  std::size_t size_ = 0;
};

}  // namespace sqxer
