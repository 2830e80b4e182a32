#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "Utility/Cancellation.h"
#include "Utility/StatementBudget.h"

namespace sqxer {

/// Threads that do the same on parts of one task, in which an earlier part that fails or has enough
/// makes the later ones needless.
class Workers {
 public:
  explicit Workers(std::size_t count) : failures_(count), ended_(count) {}

  bool IsNeeded(std::size_t index) const { return index < ended_; }
  /// Whether none has ended early.
  bool AreAllDone() const { return ended_ == failures_.size(); }

  /// Calls work(i) for every worker, each on a thread of its own but the first and those that no
  /// thread can be started for, which the first one's does; a false ends those behind it. `idle` is
  /// called now and then when the first is done. Throws what the first failed one has thrown.
  template <class Work, class Idle>
  void Run(Work&& work, Idle&& idle) {
    // What ends this thread's statement ends its workers, and they count with it.
    const Cancellation* const cancellation = Cancellation::OfThread();
    const StatementBudget::Context budget = StatementBudget::OfThread();
    std::mutex mutex;
    std::condition_variable finished;
    std::size_t ended = 0;
    {
      std::vector<std::jthread> threads;
      try {
        threads.reserve(failures_.size() - 1);
        while (threads.size() < failures_.size() - 1) {
          threads.emplace_back([&, i = threads.size() + 1] {
            const CancellationScope scope(cancellation);
            const BudgetScope counted(budget);
            RunOne(i, work);
            const std::lock_guard lock(mutex);
            ++ended;
            finished.notify_one();
          });
        }
      } catch (const std::system_error&) {
        // As many threads as there may be.
      } catch (const std::bad_alloc&) {
        // A thread takes memory; what has to be done may need none.
      }
      RunOne(0, work);
      for (std::size_t i = threads.size() + 1; i < failures_.size(); ++i) RunOne(i, work);
      std::unique_lock lock(mutex);
      try {
        while (!finished.wait_for(lock, kIdleTime, [&] { return ended == threads.size(); })) idle();
      } catch (...) {
        End(0);
        throw;
      }
    }
    for (std::size_t i = 0; i < failures_.size() && i <= ended_; ++i) {
      if (failures_[i]) std::rethrow_exception(failures_[i]);
    }
  }

 private:
  static constexpr std::chrono::milliseconds kIdleTime{50};

  template <class Work>
  void RunOne(std::size_t index, Work&& work) noexcept {
    try {
      if (!work(index)) End(index);
    } catch (...) {
      failures_[index] = std::current_exception();
      End(index);
    }
  }

  void End(std::size_t index) {
    std::size_t ended = ended_;
    while (index < ended && !ended_.compare_exchange_weak(ended, index)) {
    }
  }

  std::vector<std::exception_ptr> failures_;
  /// The first worker that has ended early; no later one is needed.
  std::atomic<std::size_t> ended_;
};

}  // namespace sqxer
