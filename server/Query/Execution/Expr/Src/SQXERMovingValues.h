#pragma once

#include <bit>
#include <cmath>
#include <limits>
#include <map>
#include <memory_resource>
#include <new>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "Utility/ColumnVector.h"
#include "Utility/KeySet.h"

namespace sqxer {

/// Blocks of one size, which come back for others of that size and are freed together. The pools of
/// the standard library cannot be used any more once one of their own lists got no memory.
class BlockRoom final : public std::pmr::memory_resource {
  void* do_allocate(std::size_t bytes, std::size_t alignment) override {
    if (free_ == nullptr) return blocks_.allocate(bytes, alignment);
    return std::exchange(free_, free_->next);
  }
  void do_deallocate(void* block, std::size_t bytes, std::size_t) override {
    if (bytes >= sizeof(Free)) free_ = new (block) Free{free_};
  }
  bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

  struct Free {
    Free* next;
  };
  std::pmr::monotonic_buffer_resource blocks_;
  Free* free_ = nullptr;
};

/// Numbers that come and go, in their order: a NaN equals a NaN and follows every number, zeros
/// with a sign come before those without. Each change takes logarithmic time, and so does the
/// search for a rank that moves along with it: it goes on from where the one before ended.
class MovingRanks {
 public:
  void Clear() {
    values_.clear();
    at_ = values_.end();
    before_ = count_ = 0;
  }
  std::size_t GetCount() const { return count_; }

  void Add(float64 value) {
    const int64 key = KeyOf(value);
    ++values_[key];
    ++count_;
    if (at_ == values_.end()) {
      at_ = values_.begin();
    } else if (key < at_->first) {
      ++before_;
    }
  }
  /// One that was added.
  void Remove(float64 value) {
    const auto found = values_.find(KeyOf(value));
    --count_;
    if (found->first < at_->first) --before_;
    if (--found->second != 0) return;
    if (found == at_) {
      ++at_;
      // Behind the last one, go on from the one before it.
      if (at_ == values_.end() && found != values_.begin()) {
        at_ = std::prev(found);
        before_ -= at_->second;
      }
    }
    values_.erase(found);
  }
  /// The number at a place, from 0, in ascending order; there are more than that.
  float64 At(std::size_t place) {
    while (place < before_) before_ -= (--at_)->second;
    while (place >= before_ + at_->second) before_ += (at_++)->second;
    return FromOrderedBits(at_->first);
  }

 private:
  using Values = std::pmr::map<int64, uint32>;

  /// As OrderedBits has it, but for zeros, of which FromOrderedBits gives back each.
  static int64 KeyOf(float64 value) {
    if (std::isnan(value)) value = std::numeric_limits<float64>::quiet_NaN();
    const auto bits = std::bit_cast<int64>(value);
    return bits ^ (bits >> 63 & std::numeric_limits<int64>::max());
  }

  BlockRoom room_;
  Values values_{&room_};
  /// Some value, the end without any, and how many numbers come before it.
  Values::iterator at_ = values_.end();
  std::size_t before_ = 0;
  std::size_t count_ = 0;
};

/// How many different values there are of those that come and go. Equal are values that a sort key
/// finds equal.
class MovingDistinct {
 public:
  /// `key`: of a value that stands by itself.
  explicit MovingDistinct(const KeyDesc& key) : values_(0, Hash{key}, Equal{key}) {}

  void Clear() { values_.clear(); }
  uint32 GetCount() const { return static_cast<uint32>(values_.size()); }

  /// `size`: bytes that the value uses.
  void Add(const uint8* value, uint32 size) {
    const auto found = values_.find(value);
    if (found != values_.end()) {
      ++found->second;
    } else {
      values_.emplace(std::string(reinterpret_cast<const char*>(value), size), 1);
    }
  }
  /// One that was added.
  void Remove(const uint8* value) {
    const auto found = values_.find(value);
    if (--found->second == 0) values_.erase(found);
  }

 private:
  static const uint8* BytesOf(const uint8* value) { return value; }
  static const uint8* BytesOf(const std::string& value) {
    return reinterpret_cast<const uint8*>(value.data());
  }
  struct Hash {
    using is_transparent = void;
    KeyDesc key;
    std::size_t operator()(const auto& value) const { return key.Hash(BytesOf(value)); }
  };
  struct Equal {
    using is_transparent = void;
    KeyDesc key;
    bool operator()(const auto& a, const auto& b) const {
      return key.CompareValues(BytesOf(a), BytesOf(b)) == 0;
    }
  };

  std::unordered_map<std::string, uint32, Hash, Equal> values_;
};

}  // namespace sqxer
