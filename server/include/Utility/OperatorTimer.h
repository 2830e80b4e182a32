#pragma once

#include <chrono>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// What an operator spent: time charged by the sorters it handed itself to, and bytes they spilled.
/// Used by one thread.
class XEUTILITY_API OperatorTimer {
 public:
  /// Charges the time from construction to destruction.
  class Scope {
   public:
    explicit Scope(OperatorTimer& timer)
        : timer_(timer), start_(std::chrono::steady_clock::now()) {}
    ~Scope() { timer_.elapsed_ += std::chrono::steady_clock::now() - start_; }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    OperatorTimer& timer_;
    std::chrono::steady_clock::time_point start_;
  };

  void AddSpilledBytes(uint64 bytes);
  std::chrono::nanoseconds GetElapsed() const { return elapsed_; }
  uint64 GetSpilledBytes() const { return spilledBytes_; }
  /// What all timers of the calling thread were charged with since it started, also those that are
  /// gone: a query's own is the difference of two calls.
  static uint64 GetSpilledBytesOfThread();

 private:
  std::chrono::nanoseconds elapsed_{0};
  uint64 spilledBytes_ = 0;
};

}  // namespace sqxer
