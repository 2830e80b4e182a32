#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>

#include "Utility/Export.h"

namespace sqxer {

/// A wish that a statement end, which may come from any thread. Long work asks for it now and then
/// by Check, on the thread that began it.
class XEUTILITY_API Cancellation {
 public:
  void Request() noexcept { isRequested_.store(true, std::memory_order_relaxed); }
  /// The deadline is withdrawn, too.
  void Withdraw() noexcept {
    isRequested_.store(false, std::memory_order_relaxed);
    deadline_.store(kNoDeadline, std::memory_order_relaxed);
  }
  /// The end is wished for as soon as that time from now has passed.
  void SetDeadline(std::chrono::milliseconds fromNow) noexcept;
  bool IsRequested() const noexcept { return isRequested_.load(std::memory_order_relaxed); }

  /// Error 57110 when the end of the thread's innermost scope is wished for, 57173 when its
  /// deadline has passed.
  static void Check();
  /// That of the thread's innermost scope, for scopes of threads that share its work; null for
  /// none.
  static const Cancellation* OfThread() noexcept;

 private:
  friend class CancellationScope;

  using Clock = std::chrono::steady_clock;
  static constexpr Clock::rep kNoDeadline = Clock::duration::max().count();

  static thread_local const Cancellation* current;
  std::atomic<bool> isRequested_ = false;
  std::atomic<Clock::rep> deadline_ = kNoDeadline;
};

/// Makes a cancellation that of the thread, as long as it lives.
class XEUTILITY_API CancellationScope {
 public:
  explicit CancellationScope(const Cancellation* cancellation);
  ~CancellationScope();
  CancellationScope(const CancellationScope&) = delete;
  CancellationScope& operator=(const CancellationScope&) = delete;

 private:
  const Cancellation* const outer_;
};

/// Calls use(from, to) for stretches of so many things, one after the other, and checks between
/// them whether to end.
template <class Use>
void InCancellableStretches(std::size_t count, Use&& use) {
  constexpr std::size_t kStretch = std::size_t{1} << 16;
  for (std::size_t from = 0; from < count; from += kStretch) {
    Cancellation::Check();
    use(from, std::min(from + kStretch, count));
  }
}

}  // namespace sqxer
