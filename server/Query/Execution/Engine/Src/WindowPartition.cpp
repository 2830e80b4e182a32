#include "WindowPartition.h"

#include <algorithm>

#include "Utility/Settings.h"
#include "Utility/StatementBudget.h"

namespace sqxer {

WindowPartition::WindowPartition(const WorkRecord& input, OperatorTimer& timer)
    : packer_(input.GetPacker()),
      rows_(packer_, StatementBudget::CapShare(Settings::Current()->GetSwitches().groupMemory_, 8),
            timer) {}

void WindowPartition::Begin() {
  rows_.BeginInput();
  places_.clear();
  peerStarts_.clear();
}

void WindowPartition::Append(const uint8* record, bool startsPeers) {
  if (startsPeers || CountRows() == 0) peerStarts_.push_back(CountRows());
  if (packer_.IsPacking()) places_.push_back(rows_.GetNextPlace());
  rows_.Append(record);
}

void WindowPartition::Read(uint64 row, uint8* record) {
  rows_.ReadAt(packer_.IsPacking() ? places_[row] : row * packer_.GetLeastBytes(), record);
}

FrameCursor::FrameCursor(const WindowFrame& frame, const WorkRecord& input,
                         WindowPartition& partition)
    : frame_(frame),
      input_(input),
      partition_(partition),
      current_(input, partition),
      from_(input, partition),
      to_(input, partition) {
  if (frame.IsRangeOfValues()) {
    key_ = KeyDesc(input.GetField(frame.key), kAscending, kCompareCodePoints);
  }
}

void FrameCursor::Begin() {
  place_ = {};
  place_.rowCount = partition_.CountRows();
  nextRow_ = group_ = 0;
  range_ = {};
  for (PartitionReader* reader : {&current_, &from_, &to_}) reader->Begin();
}

const WindowPlace& FrameCursor::Next() {
  place_.row = nextRow_++;
  if (place_.row == 0) {
    place_.peers = partition_.GetPeers(0);
  } else if (place_.row == place_.peers.to) {
    place_.peers = partition_.GetPeers(++group_);
  }
  place_.peersBefore = group_;
  const uint64 start = FindStart();
  const uint64 end = std::max(start, FindEnd());
  place_.frame = {{{start, end}, {end, end}, {end, end}}};
  if (frame_.exclusion != WindowFrame::Exclusion::kNone) LeaveOut();
  return place_;
}

uint64 FrameCursor::FindStart() {
  const auto& [bound, offset, value] = frame_.from;
  if (bound == Bound::kPartition) return 0;
  const bool isRows = frame_.unit == WindowFrame::Unit::kRows;
  if (bound == Bound::kCurrentRow) return isRows ? place_.row : place_.peers.from;
  if (frame_.unit == WindowFrame::Unit::kRange) {
    return range_.from = FindKey(frame_.from, false, range_.from);
  }
  const uint64 at = isRows ? place_.row : group_;
  const uint64 count = isRows ? place_.rowCount : partition_.CountPeerGroups();
  if (bound == Bound::kPreceding && at <= offset) return 0;
  if (bound == Bound::kFollowing && offset >= count - at) return place_.rowCount;
  const uint64 from = bound == Bound::kPreceding ? at - offset : at + offset;
  return isRows ? from : partition_.GetPeers(from).from;
}

uint64 FrameCursor::FindEnd() {
  const auto& [bound, offset, value] = frame_.to;
  if (bound == Bound::kPartition) return place_.rowCount;
  const bool isRows = frame_.unit == WindowFrame::Unit::kRows;
  if (bound == Bound::kCurrentRow) return isRows ? place_.row + 1 : place_.peers.to;
  if (frame_.unit == WindowFrame::Unit::kRange) {
    return range_.to = FindKey(frame_.to, true, range_.to);
  }
  const uint64 at = isRows ? place_.row : group_;
  const uint64 count = isRows ? place_.rowCount : partition_.CountPeerGroups();
  if (bound == Bound::kPreceding && at < offset) return 0;
  if (bound == Bound::kFollowing && offset >= count - at) return place_.rowCount;
  const uint64 last = bound == Bound::kPreceding ? at - offset : at + offset;
  return isRows ? last + 1 : partition_.GetPeers(last).to;
}

uint64 FrameCursor::FindKey(const WindowFrame::Limit& limit, bool isBeyond, uint64 from) {
  const uint8* const current = current_.GetRow(place_.row);
  const uint32 nullOffset = key_.GetNullOffset();
  // NULLs are at no distance from one another, and at none that counts from values.
  if (IsNull(current, nullOffset)) return isBeyond ? place_.peers.to : place_.peers.from;
  const uint8* const value = current + input_.GetField(limit.value).GetDataOffset();
  PartitionReader& reader = isBeyond ? to_ : from_;
  for (; from < place_.rowCount; ++from) {
    const uint8* const row = reader.GetRow(from);
    if (IsNull(row, nullOffset)) {
      if (frame_.nulls == kNullsLast) break;
      continue;
    }
    const int ascending = key_.CompareValues(row + key_.GetDataOffset(), value);
    const int compared = frame_.order == kAscending ? ascending : -ascending;
    if (isBeyond ? compared > 0 : compared >= 0) break;
  }
  return from;
}

void FrameCursor::LeaveOut() {
  const RowStretch all = place_.frame[0];
  const bool leavesOneOut = frame_.exclusion == WindowFrame::Exclusion::kCurrentRow;
  const RowStretch out = leavesOneOut ? RowStretch{place_.row, place_.row + 1} : place_.peers;
  const auto within = [&](uint64 row) { return std::clamp(row, all.from, all.to); };
  place_.frame = {{{all.from, within(out.from)}, {}, {within(out.to), all.to}}};
  const bool keepsRow = frame_.exclusion == WindowFrame::Exclusion::kTies;
  if (keepsRow) place_.frame[1] = {within(place_.row), within(place_.row + 1)};
}

}  // namespace sqxer
