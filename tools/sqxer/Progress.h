#pragma once

#include "Engine/Run.h"

namespace sqxer {

/// A bar on standard error, from the second second of a statement on: what it is at, how much of
/// that is done, how fast, and how long the rest of it will take.
class Progress {
 public:
  /// Where a statement starts.
  static void Start();
  /// For Session::SetProgress.
  static void Show(const engine::PhaseProgress& progress);
  /// Removes the bar.
  static void Clear();
  /// Removes the bar for the rest of the statement.
  static void Stop();
};

}  // namespace sqxer
