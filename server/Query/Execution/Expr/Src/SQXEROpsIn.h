#pragma once

#include <algorithm>
#include <concepts>
#include <functional>
#include <utility>
#include <vector>

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

  std::size_t GetSize() const { return values_.size(); }
  /// In ascending order.
  const std::vector<T>& GetValues() const { return values_; }

 private:
  std::vector<T> values_;
  Less less_;
};

}  // namespace sqxer
