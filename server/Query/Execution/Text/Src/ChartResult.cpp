#include "ChartResult.h"

namespace sqxer {

void ChartResult::PrintRows() {
  constexpr std::size_t kWidth = 80;
  const ChartData chart = gatherer_->Take();
  output_.Write(layout_.format == TextFormat::kSvg
                    ? DrawSvg(chart)
                    : DrawBlocks(chart, layout_.width == 0 ? kWidth : layout_.width));
}

}  // namespace sqxer
