#include "FrameAggregator.h"

#include <algorithm>

#include "AggregateSet.h"
#include "EngineError.h"
#include "Utility/Cancellation.h"
#include "Utility/Settings.h"
#include "Utility/StatementBudget.h"

namespace sqxer {
namespace {

/// What the states of a frame may take however little memory is given.
constexpr std::size_t kLeastBytes = 4096;

uint32 MeasureState(Aggregate& aggregate) {
  // There are few states where frames grow, and a limit on them where they move.
  aggregate.KeepLongValues();
  return aggregate.TransferState(StateTransfer::kMeasure, nullptr);
}

uint64 CountRows(const FrameRows& frame) {
  return frame[0].Count() + frame[1].Count() + frame[2].Count();
}

/// Calls use(stretch) for the rows of a frame that are not in another one.
template <class Use>
void ForEachBeyond(const FrameRows& frame, const FrameRows& other, Use&& use) {
  for (const RowStretch& stretch : frame) {
    uint64 from = stretch.from;
    const auto useUpTo = [&](uint64 end) {
      end = std::min(end, stretch.to);
      if (end > from) use(RowStretch{from, end});
    };
    for (const RowStretch& known : other) {
      if (known.Count() == 0) continue;
      useUpTo(known.from);
      from = std::max(from, known.to);
    }
    useUpTo(stretch.to);
  }
}

bool IsOneStretch(const FrameRows& frame) { return frame[1].Count() == 0 && frame[2].Count() == 0; }

}  // namespace

FrameAggregator::FrameAggregator(Aggregate& aggregate, uint32 inputSize, WindowRows& rows)
    : aggregate_(aggregate),
      inputSize_(inputSize),
      rows_(rows),
      stateBytes_(MeasureState(aggregate)),
      joins_(stateBytes_ > 0 && aggregate.CanJoinStates()),
      exchanges_(stateBytes_ == 0 && aggregate.HoldMovingRows()),
      goesOn_(stateBytes_ == 0 && aggregate.GoesOnAfterOutput()),
      mostBytes_(std::max<std::size_t>(
          StatementBudget::CapShare(Settings::Current()->GetSwitches().groupMemory_, 8),
          kLeastBytes)),
      state_(stateBytes_),
      start_(stateBytes_),
      one_(stateBytes_) {}

void FrameAggregator::Begin() {
  isFirst_ = true;
  frame_ = {};
  if (stateBytes_ == 0) return;
  aggregate_.Initialize(false);
  Save(start_.data());
  for (Moving* moving : {&before_, &behind_}) {
    *moving = {};
    moving->rest = start_;
  }
}

void FrameAggregator::Compute(uint64 row) {
  // Frames that are taken in from the start can take long.
  constexpr uint32 kRowsPerCheck = 4096;
  if (++computed_ % kRowsPerCheck == 0) Cancellation::Check();
  CheckStatus(aggregate_.Compute(rows_.GetRow(row), inputSize_));
}

void FrameAggregator::ComputeAll(const FrameRows& frame) {
  aggregate_.Initialize(false);
  for (const RowStretch& stretch : frame) {
    for (uint64 row = stretch.from; row < stretch.to; ++row) Compute(row);
  }
}

void FrameAggregator::Exchange(const FrameRows& frame) {
  uint64 changes = 0;
  const auto count = [&](const RowStretch& rows) { changes += rows.Count(); };
  ForEachBeyond(frame, frame_, count);
  ForEachBeyond(frame_, frame, count);
  if (isFirst_ || changes >= CountRows(frame)) return ComputeAll(frame);
  // Errors of values come from Compute, before which nothing has gone.
  ForEachBeyond(frame, frame_, [this](const RowStretch& rows) {
    for (uint64 row = rows.from; row < rows.to; ++row) Compute(row);
  });
  ForEachBeyond(frame_, frame, [this](const RowStretch& rows) {
    for (uint64 row = rows.from; row < rows.to; ++row)
      aggregate_.Remove(rows_.GetRow(row), inputSize_);
  });
}

void FrameAggregator::Restore(State& state) {
  // What Finalize has left is not part of a state.
  aggregate_.Initialize(false);
  aggregate_.TransferState(StateTransfer::kRestore, state.data());
}

bool FrameAggregator::GoesOn(const FrameRows& frame) const {
  return !isFirst_ && (stateBytes_ > 0 || goesOn_) && IsOneStretch(frame) && IsOneStretch(frame_) &&
         frame[0].from == frame_[0].from;
}

void FrameAggregator::Output(const FrameRows& frame, uint8* record) {
  if (isFirst_ || frame != frame_) {
    if (exchanges_) {
      Exchange(frame);
    } else if (GoesOn(frame) && !joins_) {
      if (stateBytes_ > 0) Restore(state_);
      for (uint64 row = frame_[0].to; row < frame[0].to; ++row) Compute(row);
      if (stateBytes_ > 0) Save(state_.data());
    } else if (joins_) {
      Move(before_, frame[0]);
      Move(behind_, frame[2]);
      state_ = start_;
      AddTo(state_, before_);
      for (uint64 row = frame[1].from; row < frame[1].to; ++row) {
        aggregate_.Initialize(false);
        Compute(row);
        Save(one_.data());
        aggregate_.MergeState(state_.data(), one_.data());
      }
      AddTo(state_, behind_);
      Restore(state_);
    } else {
      ComputeAll(frame);
      if (stateBytes_ > 0) Save(state_.data());
    }
    CheckStatus(aggregate_.Finalize());
    frame_ = frame;
    isFirst_ = false;
  }
  aggregate_.Output(record);
}

void FrameAggregator::Move(Moving& moving, const RowStretch& to) {
  if (to.from > moving.restFrom) {
    MakeStates(moving, to);
  } else if (to.to > moving.rows.to) {
    Restore(moving.rest);
    for (uint64 row = std::max(moving.rows.to, to.from); row < to.to; ++row) Compute(row);
    Save(moving.rest.data());
  }
  moving.rows = to;
}

void FrameAggregator::MakeStates(Moving& moving, const RowStretch& rows) {
  if (rows.Count() > mostBytes_ / stateBytes_) {
    ThrowEngineError(kFrameTooLarge, {std::to_wstring(rows.Count())});
  }
  moving.restFrom = rows.to;
  moving.rest = start_;
  moving.states.resize(rows.Count() * stateBytes_);
  uint8* state = moving.states.data();
  for (uint64 row = rows.to; row-- > rows.from; state += stateBytes_) {
    aggregate_.Initialize(false);
    Compute(row);
    Save(state);
    if (row + 1 < rows.to) aggregate_.MergeState(state, state - stateBytes_);
  }
}

void FrameAggregator::AddTo(State& state, const Moving& moving) {
  if (moving.rows.from < moving.restFrom) {
    const uint64 index = moving.restFrom - 1 - moving.rows.from;
    aggregate_.MergeState(state.data(), moving.states.data() + index * stateBytes_);
  }
  if (moving.rows.to > moving.restFrom) aggregate_.MergeState(state.data(), moving.rest.data());
}

}  // namespace sqxer
