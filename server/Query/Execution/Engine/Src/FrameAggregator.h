#pragma once

#include <vector>

#include "SQXERExprWindowFunction.h"

namespace sqxer {

/// Results of an aggregate over the frames of a partition's rows, one frame after the other.
///
/// A frame that goes on where the one before ended takes in the rows that are new. Where frames
/// lose rows, states are joined and nothing is ever subtracted, so sums lose no digits: of a
/// stretch of rows that moves along, the aggregator has the state of the rows behind some row, and
/// before it one state for each row, of that and all up to there. When these are used up they are
/// made anew, so each row is taken in twice at most. An aggregate without states may hold its rows
/// such that it gives them up again. The others take in each such frame from the start.
class FrameAggregator {
 public:
  /// Drives a bound aggregate over records of so many bytes. Both must outlive it.
  FrameAggregator(Aggregate& aggregate, uint32 inputSize, WindowRows& rows);

  /// The rows are those of another partition.
  void Begin();
  /// Writes the result over the rows of a frame. Neither end of its first and of its last stretch
  /// may be before that of the frame before, and its second one has one row at most. Error 57104
  /// when the states of a frame's rows take more than the switch GroupMemory, and than 4 KiB.
  void Output(const FrameRows& frame, uint8* record);

 private:
  using State = std::vector<uint8>;

  /// A stretch of rows that moves along.
  struct Moving {
    RowStretch rows;
    /// From here on rows are in `rest`; those before it each have a state in `states`, of the rows
    /// up to here, the last one first.
    uint64 restFrom = 0;
    State rest;
    State states;
  };

  void Compute(uint64 row);
  void ComputeAll(const FrameRows& frame);
  /// Has the aggregate hold the rows of this frame, and no longer those of the one before.
  void Exchange(const FrameRows& frame);
  /// The frame is the one before, with further rows behind it.
  bool GoesOn(const FrameRows& frame) const;
  void Move(Moving& moving, const RowStretch& to);
  void MakeStates(Moving& moving, const RowStretch& rows);
  /// Joins the state of the stretch's rows behind what is there.
  void AddTo(State& state, const Moving& moving);
  void Save(uint8* state) { aggregate_.TransferState(StateTransfer::kSave, state); }
  void Restore(State& state);

  Aggregate& aggregate_;
  const uint32 inputSize_;
  WindowRows& rows_;
  /// 0 where it has none.
  const uint32 stateBytes_;
  const bool joins_;
  const bool exchanges_;
  const bool goesOn_;
  const std::size_t mostBytes_;
  uint32 computed_ = 0;
  bool isFirst_ = true;
  /// That of the last result.
  FrameRows frame_;
  /// Before Finalize, of frames that go on.
  State state_;
  State start_;
  State one_;
  Moving before_;
  Moving behind_;
};

}  // namespace sqxer
