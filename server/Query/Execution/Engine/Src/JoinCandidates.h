#pragma once

#include <algorithm>
#include <span>
#include <vector>

#include "TableJoin.h"

namespace sqxer {

/// Pairs of rows that are yet to be decided about: `count` of them, kMostCandidatePairs at most.
struct JoinCandidates {
  std::vector<uint32> left = std::vector<uint32>(kMostCandidatePairs);
  std::vector<uint32> right = std::vector<uint32>(kMostCandidatePairs);
  uint32 count = 0;

  /// Leaves those for whose index `admits` is true.
  template <class Admits>
  void Keep(Admits&& admits) {
    uint32 kept = 0;
    for (uint32 i = 0; i < count; ++i) {
      const bool isKept = admits(i);
      left[kept] = left[i];
      right[kept] = right[i];
      kept += isKept;
    }
    count = kept;
  }
  /// Leaves those that a filter, which may be empty, admits.
  void KeepAdmitted(const PairFilter& admits) {
    if (!admits || count == 0) return;
    admitted_.assign(count, 0);
    admits(std::span(left).first(count), std::span(right).first(count), admitted_);
    Keep([this](uint32 i) { return admitted_[i] != 0; });
  }
  /// Adds them to rows of a result, and has none any more.
  void MoveTo(JoinedRows& rows) {
    rows.left.insert(rows.left.end(), left.begin(), left.begin() + count);
    rows.right.insert(rows.right.end(), right.begin(), right.begin() + count);
    count = 0;
  }

 private:
  std::vector<uint8> admitted_;
};

}  // namespace sqxer
