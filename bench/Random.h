#pragma once

#include <cstddef>
#include <cstdint>

namespace sqxer::bench {

/// The 64-bit mixer of Steele, Lea and Flood, so that the table is the same whatever the standard
/// library's distributions do.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed) {}
  /// A number from `low` to `high`.
  uint64_t Between(uint64_t low, uint64_t high) { return low + Next() % (high - low + 1); }
  bool Chance(uint64_t percent) { return Next() % 100 < percent; }
  template <class T, std::size_t count>
  T Pick(const T (&choices)[count]) {
    return choices[Next() % count];
  }

 private:
  uint64_t Next() {
    uint64_t z = state_ += 0x9E3779B97F4A7C15;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
  }

  uint64_t state_;
};

}  // namespace sqxer::bench
