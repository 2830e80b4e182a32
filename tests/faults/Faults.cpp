// Lets every call of a kind fail once, one in each run of a list of statements.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <utility>

#include "CommandFaults.h"
#include "FaultRun.h"

namespace sqxer::faults {
namespace {

namespace fs = std::filesystem;

struct Options {
  std::vector<std::string> cases = {};
  std::vector<std::string> kinds = {};
  /// Runs of each case and kind; 0 for as many as there are calls.
  long most = 0;
  long mostCold = 0;
  /// One run alone, in this process.
  long at = 0;
  /// Findings of each case and kind that are printed.
  long shown = 3;
  /// The command, whose lines are tried as well; none where it is empty.
  std::string command = {};
  long mostOfCommand = 100;
  bool isCold = false;
  bool isTraced = false;
};

/// What a process that may end in any way has told the one that waits for it.
struct Shared {
  long calls = 0;
  long number = 0;
  long findings = 0;
  FaultRun::Outcome::Kind kind = {};
  int code = 0;
  std::size_t size = 0;
  char text[std::size_t{1} << 20] = {};
};

constexpr unsigned kSecondsOfRun = 60;
constexpr long kMostCrashes = 40;

class Sweep {
 public:
  explicit Sweep(const Options& options) : options_(options) {
    void* const shared =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    shared_ = new (shared) Shared;
  }

  /// How many findings.
  long Run(const std::vector<Case>& cases) {
    InProcess([] { WriteFiles(); });
    for (int kind = 0; kind < kKinds; ++kind) {
      if (!IsWanted(options_.kinds, NameOf(static_cast<Kind>(kind)))) continue;
      for (const Case& one : cases) RunCase(one, static_cast<Kind>(kind));
      if (options_.command.empty()) continue;
      for (const std::string& line : CommandFaults::ListLines())
        RunCommand(line, static_cast<Kind>(kind));
    }
    std::printf("%ld runs, %ld findings\n", runs_, findings_);
    return findings_;
  }

  static bool IsWanted(const std::vector<std::string>& wanted, const std::string& name) {
    return wanted.empty() || std::ranges::find(wanted, name) != wanted.end();
  }

 private:
  /// Does something in a process of its own: how it has ended.
  static int InProcess(const std::function<void()>& action) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
      try {
        action();
      } catch (const std::exception& error) {
        std::printf("the run of a case: %s\n", error.what());
        std::fflush(stdout);
        _exit(1);
      }
      std::fflush(stdout);
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
  }

  void RunCase(const Case& one, Kind kind) {
    const auto start = std::chrono::steady_clock::now();
    const long before = runs_;
    const long findings = findings_;
    shared_->findings = 0;
    if (!options_.isCold) RunWarm(one, kind);
    const long warmCalls = shared_->calls;
    const bool isForCold = !one.opensLocale || options_.at != 0;
    if (isForCold && (options_.mostCold != 0 || options_.isCold)) RunCold(one, kind);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    std::printf("%-24s %-9s %7ld calls %6ld runs %6.1f s%s\n", one.name.c_str(), NameOf(kind),
                warmCalls, runs_ - before, seconds.count(),
                findings_ == findings ? "" : "  FINDINGS");
  }

  void SetSurroundings(const Case& one) const {
    if (one.spills) setenv("RUN_BUFFER_SIZE", "1", 1);
    if (options_.isTraced) Trace();
  }

  void Tell(const Case& one, Kind kind, const char* how, const std::string& problem) {
    if (++shared_->findings > options_.shown) return;
    std::printf("FINDING --case %s --kind %s %s--at %ld: %s\n", one.name.c_str(), NameOf(kind), how,
                shared_->number, problem.c_str());
    std::fflush(stdout);
  }

  /// The number of the call that fails in the run of an index.
  long NumberOf(long index, long most) const {
    if (options_.at != 0) return options_.at;
    if (most == 0 || shared_->calls <= most) return index + 1;
    return 1 + index * shared_->calls / most;
  }
  long CountRuns(long most) const {
    if (options_.at != 0) return 1;
    return most == 0 ? shared_->calls : std::min(most, shared_->calls);
  }

  void RunWarm(const Case& one, Kind kind) {
    long index = 0;
    for (long crashes = 0; crashes < kMostCrashes; ++crashes) {
      shared_->number = 0;
      const int status = InProcess([&] {
        SetSurroundings(one);
        FaultRun run(one, kind);
        shared_->calls = run.Prepare();
        for (; index < CountRuns(options_.most); ++index) {
          shared_->number = NumberOf(index, options_.most);
          alarm(kSecondsOfRun);
          const std::string problem = run.Try(shared_->number);
          if (!problem.empty()) Tell(one, kind, "", problem);
        }
      });
      // Behind the one that has ended the process.
      const long count = CountRuns(options_.most);
      if (status == 0) {
        runs_ += count - index;
        break;
      }
      if (shared_->number == 0) {
        Tell(one, kind, "", "it does not run");
        break;
      }
      Tell(one, kind, "", Describe(status));
      const long from = index;
      while (index < count && NumberOf(index, options_.most) <= shared_->number) ++index;
      runs_ += index - from;
    }
    findings_ += std::exchange(shared_->findings, 0);
  }

