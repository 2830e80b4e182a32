#pragma once

#include <algorithm>
#include <concepts>
#include <functional>
#include <utility>
#include <vector>

#include "Utility/XeTypes.h"

namespace sqxer {

/// The values of an IN list as an ordered set: each of them once, in one piece of memory that is
/// searched in logarithmic time and never changes. NaN is not held and never found: it equals
/// nothing, and has no place in an order.
template <class T, class Less = std::less<T>>
class MemberSet {
 public:
  explicit MemberSet(std::vector<T> values, Less less = Less())
      : values_(std::move(values)), less_(std::move(less)) {
    if constexpr (std::floating_point<T>) {
      std::erase_if(values_, [](const T& value) { return value != value; });
    }
    std::sort(values_.begin(), values_.end(), less_);
    const auto repeated = std::unique(values_.begin(), values_.end(),
                                      [this](const T& a, const T& b) { return !less_(a, b); });
    values_.erase(repeated, values_.end());
  }

  bool Contains(const T& value) const {
    std::size_t left = values_.size();
    if (left == 0) return false;
    const T* first = values_.data();
    // The half to go on in is added, not branched to: nobody can guess it.
    while (left > 1) {
      const std::size_t half = left / 2;
      first += half * static_cast<std::size_t>(less_(first[half - 1], value));
      left -= half;
    }
    // The first element that is not less, or the last one.
    if constexpr (std::same_as<Less, std::less<T>>) {
      return *first == value;
    } else {
      return !less_(*first, value) && !less_(value, *first);
    }
  }

  /// Whether some member lies between two values, or is one of them.
  bool HasWithin(const T& least, const T& greatest) const {
    const auto found = std::lower_bound(values_.begin(), values_.end(), least, less_);
    return found != values_.end() && !less_(greatest, *found);
  }

  std::size_t GetSize() const { return values_.size(); }
  /// In ascending order.
  const std::vector<T>& GetValues() const { return values_; }

 private:
  std::vector<T> values_;
  Less less_;
};

/// The same of integers that lie close together, as one bit for each number: looked up without a
/// search.
template <std::integral T>
class MemberBits {
 public:
  /// Members in ascending order.
  explicit MemberBits(const std::vector<T>& members) {
    if (members.empty() || Distance(members.front(), members.back()) > kMostBits) return;
    first_ = members.front();
    count_ = Distance(first_, members.back()) + 1;
    // One bit more, for every number that is not among them.
    words_.resize(count_ / kWordBits + 1);
    for (const T member : members) {
      const uint64 bit = Distance(first_, member);
      words_[bit / kWordBits] |= uint64{1} << bit % kWordBits;
    }
  }

  /// False where the members lie too far apart; Contains must then not be called.
  bool IsUsable() const { return count_ != 0; }
  bool Contains(T value) const {
    const uint64 bit = std::min(Distance(first_, value), count_);
    return (words_[bit / kWordBits] >> bit % kWordBits & 1) != 0;
  }

 private:
  static constexpr uint64 kWordBits = 64;
  static constexpr uint64 kMostBits = uint64{1} << 23;

  /// Of a lower number it is beyond all that are possible.
  static uint64 Distance(T from, T to) {
    return static_cast<uint64>(static_cast<int64>(to)) -
           static_cast<uint64>(static_cast<int64>(from));
  }

  T first_ = 0;
  uint64 count_ = 0;
  std::vector<uint64> words_;
};

/// For types that have no such bits.
struct NoMemberBits {};
template <class T>
struct ChooseMemberBits {
  using Type = NoMemberBits;
};
template <std::integral T>
struct ChooseMemberBits<T> {
  using Type = MemberBits<T>;
};
template <class T>
using MemberBitsOf = typename ChooseMemberBits<T>::Type;

}  // namespace sqxer
