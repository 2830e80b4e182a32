#include "GatherPlaces.h"

#include <algorithm>

#include "TableJoin.h"

namespace sqxer {

GatherPlaces::GatherPlaces(const Table& table) : table_(table), finder_(table) {}

void GatherPlaces::Find(std::span<const uint32> rows) {
  const std::size_t count = rows.size();
  used_.clear();
  isRun_ = false;
  rows_.assign(rows.begin(), rows.end());
  hasNone_ = std::ranges::find(rows, kNoJoinRow) != rows.end();
  if (hasNone_) {
    isNone_.resize(count);
    const auto some = std::ranges::find_if(rows, [](uint32 row) { return row != kNoJoinRow; });
    if (some == rows.end()) return isNone_.assign(count, 1);
    for (std::size_t i = 0; i < count; ++i) {
      isNone_[i] = rows[i] == kNoJoinRow;
      if (isNone_[i] != 0) rows_[i] = *some;
    }
  }
  const auto [least, greatest] = std::ranges::minmax(rows_);
  const std::size_t chunk = finder_.Find(least);
  const auto start = static_cast<uint32>(finder_.StartOf(chunk));
  if (greatest - start < table_.chunks[chunk].rows) {
    used_.push_back(chunk);
    isRun_ = !hasNone_ && greatest - least + 1 == count;
    for (std::size_t i = 0; i < count && isRun_; ++i) isRun_ = rows_[i] == least + i;
    for (uint32& row : rows_) row -= start;
    return;
  }
  chunks_.resize(count);
  std::vector<bool> isUsed(table_.chunks.size());
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t of = finder_.Find(rows_[i]);
    chunks_[i] = static_cast<uint32>(of);
    rows_[i] -= static_cast<uint32>(finder_.StartOf(of));
    isUsed[of] = true;
  }
  for (std::size_t i = 0; i < isUsed.size(); ++i) {
    if (isUsed[i]) used_.push_back(i);
  }
}

}  // namespace sqxer
