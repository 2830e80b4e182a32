#pragma once

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

#include "SQXEROpsAggregate.h"
#include "Utility/HugePages.h"

namespace sqxer {

/// The zero of a rank among values of which `at(place)` gives one for each place below `count`:
/// those with a sign come first, so that the value of a rank does not depend on how it was found.
template <class At>
float64 ZeroOfRank(std::size_t count, std::size_t rank, At&& at) {
  std::size_t before = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const float64 value = at(i);
    before += value < 0 || (value == 0 && std::signbit(value));
  }
  return rank < before ? -0.0 : 0.0;
}

/// Where a quantile lies among sorted values: at a rank (from 0), or a share of the way from there
/// to the next one.
struct QuantilePlace {
  std::size_t rank;
  float64 share;
};

/// Where a fraction of the way from the first to the last of so many values lies, at least one; or,
/// where it is not continuous, the first of which at least that fraction is no greater. NaN counts
/// as 0.
inline QuantilePlace PlaceOfFraction(std::size_t count, float64 fraction, bool isContinuous) {
  const auto size = static_cast<float64>(count);
  if (std::isnan(fraction)) fraction = 0;
  if (!isContinuous) {
    const auto rank = static_cast<std::size_t>(std::ceil(fraction * size));
    return {std::clamp<std::size_t>(rank, 1, count) - 1, 0};
  }
  const float64 place = fraction * (size - 1);
  const float64 rank = std::floor(place);
  return {static_cast<std::size_t>(rank), place - rank};
}

/// Finds values by their rank among at least one, which it puts into another order. Its room is
/// kept from one call to the next.
class RankSelection {
 public:
  /// The value of a rank, and that of the next one where `hasNext`.
  void Select(std::span<float64> values, std::size_t rank, bool hasNext, float64& lower,
              float64& upper) {
    std::size_t first = 0;
    const std::span<float64> near = NearRanks(values, rank, rank + hasNext, first);
    SelectTwo(near, rank - first, hasNext, lower, upper);
    const auto exact = [&](float64 value, std::size_t of) {
      return value != 0 ? value
                        : ZeroOfRank(values.size(), of, [&](std::size_t i) { return values[i]; });
    };
    lower = exact(lower, rank);
    if (hasNext) upper = exact(upper, rank + 1);
  }

 private:
  static constexpr std::size_t kLeastParted = 64;
  static constexpr std::size_t kValuesPerPart = 8;
  static constexpr std::size_t kMostParts = 4096;

  static void SelectTwo(std::span<float64> values, std::size_t rank, bool hasNext, float64& lower,
                        float64& upper) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(rank);
    std::nth_element(values.begin(), middle, values.end(), SortsBefore);
    lower = *middle;
    upper = hasNext ? *std::min_element(middle + 1, values.end(), SortsBefore) : lower;
  }

  /// The values around two ranks (from 0), of which the first has the rank `first`: all, or those
  /// in the same parts of the range of values.
  std::span<float64> NearRanks(std::span<float64> values, std::size_t rank, std::size_t other,
                               std::size_t& first) {
    if (values.size() < kLeastParted) return values;
    float64 least = values[0], greatest = values[0];
    float64 zeroOrNaN = 0;
    for (const float64 value : values) {
      least = value < least ? value : least;
      greatest = value > greatest ? value : greatest;
      // Not a number for an infinity, too.
      zeroOrNaN += value * 0;
    }
    const std::size_t parts = std::min(values.size() / kValuesPerPart, kMostParts);
    const float64 scale = static_cast<float64>(parts) / (greatest - least);
    if (zeroOrNaN != 0 || !(scale < 1e300) || !(greatest - least < 1e300)) return values;
    // Greater values are in no lower part, whatever is rounded.
    const auto partOf = [&](float64 value) {
      const auto part = static_cast<std::size_t>(static_cast<int64>((value - least) * scale));
      return std::min(part, parts - 1);
    };
    counts_.assign(parts, 0);
    for (const float64 value : values) ++counts_[partOf(value)];
    std::size_t part = 0;
    for (first = 0; first + counts_[part] <= rank; ++part) first += counts_[part];
    std::size_t last = part;
    for (std::size_t end = first + counts_[part]; end <= other; end += counts_[last]) ++last;
    near_.clear();
    for (const float64 value : values) {
      const std::size_t at = partOf(value);
      if (at >= part && at <= last) near_.push_back(value);
    }
    return near_;
  }

  std::vector<uint32> counts_;
  std::vector<float64, ScatteredAllocator<float64>> near_;
};

}  // namespace sqxer
