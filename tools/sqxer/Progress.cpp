#include "Progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>
#include <optional>
#include <string>

#include "Terminal.h"

namespace sqxer {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using namespace std::chrono_literals;

constexpr std::size_t kBarWidth = 24;
/// What a line takes with everything in it.
constexpr std::size_t kLineWidth = 78;

struct State {
  Clock::time_point start;
  Clock::time_point next;
  /// The phase that is shown; nothing for none.
  std::optional<engine::Phase> shown;
  /// The phase that is going on, since when, and what was done of it then.
  engine::Phase phase = engine::Phase::kReading;
  Clock::time_point phaseStart;
  std::uint64_t phaseFirst = 0;
  std::uint64_t last = 0;
  bool isStopped = false;
};
State state;

const char* NameOf(engine::Phase phase) {
  using engine::Phase;
  switch (phase) {
    case Phase::kReading:
      return "reading";
    case Phase::kJoining:
      return "joining";
    case Phase::kGrouping:
      return "grouping";
    case Phase::kSorting:
      return "sorting";
    case Phase::kWriting:
      break;
  }
  return "writing";
}

/// "12.5M rows", "310 MB".
std::string Amount(double count, bool areRows) {
  constexpr const char* kSteps[] = {"", "k", "M", "G", "T"};
  std::size_t step = 0;
  for (; count >= 1000 && step + 1 < std::size(kSteps); ++step) count /= 1000;
  const std::string number =
      count < 10 && step > 0 ? fmt::format("{:.1f}", count) : fmt::format("{:.0f}", count);
  return areRows ? fmt::format("{}{} rows", number, kSteps[step])
                 : fmt::format("{} {}B", number, kSteps[step]);
}

std::string TimeLeft(double seconds) {
  if (seconds < 100) return fmt::format("{:.0f} s left", std::ceil(seconds));
  return fmt::format("{:.0f} min left", std::ceil(seconds / 60));
}

std::string MakeLine(const engine::PhaseProgress& progress, Clock::time_point now) {
  const double elapsed = Seconds(now - state.phaseStart).count();
  const auto done = static_cast<double>(progress.done);
  const auto total = static_cast<double>(progress.total);
  const double rate =
      elapsed < 0.5 ? 0 : static_cast<double>(progress.done - state.phaseFirst) / elapsed;
  const std::string speed = rate == 0 ? "" : "  " + Amount(rate, progress.areRows) + "/s";
  std::string line = fmt::format("{:<8} ", NameOf(progress.phase));
  if (progress.total == 0) return line + Amount(done, progress.areRows) + speed;
  // A file may grow while it is read.
  const double part = std::min(1.0, done / total);
  const std::string percent = fmt::format("{:3.0f}%", std::floor(part * 100));
  if (const std::size_t width = TerminalWidth(STDERR_FILENO); width != 0 && width < kLineWidth) {
    return line + percent;
  }
  const auto filled = static_cast<std::size_t>(part * static_cast<double>(kBarWidth));
  line += fmt::format("[{:<{}}] {}{}", std::string(filled, '#'), kBarWidth, percent, speed);
  if (rate != 0) line += ", " + TimeLeft(std::max(0.0, total - done) / rate);
  return line;
}

}  // namespace

void Progress::Start() {
  state = {};
  state.start = Clock::now();
}

void Progress::Show(const engine::PhaseProgress& progress) {
  const Clock::time_point now = Clock::now();
  const bool isNew = progress.phase != state.phase || progress.done < state.last;
  if (isNew || state.phaseStart == Clock::time_point()) {
    state.phase = progress.phase;
    state.phaseStart = now;
    state.phaseFirst = progress.done;
  }
  state.last = progress.done;
  const bool isSoon = now < state.next && state.shown == progress.phase;
  if (state.isStopped || now < state.start + 1s || isSoon) return;
  state.next = now + 100ms;
  state.shown = progress.phase;
  fmt::print(stderr, "\r{}\x1b[K", MakeLine(progress, now));
  std::fflush(stderr);
}

void Progress::Clear() {
  if (!state.shown) return;
  fmt::print(stderr, "\r\x1b[K");
  std::fflush(stderr);
  state.shown.reset();
}

void Progress::Stop() {
  Clear();
  state.isStopped = true;
}

}  // namespace sqxer
