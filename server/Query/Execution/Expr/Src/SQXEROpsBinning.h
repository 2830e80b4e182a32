#pragma once

#include <algorithm>
#include <cmath>

#include "SQXEROpsCalendar.h"
#include "Utility/XeCalendar.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Bins of equal width between two finite numbers, lower <= upper. A number on an edge belongs to
/// the bin above it, the upper end to the last bin; what lies outside, infinities too, goes to the
/// first or the last one, and NaN has no bin (0). Where the ends are equal, they are in bin 1.
class EqualWidthBins {
 public:
  EqualWidthBins() : EqualWidthBins(0, 0, 1) {}
  EqualWidthBins(float64 lower, float64 upper, uint32 bins)
      : lower_(lower), upper_(upper), bins_(bins) {
    // A power of two, so that it rounds nothing but what is too small to matter.
    if (!std::isfinite((upper - lower) * bins)) scale_ = 0x1p-64;
    start_ = lower * scale_;
    width_ = upper * scale_ - start_;
  }

  uint32 BinOf(float64 value) const {
    if (value <= lower_) return 1;
    if (value >= upper_) return bins_;
    if (std::isnan(value)) return 0;
    // Multiplied first: over whole numbers the quotient is then exact on every edge.
    const auto before = static_cast<uint32>((value * scale_ - start_) * bins_ / width_);
    return std::min(before, bins_ - 1) + 1;
  }

 private:
  float64 lower_, upper_;
  uint32 bins_;
  float64 scale_ = 1;
  float64 start_, width_;
};

/// The bin of the rows whose values are equal to that at `position`, the first of them, among
/// `rows` > `position` values in order.
inline uint32 EqualDepthBin(uint64 position, uint64 rows, uint32 bins) {
  return static_cast<uint32>(position * bins / rows) + 1;
}

/// Bins with edges on boundaries of the calendar, each of the finest length that needs at most so
/// many of them from the first value to the last: a minute, hour, day, week, month, quarter or
/// year, else 2, 5, 10, 20, 50 and so on years from a multiple of their number. One bin holds all
/// years in any case, also where the year 0, a multiple of every number, lies between them.
class CalendarBins {
 public:
  /// `finest`: kMinute, kHour or kDay. Weeks start on `firstDayOfWeek` (1 is Sunday).
  CalendarBins(const XeDateTime& first, const XeDateTime& last, uint32 bins,
               XeDateTime::UnitOfTime finest, int firstDayOfWeek) {
    const auto fits = [&](XeDateTime::UnitOfTime unit, int64 perBin = 1, int64 offset = 0) {
      if (unit < finest) return false;
      *this = CalendarBins(unit, first, perBin, offset);
      return BinsBefore(last) < bins;
    };
    const int dayOfWeek = (first.DayOfTheWeek() - firstDayOfWeek + 7) % 7;
    if (fits(XeDateTime::kMinute) || fits(XeDateTime::kHour) || fits(XeDateTime::kDay) ||
        fits(XeDateTime::kDay, 7, dayOfWeek) || fits(XeDateTime::kMonth) ||
        fits(XeDateTime::kQuarter)) {
      return;
    }
    for (int decade = 1; decade <= kMaxYear + 1; decade *= 10) {
      for (const int years : {decade, 2 * decade, 5 * decade}) {
        if (fits(XeDateTime::kYear, years, (first.GetYear() % years + years) % years)) return;
      }
    }
    fits(XeDateTime::kYear, kMaxYear - kMinYear + 1);
  }

  /// The bin of a value from the first to the last, from 1.
  uint32 BinOf(const XeDateTime& value) const { return static_cast<uint32>(BinsBefore(value)) + 1; }

 private:
  CalendarBins(XeDateTime::UnitOfTime unit, const XeDateTime& first, int64 perBin, int64 offset)
      : difference_(kUnitDifferences[unit]),
        start_(first.GetDate()),
        perBin_(perBin),
        offset_(offset) {
    if (unit <= XeDateTime::kHour) start_.SetHour(first.GetHour());
    if (unit <= XeDateTime::kMinute) start_.SetMinute(first.GetMinute());
  }

  int64 BinsBefore(const XeDateTime& value) const {
    return (difference_(start_, value) + offset_) / perBin_;
  }

  UnitDifference difference_ = nullptr;
  /// Where the unit of the first value starts, and the units of its bin that lie before that.
  XeDateTime start_;
  int64 perBin_ = 1;
  int64 offset_ = 0;
};

}  // namespace sqxer
