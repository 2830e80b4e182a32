#pragma once

#include <string>

#include "FaultCases.h"
#include "FaultInjector.h"

namespace sqxer::faults {

/// A case, one call of which fails in each run. What it gives without a failure is what it must
/// give with one, if it does not end with the error that the kind allows; and whatever it ends
/// with, nothing is left of it, and the session does the same right afterwards.
class FaultRun {
 public:
  /// What an action has ended with.
  struct Outcome {
    enum class Kind { kResult, kError, kNoMemory, kOther };
    Kind kind = Kind::kResult;
    int code = 0;
    std::string text = {};
    bool operator==(const Outcome&) const = default;
    std::string Show() const;
  };

  FaultRun(const Case& tried, Kind kind) : case_(tried), kind_(kind) {}

  /// Runs it without a failure until that leaves nothing. How many calls it has; what is wrong
  /// with the case itself is thrown as std::runtime_error.
  long Prepare();
  /// What is wrong when the call of that number fails; empty when all is right.
  std::string Try(long number);

  /// The same for a process that has done nothing yet, so that all that is done once may fail, the
  /// session's own beginning too. How many calls there are, and what the case gives.
  long PrepareCold(Outcome& expected);
  std::string TryCold(long number, const Outcome& expected);

 private:
  struct Seen {
    Outcome outcome;
    Told told{};
    std::string problem = {};
  };

  template <class Action>
  static Outcome OutcomeOf(Action&& action);
  void SetUp(engine::Session& session) const;
  Outcome Check(engine::Session& session) const;
  std::string JudgeFailure(const Outcome& outcome) const;
  std::string ReadOutput() const;
  void ResetOutput() const;
  /// One run in a session of its own, the call of the number failing; 0 for none.
  Seen Run(long number);
  std::string JudgeAfter(engine::Session& session, const Outcome& outcome);

  const Case& case_;
  const Kind kind_;
  Outcome expected_;
  Outcome before_;
  Outcome after_;
  std::string written_;
};

}  // namespace sqxer::faults
