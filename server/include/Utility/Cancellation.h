#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>

#include "Utility/Export.h"

namespace sqxer {

/// A wish that a statement end, which may come from any thread. Long work asks for it now and then
/// by Check, on the thread that began it.
class XEUTILITY_API Cancellation {
 public:
  void Request() noexcept { isRequested_.store(true, std::memory_order_relaxed); }
  void Withdraw() noexcept { isRequested_.store(false, std::memory_order_relaxed); }
  bool IsRequested() const noexcept { return isRequested_.load(std::memory_order_relaxed); }

  /// Error 57110 when the end of the thread's innermost scope is wished for.
  static void Check();
  /// That of the thread's innermost scope, for scopes of threads that share its work; null for
  /// none.
  static const Cancellation* OfThread() noexcept;

 private:
  friend class CancellationScope;

  static thread_local const Cancellation* current;
  std::atomic<bool> isRequested_ = false;
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
