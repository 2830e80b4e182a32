#include "Interruption.h"

#include <signal.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

#include "ErrorLines.h"
#include "OutputStream.h"

namespace sqxer {
namespace {

// What the handlers use: lock-free atomics, and calls that signals may make.

/// The session whose statement is running; null for none.
std::atomic<engine::Session*> running = nullptr;
/// The first signal since the last Clear.
std::atomic<int> taken = 0;
/// How often the timer has come since the signal.
std::atomic<int> ticks = 0;
std::atomic<bool> isShell = false;
std::atomic<int> wake = -1;
timer_t timer;
bool hasTimer = false;

/// A statement that begins withdraws what came a moment before, so that it is cancelled anew.
constexpr long kTickNanoseconds = 10'000'000;
/// How long a statement may take to end before its process does so without it.
constexpr int kMostTicksOfCommand = 8;
constexpr int kMostTicksOfShell = 100;

void SetTimer(long nanoseconds) {
  if (!hasTimer) return;
  const timespec interval = {0, nanoseconds};
  const itimerspec times = {interval, interval};
  timer_settime(timer, 0, &times, nullptr);
}

/// Leaves nothing behind: other temporary files have no names.
[[noreturn]] void EndAtOnce(int number) {
  engine::OutputFile::RemoveUnfinished();
  if (running != nullptr) PrintCancelled();
  Interruption::EndBy(number);
}

void Wake() {
  const int descriptor = wake;
  const std::uint64_t one = 1;
  if (descriptor < 0) return;
  [[maybe_unused]] const ssize_t written = write(descriptor, &one, sizeof one);
}

void OnSignal(int number) {
  const int error = errno;
  engine::Session* const session = running;
  int none = 0;
  if (!taken.compare_exchange_strong(none, number) && number != SIGINT) taken = number;
  if (!isShell && (session == nullptr || !hasTimer)) EndAtOnce(number);
  if (session != nullptr) {
    session->Cancel();
    ticks = 0;
    SetTimer(kTickNanoseconds);
  }
  Wake();
  errno = error;
}

void OnTimer(int /*number*/) {
  const int error = errno;
  if (engine::Session* const session = running) {
    const bool mayEnd = !isShell || taken != SIGINT;
    const int most = isShell ? kMostTicksOfShell : kMostTicksOfCommand;
    if (++ticks > most && mayEnd) EndAtOnce(taken);
    session->Cancel();
  }
  errno = error;
}

void Handle(int number, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  // One handler at a time, so that each sees what the other has done.
  for (const int other : {SIGINT, SIGTERM, SIGHUP, SIGALRM}) sigaddset(&action.sa_mask, other);
  action.sa_flags = SA_RESTART;
  sigaction(number, &action, nullptr);
}

}  // namespace

void Interruption::Install() {
  sigevent event = {};
  event.sigev_notify = SIGEV_SIGNAL;
  event.sigev_signo = SIGALRM;
  hasTimer = timer_create(CLOCK_MONOTONIC, &event, &timer) == 0;
  Handle(SIGALRM, &OnTimer);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction old = {};
    sigaction(number, nullptr, &old);
    if (old.sa_handler == SIG_DFL) Handle(number, &OnSignal);
  }
}

void Interruption::ServeShell() {
  isShell = true;
  wake = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  // A shell's own: whatever the process was started with.
  Handle(SIGINT, &OnSignal);
  for (const int number : {SIGWINCH, SIGCONT}) Handle(number, [](int) { Wake(); });
}

int Interruption::GetSignal() { return taken; }

void Interruption::Clear() {
  Drain();
  int ctrlC = SIGINT;
  taken.compare_exchange_strong(ctrlC, 0);
}

int Interruption::GetWakeDescriptor() { return wake; }

void Interruption::Drain() {
  std::uint64_t count = 0;
  if (wake < 0) return;
  [[maybe_unused]] const ssize_t got = read(wake, &count, sizeof count);
}

Interruption::Statement::Statement(engine::Session& session) {
  running = &session;
  // A signal that came before has seen no statement.
  if (taken != 0) {
    session.Cancel();
    SetTimer(kTickNanoseconds);
  }
}

Interruption::Statement::~Statement() {
  running = nullptr;
  SetTimer(0);
}

void Interruption::EndBy(int number) {
  signal(number, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, number);
  raise(number);
  // Behind its handler, which blocks it.
  pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
  _exit(128 + number);
}

}  // namespace sqxer
