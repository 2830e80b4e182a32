#include "Utility/Cancellation.h"

#include <utility>

#include "Utility/ErrorMessage.h"

namespace sqxer {

thread_local const Cancellation* Cancellation::current = nullptr;

void Cancellation::SetDeadline(std::chrono::milliseconds fromNow) noexcept {
  const Clock::time_point deadline = Clock::now() + fromNow;
  deadline_.store(deadline.time_since_epoch().count(), std::memory_order_relaxed);
}

void Cancellation::Check() {
  constexpr int kCancelled = 57110;
  constexpr int kTimedOut = 57173;
  if (current == nullptr) return;
  if (current->IsRequested()) SUGThrow(ErrorMessage(kCancelled));
  const Clock::rep deadline = current->deadline_.load(std::memory_order_relaxed);
  if (deadline == kNoDeadline) return;
  if (Clock::now().time_since_epoch().count() >= deadline) SUGThrow(ErrorMessage(kTimedOut));
}

const Cancellation* Cancellation::OfThread() noexcept { return current; }

CancellationScope::CancellationScope(const Cancellation* cancellation)
    : outer_(std::exchange(Cancellation::current, cancellation)) {}

CancellationScope::~CancellationScope() { Cancellation::current = outer_; }

}  // namespace sqxer
