#pragma once

#include <vector>

#include "QueryPlan.h"
#include "SQXERExprWindowFunction.h"
#include "Utility/RecordSpool.h"
#include "WorkRecord.h"

namespace sqxer {

/// The rows of one partition in their order, for functions that look at more than one of them: in
/// memory within the switch GroupMemory, beyond it in a temporary file. What is known of each row
/// beside it takes a few bytes.
///
/// Use: any number of times Begin, Append*, End, and then the rest.
class WindowPartition {
 public:
  /// Both must outlive it.
  WindowPartition(const WorkRecord& input, OperatorTimer& timer);

  void Begin();
  /// `startsPeers`: it differs in its order from the row before it. The first row does.
  void Append(const uint8* record, bool startsPeers);
  void End() { rows_.EndInput(); }

  uint64 CountRows() const { return rows_.GetCount(); }
  void Read(uint64 row, uint8* record);
  uint64 CountPeerGroups() const { return peerStarts_.size(); }
  RowStretch GetPeers(uint64 group) const {
    return {peerStarts_[group],
            group + 1 < peerStarts_.size() ? peerStarts_[group + 1] : CountRows()};
  }

 private:
  const RecordPacker& packer_;
  RecordSpool rows_;
  /// Of rows whose sizes differ.
  std::vector<uint64> places_;
  std::vector<uint64> peerStarts_;
};

/// Reads rows of a partition one at a time.
class PartitionReader final : public WindowRows {
 public:
  PartitionReader(const WorkRecord& input, WindowPartition& partition)
      : partition_(partition), record_(input.GetSize()) {}
  /// The partition is another one.
  void Begin() { row_ = kNone; }
  uint8* GetRow(uint64 row) override {
    if (row != row_) partition_.Read(row, record_.Get());
    row_ = row;
    return record_.Get();
  }

 private:
  static constexpr uint64 kNone = ~uint64{0};
  WindowPartition& partition_;
  RecordBuffer record_;
  uint64 row_ = kNone;
};

/// Goes through the rows of a partition, and tells of each where it stands and which rows are its
/// frame. Neither end of a frame lies before that of the row before.
class FrameCursor {
 public:
  /// All must outlive it.
  FrameCursor(const WindowFrame& frame, const WorkRecord& input, WindowPartition& partition);

  /// The partition is complete.
  void Begin();
  /// The place of the next row.
  const WindowPlace& Next();

 private:
  using Bound = WindowFrame::Bound;

  uint64 FindStart();
  uint64 FindEnd();
  /// RANGE with an offset: the first row whose key reaches the row's value, with `isBeyond` whose
  /// key lies behind it. Searched from the row that the row before has found.
  uint64 FindKey(const WindowFrame::Limit& limit, bool isBeyond, uint64 from);
  static bool IsNull(const uint8* record, uint32 nullOffset) {
    return nullOffset != 0 && record[nullOffset] != 0;
  }
  void LeaveOut();

  const WindowFrame& frame_;
  const WorkRecord& input_;
  WindowPartition& partition_;
  WindowPlace place_;
  /// Of the next row.
  uint64 nextRow_ = 0;
  uint64 group_ = 0;
  RowStretch range_;
  KeyDesc key_;
  PartitionReader current_;
  PartitionReader from_;
  PartitionReader to_;
};

}  // namespace sqxer
