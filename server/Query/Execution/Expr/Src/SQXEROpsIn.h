#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <functional>
#include <span>
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

/// Whether each of the values is one of `count` members, or is not where `isNegated`.
template <std::size_t count, class T>
void FindAmong(const T* members, const T* values, uint32 rows, bool isNegated,
               uint8* __restrict out) {
  // Of its own, so that no byte written can be one of them.
  std::array<T, count> own;
  std::copy_n(members, count, own.begin());
  const uint8 flip = isNegated ? 1 : 0;
  for (uint32 row = 0; row < rows; ++row) {
    const T value = values[row];
    uint8 isMember = 0;
    for (std::size_t i = 0; i < count; ++i) isMember |= value == own[i];
    out[row] = isMember ^ flip;
  }
}

/// The same for few members of any number; false when they are many. Comparing every row with all
/// of them is faster than searching then.
template <class T>
bool FindFewMembers(std::span<const T> members, const T* values, uint32 rows, bool isNegated,
                    uint8* out) {
  constexpr std::size_t kFew = 4;
  constexpr std::size_t kSome = 8;
  constexpr std::size_t kMost = 16;
  if (members.empty() || members.size() > kMost) return false;
  // A member that comes twice changes nothing.
  std::array<T, kMost> padded;
  padded.fill(members.front());
  std::ranges::copy(members, padded.begin());
  if (members.size() <= kFew) {
    FindAmong<kFew>(padded.data(), values, rows, isNegated, out);
  } else if (members.size() <= kSome) {
    FindAmong<kSome>(padded.data(), values, rows, isNegated, out);
  } else {
    FindAmong<kMost>(padded.data(), values, rows, isNegated, out);
  }
  return true;
}

}  // namespace sqxer
