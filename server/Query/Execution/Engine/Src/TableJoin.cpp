#include "TableJoin.h"

#include <algorithm>
#include <memory>
#include <numeric>

#include "EngineError.h"
#include "JoinCandidates.h"
#include "JoinTable.h"
#include "Utility/Cancellation.h"
#include "Utility/Settings.h"
#include "Utility/StatementBudget.h"

namespace sqxer {
namespace {

/// One join: finds pairs of equal keys, has them decided, and makes of them what the kind asks for.
class TableJoin {
 public:
  TableJoin(const JoinSide& left, const JoinSide& right, JoinKind kind, const PairFilter& admits,
            const RunProgress& progress);
  JoinedRows Run();

 private:
  bool GivesLeftAlone() const { return kind_ == JoinKind::kSemi || kind_ == JoinKind::kAnti; }
  bool KeepsLeft() const { return kind_ == JoinKind::kLeft || kind_ == JoinKind::kFull; }
  bool KeepsRight() const { return kind_ == JoinKind::kRight || kind_ == JoinKind::kFull; }

  /// One pair of the left row is known, which is all that the kind asks for.
  bool NeedsNoPair(uint32 left) const { return !marked_.empty() && marked_[left] != 0; }

  void PairAll();
  void PairByKeys();
  /// Finds the pairs of the rows of a batch, of which the first rows of the other side are known.
  void PairBatch(const JoinTable& table, const JoinBatch& batch, const uint32* firstRows);
  /// The same where one pair for each left row will do, and some rows have equal words.
  void MarkBatch(const JoinTable& table, const JoinBatch& batch, const uint32* firstRows);
  /// Takes the candidates as pairs that the keys and the filter admit.
  void TakeCandidates();

  /// Sorts the pairs by their left rows; those of one left row stay in their order.
  void SortByLeft();
  void AddUnmatchedLeft();
  void AddUnmatchedRight();
  void ListMarked();

  const JoinSide& left_;
  const JoinSide& right_;
  const JoinKind kind_;
  const PairFilter& admits_;
  const uint32 leftRows_;
  const uint32 rightRows_;
  bool buildsLeft_ = false;
  std::unique_ptr<JoinKeys> keys_;

