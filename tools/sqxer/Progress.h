#pragma once

#include <cstdint>

#include "Engine/Run.h"

namespace sqxer {

/// A bar on standard error, from the second second of a statement on: what it is at, and how much
/// of that is done.
class Progress {
 public:
  /// Where a statement starts.
  static void Start();
  /// For Session::SetProgress.
  static void Show(engine::Phase phase, std::uint64_t done, std::uint64_t total);
  /// Removes the bar.
  static void Clear();
  /// Removes the bar for the rest of the statement.
  static void Stop();
};

}  // namespace sqxer
