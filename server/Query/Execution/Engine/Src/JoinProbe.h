#pragma once

#include <memory>
#include <vector>

#include "JoinCandidates.h"
#include "JoinTable.h"
#include "TableJoin.h"

namespace sqxer {

/// A join whose right side is in memory, and whose left rows come table after table. The pairs, and
/// their order, are those that JoinRows gives for all left rows together.
class JoinProbe {
 public:
  /// kInner, kLeft, kSemi or kAnti. The right table must outlive it.
  JoinProbe(JoinSide right, JoinKind kind);

  /// Goes to other left rows, kMostJoinRows at most, which must stay until the next call. `admits`,
  /// which may be empty, gets their numbers in this table.
  void Enter(JoinSide left, PairFilter admits);
  /// The same for the first ones; false, and the join is of no use, where the table by which keys
  /// are looked up would not stay within the switch JoinMemory.
  bool EnterWithinMemory(JoinSide left, PairFilter admits);
  /// How many of the left rows have been gone through.
  uint64 GetRead() const { return readTo_; }
  /// The joined rows of some more left rows, perhaps none; false where there are no more. `rows`
  /// has what JoinRows gives of them; some 330,000 at most. Error 57110 when it is cancelled.
  bool Next(JoinedRows& rows);

 private:
  /// Left rows that are gone through at a time.
  static constexpr uint32 kRowsOfRun = 64 * kMostBatchRows;

  bool GivesLeftAlone() const { return kind_ == JoinKind::kSemi || kind_ == JoinKind::kAnti; }
  bool KeepsUnmatched() const { return kind_ == JoinKind::kLeft || kind_ == JoinKind::kAnti; }
  /// A pair of the left row is known, which is all that the kind asks for.
  bool NeedsNoPair(uint32 left) const { return GivesLeftAlone() && left < nextLeft_; }
  bool IsBehindBatch() const { return batch_ == nullptr || inBatch_ == batch_->count; }
  /// The first left row whose candidates have not all been taken.
  uint32 GetOpenRow() const { return IsBehindBatch() ? readTo_ : batch_->rows[inBatch_]; }
  void Begin(JoinSide left, PairFilter admits);
  void MakeTable();

  /// Adds candidates of rows before `end`, up to kMostCandidatePairs of them.
  void Fill(uint32 end);
  void PairAll(uint32 end);
  void ReadBatch();
  // These return false where there is no more room.
  bool PairBatch();
  bool PairChains();
  bool MarkChains();
  /// Leaves the candidates that keys and filter admit.
  void Decide();
  void Emit(JoinedRows& rows);
  void EmitUnmatched(uint32 end, JoinedRows& rows);

  const JoinSide right_;
  const uint32 rightRows_;
  const JoinKind kind_;
  JoinSide left_ = {nullptr, {}};
  uint32 leftRows_ = 0;
  PairFilter admits_;
  std::unique_ptr<JoinKeys> keys_;
  std::unique_ptr<JoinTable> table_;

  // Where the left rows are: the chunk and its next row, the first row behind the batch, the next
  // one of the batch, and the right row that is its next candidate.
  std::size_t chunk_ = 0;
  uint64 inChunk_ = 0;
  uint32 readTo_ = 0;
  const JoinBatch* batch_ = nullptr;
  uint32 inBatch_ = 0;
  uint32 nextRight_ = 0;
  uint32 firstRows_[kMostBatchRows];

  JoinCandidates candidates_;
  /// The left rows before it have been told with a pair, or as unmatched.
  uint32 nextLeft_ = 0;
};

}  // namespace sqxer
