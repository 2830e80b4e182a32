#include "ChartScale.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "Utility/XeCalendar.h"

namespace sqxer {
namespace {

constexpr double kDay = 86400;
/// Numbers that differ by less of their size have no places between them that could be told apart.
constexpr double kLeastDifference = 1e-12;

std::string TimeOfDay(double seconds, bool hasSeconds) {
  const auto whole = static_cast<int64>(std::floor(seconds));
  const std::string minutes = fmt::format("{:02}:{:02}", whole / 3600 % 24, whole / 60 % 60);
  return hasSeconds ? fmt::format("{}:{:02}", minutes, whole % 60) : minutes;
}

int64 DayOf(double seconds) { return static_cast<int64>(std::floor(seconds / kDay)); }

/// The margin around a single value may lie outside the years of dates.
XeDate DateOf(double seconds) {
  const int64 day = DayOf(seconds);
  for (const int64 near : {day, day - 1, day + 1}) {
    if (XeCalendar::IsDayNumber(near)) return XeCalendar::FromDayNumber(near);
  }
  return {};
}

/// How many steps of a length there are in a stretch, with one more.
double CountSteps(double least, double most, double step) {
  return std::floor(most / step) - std::ceil(least / step) + 1;
}

}  // namespace

std::string ChartNumber(double value, int digits) {
  return fmt::format("{:.{}g}", value == 0 ? 0 : value, digits);
}

ChartScale::ChartScale(ChartAxis axis, double least, double most, std::size_t mostTicks,
                       bool hasRoundEnds)
    : axis_(axis), least_(least), most_(most) {
  mostTicks = std::max<std::size_t>(mostTicks, 2);
  if (!(most_ - least_ > std::max(std::abs(least_), std::abs(most_)) * kLeastDifference)) {
    // One value alone stands in the middle.
    const double around = axis == ChartAxis::kNumbers ? std::max(std::abs(least) * 0.5, 1.0) : kDay;
    least_ -= around;
    most_ += around;
  }
  if (axis == ChartAxis::kNumbers || axis == ChartAxis::kLabels) {
    NameNumbers(mostTicks, hasRoundEnds);
  } else {
    NameMoments(mostTicks);
  }
}

void ChartScale::NameNumbers(std::size_t mostTicks, bool hasRoundEnds) {
  double step =
      std::pow(10, std::floor(std::log10((most_ - least_) / static_cast<double>(mostTicks))));
  for (const double factor : {2.0, 2.5, 2.0}) {
    const double ends = hasRoundEnds ? 2 : 0;
    if (CountSteps(least_, most_, step) + ends <= static_cast<double>(mostTicks)) break;
    step *= factor;
  }
  if (hasRoundEnds) {
    least_ = std::floor(least_ / step) * step;
    most_ = std::ceil(most_ / step) * step;
  }
  // As many digits as tell a place from the next one.
  const double largest = std::max(std::abs(least_), std::abs(most_));
  const int digits = std::max(kChartDigits, static_cast<int>(std::log10(largest / step)) + 3);
  const double first = std::ceil(least_ / step);
  for (double i = first; i * step <= most_ + step * 1e-9; ++i) {
    ticks_.push_back({i * step, ChartNumber(i * step, digits)});
  }
}

void ChartScale::NameMonths(int months) {
  const XeDate first = DateOf(least_);
  // Places before the year 0 have no names.
  const int64 firstMonth = std::max(0, first.GetYear() * 12 + first.GetMonth() - 1);
  for (int64 month = (firstMonth + months - 1) / months * months;; month += months) {
    const auto year = static_cast<int>(month / 12);
    const auto ofYear = static_cast<int>(month % 12) + 1;
    if (!XeDate(year, ofYear, 1).IsValid()) return;
    const double start = static_cast<double>(XeCalendar::DayNumber(XeDate(year, ofYear, 1))) * kDay;
    if (start > most_) return;
    if (start < least_) continue;
    ticks_.push_back({start, months % 12 == 0 ? fmt::format("{:04}", year)
                                              : fmt::format("{:04}-{:02}", year, ofYear)});
  }
}

void ChartScale::NameSeconds(double step) {
  for (double at = std::ceil(least_ / step) * step; at <= most_; at += step) {
    const XeDate day = DateOf(at);
    const std::string date =
        fmt::format("{:04}-{:02}-{:02}", day.GetYear(), day.GetMonth(), day.GetDay());
    const bool isMidnight = std::fmod(at, kDay) == 0;
    const bool isDay = axis_ != ChartAxis::kTimes && (step >= kDay || isMidnight);
    ticks_.push_back(
        {at, isDay ? date : TimeOfDay(at - static_cast<double>(DayOf(at)) * kDay, step < 60)});
  }
}

void ChartScale::NameMoments(std::size_t mostTicks) {
  const auto most = static_cast<double>(mostTicks);
  if (axis_ != ChartAxis::kDates) {
    for (const double step :
         {1.0, 5.0, 15.0, 30.0, 60.0, 300.0, 900.0, 1800.0, 3600.0, 10800.0, 21600.0, 43200.0}) {
      if (CountSteps(least_, most_, step) <= most) return NameSeconds(step);
    }
  }
  for (const double days : {1.0, 2.0, 7.0, 14.0}) {
    if (CountSteps(least_, most_, days * kDay) <= most) return NameSeconds(days * kDay);
  }
  for (const int months : {1, 2, 3, 6, 12, 24, 60, 120, 300, 600, 1200, 6000, 12000}) {
    const bool isEnough = (most_ - least_) / (kDay * 30.4) / months <= most - 1;
    if (isEnough || months == 12000) return NameMonths(months);
  }
}

}  // namespace sqxer
