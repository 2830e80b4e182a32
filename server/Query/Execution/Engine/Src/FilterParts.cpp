#include "FilterParts.h"

#include <algorithm>

#include "Utility/Cancellation.h"
#include "Workers.h"

namespace sqxer {

bool FilterParts::GainsFrom(RExpression& filter) {
  return HasBatchLoops(filter) && (filter.GetBatchCost() | BatchCost::kCheap) == BatchCost::kDear;
}

FilterParts::FilterParts(std::vector<QueryPlan>& plans, const Table* table) {
  for (QueryPlan& plan : plans) parts_.emplace_back(plan, table);
}

void FilterParts::Start() {
  for (Part& part : parts_) part.scan.StartPart();
  batchesPerPart_ = 1;
}

void FilterParts::Enter(const TableChunk& chunk, uint64 firstRow) {
  chunk_ = &chunk;
  firstRow_ = firstRow;
  next_ = batches_.size();
  for (Part& part : parts_) part.scan.EnterPart(chunk, firstRow);
}

const FilterParts::Passing& FilterParts::Get(uint64 row, uint32 batchRows) {
  if (next_ == batches_.size()) Evaluate(row, batchRows);
  return batches_[next_++];
}

void FilterParts::Evaluate(uint64 row, uint32 batchRows) {
  const uint64 left = (chunk_->rows - row + batchRows - 1) / batchRows;
  const auto wanted =
      static_cast<std::size_t>(std::min<uint64>(left, parts_.size() * batchesPerPart_));
  batchesPerPart_ = std::min(2 * batchesPerPart_, kMostBatches);
  batches_.resize(wanted);
  next_ = 0;
  const std::size_t threads = std::min(wanted, parts_.size());
  Workers(threads).Run(
      [&](std::size_t i) {
        const SettingsScope scope(settings_);
        for (std::size_t batch = wanted * i / threads; batch < wanted * (i + 1) / threads;
             ++batch) {
          Cancellation::Check();
          const uint64 first = row + batch * batchRows;
          const auto count = static_cast<uint32>(std::min<uint64>(batchRows, chunk_->rows - first));
          Passing& passing = batches_[batch];
          BatchRows rows;
          passing.isKnown = parts_[i].scan.TakePart(rows, first, count);
          passing.count = passing.isKnown ? rows.selectedCount : 0;
          passing.rows.resize(kMostBatchRows);
          std::copy_n(rows.selected, passing.count, passing.rows.begin());
        }
        return true;
      },
      [] {});
}

}  // namespace sqxer
