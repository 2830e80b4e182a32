#include "Progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string_view>

namespace sqxer {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

struct State {
  Clock::time_point start;
  Clock::time_point next;
  /// The phase that is shown; null for none.
  const char* shown = nullptr;
  bool isStopped = false;
};
State state;

/// `phase` is one of few constants.
void Draw(const char* phase, std::uint64_t done, std::uint64_t total) {
  constexpr std::string_view kBar = "########################################";
  const Clock::time_point now = Clock::now();
  if (state.isStopped || now < state.start + 1s || (now < state.next && phase == state.shown))
    return;
  state.next = now + 100ms;
  state.shown = phase;
  // A file may grow while it is read.
  const double part =
      total == 0 ? 1 : std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
  const auto filled = static_cast<std::size_t>(part * static_cast<double>(kBar.size()));
  fmt::print(stderr, "\r{:<8} [{:<{}}] {:3.0f}%", phase, kBar.substr(0, filled), kBar.size(),
             std::floor(part * 100));
  std::fflush(stderr);
}

}  // namespace

void Progress::Start() { state = {Clock::now(), {}, nullptr, false}; }

void Progress::Show(engine::Phase phase, std::uint64_t done, std::uint64_t total) {
  using engine::Phase;
  switch (phase) {
    case Phase::kReading:
      return Draw("reading", done, total);
    case Phase::kJoining:
      return Draw("joining", done, total);
    case Phase::kGrouping:
      return Draw("grouping", done, total);
    case Phase::kSorting:
      return Draw("sorting", done, total);
    case Phase::kWriting:
      return Draw("writing", done, total);
  }
}

void Progress::Clear() {
  if (state.shown == nullptr) return;
  fmt::print(stderr, "\r\x1b[K");
  std::fflush(stderr);
  state.shown = nullptr;
}

void Progress::Stop() {
  Clear();
  state.isStopped = true;
}

}  // namespace sqxer
