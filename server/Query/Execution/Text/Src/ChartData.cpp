#include "ChartData.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

#include "EngineError.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "Utility/XeCalendar.h"

namespace sqxer {
namespace {

constexpr std::size_t kMostPoints = std::size_t{1} << 21;
constexpr double kSecondsOfDay = 86400;
constexpr double kLargestDrawn = 1e300;

ChartAxis AxisOf(XeDataType type) {
  if (IsNumberField(type)) return ChartAxis::kNumbers;
  switch (type) {
    case XeDateData:
      return ChartAxis::kDates;
    case XeTimeStampData:
    case XeDateTimeData:
      return ChartAxis::kMoments;
    case XeTimeData:
      return ChartAxis::kTimes;
    default:
      return ChartAxis::kLabels;
  }
}

bool IsTrend(std::string_view name) {
  constexpr std::string_view kTrend = "trend";
  return !std::ranges::search(name, kTrend, {}, [](char c) {
            return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
          }).empty();
}

/// Takes a number from the front of a text, and what parts it from the next one.
double TakeNumber(std::string_view& text) {
  double number = 0;
  const auto [end, error] =
      std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  if (!text.empty()) text.remove_prefix(1);
  return number;
}

double ReadTime(std::string_view text) {
  const double hours = TakeNumber(text);
  const double minutes = TakeNumber(text);
  return (hours * 60 + minutes) * 60 + TakeNumber(text);
}

double ReadMoment(std::string_view text) {
  const auto year = static_cast<int>(TakeNumber(text));
  const auto month = static_cast<int>(TakeNumber(text));
  const auto day = static_cast<int>(TakeNumber(text));
  const int64 days = XeCalendar::DayNumber(XeDate(year, month, day));
  return static_cast<double>(days) * kSecondsOfDay + (text.empty() ? 0 : ReadTime(text));
}

/// Nothing for what cannot be drawn: no number, one without end, or one so large that a stretch
/// between two such numbers would have no length that is a number.
std::optional<double> ReadNumber(std::string_view text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || !(std::abs(number) <= kLargestDrawn)) return std::nullopt;
  return number;
}

}  // namespace

bool ChartData::HasTrend() const { return std::ranges::any_of(series, &ChartSeries::isTrend); }

ChartStretch ChartData::FindStretch(double ChartSeries::Point::*of) const {
  ChartStretch stretch;
  for (const ChartSeries& one : series) {
    for (const ChartSeries::Point& point : one.points) stretch.Add(point.*of);
  }
  return stretch;
}

ChartGatherer::ChartGatherer(const std::vector<std::string>& names,
                             const std::vector<XeFieldDescriptorRef>& fields) {
  std::vector<std::size_t> texts;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const XeDataType type = fields[i]->GetDataType();
    if (i != 0 && IsNumberField(type)) numbers_.push_back(i);
    if (i != 0 && SUXeDataTypeUtility::IsXeTextType(type)) texts.push_back(i);
  }
  if (numbers_.empty() && IsNumberField(fields.front()->GetDataType())) {
    over_ = kNoColumn;
    numbers_.push_back(0);
    data_.over = "row";
  } else {
    data_.axis = AxisOf(fields.front()->GetDataType());
    data_.over = names.front();
  }
  if (numbers_.empty()) ThrowEngineError(kNothingToDraw, {});
  if (texts.size() == 1 && numbers_.size() == 1) {
    group_ = texts.front();
    return;
  }
  for (const std::size_t number : numbers_) {
    data_.series.push_back({names[number], IsTrend(names[number]), {}});
  }
}

template <class Values>
const std::string& ChartGatherer::ReadText(const Values& row, std::size_t column) {
  text_.clear();
  row.AppendText(column, text_);
  return text_;
}

template <class Values>
bool ChartGatherer::ReadOver(const Values& row) {
  if (over_ == kNoColumn) {
    x_ = static_cast<double>(rows_);
    return true;
  }
  if (row.IsNull(over_)) {
    if (data_.axis != ChartAxis::kLabels) return false;
    text_ = "NULL";
  } else {
    ReadText(row, over_);
  }
  switch (data_.axis) {
    case ChartAxis::kLabels:
      break;
    case ChartAxis::kNumbers: {
      const std::optional<double> number = ReadNumber(text_);
      x_ = number.value_or(0);
      return number.has_value();
    }
    case ChartAxis::kDates:
    case ChartAxis::kMoments:
      x_ = ReadMoment(text_);
      return true;
    case ChartAxis::kTimes:
      x_ = ReadTime(text_);
      return true;
  }
  // Of several series a label may come again.
  const std::size_t last = data_.labels.size();
  const std::size_t place =
      group_ == kNoColumn ? last : labelPlaces_.try_emplace(text_, last).first->second;
  if (place == last) data_.labels.push_back(text_);
  x_ = static_cast<double>(place);
  return true;
}

ChartSeries& ChartGatherer::FindSeries(const std::string& name) {
  const auto [found, isNew] = seriesPlaces_.try_emplace(name, data_.series.size());
  if (isNew) data_.series.push_back({name, false, {}});
  return data_.series[found->second];
}

void ChartGatherer::AddPoint(ChartSeries& series, const std::string& number) {
  const std::optional<double> y = ReadNumber(number);
  if (!y) return;
  if (++points_ > kMostPoints) ThrowEngineError(kTooManyPoints, {std::to_wstring(kMostPoints)});
  series.points.push_back({x_, *y});
}

template <class Values>
void ChartGatherer::AddValues(const Values& row) {
  if (group_ != kNoColumn) {
    if (row.IsNull(numbers_.front())) return;
    ChartSeries& series = FindSeries(row.IsNull(group_) ? "NULL" : ReadText(row, group_));
    return AddPoint(series, ReadText(row, numbers_.front()));
  }
  for (std::size_t i = 0; i < numbers_.size(); ++i) {
    if (!row.IsNull(numbers_[i])) AddPoint(data_.series[i], ReadText(row, numbers_[i]));
  }
}

template bool ChartGatherer::ReadOver(const RecordRow&);
template bool ChartGatherer::ReadOver(const BatchRow&);
template void ChartGatherer::AddValues(const RecordRow&);
template void ChartGatherer::AddValues(const BatchRow&);

ChartData ChartGatherer::Take() {
  for (ChartSeries& series : data_.series) {
    if (data_.axis != ChartAxis::kLabels) {
      std::ranges::stable_sort(series.points, {}, &ChartSeries::Point::x);
    }
  }
  return std::move(data_);
}

}  // namespace sqxer
