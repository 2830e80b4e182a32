#include "FaultRun.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <stdexcept>

namespace sqxer::faults {
namespace {

namespace fs = std::filesystem;
using engine::Error;
using engine::Session;

constexpr const char* kOldFile = "old\n";
/// Runs of which a block that is left of each is one that is lost.
constexpr int kRunsOfLeak = 4;
/// The error of a stream without a thread.
constexpr int kNoThread = 57119;

std::size_t CountFiles(const char* folder) {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

std::size_t CountDescriptors() { return CountFiles("/proc/self/fd"); }

/// Errors of files, of temporary ones and of COPY.
bool IsOfFile(int code) {
  constexpr int kTemporaryFile = 59180;
  constexpr int kCopyFailed = 57152;
  return (code >= Error::kFirstOfFiles && code <= Error::kLastOfFiles) || code == kTemporaryFile ||
         code == kCopyFailed;
}

}  // namespace

std::string FaultRun::Outcome::Show() const {
  const std::string shown = text.size() > 300 ? text.substr(0, 300) + "..." : text;
  return kind == Kind::kResult  ? "the result\n" + shown
         : kind == Kind::kError ? "error " + std::to_string(code) + ": " + shown
                                : shown;
}

template <class Action>
FaultRun::Outcome FaultRun::OutcomeOf(Action&& action) {
  using Kind = Outcome::Kind;
  try {
    return {Kind::kResult, 0, action()};
  } catch (const Error& error) {
    // What is kept of it is the test's.
    Disarm();
    return {Kind::kError, error.GetCode(), error.what()};
  } catch (const std::bad_alloc&) {
    Disarm();
    return {Kind::kNoMemory, 0, "no memory"};
  } catch (const std::exception& error) {
    Disarm();
    return {Kind::kOther, 0, std::string("an exception: ") + error.what()};
  }
}

void FaultRun::SetUp(Session& session) const {
  session.SetThreads(case_.threads);
  session.Set("TempDirectory", "tmp");
  for (const auto& [name, value] : case_.switches) session.Set(name, value);
  for (const std::string& sql : case_.setup) session.Query(sql);
}

FaultRun::Outcome FaultRun::Check(Session& session) const {
  if (case_.check.empty()) return {};
  return OutcomeOf([&] { return WriteAll(session, case_.check); });
}

std::string FaultRun::ReadOutput() const {
  std::ifstream file("out/" + case_.output, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void FaultRun::ResetOutput() const {
  for (const fs::directory_entry& file : fs::directory_iterator("out")) fs::remove(file);
  if (!case_.output.empty()) std::ofstream("out/" + case_.output, std::ios::binary) << kOldFile;
}

std::string FaultRun::JudgeFailure(const Outcome& outcome) const {
  const bool isError = outcome.kind == Outcome::Kind::kError;
  const bool isAllowed = kind_ == Kind::kMemory   ? outcome.kind == Outcome::Kind::kNoMemory
                         : kind_ == Kind::kFile   ? isError && IsOfFile(outcome.code)
                         : kind_ == Kind::kThread ? isError && outcome.code == kNoThread
                                                  : false;
  return isAllowed ? "" : "it ends with " + outcome.Show();
}

std::string FaultRun::JudgeAfter(Session& session, const Outcome& outcome) {
  const bool isDone = outcome == expected_;
  std::string problem = isDone ? "" : JudgeFailure(outcome);
  if (!problem.empty()) return problem;
  if (const Outcome seen = Check(session); seen != (isDone ? after_ : before_))
    return "behind " + outcome.Show() + " the session has\n" + seen.Show();
  if (!case_.output.empty() && ReadOutput() != (isDone ? written_ : kOldFile))
    return "behind " + outcome.Show() + " the file has\n" + ReadOutput();
  if (!case_.check.empty() && isDone) return "";
  if (const Outcome again = OutcomeOf([&] { return case_.act(session); }); again != expected_)
    return "behind " + outcome.Show() + " the session gives\n" + again.Show();
  if (Check(session) != after_) return "what is done again is not seen";
  return "";
}

FaultRun::Seen FaultRun::Run(long number) {
  ResetOutput();
  Seen seen;
  {
    Session session;
    SetUp(session);
    Arm(kind_, number);
    seen.outcome = OutcomeOf([&] { return case_.act(session); });
    seen.told = Disarm();
    if (number != 0) seen.problem = JudgeAfter(session, seen.outcome);
  }
  if (seen.problem.empty() && CountFiles("tmp") != 0) seen.problem = "a temporary file is left";
  if (seen.problem.empty() && CountFiles("out") != (case_.output.empty() ? 0u : 1u))
    seen.problem = "a file is left beside the output";
  return seen;
}

long FaultRun::PrepareCold(Outcome& expected) {
  ResetOutput();
  Arm(kind_, 0);
  expected = OutcomeOf([&] {
    Session session;
    SetUp(session);
    return case_.act(session);
  });
  return Disarm().calls;
}

std::string FaultRun::TryCold(long number, const Outcome& expected) {
  expected_ = expected;
  ResetOutput();
  const auto act = [&] {
    Session session;
    SetUp(session);
    return case_.act(session);
  };
  Arm(kind_, number);
  const Outcome outcome = OutcomeOf(act);
  Disarm();
  const std::string problem = outcome == expected_ ? "" : JudgeFailure(outcome);
  if (!problem.empty()) return problem;
  // What failed once does not fail for good.
  ResetOutput();
  const Outcome again = OutcomeOf(act);
  return again == expected_
             ? ""
             : "behind " + outcome.Show() + " another session gives\n" + again.Show();
}

long FaultRun::Prepare() {
  ResetOutput();
  {
    Session session;
    SetUp(session);
    before_ = Check(session);
    expected_ = OutcomeOf([&] { return case_.act(session); });
    after_ = Check(session);
    if (!case_.output.empty()) written_ = ReadOutput();
  }
  if ((expected_.kind == Outcome::Kind::kResult) == case_.isRefused)
    throw std::runtime_error("without a failure it ends with " + expected_.Show());
  long calls = 0;
  for (int i = 0; i < kRunsOfLeak; ++i) {
    const Seen seen = Run(0);
    if (seen.outcome != expected_)
      throw std::runtime_error("its results differ: " + seen.outcome.Show());
    calls = std::max(calls, seen.told.calls);
  }
  const long blocks = CountBlocks();
  Run(0);
  if (case_.threads == 1 && CountBlocks() != blocks)
    throw std::runtime_error("without a failure it leaves " +
                             std::to_string(CountBlocks() - blocks) + " blocks");
  return calls;
}

std::string FaultRun::Try(long number) {
  const std::size_t descriptors = CountDescriptors();
  long lost = 0;
  for (int i = 0; i < kRunsOfLeak; ++i) {
    ForgetBlocks();
    const long blocks = CountBlocks();
    {
      const Seen seen = Run(number);
      if (!seen.problem.empty()) return seen.problem;
    }
    lost = CountBlocks() - blocks;
    if (lost <= 0) break;
  }
  if (lost > 0) PrintBlocks();
  if (lost > 0) return std::to_string(lost) + " blocks of memory are lost";
  if (CountDescriptors() > descriptors) return "a file stays open";
  return "";
}

}  // namespace sqxer::faults
