#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

namespace sqxer {

/// The one thread of a process on which the grammar's library runs. For each thread that calls it
/// the library takes a key of thread-specific data that it never gives back, and a process has
/// about a thousand of these: statements that each ran on a thread of their own would use them up.
class GrammarThread {
 public:
  /// That of this process; one that was forked off has another.
  static GrammarThread& Get();

  /// What `call` gives, which throws nothing. Calls of several threads come one after the other.
  /// Where no thread can be started it runs on the caller's.
  template <class Call>
  auto Run(Call&& call) {
    std::optional<decltype(call())> result;
    Do([&] { result.emplace(call()); });
    return *std::move(result);
  }

 private:
  explicit GrammarThread(int process) : process_(process) {}
  void Do(const std::function<void()>& job);
  void Work();

  const int process_;
  /// Whose call it is.
  std::mutex turn_;
  std::mutex mutex_;
  std::condition_variable changed_;
  const std::function<void()>* job_ = nullptr;
  bool isRunning_ = false;
};

}  // namespace sqxer
