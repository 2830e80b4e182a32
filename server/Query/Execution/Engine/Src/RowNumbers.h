#pragma once

#include <algorithm>
#include <numeric>

#include "SQXERBatch.h"
#include "WordSort.h"

namespace sqxer {

/// The numbers of rows of a table, ascending. As long as these are all rows from the first one on
/// it takes no memory.
class RowNumbers {
 public:
  void Clear() {
    rows_.clear();
    count_ = 0;
  }
  /// Gives the memory back.
  void Release() { rows_ = {}; }

  /// Adds the wanted rows of a batch whose first row has a number.
  void Add(const BatchRows& rows, uint64 firstRow) {
    const uint32 wanted = rows.GetWanted();
    if (rows_.empty() && firstRow == count_ && wanted == rows.count) {
      count_ += wanted;
      return;
    }
    Write();
    rows.ForEach([&](uint32 row) { rows_.push_back(static_cast<uint32>(firstRow + row)); });
    count_ = rows_.size();
  }
  /// Keeps those at the given places, which ascend.
  void Keep(const RowArray<uint32>& places) {
    Write();
    for (std::size_t i = 0; i < places.size(); ++i) rows_[i] = rows_[places[i]];
    rows_.resize(places.size());
    count_ = places.size();
  }
  uint64 GetCount() const { return count_; }
  /// Which of them a number is.
  uint64 Find(uint64 row) const {
    if (rows_.empty()) return row;
    return static_cast<uint64>(std::ranges::lower_bound(rows_, row) - rows_.begin());
  }
  uint64 Get(uint64 place) const { return rows_.empty() ? place : rows_[place]; }

 private:
  void Write() {
    if (!rows_.empty()) return;
    rows_.resize(count_);
    std::iota(rows_.begin(), rows_.end(), uint32{0});
  }

  RowArray<uint32> rows_;
  uint64 count_ = 0;
};

}  // namespace sqxer
