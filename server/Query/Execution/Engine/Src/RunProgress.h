#pragma once

#include <functional>
#include <limits>

#include "Utility/Cancellation.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// What a statement is at when its tables have been read. Rows pass through in this order, some
/// phases left out or come to again: groups may be sorted, and grouped again for DISTINCT, and a
/// statement of several queries makes one after the other.
enum class RunPhase { kJoining, kGrouping, kSorting, kWriting };

/// The rows of a phase when nobody knows how many there will be.
inline constexpr uint64 kUnknownRows = std::numeric_limits<uint64>::max();

/// Called now and then while a statement runs, but not in phases of kUnknownRows: rows done and
/// rows in all of the phase. May be empty. What it throws ends the statement.
using RunProgress = std::function<void(RunPhase phase, uint64 done, uint64 total)>;

/// Counts the rows of one phase after the other for whoever looks at them, and ends a statement
/// that was cancelled.
class ProgressMeter {
 public:
  void SetProgress(const RunProgress& progress) { progress_ = progress; }

  void Start(RunPhase phase, uint64 total) {
    phase_ = phase;
    done_ = 0;
    total_ = total;
    Tell();
  }
  void Step(uint64 rows = 1) {
    const uint64 before = done_;
    done_ += rows;
    if (done_ / kRowsPerCall != before / kRowsPerCall) [[unlikely]]
      Tell();
  }

 private:
  static constexpr uint64 kRowsPerCall = 1024;
  void Tell() const {
    Cancellation::Check();
    if (progress_ != nullptr && total_ != kUnknownRows) progress_(phase_, done_, total_);
  }

  RunProgress progress_;
  RunPhase phase_ = RunPhase::kWriting;
  uint64 done_ = 0;
  uint64 total_ = 0;
};

}  // namespace sqxer
