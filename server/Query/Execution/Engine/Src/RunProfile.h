#pragma once

#include <array>
#include <chrono>
#include <optional>
#include <utility>
#include <vector>

#include "SQXERNodeTimes.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// What the steps of a statement take, for EXPLAIN ANALYZE: time that is theirs alone, and rows.
/// Steps of the same kind, of all queries of the statement, are one. Of one thread, which runs the
/// statement; where nothing is measured there is none, and steps have a null pointer to look at.
class RunProfile {
 public:
  enum class Step : uint8 {
    kScan,
    kFilter,
    kJoin,
    kGroup,
    kHaving,
    kWindow,
    kOutputs,
    kDistinct,
    kSort,
    kWrite,
    /// Planning, binding, and what lies between the steps.
    kOther,
  };

  /// Measures what the thread runs from construction to destruction. `nodes`: the nodes of
  /// expressions, too.
  explicit RunProfile(bool nodes);
  ~RunProfile();
  RunProfile(const RunProfile&) = delete;
  RunProfile& operator=(const RunProfile&) = delete;

  /// That of the thread; null where nothing is measured.
  static RunProfile* Current() { return current; }

  /// The time from construction to destruction is that of a step, but for steps within it. The
  /// profile may be null.
  class Scope {
   public:
    Scope(RunProfile* profile, Step step)
        : profile_(profile != nullptr && !profile->isQuiet_ ? profile : nullptr) {
      if (profile_ != nullptr) [[unlikely]]
        outer_ = profile_->Switch(step);
    }
    ~Scope() {
      if (profile_ != nullptr) [[unlikely]]
        profile_->Switch(outer_);
    }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    RunProfile* const profile_;
    Step outer_ = Step::kOther;
  };

  /// Does something as a step of a profile, which may be null: then nothing else is done.
  template <class Action>
  static decltype(auto) InStep(RunProfile* profile, Step step, Action&& action) {
    if (profile == nullptr) [[likely]]
      return action();
    const Scope scope(profile, step);
    return action();
  }

  /// One of many rows that go by one after the other. To read the clock for each step of each of
  /// them would cost more than the steps do: it is read for one row of some, which counts for the
  /// others. The profile may be null.
  class RowScope {
   public:
    explicit RowScope(RunProfile* profile) : profile_(profile) {
      if (profile_ != nullptr) [[unlikely]]
        profile_->BeginRow();
    }
    ~RowScope() {
      if (profile_ != nullptr) [[unlikely]]
        profile_->EndRow();
    }
    RowScope(const RowScope&) = delete;
    RowScope& operator=(const RowScope&) = delete;

   private:
    RunProfile* const profile_;
  };

  /// A SELECT, perhaps within others, whose nodes are measured as long as it lives. The profile may
  /// be null.
  class SelectScope {
   public:
    explicit SelectScope(RunProfile* profile) : profile_(profile) {
      if (profile_ != nullptr) ++profile_->selects_;
    }
    ~SelectScope() {
      // Before the outermost one has ended no node can take the place of one of its own.
      if (profile_ != nullptr && --profile_->selects_ == 0 && profile_->nodes_)
        profile_->nodes_->ForgetNodes();
    }
    SelectScope(const SelectScope&) = delete;
    SelectScope& operator=(const SelectScope&) = delete;

   private:
    RunProfile* const profile_;
  };

  void AddRows(Step step, uint64 in, uint64 out) {
    Of(step).in += in;
    Of(step).out += out;
  }
  /// The nodes; null where they are not measured.
  const NodeTimes* GetNodes() const { return nodes_ ? &*nodes_ : nullptr; }

  /// A line for each step that has done something, and the whole.
  std::vector<XeString> Describe();

 private:
  using Clock = std::chrono::steady_clock;
  struct Taken {
    Clock::duration time{0};
    uint64 in = 0;
    uint64 out = 0;
  };
  static constexpr std::size_t kSteps = static_cast<std::size_t>(Step::kOther) + 1;
  static constexpr uint32 kRowsOfSample = 16;

  Taken& Of(Step step) { return taken_[static_cast<std::size_t>(step)]; }
  /// Charges the time so far to the current step, and makes another one it, which was that before.
  Step Switch(Step step) {
    const Clock::time_point now = Clock::now();
    const Clock::duration time = now - since_;
    Of(step_).time += time * weight_;
    // The time of the other rows went to the step around.
    if (weight_ > 1) Of(base_).time -= time * (weight_ - 1);
    since_ = now;
    return std::exchange(step_, step);
  }
  void BeginRow();
  void EndRow();

  static thread_local RunProfile* current;

  RunProfile* const outer_;
  std::optional<NodeTimes> nodes_;
  std::optional<NodeTimes::Scope> nodeScope_;
  int selects_ = 0;
  std::array<Taken, kSteps> taken_ = {};
  const Clock::time_point start_ = Clock::now();
  Clock::time_point since_ = start_;
  Step step_ = Step::kOther;
  /// Of the rows one by one: which of them it is, whether no clock is read for it, for how many it
  /// counts, and the step around.
  uint32 row_ = 0;
  bool isQuiet_ = false;
  int weight_ = 1;
  Step base_ = Step::kOther;
};

}  // namespace sqxer
