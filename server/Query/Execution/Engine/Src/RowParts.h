#pragma once

#include <array>
#include <span>

#include "SQXERBatch.h"

namespace sqxer {

/// The rows of a batch put side by side by their groups, where these are few.
class RowParts {
 public:
  static constexpr uint16 kMostGroups = 256;
  /// In the place of a group's number.
  static constexpr uint16 kNoGroup = kMostGroups;

  /// Room for the number of the group of each row, in the order of the rows.
  uint16* Numbers() { return numbers_.data(); }
  uint16 GetNumber(uint32 index) const { return numbers_[index]; }

  /// Puts `count` rows in order, whose groups stand in Numbers and are less than `groups`. `rows`:
  /// ascending; null for the first ones of the batch. False where one has no group: nothing is put
  /// in order then.
  bool Part(std::size_t groups, const uint16* rows, uint32 count);

  /// Those of a group, ascending.
  std::span<const uint16> GetRows(std::size_t group) const {
    return {rows_.data() + begins_[group], begins_[group + 1] - begins_[group]};
  }

 private:
  std::array<uint16, kMostBatchRows> numbers_;
  std::array<uint16, kMostBatchRows> rows_;
  std::array<uint32, kMostGroups + 1> begins_;
};

}  // namespace sqxer
