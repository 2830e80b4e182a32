#include "Progress.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

namespace sqxer {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

struct State {
  Clock::time_point next;
  bool isShown = false;
};
State state;

}  // namespace

void Progress::Start() { state = {Clock::now() + 1s}; }

void Progress::Show(uint64 done, uint64 total) {
  constexpr uint64 kBarWidth = 40;
  const Clock::time_point now = Clock::now();
  if (now < state.next || total == 0) return;
  state.next = now + 100ms;
  state.isShown = true;
  // A file may grow while it is read.
  const uint64 tenths = std::min<uint64>(1000, done * 1000 / total);
  fmt::print(stderr, "\rreading [{:<{}}] {:3}%", std::string(tenths * kBarWidth / 1000, '#'),
             kBarWidth, tenths / 10);
  std::fflush(stderr);
}

void Progress::Clear() {
  if (!state.isShown) return;
  fmt::print(stderr, "\r\x1b[K");
  std::fflush(stderr);
  state.isShown = false;
}

}  // namespace sqxer
