#pragma once

#include "SQXEROpsAggregate.h"
#include "Utility/KeySet.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Numbers ordered rows so that rows that tie share a number, and the row after a tie gets that
/// number plus the rows of the tie.
class TieRun {
 public:
  /// `first`: the number of the first row.
  explicit TieRun(uint32 first) : number_(first) {}

  /// The number of the next row; `tied`: it ties with the row before it.
  uint32 Next(bool tied) {
    if (!tied) {
      number_ = AfterTie();
      length_ = 0;
    }
    ++length_;
    return number_;
  }

  /// The number of a row that would not tie with the row before it.
  uint32 AfterTie() const { return number_ + length_; }

 private:
  uint32 number_;
  uint32 length_ = 0;
};

/// What turns the count of rows after a row into a fraction of the other rows.
inline float64 PercentileMultiplier(uint32 rows) { return rows < 2 ? 1.0 : 1.0 / (rows - 1); }

/// Whether a sorts before b in an order of that direction.
inline bool SortsBefore(float64 a, float64 b, SortOrder_t order) {
  return order == kAscending ? SortsBefore(a, b) : SortsBefore(b, a);
}

/// Deals n > 0 ordered values out to tiles: the quantiles of the values part the tiles, so equal
/// values are in the same one. `valueAt(i)` gives the i-th value, i < n.
template <class ValueAt>
class TileWalk {
 public:
  TileWalk(ValueAt valueAt, uint32 n, uint32 tiles, SortOrder_t order)
      : valueAt_(valueAt), n_(n), tiles_(tiles), order_(order), isFirstTile_(tiles == 1) {
    if (!isFirstTile_) MoveTo(tiles - 2);
  }

  /// The tile of a value, from 1. Values come from the last to the first.
  uint32 TileOf(float64 value) {
    while (!isFirstTile_ && SortsBefore(value, boundary_, order_)) {
      // No value sorts before the first of them, which is the boundary of every tile left.
      if (j_ == 0 || upper_ == 0) {
        isFirstTile_ = true;
      } else {
        // The next boundary down that can differ. There may be many more tiles than values.
        MoveTo(static_cast<uint32>((upper_ * tiles_ - 1) / n_ - 1));
      }
    }
    return isFirstTile_ ? 1 : j_ + 2;
  }

 private:
  /// Goes to the boundary between the tiles j + 1 and j + 2.
  void MoveTo(uint32 j) {
    j_ = j;
    upper_ = (uint64{j} + 1) * n_ / tiles_;
    boundary_ = valueAt_(upper_);
    // Where the values divide evenly, the boundary lies between two of them. Beyond doubles the sum
    // of two great values is infinite, and so is the boundary, as the median is.
    if (n_ % tiles_ == 0) boundary_ = (valueAt_(upper_ - 1) + boundary_) * 0.5;
  }

  ValueAt valueAt_;
  uint64 n_;
  uint64 tiles_;
  SortOrder_t order_;
  bool isFirstTile_;
  uint32 j_ = 0;
  uint64 upper_ = 0;
  float64 boundary_ = 0;
};

}  // namespace sqxer
