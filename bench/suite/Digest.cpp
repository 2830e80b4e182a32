#include <fmt/format.h>

#include "SuiteEngine.h"

namespace sqxer::bench {

std::string NumberText(double number) { return fmt::format("{:.17g}", number); }

void Digest::Add(std::span<const std::optional<double>> row) {
  ++rows_;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (!row[i]) continue;
    ++columns_[i].count;
    columns_[i].sum += *row[i];
    if (row[0]) columns_[i].products += *row[0] * *row[i];
  }
}

Rows Digest::ToRows() const {
  std::vector<std::optional<std::string>> row = {std::to_string(rows_)};
  for (const Column& column : columns_) {
    row.push_back(std::to_string(column.count));
    row.push_back(NumberText(column.sum));
    if (&column != &columns_.front()) row.push_back(NumberText(column.products));
  }
  return {row};
}

}  // namespace sqxer::bench
