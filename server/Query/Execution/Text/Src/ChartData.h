#pragma once

#include <algorithm>
#include <cmath>
#include <string>
#include <unordered_map>
#include <vector>

#include "ResultFormats.h"

namespace sqxer {

/// What the values along the bottom of a chart, or beside its bars, are.
enum class ChartAxis { kLabels, kNumbers, kDates, kMoments, kTimes };

/// Numbers over one axis. Dates and moments are seconds since 1970, times of day seconds.
struct ChartSeries {
  struct Point {
    /// The number of a label for kLabels.
    double x;
    double y;
  };
  std::string name;
  /// A line that was fitted to the others' points, which are then not joined.
  bool isTrend = false;
  /// In the order of `x`, but for kLabels, where they come as the rows do.
  std::vector<Point> points;
};

/// From the least to the greatest of the numbers that were added; without one `least` is the
/// greater.
struct ChartStretch {
  double least = HUGE_VAL;
  double most = -HUGE_VAL;
  void Add(double value) {
    least = std::min(least, value);
    most = std::max(most, value);
  }
};

struct ChartData {
  ChartAxis axis = ChartAxis::kNumbers;
  /// The name of the column that the others are drawn over.
  std::string over;
  std::vector<std::string> labels;
  std::vector<ChartSeries> series;

  bool HasTrend() const;
  /// Of all points.
  ChartStretch FindStretch(double ChartSeries::Point::*of) const;
};

/// Gathers what a chart shows of a result: the numbers of its columns over the first one, texts as
/// labels of bars, anything else along a line. Of three columns whose second one is a text its
/// values name the series. One column of numbers is drawn over the rows' numbers. A column whose
/// name has "trend" in it is a fitted line. Rows without a number, or without what it is drawn
/// over, are left out.
class ChartGatherer {
 public:
  /// Error 57170 where no column is of numbers.
  ChartGatherer(const std::vector<std::string>& names,
                const std::vector<XeFieldDescriptorRef>& fields);

  /// Error 57171 where there are too many points.
  template <class Values>
  void Add(const Values& row) {
    ++rows_;
    if (ReadOver(row)) AddValues(row);
  }
  /// The points of a line in order.
  ChartData Take();

 private:
  static constexpr std::size_t kNoColumn = static_cast<std::size_t>(-1);

  template <class Values>
  bool ReadOver(const Values& row);
  template <class Values>
  void AddValues(const Values& row);
  template <class Values>
  const std::string& ReadText(const Values& row, std::size_t column);
  ChartSeries& FindSeries(const std::string& name);
  void AddPoint(ChartSeries& series, const std::string& number);

  ChartData data_;
  /// Where labels and series stand that rows name.
  std::unordered_map<std::string, std::size_t> labelPlaces_;
  std::unordered_map<std::string, std::size_t> seriesPlaces_;
  /// kNoColumn: the rows' numbers.
  std::size_t over_ = 0;
  /// The column whose values name the series; kNoColumn where columns do.
  std::size_t group_ = kNoColumn;
  std::vector<std::size_t> numbers_;
  uint64 rows_ = 0;
  std::size_t points_ = 0;
  double x_ = 0;
  std::string text_;
};

}  // namespace sqxer