  void RunCold(const Case& one, Kind kind) {
    const auto inProcess = [&](const std::function<void(FaultRun&)>& action) {
      return InProcess([&] {
        SetSurroundings(one);
        alarm(kSecondsOfRun);
        FaultRun run(one, kind);
        action(run);
      });
    };
    inProcess([&](FaultRun& run) {
      FaultRun::Outcome expected;
      shared_->calls = run.PrepareCold(expected);
      shared_->kind = expected.kind;
      shared_->code = expected.code;
      shared_->size = std::min(expected.text.size(), sizeof shared_->text);
      std::memcpy(shared_->text, expected.text.data(), shared_->size);
    });
    const long count = CountRuns(options_.mostCold);
    for (long index = 0; index < count; ++index) {
      shared_->number = NumberOf(index, options_.mostCold);
      const int status = inProcess([&](FaultRun& run) {
        const std::string problem = run.TryCold(
            shared_->number, {shared_->kind, shared_->code, {shared_->text, shared_->size}});
        if (!problem.empty()) Tell(one, kind, "--cold ", problem);
      });
      if (status != 0) Tell(one, kind, "--cold ", Describe(status));
      ++runs_;
    }
    findings_ += std::exchange(shared_->findings, 0);
  }

  void RunCommand(const std::string& line, Kind kind) {
    CommandFaults run(options_.command, line, kind);
    shared_->calls = run.Prepare();
    const long count = CountRuns(options_.mostOfCommand);
    long failed = 0;
    for (long index = 0; index < count; ++index) {
      const long number = NumberOf(index, options_.mostOfCommand);
      const std::string problem = run.Try(number);
      ++runs_;
      if (problem.empty()) continue;
      ++findings_;
      if (++failed > options_.shown) continue;
      std::printf("FINDING SQXER_FAULT=%s:%ld sqxer %s: %s\n", NameOf(kind), number, line.c_str(),
                  problem.c_str());
    }
    std::printf("sqxer %.18s %-9s %7ld calls %6ld runs%s\n", line.c_str(), NameOf(kind),
                shared_->calls, count, failed == 0 ? "" : "  FINDINGS");
  }

  static std::string Describe(int status) {
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM) return "it does not end";
    return WIFSIGNALED(status) ? std::string("the process ends by ") + strsignal(WTERMSIG(status))
                               : "the process ends with " + std::to_string(WEXITSTATUS(status));
  }

  const Options& options_;
  Shared* shared_;
  long runs_ = 0;
  long findings_ = 0;
};

/// A folder of its own as the current one, gone with the object.
class Folder {
 public:
  Folder() {
    std::string name = (fs::temp_directory_path() / "sqxer-faults-XXXXXX").string();
    path_ = mkdtemp(name.data());
    fs::current_path(path_);
    fs::create_directory("out");
    fs::create_directory("tmp");
  }
  ~Folder() {
    fs::current_path("/");
    fs::remove_all(path_);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

 private:
  fs::path path_;
};

int Main(int count, char** arguments) {
  Options options;
  bool isListing = false;
  CLI::App app("Lets every call of a kind fail once, one in each run of a list of statements.");
  app.add_option("--case", options.cases, "These cases alone");
  app.add_option("--kind", options.kinds, "memory, file, interrupt, short, thread");
  app.add_option("--most", options.most, "How many calls of each case and kind fail; 0: all");
  app.add_option("--most-cold", options.mostCold,
                 "How many calls fail in a process that has done nothing before");
  app.add_option("--command", options.command, "The command, to be tried as well");
  app.add_option("--most-of-command", options.mostOfCommand,
                 "How many calls of each kind fail in each of its lines; 0: all");
  app.add_option("--at", options.at, "The call of that number alone");
  app.add_option("--show", options.shown, "How many findings of each case and kind are printed");
  app.add_flag("--cold", options.isCold, "In processes that have done nothing before alone");
  app.add_flag("--trace", options.isTraced, "Print where what fails is called from");
  app.add_flag("--list", isListing, "Print the names of the cases");
  CLI11_PARSE(app, count, arguments);
  std::vector<Case> cases = ListCases();
  std::erase_if(cases, [&](const Case& one) { return !Sweep::IsWanted(options.cases, one.name); });
  if (isListing) {
    for (const Case& one : cases) std::cout << one.name << '\n';
    return 0;
  }
  if (!options.command.empty()) options.command = fs::absolute(options.command).string();
  const Folder folder;
  return Sweep(options).Run(cases) == 0 ? 0 : 1;
}

}  // namespace
}  // namespace sqxer::faults

int main(int count, char** arguments) { return sqxer::faults::Main(count, arguments); }
