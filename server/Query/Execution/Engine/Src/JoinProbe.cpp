#include "JoinProbe.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Utility/Cancellation.h"
#include "Utility/Settings.h"
#include "Utility/StatementBudget.h"

namespace sqxer {

JoinProbe::JoinProbe(JoinSide right, JoinKind kind)
    : right_(std::move(right)), rightRows_(CountJoinRows(right_, L"the right side")), kind_(kind) {}

void JoinProbe::Begin(JoinSide left, PairFilter admits) {
  left_ = std::move(left);
  leftRows_ = CountJoinRows(left_, L"the left side");
  admits_ = std::move(admits);
  chunk_ = 0;
  inChunk_ = readTo_ = inBatch_ = nextLeft_ = 0;
  batch_ = nullptr;
  nextRight_ = 0;
}

void JoinProbe::Enter(JoinSide left, PairFilter admits) {
  Begin(std::move(left), std::move(admits));
  if (left_.keys.empty() || rightRows_ == 0) return;
  if (keys_ != nullptr && keys_->SetProbe(left_)) return;
  keys_ = std::make_unique<JoinKeys>(right_, left_, keys_.get());
  MakeTable();
}

bool JoinProbe::EnterWithinMemory(JoinSide left, PairFilter admits) {
  Begin(std::move(left), std::move(admits));
  if (left_.keys.empty() || rightRows_ == 0) return true;
  keys_ = std::make_unique<JoinKeys>(right_, left_);
  const uint64 memory =
      StatementBudget::CapShare(Settings::Current()->GetSwitches().joinMemory_, 4);
  if (JoinTable(*keys_, rightRows_, memory).GetParts() > 1) return false;
  MakeTable();
  return true;
}

void JoinProbe::MakeTable() {
  table_.reset();
  table_ = std::make_unique<JoinTable>(*keys_, rightRows_, std::numeric_limits<uint64>::max() / 2);
  table_->StartPart(0);
  keys_->ForEachBatch(JoinColumn::kBuild, true, [&](const JoinBatch& batch) {
    Cancellation::Check();
    table_->Add(batch);
  });
}

bool JoinProbe::Next(JoinedRows& rows) {
  rows.left.clear();
  rows.right.clear();
  if (readTo_ == leftRows_ && IsBehindBatch()) return false;
  const auto end = static_cast<uint32>(std::min<uint64>(leftRows_, uint64{readTo_} + kRowsOfRun));
  do {
    Fill(end);
    Decide();
    Emit(rows);
  } while (GetOpenRow() < end && rows.left.size() < kRowsOfRun);
  return true;
}

void JoinProbe::Fill(uint32 end) {
  if (rightRows_ == 0) {
    readTo_ = end;
    return;
  }
  if (left_.keys.empty()) return PairAll(end);
  do {
    if (IsBehindBatch()) {
      if (readTo_ >= end) return;
      ReadBatch();
    }
  } while (PairBatch());
}

void JoinProbe::PairAll(uint32 end) {
  while (readTo_ < end) {
    const uint32 room = kMostCandidatePairs - candidates_.count;
    if (room == 0) return;
    uint32 count = std::min(room, rightRows_ - nextRight_);
    const bool isOneEnough = GivesLeftAlone() && !admits_;
    if (isOneEnough) count = 1;
    if (!NeedsNoPair(readTo_)) {
      for (uint32 i = 0; i < count; ++i) {
        candidates_.left[candidates_.count] = readTo_;
        candidates_.right[candidates_.count++] = nextRight_ + i;
      }
      nextRight_ += count;
      if (nextRight_ < rightRows_ && !isOneEnough) continue;
    }
    ++readTo_;
    nextRight_ = 0;
  }
}

void JoinProbe::ReadBatch() {
  const std::vector<TableChunk>& chunks = left_.table->chunks;
  while (inChunk_ == chunks[chunk_].rows) {
    ++chunk_;
    inChunk_ = 0;
  }
  const auto count =
      static_cast<uint32>(std::min<uint64>(kMostBatchRows, chunks[chunk_].rows - inChunk_));
  batch_ = &keys_->ReadBatch(JoinColumn::kProbe, chunk_, inChunk_, count);
  inChunk_ += count;
  readTo_ += count;
  table_->Find(*batch_, firstRows_);
  inBatch_ = 0;
  nextRight_ = firstRows_[0];
}

bool JoinProbe::PairBatch() {
  if (table_->HasChains()) return GivesLeftAlone() && !admits_ ? MarkChains() : PairChains();
  if (candidates_.count + batch_->count > kMostCandidatePairs) return false;
  uint32 at = candidates_.count;
  for (uint32 i = 0; i < batch_->count; ++i) {
    candidates_.left[at] = batch_->rows[i];
    candidates_.right[at] = firstRows_[i];
    at += firstRows_[i] != kNoJoinRow;
  }
  candidates_.count = at;
  inBatch_ = batch_->count;
  return true;
}

bool JoinProbe::PairChains() {
  while (inBatch_ < batch_->count) {
    const uint32 left = batch_->rows[inBatch_];
    for (; nextRight_ != kNoJoinRow && !NeedsNoPair(left);
         nextRight_ = table_->GetNext(nextRight_)) {
      if (candidates_.count == kMostCandidatePairs) return false;
      candidates_.left[candidates_.count] = left;
      candidates_.right[candidates_.count++] = nextRight_;
    }
    if (++inBatch_ < batch_->count) nextRight_ = firstRows_[inBatch_];
  }
  return true;
}

bool JoinProbe::MarkChains() {
  if (candidates_.count + batch_->count > kMostCandidatePairs) return false;
  for (; inBatch_ < batch_->count; ++inBatch_) {
    const uint32 left = batch_->rows[inBatch_];
    uint32 right = firstRows_[inBatch_];
    while (right != kNoJoinRow && !keys_->AreExact() && !keys_->AreEqual(right, left)) {
      right = table_->GetNext(right);
    }
    if (right == kNoJoinRow) continue;
    candidates_.left[candidates_.count] = left;
    candidates_.right[candidates_.count++] = right;
  }
  return true;
}

void JoinProbe::Decide() {
  Cancellation::Check();
  if (keys_ != nullptr && !keys_->AreExact()) {
    candidates_.Keep(
        [this](uint32 i) { return keys_->AreEqual(candidates_.right[i], candidates_.left[i]); });
  }
  candidates_.KeepAdmitted(admits_);
}

void JoinProbe::Emit(JoinedRows& rows) {
  if (kind_ == JoinKind::kInner) {
    candidates_.MoveTo(rows);
    return;
  }
  for (uint32 i = 0; i < candidates_.count; ++i) {
    const uint32 left = candidates_.left[i];
    const bool isFirst = left >= nextLeft_;
    EmitUnmatched(left, rows);
    nextLeft_ = std::max(nextLeft_, left + 1);
    if (kind_ == JoinKind::kAnti || (kind_ == JoinKind::kSemi && !isFirst)) continue;
    rows.left.push_back(left);
    if (kind_ == JoinKind::kLeft) rows.right.push_back(candidates_.right[i]);
  }
  candidates_.count = 0;
  EmitUnmatched(GetOpenRow(), rows);
}

void JoinProbe::EmitUnmatched(uint32 end, JoinedRows& rows) {
  if (KeepsUnmatched()) {
    for (uint32 row = nextLeft_; row < end; ++row) {
      rows.left.push_back(row);
      if (kind_ == JoinKind::kLeft) rows.right.push_back(kNoJoinRow);
    }
  }
  nextLeft_ = std::max(nextLeft_, end);
}

}  // namespace sqxer
