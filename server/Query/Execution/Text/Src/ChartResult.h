#pragma once

#include <optional>

#include "ChartData.h"
#include "ResultFormats.h"

namespace sqxer {

/// A picture of the rows: bars beside labels, lines over numbers, dates and times; as text of a
/// terminal, or as SVG.
class ChartResult final : public RowResult<ChartResult, FormattedResult> {
 public:
  ChartResult(ResultOutput& output, const TextLayout& layout)
      : RowResult(output), layout_(layout) {}

 private:
  friend class RowResult<ChartResult, FormattedResult>;
  void Header() override { gatherer_.emplace(names_, fields_); }
  void PrintRows() override;
  template <class Values>
  void WriteRow(const Values& row) {
    ++rows_;
    gatherer_->Add(row);
  }

  const TextLayout layout_;
  std::optional<ChartGatherer> gatherer_;
};

/// The chart in lines of at most `width` columns.
std::string DrawBlocks(const ChartData& chart, std::size_t width);
/// The chart as a document of its own.
std::string DrawSvg(const ChartData& chart);

}  // namespace sqxer
