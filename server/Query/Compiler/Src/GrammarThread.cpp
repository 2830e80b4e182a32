#include "GrammarThread.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <new>
#include <system_error>
#include <thread>

namespace sqxer {

GrammarThread& GrammarThread::Get() {
  // Never destroyed: the thread waits until the process ends.
  static std::atomic<GrammarThread*> current = nullptr;
  const int process = getpid();
  GrammarThread* known = current.load();
  if (known == nullptr || known->process_ != process) {
    auto* const fresh = new GrammarThread(process);
    if (current.compare_exchange_strong(known, fresh)) {
      known = fresh;
    } else {
      delete fresh;
    }
  }
  return *known;
}

void GrammarThread::Do(const std::function<void()>& job) {
  const std::lock_guard turn(turn_);
  std::unique_lock lock(mutex_);
  if (!isRunning_) {
    // Signals are for the threads of the program.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
      std::thread([this] { Work(); }).detach();
      isRunning_ = true;
    } catch (const std::system_error&) {
      // As many threads as there may be: the caller's own does.
    } catch (const std::bad_alloc&) {
      // A thread takes memory.
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
  if (!isRunning_) return job();
  job_ = &job;
  changed_.notify_all();
  changed_.wait(lock, [this] { return job_ == nullptr; });
}

void GrammarThread::Work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return job_ != nullptr; });
    (*job_)();
    job_ = nullptr;
    changed_.notify_all();
  }
}

}  // namespace sqxer
