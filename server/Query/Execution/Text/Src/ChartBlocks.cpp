#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "CellText.h"
#include "ChartResult.h"
#include "ChartScale.h"
#include "Utility/BaseStringUtil.h"

namespace sqxer {
namespace {

using Point = ChartSeries::Point;

/// Rows of text between the top and the bottom of a chart of lines.
constexpr std::size_t kHeight = 16;
constexpr std::size_t kLeastWidth = 20;
/// Marks of several series, one after the other.
constexpr std::wstring_view kMarks = L"*+ox#@%&";
constexpr std::wstring_view kBars = L"\u2588\u2592\u2593\u2591";

/// Characters in rows and columns, and below them dots, two beside and four above each other in a
/// character.
class Canvas {
 public:
  Canvas(std::size_t width, std::size_t height)
      : width_(width), height_(height), dots_(width * height), marks_(width * height, L' ') {}

  /// Places are counted from the left and from the bottom, 0 to 1. What is outside is left out.
  void Mark(double x, double y, wchar_t mark) {
    const auto [column, row] = Find(x, y, 1, 1);
    if (column < width_ && row < height_) marks_[row * width_ + column] = mark;
  }
  void Dot(double x, double y) {
    const auto [column, row] = Find(x, y, 2, 4);
    if (column >= 2 * width_ || row >= 4 * height_) return;
    // The bits of the Braille patterns, of the left and the right column from above.
    constexpr std::array<std::array<unsigned char, 4>, 2> kBits = {
        {{0x01, 0x02, 0x04, 0x40}, {0x08, 0x10, 0x20, 0x80}}};
    dots_[row / 4 * width_ + column / 2] |= kBits[column % 2][row % 4];
  }
  /// Draws from one place to another. `draw(x, y)` draws a place.
  template <class Draw>
  void Line(Point from, Point to, Draw&& draw) const {
    const double columns = std::abs(to.x - from.x) * static_cast<double>(2 * width_);
    const double rows = std::abs(to.y - from.y) * static_cast<double>(4 * height_);
    const double steps = std::max(1.0, std::ceil(std::max(columns, rows)));
    for (double i = 0; i <= steps; ++i) {
      draw(from.x + (to.x - from.x) * i / steps, from.y + (to.y - from.y) * i / steps);
    }
  }

  XeString Row(std::size_t row) const {
    XeString line;
    for (std::size_t column = 0; column < width_; ++column) {
      const std::size_t at = row * width_ + column;
      const bool isDotted = marks_[at] == L' ' && dots_[at] != 0;
      line += isDotted ? static_cast<wchar_t>(0x2800 + dots_[at]) : marks_[at];
    }
    return line.substr(0, line.find_last_not_of(L' ') + 1);
  }

 private:
  std::pair<std::size_t, std::size_t> Find(double x, double y, std::size_t across,
                                           std::size_t above) const {
    const auto columns = static_cast<double>(width_ * across - 1);
    const auto rows = static_cast<double>(height_ * above - 1);
    return {static_cast<std::size_t>(std::lround(x * columns)),
            static_cast<std::size_t>(std::lround((1 - y) * rows))};
  }

