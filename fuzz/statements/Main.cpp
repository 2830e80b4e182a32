// Random statements over random tables, each asked in two ways that must answer alike. See
// fuzz/README.md.

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <set>
#include <thread>

#include "FunctionTable.h"
#include "Shrinker.h"
#include "support/Sanitizers.h"

namespace sqxer::fuzz {
namespace {

using Clock = std::chrono::steady_clock;

struct Options {
  uint64 seconds = 60;
  uint64 seed = 1;
  /// The one case to run, if any.
  std::optional<uint64> onlyCase;
  /// The one to begin with where all are run.
  uint64 firstCase = 0;
  /// Shows it and does not run it.
  bool isShown = false;
  int mostFindings = 20;
  std::string examples = SQXER_SOURCE_DIR "/examples/data";
};

/// What workers count, in memory that outlives them.
struct Counts {
  uint64 current = 0;
  uint64 cases = 0;
  uint64 statements = 0;
  uint64 succeeded = 0;
  uint64 casesSucceeded = 0;
  uint64 asked[kOracles] = {};
  uint64 compared[kOracles] = {};
  int findings = 0;
  static constexpr std::size_t kMostRows = 2000;
  bool isReached[kMostRows] = {};
};

constexpr uint64 kCasesOfSurroundings = 100;

/// The same numbers give the same case, whatever ran before.
Random RandomOf(uint64 seed, uint64 number, uint64 purpose) {
  std::seed_seq mixed{seed, number, purpose};
  return Random(mixed);
}

Surroundings SurroundingsOf(const Options& options, uint64 number) {
  Random random = RandomOf(options.seed, number / kCasesOfSurroundings, 1);
  return MakeSurroundings(random);
}

Case CaseOf(const Options& options, const Shapes& shapes, const Surroundings& surroundings,
            uint64 number) {
  Random random = RandomOf(options.seed, number, 2);
  Generator generator(shapes, surroundings, random);
  // Most faults are those of batches.
  const auto chosen = random() % (kOracles + 6);
  const Oracle oracle = chosen < kOracles ? static_cast<Oracle>(chosen) : Oracle::kBatches;
  return MakeCase(oracle, generator, surroundings, random);
}

void Print(const Options& options, uint64 number, const Finding& finding, const Verdict& verdict) {
  std::printf("\n# seed %llu, case %llu\n%s", static_cast<unsigned long long>(options.seed),
              static_cast<unsigned long long>(number), TestText(finding, verdict).c_str());
  std::fflush(stdout);
}

/// What is asked, without asking it.
void Show(const Options& options, uint64 number, const Finding& finding) {
  World unused(finding.surroundings, options.examples);
  unused.StopRunning();
  Verdict verdict = Judge(finding.asked, unused);
  verdict.difference.clear();
  Print(options, number, finding, verdict);
}

/// Runs cases until the time is over, from `number` on.
void Work(const Options& options, const Shapes& shapes, uint64 number, Clock::time_point end,
          Counts& counts) {
  std::optional<World> world;
  uint64 ofSurroundings = ~uint64{0};
  const uint64 first = number;
  for (; Clock::now() < end && counts.findings < options.mostFindings; ++number) {
    if (options.onlyCase && number != first) break;
    counts.current = number;
    if (number / kCasesOfSurroundings != ofSurroundings) {
      ofSurroundings = number / kCasesOfSurroundings;
      world.emplace(SurroundingsOf(options, number), options.examples);
    }
    Case asked = CaseOf(options, shapes, world->GetSurroundings(), number);
    const uint64 statements = world->CountStatements();
    const uint64 succeeded = world->CountSucceeded();
    const Verdict verdict = Judge(asked, *world);
    const auto oracle = static_cast<std::size_t>(asked.oracle);
    ++counts.cases;
    ++counts.asked[oracle];
    counts.compared[oracle] += verdict.isCompared;
    counts.casesSucceeded += verdict.hasSucceeded;
    counts.statements += world->CountStatements() - statements;
    counts.succeeded += world->CountSucceeded() - succeeded;
    if (verdict.hasSucceeded) {
      for (const Expression* expression : ExpressionsOf(asked)) {
        if (expression->row >= 0) counts.isReached[expression->row] = true;
      }
    }
    if (verdict.difference.empty()) continue;
    ++counts.findings;
    const auto judge = [&](const Finding& finding) {
      World small(finding.surroundings, options.examples);
      return Judge(finding.asked, small);
    };
    const Finding found{asked, world->GetSurroundings()};
    if (judge(found).difference.empty()) {
      std::printf("# what follows differs only after the cases before it\n");
      Print(options, number, found, verdict);
      continue;
    }
    const Finding smallest =
        Shrink(found, [&](const Finding& finding) { return !judge(finding).difference.empty(); });
    Print(options, number, smallest, judge(smallest));
  }
}

/// What a child that runs a finding says when it ends badly; nothing if it ends as it should.
std::optional<std::string> RunInChild(const Options& options, const Finding& finding) {
  std::fflush(stdout);
  const int said = memfd_create("said", 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(said, STDERR_FILENO);
    // What takes longer has hung.
    alarm(30);
    World world(finding.surroundings, options.examples);
    Judge(finding.asked, world);
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  std::string text(4000, '\0');
  text.resize(
      static_cast<std::size_t>(std::max<ssize_t>(0, pread(said, text.data(), text.size(), 0))));
  close(said);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return std::nullopt;
  if (WIFSIGNALED(status)) text += "signal " + std::to_string(WTERMSIG(status));
  return text;
}

/// The line that says where a program ended: of one fault it is the same in all cases.
std::string PlaceOf(const std::string& said) {
  for (const char* const mark : {"broken invariant", "runtime error", "SUMMARY", "signal"}) {
    const std::size_t at = said.find(mark);
    if (at == said.npos) continue;
    const std::size_t from = said.rfind('\n', at) + 1;
    return said.substr(from, said.find('\n', at) - from);
  }
  return said;
}

/// A worker has ended in the middle of a case. Only the first one of a place is made smaller.
void ReportEnd(const Options& options, const Shapes& shapes, uint64 number,
               std::set<std::string>& places) {
  Finding finding{{}, SurroundingsOf(options, number)};
  finding.asked = CaseOf(options, shapes, finding.surroundings, number);
  const auto said = RunInChild(options, finding);
  if (!said) {
    std::printf("# what follows ends the program only after the cases before it\n");
  } else if (!places.insert(PlaceOf(*said)).second) {
    std::printf("# seed %llu, case %llu: %s, as before\n",
                static_cast<unsigned long long>(options.seed),
                static_cast<unsigned long long>(number), PlaceOf(*said).c_str());
    return;
  } else {
    std::printf("%s\n", said->c_str());
    finding = Shrink(finding, [&](const Finding& tried) {
      const auto now = RunInChild(options, tried);
      return now && PlaceOf(*now) == PlaceOf(*said);
    });
  }
  Show(options, number, finding);
}

/// Waits for a worker; false if it ended otherwise than by itself. One that is at the same case for
/// two minutes is ended.
bool Await(pid_t worker, const Counts& counts) {
  uint64 at = counts.current;
  Clock::time_point since = Clock::now();
  for (;;) {
    int status = 0;
    if (waitpid(worker, &status, WNOHANG) == worker) {
      return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    if (counts.current != at) {
      at = counts.current;
      since = Clock::now();
    } else if (Clock::now() - since > std::chrono::minutes(2)) {
      std::printf("# what follows takes more than two minutes\n");
      kill(worker, SIGKILL);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

void PrintCounts(const Options& options, const Shapes& shapes, const Counts& counts,
                 double seconds) {
  const auto share = [](uint64 part, uint64 whole) {
    return whole == 0 ? 0.0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
  };
  std::printf("\nseed %llu: %llu cases, %llu statements in %.0f s (%.0f a minute)\n",
              static_cast<unsigned long long>(options.seed),
              static_cast<unsigned long long>(counts.cases),
              static_cast<unsigned long long>(counts.statements), seconds,
              static_cast<double>(counts.statements) / seconds * 60);
  std::printf("succeeded: %.1f %% of the statements, a statement in %.1f %% of the cases\n",
              share(counts.succeeded, counts.statements),
              share(counts.casesSucceeded, counts.cases));
  for (std::size_t i = 0; i < kOracles; ++i) {
    std::printf("%-20s %10llu cases, %10llu compared\n", NameOf(static_cast<Oracle>(i)),
                static_cast<unsigned long long>(counts.asked[i]),
                static_cast<unsigned long long>(counts.compared[i]));
  }
  std::size_t all = 0, reached = 0;
  std::string missed;
  for (std::size_t i = 0; i < shapes.GetReachable().size(); ++i) {
    const FunctionRow& row = FunctionTable()[i];
    ++all;
    reached += counts.isReached[i];
    if (counts.isReached[i]) continue;
    missed += "\n  " + std::string(row.form) + (row.isVolatile ? " (differs from run to run)" : "");
  }
  std::printf("functions: %zu of the table's %zu rows reached by a statement with rows%s%s\n",
              reached, all, missed.empty() ? "" : "; never:", missed.c_str());
  std::printf("findings: %d\n", counts.findings);
}

int Run(const Options& options) {
#if !defined(SQXER_ADDRESS_SANITIZER)
  // A text of gigabytes is an error of the statement.
  const rlimit most{rlim_t{8} << 30, rlim_t{8} << 30};
  setrlimit(RLIMIT_AS, &most);
#endif
  const auto start = Clock::now();
  const Shapes shapes(options.examples);
  std::printf("%zu signatures of %zu rows of the function table, found in %.1f s\n",
              shapes.CountSignatures(), FunctionTable().size(),
              std::chrono::duration<double>(Clock::now() - start).count());
  if (options.isShown) {
    Finding finding{{}, SurroundingsOf(options, *options.onlyCase)};
    finding.asked = CaseOf(options, shapes, finding.surroundings, *options.onlyCase);
    Show(options, *options.onlyCase, finding);
    return 0;
  }
  void* const memory =
      mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return 2;
  Counts& counts = *new (memory) Counts;
  const auto begin = Clock::now();
  const auto end = begin + std::chrono::seconds(options.seconds);
  std::set<std::string> places;
  for (uint64 next = options.onlyCase.value_or(options.firstCase);
       Clock::now() < end && counts.findings < options.mostFindings; next = counts.current + 1) {
    std::fflush(stdout);
    const pid_t worker = fork();
    if (worker == 0) {
      Work(options, shapes, next, end, counts);
      std::fflush(stdout);
      // What a child of a fork has left is none of a leak: statement_fuzz looks for these.
      _exit(0);
    }
    if (Await(worker, counts)) break;
    ++counts.findings;
    ReportEnd(options, shapes, counts.current, places);
    if (options.onlyCase) break;
  }
  PrintCounts(options, shapes, counts, std::chrono::duration<double>(Clock::now() - begin).count());
  return counts.findings == 0 ? 0 : 1;
}

int Usage() {
  std::fprintf(stderr,
               "sqxer_fuzz [--seconds N] [--seed N] [--case N | --show N | --from N] "
               "[--findings N] [--examples DIR]\n");
  return 2;
}

}  // namespace
}  // namespace sqxer::fuzz

int main(int count, char** arguments) {
  using namespace sqxer::fuzz;
  Options options;
  for (int i = 1; i < count; i += 2) {
    if (i + 1 == count) return Usage();
    const std::string name = arguments[i];
    const std::string value = arguments[i + 1];
    if (name == "--examples") {
      options.examples = value;
      continue;
    }
    char* rest = nullptr;
    const unsigned long long number = std::strtoull(value.c_str(), &rest, 10);
    if (value.empty() || *rest != 0) return Usage();
    if (name == "--seconds") {
      options.seconds = number;
    } else if (name == "--seed") {
      options.seed = number;
    } else if (name == "--case" || name == "--show") {
      options.onlyCase = number;
      options.isShown = name == "--show";
    } else if (name == "--from") {
      options.firstCase = number;
    } else if (name == "--findings") {
      options.mostFindings = static_cast<int>(number);
    } else {
      return Usage();
    }
  }
  return Run(options);
}
