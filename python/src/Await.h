#pragma once

#include <nanobind/nanobind.h>

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

namespace sqxer::python {

namespace nb = nanobind;

/// Does work that may take long in a thread of its own, without the interpreter's lock, while this
/// thread looks for signals. Where one raises, `cancel` is called, and the exception thrown when
/// the work has ended.
template <class Work, class Cancel>
void Await(Work&& work, Cancel&& cancel) {
  constexpr std::chrono::milliseconds kBetweenLooks{20};
  std::mutex mutex;
  std::condition_variable changed;
  bool isDone = false;
  std::exception_ptr error;
  std::optional<nb::python_error> signal;
  {
    const nb::gil_scoped_release released;
    const auto run = [&] {
      try {
        work();
      } catch (...) {
        error = std::current_exception();
      }
      const std::lock_guard lock(mutex);
      isDone = true;
      changed.notify_all();
    };
    std::jthread thread;
    try {
      thread = std::jthread(run);
    } catch (const std::system_error&) {
      // As many threads as there may be: signals wait.
      run();
    }
    std::unique_lock lock(mutex);
    while (!changed.wait_for(lock, kBetweenLooks, [&] { return isDone; })) {
      lock.unlock();
      if (!signal) {
        const nb::gil_scoped_acquire acquired;
        if (PyErr_CheckSignals() != 0) signal.emplace();
      }
      // Until the work ends: what it waits for first may not be what is to be ended.
      if (signal) cancel();
      lock.lock();
    }
  }
  if (signal) throw nb::python_error(std::move(*signal));
  if (error) std::rethrow_exception(error);
}

/// Something whose end may have to wait for a thread that needs the interpreter's lock.
template <class Held>
class Unlocked {
 public:
  explicit Unlocked(Held held) : held_(std::move(held)) {}
  Unlocked(Unlocked&&) noexcept = default;
  ~Unlocked() {
    if (!held_) return;
    const nb::gil_scoped_release released;
    held_.reset();
  }
  Held& operator*() { return *held_; }
  Held* operator->() { return &*held_; }

 private:
  std::optional<Held> held_;
};

}  // namespace sqxer::python
