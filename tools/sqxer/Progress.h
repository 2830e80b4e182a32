#pragma once

#include "Utility/XeTypes.h"

namespace sqxer {

/// A bar on standard error while a file is read, from the second second on.
class Progress {
 public:
  /// Where a statement starts.
  static void Start();
  /// For Session::SetProgress.
  static void Show(uint64 done, uint64 total);
  /// Removes the bar.
  static void Clear();
};

}  // namespace sqxer
