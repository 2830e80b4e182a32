#include "GroupParts.h"

#include <algorithm>

#include "Workers.h"

namespace sqxer {
namespace {

/// More parts than this that were in vain, and the rows are taken in by one thread.
constexpr uint32 kMostFailures = 8;
/// A group for fewer rows than this is as much work to merge as its rows are.
constexpr uint64 kLeastRowsOfGroup = 4;

}  // namespace

uint64 GroupParts::leastRows = kLeastRows;

void GroupParts::Start(GroupTable& groups) {
  const auto stretches = static_cast<uint32>(runs_.size()) + 1;
  merge_.emplace(groups, stretches);
  for (const auto& run : runs_) run->GetGroups().ShareStates(stretches);
  groups_ = &groups;
  trialRows_.reset();
  isTrialOver_ = false;
  failures_ = 0;
  areGroupsMany_ = false;
}

uint64 GroupParts::CountTrialRows(const TableChunk& chunk) {
  if (trialRows_) return 0;
  trialRows_ = std::min(chunk.rows, leastRows / 2);
  return *trialRows_;
}

const std::vector<GroupParts::Part>& GroupParts::Group(const TableChunk& chunk, uint64 firstRow,
                                                       uint64 row) {
  if (!isTrialOver_) {
    // Of so many keys, or values to be held, that most rows of the trial had one of their own there
    // are more than a stretch has rows for.
    areGroupsMany_ = groups_->CountToMerge() > std::max<uint64>(*trialRows_ / 4 * 3, 1);
    isTrialOver_ = true;
  }
  parts_.clear();
  const bool isInVain = failures_ > kMostFailures || areGroupsMany_;
  const auto count = std::min<uint64>(runs_.size(), isInVain ? 1 : (chunk.rows - row) / leastRows);
  if (count < 2) {
    parts_.push_back({row, chunk.rows, nullptr, false});
    return parts_;
  }
  // Stretches of whole blocks.
  const uint64 unit = std::min<uint64>(leastRows, kColumnBlockRows);
  const uint64 blocks = (chunk.rows - row + unit - 1) / unit;
  for (uint64 i = 0; i < count; ++i) {
    const uint64 first = row + blocks * i / count * unit;
    const uint64 end = std::min(chunk.rows, row + blocks * (i + 1) / count * unit);
    parts_.push_back({first, end, runs_[i].get(), false});
  }
  Workers(count).Run(
      [&](std::size_t i) {
        Part& part = parts_[i];
        part.isGrouped = part.run->GroupPart(chunk, firstRow, part.first, part.end);
        return true;
      },
      [] {});
  return parts_;
}

bool GroupParts::Merge(const Part& part) {
  if (part.run == nullptr) return false;
  GroupTable& groups = part.run->GetGroups();
  const bool isMerged = part.isGrouped && merge_->Take(groups);
  failures_ += !isMerged;
  areGroupsMany_ =
      areGroupsMany_ || groups.CountToMerge() > (part.end - part.first) / kLeastRowsOfGroup;
  return isMerged;
}

}  // namespace sqxer