  JoinCandidates candidates_;
  /// Of a join that gives left rows alone: which of them have a pair.
  RowArray<uint8> marked_;
  JoinedRows pairs_;
  ProgressMeter meter_;
};

/// Calls use(first, end) for numbers below `count`, some at a time, and ends where the statement
/// was cancelled.
template <class Use>
void InRuns(std::size_t count, Use&& use) {
  constexpr std::size_t kRun = std::size_t{1} << 20;
  for (std::size_t first = 0; first < count; first += kRun) {
    Cancellation::Check();
    use(first, std::min(count, first + kRun));
  }
}

TableJoin::TableJoin(const JoinSide& left, const JoinSide& right, JoinKind kind,
                     const PairFilter& admits, const RunProgress& progress)
    : left_(left),
      right_(right),
      kind_(kind),
      admits_(admits),
      leftRows_(CountJoinRows(left, L"the left side")),
      rightRows_(CountJoinRows(right, L"the right side")) {
  if (GivesLeftAlone()) marked_.resize(leftRows_);
  meter_.SetProgress(progress);
}

JoinedRows TableJoin::Run() {
  if (leftRows_ != 0 && rightRows_ != 0) left_.keys.empty() ? PairAll() : PairByKeys();
  if (GivesLeftAlone()) {
    ListMarked();
  } else {
    // The right ones are told from those that stand beside no row.
    if (KeepsRight()) AddUnmatchedRight();
    if (KeepsLeft()) AddUnmatchedLeft();
  }
  return std::move(pairs_);
}

void TableJoin::PairAll() {
  if (GivesLeftAlone() && !admits_) {
    std::ranges::fill(marked_, uint8{1});
    return;
  }
  if (!admits_ && uint64{leftRows_} * rightRows_ > kMostJoinRows) ThrowJoinTooLarge(L"the result");
  meter_.Start(RunPhase::kJoining, leftRows_);
  for (uint32 left = 0; left < leftRows_; ++left) {
    for (uint32 right = 0; right < rightRows_;) {
      if (candidates_.count == kMostCandidatePairs) TakeCandidates();
      if (NeedsNoPair(left)) break;
      const uint32 count = std::min(kMostCandidatePairs - candidates_.count, rightRows_ - right);
      std::fill_n(&candidates_.left[candidates_.count], count, left);
      std::iota(&candidates_.right[candidates_.count],
                &candidates_.right[candidates_.count] + count, right);
      candidates_.count += count;
      right += count;
    }
    meter_.Step();
  }
  TakeCandidates();
}

void TableJoin::PairByKeys() {
  buildsLeft_ = leftRows_ < rightRows_ / 2;
  const bool marks = GivesLeftAlone() && !admits_;
  if (buildsLeft_) {
    keys_ = std::make_unique<JoinKeys>(left_, right_);
    // A chain of left rows would have to be gone through for each right row.
    buildsLeft_ = !marks || keys_->AreExact();
  }
  if (!buildsLeft_) keys_ = std::make_unique<JoinKeys>(right_, left_);
  JoinTable table(*keys_, buildsLeft_ ? leftRows_ : rightRows_,
                  StatementBudget::CapShare(Settings::Current()->GetSwitches().joinMemory_, 4));
  if (!GivesLeftAlone() && !admits_ && table.GetParts() == 1) {
    // What is not touched costs nothing.
    const uint32 rows = buildsLeft_ ? rightRows_ : leftRows_;
    pairs_.left.reserve(rows);
    pairs_.right.reserve(rows);
  }
  uint32 firstRows[kMostBatchRows];
  meter_.Start(RunPhase::kJoining, (uint64{leftRows_} + rightRows_) * table.GetParts());
  for (uint32 part = 0; part < table.GetParts(); ++part) {
    table.StartPart(part);
    keys_->ForEachBatch(JoinColumn::kBuild, true, [&](const JoinBatch& batch) {
      meter_.Step(batch.read);
      table.Add(batch);
    });
    keys_->ForEachBatch(JoinColumn::kProbe, false, [&](const JoinBatch& batch) {
      meter_.Step(batch.read);
      table.Find(batch, firstRows);
      marks&& table.HasChains() ? MarkBatch(table, batch, firstRows)
                                : PairBatch(table, batch, firstRows);
    });
  }
  TakeCandidates();
  // A left row has all its pairs in one part, in the order of the right rows.
  if (!GivesLeftAlone() && (buildsLeft_ || table.GetParts() > 1)) SortByLeft();
}

void TableJoin::PairBatch(const JoinTable& table, const JoinBatch& batch, const uint32* firstRows) {
  uint32* const built = (buildsLeft_ ? candidates_.left : candidates_.right).data();
  uint32* const probed = (buildsLeft_ ? candidates_.right : candidates_.left).data();
  if (!table.HasChains()) {
    if (candidates_.count + batch.count > kMostCandidatePairs) TakeCandidates();
    uint32 at = candidates_.count;
    for (uint32 i = 0; i < batch.count; ++i) {
      built[at] = firstRows[i];
      probed[at] = batch.rows[i];
      at += firstRows[i] != kNoJoinRow;
    }
    candidates_.count = at;
    return;
  }
  for (uint32 i = 0; i < batch.count; ++i) {
    for (uint32 row = firstRows[i]; row != kNoJoinRow; row = table.GetNext(row)) {
      if (candidates_.count == kMostCandidatePairs) TakeCandidates();
      if (NeedsNoPair(buildsLeft_ ? row : batch.rows[i])) continue;
      built[candidates_.count] = row;
      probed[candidates_.count++] = batch.rows[i];
    }
  }
}

void TableJoin::MarkBatch(const JoinTable& table, const JoinBatch& batch, const uint32* firstRows) {
  for (uint32 i = 0; i < batch.count; ++i) {
    for (uint32 row = firstRows[i]; row != kNoJoinRow; row = table.GetNext(row)) {
      uint8& mark = marked_[buildsLeft_ ? row : batch.rows[i]];
      // Left rows of a chain are marked all at once.
      if (mark != 0) break;
      mark = keys_->AreExact() || keys_->AreEqual(row, batch.rows[i]);
    }
  }
}

void TableJoin::TakeCandidates() {
  Cancellation::Check();
  if (keys_ != nullptr && !keys_->AreExact()) {
    const auto& built = buildsLeft_ ? candidates_.left : candidates_.right;
    const auto& probed = buildsLeft_ ? candidates_.right : candidates_.left;
    candidates_.Keep([&](uint32 i) { return keys_->AreEqual(built[i], probed[i]); });
  }
  candidates_.KeepAdmitted(admits_);
  if (GivesLeftAlone()) {
    for (uint32 i = 0; i < candidates_.count; ++i) marked_[candidates_.left[i]] = 1;
    candidates_.count = 0;
  } else {
    if (pairs_.left.size() + candidates_.count > kMostJoinRows) ThrowJoinTooLarge(L"the result");
    candidates_.MoveTo(pairs_);
  }
}

void TableJoin::SortByLeft() {
  RowArray<uint32>& left = pairs_.left;
  RowArray<uint32> ends(std::size_t{leftRows_} + 1);
  InRuns(left.size(), [&](std::size_t first, std::size_t end) {
    for (std::size_t i = first; i < end; ++i) ++ends[std::size_t{left[i]} + 1];
  });
  InRuns(leftRows_, [&](std::size_t first, std::size_t end) {
    for (std::size_t i = first; i < end; ++i) ends[i + 1] += ends[i];
  });
  RowArray<uint32> right(pairs_.right.size());
  InRuns(right.size(), [&](std::size_t first, std::size_t end) {
    for (std::size_t i = first; i < end; ++i) right[ends[left[i]]++] = pairs_.right[i];
  });
  pairs_.right.swap(right);
  uint32 row = 0;
  InRuns(left.size(), [&](std::size_t first, std::size_t end) {
    for (std::size_t i = first; i < end; ++i) {
      while (i >= ends[row]) ++row;
      left[i] = row;
    }
  });
}

void TableJoin::AddUnmatchedLeft() {
  // Behind the pairs of a left row may stand right rows alone.
  RowArray<uint32>& left = pairs_.left;
  RowArray<uint32>& right = pairs_.right;
  const auto alone = static_cast<std::size_t>(
      left.end() - std::find_if(left.rbegin(), left.rend(), [](uint32 row) {
                     return row != kNoJoinRow;
                   }).base());
  std::size_t from = left.size() - alone;
  uint64 matched = 0;
  for (std::size_t i = 0; i < from; ++i) matched += i == 0 || left[i] != left[i - 1];
  const uint64 unmatched = leftRows_ - matched;
  if (unmatched == 0) return;
  if (left.size() + unmatched > kMostJoinRows) ThrowJoinTooLarge(L"the result");
  left.resize(left.size() + unmatched);
  right.resize(left.size());
  // From the end, so that each row moves to a free place.
  std::size_t to = left.size();
  const auto move = [&](uint32 leftRow, uint32 rightRow) {
    left[--to] = leftRow;
    right[to] = rightRow;
  };
  for (std::size_t i = from + alone; i > from; --i) move(kNoJoinRow, right[i - 1]);
  for (uint32 row = leftRows_; to != from; --row) {
    if (row % kMostCandidatePairs == 0) Cancellation::Check();
    if (from == 0 || left[from - 1] != row - 1) move(row - 1, kNoJoinRow);
    for (; from != 0 && left[from - 1] == row - 1; --from) move(row - 1, right[from - 1]);
  }
}

void TableJoin::AddUnmatchedRight() {
  RowArray<uint8> isMatched(rightRows_);
  for (const uint32 row : pairs_.right) isMatched[row] = 1;
  const auto unmatched = static_cast<uint64>(std::ranges::count(isMatched, uint8{0}));
  if (pairs_.left.size() + unmatched > kMostJoinRows) ThrowJoinTooLarge(L"the result");
  pairs_.left.resize(pairs_.left.size() + unmatched, kNoJoinRow);
  pairs_.right.reserve(pairs_.left.size());
  for (uint32 row = 0; row < rightRows_; ++row) {
    if (isMatched[row] == 0) pairs_.right.push_back(row);
  }
}

void TableJoin::ListMarked() {
  const uint8 wanted = kind_ == JoinKind::kSemi;
  pairs_.left.reserve(static_cast<std::size_t>(std::ranges::count(marked_, wanted)));
  for (uint32 row = 0; row < leftRows_; ++row) {
    if (marked_[row] == wanted) pairs_.left.push_back(row);
  }
}

}  // namespace

void ThrowJoinTooLarge(const XeString& what) {
  ThrowEngineError(kJoinTooLarge, {what, std::to_wstring(kMostJoinRows)});
}

uint32 CountJoinRows(const JoinSide& side, const XeString& name) {
  if (side.table->rowCount > kMostJoinRows) ThrowJoinTooLarge(name);
  return static_cast<uint32>(side.table->rowCount);
}

JoinedRows JoinRows(const JoinSide& left, const JoinSide& right, JoinKind kind,
                    const PairFilter& admits, const RunProgress& progress) {
  const BudgetScope use(MemoryUse::kJoin);
  return TableJoin(left, right, kind, admits, progress).Run();
}

}  // namespace sqxer
