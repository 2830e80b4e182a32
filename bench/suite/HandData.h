#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sqxer::bench {

/// Values side by side and a null byte a row, as one would keep them for loops written by hand.
template <class T>
struct HandColumn {
  std::vector<T> values;
  std::vector<uint8_t> nulls;

  bool IsNull(std::size_t row) const { return nulls[row] != 0; }
  T operator[](std::size_t row) const { return values[row]; }
};

struct HandTexts {
  std::vector<uint64_t> offsets = {0};
  std::string characters;
  std::vector<uint8_t> nulls;

  bool IsNull(std::size_t row) const { return nulls[row] != 0; }
  std::string_view operator[](std::size_t row) const {
    return {characters.data() + offsets[row], offsets[row + 1] - offsets[row]};
  }
};

/// The columns of the order lines that the queries use: decimals as their hundredths, dates as days
/// since 1970-01-01. Those that are never NULL have no null bytes.
struct HandLines {
  std::size_t count = 0;
  std::vector<int32_t> id, lineNumber;
  HandColumn<int32_t> part, supplier, quantity;
  HandColumn<double> price, discount;
  std::vector<double> tax;
  HandColumn<int64_t> amount, rebate;
  std::vector<int64_t> duty;
  HandColumn<int32_t> shipped, received;
  std::vector<char> returnFlag, lineStatus;
  HandTexts region, comment;

  /// Reads the file that every engine reads.
  explicit HandLines(const std::string& folder);
};

/// The same of the sales, and of their customers and products.
struct HandSales {
  std::size_t count = 0;
  std::vector<int32_t> id, product;
  HandColumn<int32_t> customer, quantity;
  HandColumn<double> price;
  std::vector<int32_t> customerKey;
  HandTexts segment, customerRegion;
  HandColumn<double> balance;
  std::vector<int32_t> productKey, weight;
  HandTexts category;

  explicit HandSales(const std::string& folder);
};

/// A hash map of integers: open addressing, half full at most.
template <class Value>
class IntMap {
 public:
  /// The key's value, made when there is none.
  Value& operator[](int32_t key) {
    if (count_ * 2 >= slots_.size()) Grow();
    Slot& slot = Find(key);
    if (!slot.isUsed) {
      slot = {key, true, Value()};
      ++count_;
    }
    return slot.value;
  }
  /// The key's value, nullptr when there is none.
  const Value* Get(int32_t key) const {
    const Slot& slot = const_cast<IntMap*>(this)->Find(key);
    return slot.isUsed ? &slot.value : nullptr;
  }
  bool Contains(int32_t key) const { return const_cast<IntMap*>(this)->Find(key).isUsed; }
  std::size_t Count() const { return count_; }
  template <class Visit>
  void ForEach(Visit visit) {
    for (Slot& slot : slots_) {
      if (slot.isUsed) visit(slot.key, slot.value);
    }
  }

 private:
  struct Slot {
    int32_t key = 0;
    bool isUsed = false;
    [[no_unique_address]] Value value;
  };

  Slot& Find(int32_t key) {
    const std::size_t mask = slots_.size() - 1;
    const int shift = 64 - std::countr_zero(slots_.size());
    std::size_t i = static_cast<uint32_t>(key) * 0x9E3779B97F4A7C15 >> shift;
    while (slots_[i].isUsed && slots_[i].key != key) i = (i + 1) & mask;
    return slots_[i];
  }
  void Grow() {
    std::vector<Slot> old(slots_.size() * 2);
    old.swap(slots_);
    for (Slot& slot : old) {
      if (slot.isUsed) Find(slot.key) = std::move(slot);
    }
  }

  std::vector<Slot> slots_ = std::vector<Slot>(64);
  std::size_t count_ = 0;
};

}  // namespace sqxer::bench
