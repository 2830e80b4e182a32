#pragma once

#include <algorithm>
#include <span>
#include <vector>

#include "SQXERBatch.h"
#include "Utility/HugePages.h"

namespace sqxer {

/// A place for each row of a few whole numbers that there can be in each of some groups: it has the
/// number of a row and one, 0 for none. For numbers that lie close together.
class DistinctPlaces {
 public:
  /// The numbers that a field may have: so many from the least one on.
  struct Span {
    uint64 least = 0;
    uint32 count = 0;
  };

  /// Whether there are places for so many groups and for numbers within these bounds, one for each
  /// field.
  bool Reaches(uint32 groups, std::span<const ColumnBounds<int64>> bounds) const {
    bool reaches = groups <= groups_;
    for (std::size_t i = 0; reaches && i < bounds.size(); ++i) {
      reaches = Holds(spans_[i], bounds[i].least) && Holds(spans_[i], bounds[i].greatest);
    }
    return reaches;
  }
  /// Makes places that reach them and what was reached before, and forgets what they had. False,
  /// which changes nothing, where they would be too many.
  bool Widen(uint32 groups, std::span<const ColumnBounds<int64>> bounds) {
    // What grows once may grow again.
    return TryWiden(groups, bounds, true) || TryWiden(groups, bounds, false);
  }
  void Clear() { std::ranges::fill(places_, 0u); }
  uint64 CountBytes() const { return places_.size() * sizeof(uint32); }

  Span GetSpan(std::size_t field) const { return spans_[field]; }
  /// The first field is the most significant one behind the group.
  std::size_t PlaceOf(uint32 group, std::span<const uint64> words) const {
    std::size_t place = group;
    for (std::size_t i = 0; i < words.size(); ++i) {
      place = place * spans_[i].count + static_cast<std::size_t>(words[i] - spans_[i].least);
    }
    return place;
  }
  uint32& At(std::size_t place) { return places_[place]; }

 private:
  /// More of them leave the caches, where a table by hashes does as well.
  static constexpr uint64 kMostPlaces = uint64{1} << 19;

  static bool Holds(const Span& span, int64 number) {
    return static_cast<uint64>(number) - span.least < span.count;
  }
  bool TryWiden(uint32 groups, std::span<const ColumnBounds<int64>> bounds, bool isGenerous) {
    const bool isFirst = groups_ == 0;
    uint64 most = groups <= groups_        ? groups_
                  : !isFirst && isGenerous ? 2 * uint64{groups}
                                           : groups;
    const auto allGroups = static_cast<uint32>(std::min(most, kMostPlaces));
    std::vector<Span> spans(bounds.size());
    for (std::size_t i = 0; i < bounds.size(); ++i) {
      int128 least = bounds[i].least;
      int128 end = int128{bounds[i].greatest} + 1;
      if (!isFirst) {
        const int128 known = static_cast<int64>(spans_[i].least);
        const int128 knownEnd = known + spans_[i].count;
        const int128 more = isGenerous ? spans_[i].count : 0;
        least = least < known ? std::min(least, known - more) : known;
        end = end > knownEnd ? std::max(end, knownEnd + more) : knownEnd;
      }
      if (end - least > int128{kMostPlaces}) return false;
      spans[i] = {static_cast<uint64>(static_cast<int64>(least)), static_cast<uint32>(end - least)};
      most *= spans[i].count;
      if (most > kMostPlaces) return false;
    }
    groups_ = allGroups;
    spans_ = std::move(spans);
    places_.assign(most, 0);
    return true;
  }

  std::vector<uint32, ScatteredAllocator<uint32>> places_;
  std::vector<Span> spans_;
  uint32 groups_ = 0;
};

}  // namespace sqxer
