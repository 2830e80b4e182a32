#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "CellText.h"
#include "ChartResult.h"
#include "ChartScale.h"
#include "LineFormats.h"

namespace sqxer {
namespace {

using Point = ChartSeries::Point;

/// Told apart by people who do not see all colours (Okabe and Ito).
constexpr std::array kColours = {"#0072b2", "#d55e00", "#009e73", "#cc79a7",
                                 "#e69f00", "#56b4e9", "#555555"};
constexpr double kWidth = 800;
constexpr double kHeight = 420;
constexpr double kMargin = 16;
constexpr double kLineHeight = 20;
constexpr double kBarHeight = 16;
/// Of a character of the font, about.
constexpr double kCharacter = 7.2;
constexpr std::size_t kMostLabel = 32;

/// A document that is being written.
class Svg {
 public:
  explicit Svg(double height) {
    Add("<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 {0:.0f} {1:.0f}\" "
        "width=\"{0:.0f}\" height=\"{1:.0f}\" font-family=\"sans-serif\" font-size=\"12\">\n"
        "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n",
        kWidth, height);
  }
  template <class... Parts>
  void Add(fmt::format_string<Parts...> format, Parts&&... parts) {
    fmt::format_to(std::back_inserter(text_), format, std::forward<Parts>(parts)...);
  }
  /// `anchor`: which part of the text stands at the place.
  void Text(double x, double y, const char* anchor, const std::string& text) {
    Add("<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"{}\">", x, y, anchor);
    AppendHtml(text_, text);
    text_ += "</text>\n";
  }
  void Line(double fromX, double fromY, double toX, double toY, const char* colour) {
    Add("<line x1=\"{:.1f}\" y1=\"{:.1f}\" x2=\"{:.1f}\" y2=\"{:.1f}\" stroke=\"{}\"/>\n", fromX,
        fromY, toX, toY, colour);
  }
  std::string Take() { return std::move(text_) + "</svg>\n"; }

 private:
  std::string text_;
};

const char* ColourOf(std::size_t series) { return kColours[series % kColours.size()]; }

/// The names of the series, one beside the other; where the chart starts below them.
double DrawLegend(const ChartData& chart, Svg& svg) {
  double x = kMargin;
  for (std::size_t i = 0; chart.series.size() > 1 && i < chart.series.size(); ++i) {
    const std::string name = Shorten(chart.series[i].name, kMostLabel);
    svg.Add("<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"10\" height=\"10\" fill=\"{}\"/>\n", x,
            kMargin - 2, ColourOf(i));
    svg.Text(x + 14, kMargin + 7, "start", name);
    x += 30 + kCharacter * static_cast<double>(DisplayWidth(name));
  }
  return chart.series.size() > 1 ? kMargin + kLineHeight : kMargin;
}

std::string DrawBars(const ChartData& chart) {
  ChartStretch stretch = chart.FindStretch(&Point::y);
  stretch.Add(0);
  const double least = stretch.least;
  const double most = stretch.most;
  std::size_t labelWidth = 0;
  for (const std::string& label : chart.labels) {
    labelWidth = std::max(labelWidth, std::min(DisplayWidth(label), kMostLabel));
  }
  const double bars = static_cast<double>(chart.series.size());
  const double rowHeight = bars * kBarHeight + 6;
  const double left = kMargin + kCharacter * static_cast<double>(labelWidth) + 8;
  const double right = kWidth - 70;
  const double legend = chart.series.size() > 1 ? kLineHeight : 0;
  Svg svg(2 * kMargin + legend + static_cast<double>(chart.labels.size()) * rowHeight);
  const double top = DrawLegend(chart, svg);
  const double span = most > least ? most - least : 1;
  const auto place = [&](double value) { return left + (value - least) / span * (right - left); };
  for (std::size_t i = 0; i < chart.labels.size(); ++i) {
    const double middle = top + (static_cast<double>(i) + 0.5) * rowHeight;
    svg.Text(left - 6, middle + 4, "end", Shorten(chart.labels[i], kMostLabel));
  }
  for (std::size_t i = 0; i < chart.series.size(); ++i) {
    for (const Point& point : chart.series[i].points) {
      const double y = top + point.x * rowHeight + 3 + static_cast<double>(i) * kBarHeight;
      const double from = place(std::min(point.y, 0.0));
      const double to = place(std::max(point.y, 0.0));
      svg.Add("<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" fill=\"{}\"/>\n",
              from, y, to - from, kBarHeight - 2, ColourOf(i));
      svg.Text(to + 4, y + 11, "start", ChartNumber(point.y));
    }
  }
  svg.Line(place(0), top, place(0), top + static_cast<double>(chart.labels.size()) * rowHeight,
           "#888");
  return svg.Take();
}

std::string DrawLines(const ChartData& chart) {
  const ChartStretch x = chart.FindStretch(&Point::x);
  const ChartStretch y = chart.FindStretch(&Point::y);
  Svg svg(kHeight);
  const double top = DrawLegend(chart, svg);
  if (x.least > x.most) {
    svg.Text(kWidth / 2, kHeight / 2, "middle", "no points");
    return svg.Take();
  }
  const ChartScale above(ChartAxis::kNumbers, y.least, y.most, 8, true);
  const ChartScale across(chart.axis, x.least, x.most, 8, false);
  std::size_t labelWidth = 0;
  for (const ChartScale::Tick& tick : above.GetTicks()) {
    labelWidth = std::max(labelWidth, tick.text.size());
  }
  const double left = kMargin + kCharacter * static_cast<double>(labelWidth) + 6;
  const double right = kWidth - 2 * kMargin;
  const double bottom = kHeight - kMargin - 2 * kLineHeight;
  const auto placeX = [&](double value) { return left + across.Place(value) * (right - left); };
  const auto placeY = [&](double value) { return bottom - above.Place(value) * (bottom - top); };
  for (const ChartScale::Tick& tick : above.GetTicks()) {
    svg.Line(left, placeY(tick.value), right, placeY(tick.value), "#ddd");
    svg.Text(left - 6, placeY(tick.value) + 4, "end", tick.text);
  }
  svg.Line(left, bottom, right, bottom, "#888");
  for (const ChartScale::Tick& tick : across.GetTicks()) {
    svg.Line(placeX(tick.value), bottom, placeX(tick.value), bottom + 5, "#888");
    svg.Text(placeX(tick.value), bottom + kLineHeight, "middle", tick.text);
  }
  svg.Text((left + right) / 2, bottom + 2 * kLineHeight, "middle", chart.over);
  const bool hasTrend = chart.HasTrend();
  for (std::size_t i = 0; i < chart.series.size(); ++i) {
    const ChartSeries& series = chart.series[i];
    if (hasTrend && !series.isTrend) {
      for (const Point& point : series.points) {
        svg.Add("<circle cx=\"{:.1f}\" cy=\"{:.1f}\" r=\"2.5\" fill=\"{}\"/>\n", placeX(point.x),
                placeY(point.y), ColourOf(i));
      }
      continue;
    }
    svg.Add("<polyline fill=\"none\" stroke-width=\"1.5\" stroke=\"{}\" points=\"", ColourOf(i));
    for (const Point& point : series.points) {
      svg.Add("{:.1f},{:.1f} ", placeX(point.x), placeY(point.y));
    }
    svg.Add("\"/>\n");
  }
  return svg.Take();
}

}  // namespace

std::string DrawSvg(const ChartData& chart) {
  return chart.axis == ChartAxis::kLabels ? DrawBars(chart) : DrawLines(chart);
}

}  // namespace sqxer
