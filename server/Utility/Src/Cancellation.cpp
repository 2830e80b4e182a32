#include "Utility/Cancellation.h"

#include <utility>

#include "Utility/ErrorMessage.h"

namespace sqxer {

thread_local const Cancellation* Cancellation::current = nullptr;

void Cancellation::Check() {
  constexpr int kCancelled = 57110;
  if (current != nullptr && current->IsRequested()) SUGThrow(ErrorMessage(kCancelled));
}

const Cancellation* Cancellation::OfThread() noexcept { return current; }

CancellationScope::CancellationScope(const Cancellation* cancellation)
    : outer_(std::exchange(Cancellation::current, cancellation)) {}

CancellationScope::~CancellationScope() { Cancellation::current = outer_; }

}  // namespace sqxer