  std::size_t width_;
  std::size_t height_;
  std::vector<unsigned char> dots_;
  XeString marks_;
};

std::string Padded(const std::string& text, std::size_t width) {
  const std::size_t taken = DisplayWidth(text);
  return text + std::string(taken < width ? width - taken : 0, ' ');
}

/// What the marks mean, where there are several series.
std::string DrawLegend(const ChartData& chart, std::wstring_view marks, std::size_t width) {
  if (chart.series.size() < 2) return {};
  std::string legend;
  for (std::size_t i = 0; i < chart.series.size(); ++i) {
    const bool isLine = chart.axis != ChartAxis::kLabels && chart.series[i].isTrend;
    const XeString mark(1, isLine ? L'\u2812' : marks[i % marks.size()]);
    if (!legend.empty()) legend += "   ";
    legend.append(BaseStringUtil::StringToUtf8(mark)).append(" ");
    legend += Escape(chart.series[i].name);
  }
  return Shorten(legend, width) + "\n";
}

// Bars.

/// A bar from one place to another of `width` columns, in eighths of a column if it is a full one.
XeString DrawBar(double from, double to, std::size_t width, wchar_t fill) {
  const bool isFull = fill == kBars.front();
  const auto eighths = [&](double place) {
    return static_cast<std::size_t>(std::lround(place * static_cast<double>(width * 8)));
  };
  const std::size_t start = (eighths(std::min(from, to)) + 4) / 8;
  const std::size_t end = eighths(std::max(from, to));
  XeString bar(start, L' ');
  if (end / 8 > start) bar.append(end / 8 - start, fill);
  if (end % 8 != 0 && end / 8 >= start) {
    // From a whole column down to an eighth of one.
    if (isFull) bar += static_cast<wchar_t>(fill + 8 - end % 8);
    if (!isFull && end % 8 >= 4) bar += fill;
  }
  return bar;
}

std::string DrawBars(const ChartData& chart, std::size_t width) {
  std::size_t labelWidth = 0;
  std::size_t numberWidth = 0;
  ChartStretch stretch = chart.FindStretch(&Point::y);
  stretch.Add(0);
  const double least = stretch.least;
  const double most = stretch.most;
  for (const std::string& label : chart.labels) {
    labelWidth = std::max(labelWidth, DisplayWidth(Escape(label)));
  }
  for (const ChartSeries& series : chart.series) {
    for (const Point& point : series.points) {
      numberWidth = std::max(numberWidth, ChartNumber(point.y).size());
    }
  }
  labelWidth = std::min(labelWidth, width / 3);
  // Blanks beside the label and before the number.
  const std::size_t taken = labelWidth + numberWidth + 3;
  const std::size_t room = width > taken + 4 ? width - taken : 4;
  const double span = most > least ? most - least : 1;
  const double zero = -least / span;

  std::string out = DrawLegend(chart, kBars, width);
  std::vector<std::string> lines(chart.labels.size());
  for (std::size_t i = 0; i < chart.series.size(); ++i) {
    for (const Point& point : chart.series[i].points) {
      std::string& line = lines[static_cast<std::size_t>(point.x)];
      const std::string& label = chart.labels[static_cast<std::size_t>(point.x)];
      const std::string name = line.empty() ? Shorten(Escape(label), labelWidth) : "";
      const XeString bar = DrawBar(zero, (point.y - least) / span, room, kBars[i % kBars.size()]);
      line += fmt::format(" {} {} {}\n", Padded(name, labelWidth),
                          BaseStringUtil::StringToUtf8(bar), ChartNumber(point.y));
    }
  }
  for (std::size_t i = 0; i < lines.size(); ++i) {
    // A label without a number keeps its place.
    if (lines[i].empty()) {
      lines[i] = fmt::format(" {}\n", Shorten(Escape(chart.labels[i]), labelWidth));
    }
    out += lines[i];
  }
  return out;
}

// Lines.

void DrawSeries(const ChartData& chart, const ChartScale& across, const ChartScale& above,
                Canvas& canvas) {
  const auto place = [&](const Point& point) {
    return Point{across.Place(point.x), above.Place(point.y)};
  };
  const bool isAlone = chart.series.size() == 1;
  const bool hasTrend = chart.HasTrend();
  for (std::size_t i = 0; i < chart.series.size(); ++i) {
    const ChartSeries& series = chart.series[i];
    const wchar_t mark = kMarks[i % kMarks.size()];
    const auto dot = [&](double x, double y) { canvas.Dot(x, y); };
    const auto put = [&](double x, double y) { canvas.Mark(x, y, mark); };
    for (std::size_t p = 0; p < series.points.size(); ++p) {
      const Point at = place(series.points[p]);
      const Point before = p == 0 ? at : place(series.points[p - 1]);
      if (series.isTrend || (isAlone && !hasTrend)) {
        canvas.Line(before, at, dot);
      } else if (hasTrend) {
        put(at.x, at.y);
      } else {
        canvas.Line(before, at, put);
      }
    }
  }
}

/// The names of places below the axis, as many as do not touch each other.
std::string DrawPlaces(const ChartScale& across, std::size_t indent, std::size_t width) {
  std::string line(indent, ' ');
  for (const ChartScale::Tick& tick : across.GetTicks()) {
    const auto column = static_cast<std::size_t>(
        std::lround(across.Place(tick.value) * static_cast<double>(width - 1)));
    const std::size_t half = tick.text.size() / 2;
    std::size_t start = indent + column - std::min(column + indent, half);
    if (start + tick.text.size() > indent + width && indent + width > tick.text.size()) {
      start = indent + width - tick.text.size();
    }
    if (line.size() > indent && start < line.size() + 2) continue;
    if (start < line.size()) line.resize(start);
    line.append(start - line.size(), ' ');
    line += tick.text;
  }
  return line + "\n";
}

std::string DrawLines(const ChartData& chart, std::size_t width) {
  const ChartStretch x = chart.FindStretch(&Point::x);
  const ChartStretch y = chart.FindStretch(&Point::y);
  if (x.least > x.most) return "(no points)\n";
  const ChartScale above(ChartAxis::kNumbers, y.least, y.most, 6, true);
  std::size_t labelWidth = 0;
  for (const ChartScale::Tick& tick : above.GetTicks()) {
    labelWidth = std::max(labelWidth, tick.text.size());
  }
  const std::size_t taken = labelWidth + 3;
  const std::size_t room = width > taken + 8 ? width - taken : 8;
  const ChartScale across(chart.axis, x.least, x.most,
                          room / (chart.axis == ChartAxis::kNumbers ? 9 : 14), false);
  Canvas canvas(room, kHeight);
  DrawSeries(chart, across, above, canvas);

  std::vector<std::string> names(kHeight);
  for (const ChartScale::Tick& tick : above.GetTicks()) {
    const double row = (1 - above.Place(tick.value)) * static_cast<double>(kHeight - 1);
    names[static_cast<std::size_t>(std::lround(row))] = tick.text;
  }
  std::string out = DrawLegend(chart, kMarks, width);
  for (std::size_t row = 0; row < kHeight; ++row) {
    const std::string& name = names[row];
    out.append(1 + labelWidth - name.size(), ' ').append(name);
    out += name.empty() ? " \u2502" : " \u2524";
    out += BaseStringUtil::StringToUtf8(canvas.Row(row)) + "\n";
  }
  std::vector<bool> ticks(room);
  for (const ChartScale::Tick& tick : across.GetTicks()) {
    const double column = across.Place(tick.value) * static_cast<double>(room - 1);
    ticks[static_cast<std::size_t>(std::lround(column))] = true;
  }
  out.append(labelWidth + 2, ' ');
  out += "\u2514";
  for (const bool isTick : ticks) out += isTick ? "\u252c" : "\u2500";
  out += '\n';
  out += DrawPlaces(across, labelWidth + 3, room);
  out.append(labelWidth + 3, ' ');
  return out + Shorten(Escape(chart.over), room) + "\n";
}

}  // namespace

std::string DrawBlocks(const ChartData& chart, std::size_t width) {
  width = std::max(width, kLeastWidth);
  return chart.axis == ChartAxis::kLabels ? DrawBars(chart, width) : DrawLines(chart, width);
}

}  // namespace sqxer
