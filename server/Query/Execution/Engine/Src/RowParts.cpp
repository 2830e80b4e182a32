#include "RowParts.h"

namespace sqxer {

bool RowParts::Part(std::size_t groups, const uint16* rows, uint32 count) {
  // The halves of the rows are counted side by side: one counter of a group would wait for itself
  // where its rows follow each other.
  struct Halves {
    uint32 first = 0;
    uint32 second = 0;
  };
  std::array<Halves, kMostGroups + 1> halves{};
  const uint32 half = count / 2;
  const uint16* const firsts = numbers_.data();
  const uint16* const seconds = firsts + half;
  const auto forEachPair = [&](auto&& useFirst, auto&& useSecond) {
    for (uint32 i = 0; i < half; ++i) {
      useFirst(i);
      useSecond(i);
    }
    if (half + half < count) useSecond(half);
  };
  forEachPair([&](uint32 i) { ++halves[firsts[i]].first; },
              [&](uint32 i) { ++halves[seconds[i]].second; });
  const Halves& lost = halves[kNoGroup];
  if (lost.first + lost.second != 0) return false;

  // From counts to where the rows of each half begin.
  uint32 begin = 0;
  for (std::size_t group = 0; group < groups; ++group) {
    begins_[group] = begin;
    const Halves counts = halves[group];
    halves[group] = {begin, begin + counts.first};
    begin += counts.first + counts.second;
  }
  begins_[groups] = begin;
  const auto put = [&](auto&& rowAt) {
    forEachPair([&](uint32 i) { rows_[halves[firsts[i]].first++] = rowAt(i); },
                [&](uint32 i) { rows_[halves[seconds[i]].second++] = rowAt(half + i); });
  };
  if (rows == nullptr) {
    put([](uint32 i) { return static_cast<uint16>(i); });
  } else {
    put([rows](uint32 i) { return rows[i]; });
  }
  return true;
}

}  // namespace sqxer
