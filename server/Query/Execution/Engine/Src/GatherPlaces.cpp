#include "GatherPlaces.h"

#include <algorithm>

#include "TableJoin.h"

namespace sqxer {
namespace {

ColumnBounds<uint32> FindBounds(std::span<const uint32> rows) {
  ColumnBounds<uint32> bounds = {rows[0], rows[0]};
  for (const uint32 row : rows) {
    bounds.least = std::min(bounds.least, row);
    bounds.greatest = std::max(bounds.greatest, row);
  }
  return bounds;
}

bool AscendByOne(std::span<const uint32> rows) {
  uint32 differing = 0;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    differing |= rows[i] ^ (rows[0] + static_cast<uint32>(i));
  }
  return differing == 0;
}

}  // namespace

GatherPlaces::GatherPlaces(const Table& table) : table_(table), finder_(table) {}

void GatherPlaces::ReplaceNone() {
  isNone_.resize(rows_.size());
  changed_.resize(rows_.size());
  const auto some = std::ranges::find_if(rows_, [](uint32 row) { return row != kNoJoinRow; });
  const uint32 other = some == rows_.end() ? kNoJoinRow : *some;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    const bool isNone = rows_[i] == kNoJoinRow;
    isNone_[i] = isNone;
    changed_[i] = isNone ? other : rows_[i];
  }
  rows_ = changed_;
}

void GatherPlaces::Find(std::span<const uint32> rows) {
  used_.clear();
  isRun_ = false;
  hasNone_ = false;
  rows_ = rows;
  if (rows.empty()) return;
  ColumnBounds<uint32> bounds = FindBounds(rows);
  // The greatest of all numbers.
  if (bounds.greatest == kNoJoinRow) {
    hasNone_ = true;
    ReplaceNone();
    bounds = FindBounds(rows_);
    if (bounds.least == kNoJoinRow) return;
  }
  const std::size_t count = rows_.size();
  const std::size_t chunk = finder_.Find(bounds.least);
  const uint64 start = finder_.StartOf(chunk);
  changed_.resize(count);
  if (bounds.greatest - start < table_.chunks[chunk].rows) {
    used_.push_back(chunk);
    isRun_ = !hasNone_ && uint64{bounds.greatest} - bounds.least + 1 == count && AscendByOne(rows_);
    if (start == 0) return;
    for (std::size_t i = 0; i < count; ++i) changed_[i] = rows_[i] - static_cast<uint32>(start);
    rows_ = changed_;
    return;
  }
  chunks_.resize(count);
  std::vector<uint8> isUsed(table_.chunks.size());
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t of = finder_.Find(rows_[i]);
    chunks_[i] = static_cast<uint32>(of);
    changed_[i] = rows_[i] - static_cast<uint32>(finder_.StartOf(of));
    isUsed[of] = 1;
  }
  rows_ = changed_;
  for (std::size_t i = 0; i < isUsed.size(); ++i) {
    if (isUsed[i] != 0) used_.push_back(i);
  }
}

}  // namespace sqxer
