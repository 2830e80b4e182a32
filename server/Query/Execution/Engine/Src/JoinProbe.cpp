#include "JoinProbe.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "Utility/Cancellation.h"
#include "Utility/Settings.h"
#include "Utility/StatementBudget.h"

namespace sqxer {

JoinProbe::JoinProbe(JoinSide right, JoinKind kind)
    : right_(std::move(right)),
      rightRows_(CountJoinRows(right_, L"the right side")),
      kind_(kind),
      candidatesLeft_(kMostCandidatePairs),
      candidatesRight_(kMostCandidatePairs) {}

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
    const uint32 room = kMostCandidatePairs - candidates_;
    if (room == 0) return;
    uint32 count = std::min(room, rightRows_ - nextRight_);
    const bool isOneEnough = GivesLeftAlone() && !admits_;
    if (isOneEnough) count = 1;
    if (!NeedsNoPair(readTo_)) {
      for (uint32 i = 0; i < count; ++i) {
        candidatesLeft_[candidates_] = readTo_;
        candidatesRight_[candidates_++] = nextRight_ + i;
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
  if (candidates_ + batch_->count > kMostCandidatePairs) return false;
  uint32 at = candidates_;
  for (uint32 i = 0; i < batch_->count; ++i) {
    candidatesLeft_[at] = batch_->rows[i];
    candidatesRight_[at] = firstRows_[i];
    at += firstRows_[i] != kNoJoinRow;
  }
  candidates_ = at;
  inBatch_ = batch_->count;
  return true;
}

bool JoinProbe::PairChains() {
  while (inBatch_ < batch_->count) {
    const uint32 left = batch_->rows[inBatch_];
    for (; nextRight_ != kNoJoinRow && !NeedsNoPair(left);
         nextRight_ = table_->GetNext(nextRight_)) {
      if (candidates_ == kMostCandidatePairs) return false;
      candidatesLeft_[candidates_] = left;
      candidatesRight_[candidates_++] = nextRight_;
    }
    if (++inBatch_ < batch_->count) nextRight_ = firstRows_[inBatch_];
  }
  return true;
}

bool JoinProbe::MarkChains() {
  if (candidates_ + batch_->count > kMostCandidatePairs) return false;
  for (; inBatch_ < batch_->count; ++inBatch_) {
    const uint32 left = batch_->rows[inBatch_];
    uint32 right = firstRows_[inBatch_];
    while (right != kNoJoinRow && !keys_->AreExact() && !keys_->AreEqual(right, left)) {
      right = table_->GetNext(right);
    }
    if (right == kNoJoinRow) continue;
    candidatesLeft_[candidates_] = left;
    candidatesRight_[candidates_++] = right;
  }
  return true;
}

void JoinProbe::Decide() {
  Cancellation::Check();
  const auto keep = [this](auto&& admits) {
    uint32 kept = 0;
    for (uint32 i = 0; i < candidates_; ++i) {
      const bool isKept = admits(i);
      candidatesLeft_[kept] = candidatesLeft_[i];
      candidatesRight_[kept] = candidatesRight_[i];
      kept += isKept;
    }
    candidates_ = kept;
  };
  if (keys_ != nullptr && !keys_->AreExact()) {
    keep([&](uint32 i) { return keys_->AreEqual(candidatesRight_[i], candidatesLeft_[i]); });
  }
  if (admits_ && candidates_ != 0) {
    admitted_.assign(candidates_, 0);
    admits_(std::span(candidatesLeft_).first(candidates_),
            std::span(candidatesRight_).first(candidates_), admitted_);
    keep([&](uint32 i) { return admitted_[i] != 0; });
  }
}

void JoinProbe::Emit(JoinedRows& rows) {
  if (kind_ == JoinKind::kInner) {
    const auto append = [this](RowArray<uint32>& to, const std::vector<uint32>& candidates) {
      to.insert(to.end(), candidates.begin(), candidates.begin() + candidates_);
    };
    append(rows.left, candidatesLeft_);
    append(rows.right, candidatesRight_);
    candidates_ = 0;
    return;
  }
  for (uint32 i = 0; i < candidates_; ++i) {
    const uint32 left = candidatesLeft_[i];
    const bool isFirst = left >= nextLeft_;
    EmitUnmatched(left, rows);
    nextLeft_ = std::max(nextLeft_, left + 1);
    if (kind_ == JoinKind::kAnti || (kind_ == JoinKind::kSemi && !isFirst)) continue;
    rows.left.push_back(left);
    if (kind_ == JoinKind::kLeft) rows.right.push_back(candidatesRight_[i]);
  }
  candidates_ = 0;
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
