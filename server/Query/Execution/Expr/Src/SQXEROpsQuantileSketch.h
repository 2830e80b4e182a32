#pragma once

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

#include "SQXEROpsAggregate.h"

namespace sqxer {

/// Estimates quantiles: the sketch of Karnin, Lang and Liberty ("Optimal quantile approximation in
/// streams", 2016). It keeps some of the values, each for as many as a power of two; when its room
/// is full, a level is sorted and every second value goes up a level to stand for twice as many.
/// The first kWidth values are all kept, and quantiles of them are exact; beyond, the rank of an
/// answer is mostly off by less than 0.1 % of the values (docs/accuracy.md).
///
/// Which half goes up comes from numbers that begin alike, so that the same values in the same
/// order give the same answers; of another order, or merged, others within that error.
class QuantileSketch {
 public:
  void Add(float64 value) {
    if (levels_.empty()) Grow();
    levels_[0].push_back(value);
    ++count_;
    least_ = count_ == 1 || SortsBefore(value, least_) ? value : least_;
    greatest_ = count_ == 1 || SortsBefore(greatest_, value) ? value : greatest_;
    if (++held_ > room_) Compress();
  }

  void Merge(const QuantileSketch& other) {
    if (other.count_ == 0) return;
    least_ = count_ == 0 || SortsBefore(other.least_, least_) ? other.least_ : least_;
    greatest_ =
        count_ == 0 || SortsBefore(greatest_, other.greatest_) ? other.greatest_ : greatest_;
    while (levels_.size() < other.levels_.size()) Grow();
    for (std::size_t i = 0; i < other.levels_.size(); ++i)
      levels_[i].insert(levels_[i].end(), other.levels_[i].begin(), other.levels_[i].end());
    count_ += other.count_;
    held_ += other.held_;
    while (held_ > room_) Compress();
  }

  uint64 GetCount() const { return count_; }

  /// The first value of which at least that fraction of the values is no greater. There is a value.
  float64 Estimate(float64 fraction) const {
    const float64 rank = std::max(std::ceil(fraction * static_cast<float64>(count_)), 1.0);
    // The ends are known.
    if (rank <= 1) return least_;
    if (rank >= static_cast<float64>(count_)) return greatest_;
    struct Weighted {
      float64 value;
      uint64 weight;
    };
    std::vector<Weighted> values;
    values.reserve(held_);
    for (std::size_t i = 0; i < levels_.size(); ++i) {
      for (const float64 value : levels_[i]) values.push_back({value, uint64{1} << i});
    }
    std::ranges::sort(values, SortsBefore, &Weighted::value);
    uint64 below = 0;
    for (const Weighted& value : values) {
      below += value.weight;
      if (static_cast<float64>(below) >= rank) return value.value;
    }
    return greatest_;
  }

  /// The sketch as bytes, at most so many, which Load reads again; false for others.
  static constexpr uint32 kMostBytes = 24 * 1024;
  void Save(std::vector<uint8>& bytes) const {
    bytes.clear();
    const auto put = [&bytes](const auto& value) {
      const std::size_t end = bytes.size();
      bytes.resize(end + sizeof value);
      StoreValue(bytes.data() + end, value);
    };
    put(count_);
    put(least_);
    put(greatest_);
    put(random_);
    for (const auto& level : levels_) {
      put(static_cast<uint32>(level.size()));
      for (const float64 value : level) put(value);
    }
  }
  /// Of an empty sketch.
  bool Load(std::span<const uint8> bytes) {
    const auto take = [&bytes](auto& value) {
      if (bytes.size() < sizeof value) return false;
      value = LoadValue<std::remove_reference_t<decltype(value)>>(bytes.data());
      bytes = bytes.subspan(sizeof value);
      return true;
    };
    if (!take(count_) || !take(least_) || !take(greatest_) || !take(random_)) return false;
    uint64 weight = 0;
    for (uint32 size = 0; !bytes.empty();) {
      if (!take(size) || size > bytes.size() / sizeof(float64) || levels_.size() == kMostLevels)
        return false;
      Grow();
      levels_.back().resize(size);
      for (float64& value : levels_.back()) take(value);
      held_ += size;
      weight += uint64{size} << (levels_.size() - 1);
    }
    return weight == count_ && random_ != 0;
  }

  /// What it may hold with the levels that it has.
  std::size_t CountBytes() const {
    return levels_.size() * sizeof(decltype(levels_)::value_type) + 2 * room_ * sizeof(float64);
  }

  /// As many as the level on top has room for.
  static constexpr std::size_t kWidth = 512;

 private:
  static constexpr std::size_t kLeastRoom = 8;
  static constexpr std::size_t kMostLevels = 60;

  /// Each level has room for two thirds of what the one above it has.
  std::size_t RoomOf(std::size_t level) const {
    auto room = static_cast<float64>(kWidth);
    for (std::size_t above = level + 1; above < levels_.size() && room > kLeastRoom; ++above)
      room *= 2.0 / 3;
    return std::max(static_cast<std::size_t>(room), kLeastRoom);
  }

  void Grow() {
    levels_.emplace_back();
    room_ = 0;
    for (std::size_t i = 0; i < levels_.size(); ++i) room_ += RoomOf(i);
  }

  /// Halves the lowest level that has no room left.
  void Compress() {
    std::size_t full = 0;
    while (levels_[full].size() < RoomOf(full)) ++full;
    if (full + 1 == levels_.size()) Grow();
    std::vector<float64>& level = levels_[full];
    std::vector<float64>& above = levels_[full + 1];
    // One of an odd number stays.
    const bool isOdd = level.size() % 2 != 0;
    const float64 rest = isOdd ? level.back() : 0;
    if (isOdd) level.pop_back();
    std::ranges::sort(level, SortsBefore);
    for (std::size_t i = NextBit(); i < level.size(); i += 2) above.push_back(level[i]);
    held_ -= level.size() / 2;
    level.clear();
    if (isOdd) level.push_back(rest);
  }

  std::size_t NextBit() {
    // xorshift64*
    random_ ^= random_ >> 12;
    random_ ^= random_ << 25;
    random_ ^= random_ >> 27;
    return random_ * 0x2545F4914F6CDD1Du >> 63;
  }

  std::vector<std::vector<float64>> levels_;
  std::size_t held_ = 0;
  std::size_t room_ = 0;
  uint64 count_ = 0;
  float64 least_ = 0;
  float64 greatest_ = 0;
  uint64 random_ = 0x9E3779B97F4A7C15u;
};

}  // namespace sqxer
