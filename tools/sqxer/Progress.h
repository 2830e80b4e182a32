#pragma once

#include "RunProgress.h"

namespace sqxer {

/// A bar on standard error, from the second second of a statement on: what it is at, and how much
/// of that is done.
class Progress {
 public:
  /// Where a statement starts.
  static void Start();
  /// For Session::SetProgress.
  static void ShowReading(uint64 done, uint64 total);
  static void ShowRunning(RunPhase phase, uint64 done, uint64 total);
  /// Removes the bar.
  static void Clear();
  /// Removes the bar for the rest of the statement.
  static void Stop();
};

}  // namespace sqxer
