#pragma once

#include <utility>

#include "RunProgress.h"

namespace sqxer {

/// Nobody is told of progress, as long as it lives.
class QuietProgress {
 public:
  explicit QuietProgress(RunProgress& progress)
      : progress_(progress), told_(std::exchange(progress, nullptr)) {}
  ~QuietProgress() { progress_ = std::move(told_); }
  QuietProgress(const QuietProgress&) = delete;
  QuietProgress& operator=(const QuietProgress&) = delete;

 private:
  RunProgress& progress_;
  RunProgress told_;
};

}  // namespace sqxer
