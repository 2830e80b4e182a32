#include "FilterParts.h"

#include <algorithm>

#include "Workers.h"

namespace sqxer {

bool FilterParts::GainsFrom(RExpression& filter) {
  return HasBatchLoops(filter) && (filter.GetBatchCost() | BatchCost::kCheap) == BatchCost::kDear;
}

void FilterParts::Start() {
  for (const auto& run : runs_) run->batch_->StartRun();
  batchesPerRun_ = 1;
}

void FilterParts::Enter(const TableChunk& chunk, uint64 firstRow) {
  chunk_ = &chunk;
  firstRow_ = firstRow;
  next_ = batches_.size();
  for (const auto& run : runs_) run->EnterPart(chunk, firstRow);
}

const FilterParts::Passing& FilterParts::Get(uint64 row, uint32 batchRows) {
  if (next_ == batches_.size()) Evaluate(row, batchRows);
  return batches_[next_++];
}

void FilterParts::Evaluate(uint64 row, uint32 batchRows) {
  const uint64 left = (chunk_->rows - row + batchRows - 1) / batchRows;
  const auto wanted =
      static_cast<std::size_t>(std::min<uint64>(left, runs_.size() * batchesPerRun_));
  batchesPerRun_ = std::min(2 * batchesPerRun_, kMostBatches);
  batches_.resize(wanted);
  next_ = 0;
  const std::size_t threads = std::min(wanted, runs_.size());
  Workers(threads).Run(
      [&](std::size_t i) {
        for (std::size_t batch = wanted * i / threads; batch < wanted * (i + 1) / threads;
             ++batch) {
          const uint64 first = row + batch * batchRows;
          const auto count = static_cast<uint32>(std::min<uint64>(batchRows, chunk_->rows - first));
          Passing& passing = batches_[batch];
          BatchRows rows;
          passing.isKnown = runs_[i]->FilterPart(rows, first, count);
          passing.count = passing.isKnown ? rows.selectedCount : 0;
          passing.rows.resize(kMostBatchRows);
          std::copy_n(rows.selected, passing.count, passing.rows.begin());
        }
        return true;
      },
      [] {});
}

}  // namespace sqxer
