#pragma once

#include <string>
#include <vector>

#include "ChartData.h"

namespace sqxer {

/// A stretch of an axis, and the places on it that are named.
class ChartScale {
 public:
  struct Tick {
    double value;
    std::string text;
  };

  /// At least the stretch from `least` to `most`, with at most `mostTicks` round places, which are
  /// calendar's or the clock's on axes of time. Whether the ends become round places, too.
  ChartScale(ChartAxis axis, double least, double most, std::size_t mostTicks, bool hasRoundEnds);

  /// From 0 at the lower end to 1 at the upper one.
  double Place(double value) const { return (value - least_) / (most_ - least_); }
  const std::vector<Tick>& GetTicks() const { return ticks_; }

 private:
  void NameNumbers(std::size_t mostTicks, bool hasRoundEnds);
  void NameMonths(int months);
  void NameSeconds(double step);
  void NameMoments(std::size_t mostTicks);

  const ChartAxis axis_;
  double least_;
  double most_;
  std::vector<Tick> ticks_;
};

/// How many digits numbers of charts have where that is enough.
constexpr int kChartDigits = 6;

/// The number in few digits.
std::string ChartNumber(double value, int digits = kChartDigits);

}  // namespace sqxer
