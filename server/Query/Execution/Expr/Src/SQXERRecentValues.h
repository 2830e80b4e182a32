#pragma once

#include <cstring>
#include <vector>

#include "Utility/XeTypes.h"

namespace sqxer {

/// The values of a group that came lately, in front of a sorter that drops duplicates: a value
/// whose bytes are still here need not go there again. A value that has made room for another one
/// counts as new, so the sorter has the last word.
///
/// There is room from the kValuesBefore-th value of a group on, when a sorter holds more than that
/// takes: groups may be many and tiny. It stays for the groups that follow.
class RecentValues {
 public:
  /// Longer values are never asked for.
  static constexpr uint32 kMostBytes = sizeof(uint64);

  /// Starts a group.
  void Forget() {
    if (count_ >= kValuesBefore && ++group_ == 0) {
      places_.assign(places_.size(), {});
      group_ = 1;
    }
    count_ = 0;
  }

  /// Whether the value is one that came lately; it is from now on. All values of a group have one
  /// size.
  bool Repeats(const void* value, uint32 size) {
    if (count_ < kValuesBefore) [[unlikely]] {
      if (++count_ == kValuesBefore) places_.resize(kPlaces);
      return false;
    }
    const uint64 bits = Load(value, size);
    Place& place = places_[(bits * 0x9E3779B97F4A7C15u) >> (64 - kPlaceBits)];
    if (place.bits == bits && place.group == group_) return true;
    place = {bits, group_};
    return false;
  }

 private:
  static constexpr int kPlaceBits = 12;
  static constexpr std::size_t kPlaces = std::size_t{1} << kPlaceBits;
  static constexpr uint32 kValuesBefore = 4096;

  struct Place {
    uint64 bits;
    /// 0 is no group.
    uint32 group;
  };

  static uint64 Load(const void* value, uint32 size) {
    uint64 bits = 0;
    if (size == sizeof(uint32)) {
      std::memcpy(&bits, value, sizeof(uint32));
    } else if (size == sizeof(uint64)) {
      std::memcpy(&bits, value, sizeof(uint64));
    } else {
      std::memcpy(&bits, value, size);
    }
    return bits;
  }

  std::vector<Place> places_;
  uint32 count_ = 0;
  uint32 group_ = 1;
};

}  // namespace sqxer
