#pragma once

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "Utility/HugePages.h"
#include "Utility/StatementBudget.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// The numbers that an aggregate holds of all its groups, in the order in which each group got
/// them. A group takes blocks that grow with it; they are given back all at once.
class HeldNumbers {
  struct Block {
    Block* before;
    std::size_t capacity;
    float64* Values() { return reinterpret_cast<float64*>(this + 1); }
  };

 public:
  /// What a group has, a part of its state.
  struct List {
    float64* next = nullptr;
    float64* end = nullptr;
    Block* newest = nullptr;
  };

  void Append(List& list, float64 value) {
    if (list.next == list.end) [[unlikely]]
      AddBlock(list);
    *list.next++ = value;
  }

  /// Where the numbers of a group are put together; what it takes counts.
  using Numbers = std::vector<float64, ScatteredAllocator<float64>>;

  /// What all groups take.
  std::size_t GetBytes() const { return bytes_; }

  /// Hands on the numbers of the only group, in any order, and has none then.
  template <class Use>
  void TakeAll(List& list, Use&& use) {
    if (list.newest == nullptr) return;
    std::size_t used = static_cast<std::size_t>(list.next - list.newest->Values());
    for (Block* block = list.newest; block != nullptr; block = block->before) {
      for (std::size_t i = 0; i < used; ++i) use(block->Values()[i]);
      if (block->before != nullptr) used = block->before->capacity;
    }
    list = {};
    rooms_.clear();
    free_ = bytes_ = 0;
  }

  /// Writes the numbers of a group to `values`.
  void Gather(const List& list, Numbers& values) {
    values.clear();
    if (list.newest == nullptr) return;
    std::size_t count = static_cast<std::size_t>(list.next - list.newest->Values());
    for (Block* block = list.newest->before; block != nullptr; block = block->before) {
      count += block->capacity;
    }
    values.resize(count);
    std::size_t used = static_cast<std::size_t>(list.next - list.newest->Values());
    for (Block* block = list.newest; block != nullptr; block = block->before) {
      count -= used;
      std::copy_n(block->Values(), used, values.data() + count);
      if (block->before != nullptr) used = block->before->capacity;
    }
  }

  /// Puts the numbers of a group of `later` behind those of a list, which it takes over.
  static void Splice(List& list, const List& later) {
    if (later.newest == nullptr) return;
    if (list.newest != nullptr) {
      Block* oldest = later.newest;
      while (oldest->before != nullptr) oldest = oldest->before;
      oldest->before = list.newest;
      // Nothing is added to that one any more.
      list.newest->capacity = static_cast<std::size_t>(list.next - list.newest->Values());
    }
    list = later;
  }
  /// After Splice of all its groups: what is left of `later`.
  void TakeRooms(HeldNumbers& later) {
    // The last room is that which blocks are cut from.
    rooms_.insert(rooms_.begin(), std::make_move_iterator(later.rooms_.begin()),
                  std::make_move_iterator(later.rooms_.end()));
    later.rooms_.clear();
    bytes_ += std::exchange(later.bytes_, 0);
    later.free_ = 0;
  }

 private:
  static constexpr std::size_t kFirstNumbers = 6;
  static constexpr std::size_t kMostNumbers = 8190;
  static constexpr std::size_t kRoomBytes = std::size_t{64} << 10;
  static constexpr std::size_t kSmallRooms = 16;
  static constexpr std::size_t kLargeRoomBytes = std::size_t{8} << 20;

  /// Memory that blocks are cut from.
  struct Room {
    explicit Room(std::size_t size)
        : memory(static_cast<uint8*>(AllocateScattered(size))), bytes(size) {}
    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;
    ~Room() { FreeScattered(memory, bytes); }

    uint8* const memory;
    const std::size_t bytes;
  };

  void AddBlock(List& list) {
    // Block after block takes about twice the memory of the one before, its head included.
    const std::size_t capacity = list.newest == nullptr
                                     ? kFirstNumbers
                                     : std::min(2 * list.newest->capacity + 2, kMostNumbers);
    const std::size_t bytes = sizeof(Block) + capacity * sizeof(float64);
    if (free_ < bytes) {
      free_ = rooms_.size() < kSmallRooms ? kRoomBytes : kLargeRoomBytes;
      // Where this fails nothing is free.
      const std::size_t room = std::exchange(free_, 0);
      const BudgetScope use(MemoryUse::kValues, L"MEDIAN");
      rooms_.push_back(std::make_unique<Room>(room));
      bytes_ += free_ = room;
    }
    const Room& room = *rooms_.back();
    auto* const block = new (room.memory + room.bytes - free_) Block{list.newest, capacity};
    free_ -= bytes;
    list = {block->Values(), block->Values() + capacity, block};
  }

  std::vector<std::unique_ptr<Room>> rooms_;
  /// What is left at the end of the last one.
  std::size_t free_ = 0;
  std::size_t bytes_ = 0;
};

}  // namespace sqxer
