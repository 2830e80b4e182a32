// Aggregates with a result per row, and those that hold their groups, beside SQLite's windows.
//
//   sqxer_windows [ROWS [RUNS [NAME]]]
//
// Prints a line for each query (for those whose name starts with NAME), and the geometric mean of
// the ratios. Exit status 1 when the engines do not agree. ROWS of 100,000 or more, so that every
// partition has ten values: with fewer SQLite ranks NULLs among the top 10, and gives a value that
// is alone in its partition another percentile.
#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>

#include "ProcessMemory.h"
#include "WindowRows.h"

namespace sqxer::bench {
namespace {

struct WindowQuery {
  const char* name;
  const char* sqxer;
  const char* sqlite;
  /// The two mean the same.
  bool isComparable = true;
};

// SQLite sorts NULL first. A percentile counts the values of the partition, not its NULLs; tiles
// are parted by quantiles of the values here, by numbers of rows there.
constexpr WindowQuery kQueries[] = {
    {"rank of all", "SELECT id, RANK() OVER (ORDER BY x) FROM t",
     "SELECT id, rank() OVER (ORDER BY x NULLS LAST) FROM t"},
    {"rank in partitions", "SELECT id, RANK() OVER (PARTITION BY g ORDER BY x) FROM t",
     "SELECT id, rank() OVER (PARTITION BY g ORDER BY x NULLS LAST) FROM t"},
    {"ntile of all", "SELECT id, NTILE(100) OVER (ORDER BY x) FROM t",
     "SELECT id, ntile(100) OVER (ORDER BY x) FROM t", false},
    {"percentile in partitions", "SELECT id, PERCENTILE(x) OVER (PARTITION BY g) FROM t",
     "SELECT id, CASE WHEN x IS NOT NULL THEN percent_rank() OVER (PARTITION BY g, x IS NULL "
     "ORDER BY x DESC) END FROM t"},
    {"moving average of 12",
     "SELECT id, AVG(y) OVER (PARTITION BY g ORDER BY d ROWS 11 PRECEDING) FROM t",
     "SELECT id, avg(y) OVER (PARTITION BY g ORDER BY d ROWS 11 PRECEDING) FROM t"},
    {"running sum",
     "SELECT id, SUM(x) OVER (PARTITION BY g ORDER BY d ROWS UNBOUNDED PRECEDING) FROM t",
     "SELECT id, sum(x) OVER (PARTITION BY g ORDER BY d ROWS UNBOUNDED PRECEDING) FROM t"},
    {"median of groups", "SELECT g, MEDIAN(x) FROM t GROUP BY g",
     "SELECT g, avg(x) FROM (SELECT g, x, row_number() OVER (PARTITION BY g ORDER BY x) AS place, "
     "count(*) OVER (PARTITION BY g) AS count FROM t WHERE x IS NOT NULL) "
     "WHERE place IN ((count + 1) / 2, (count + 2) / 2) GROUP BY g"},
    {"top 10 in partitions", "SELECT id, TOP_N(x, 10) OVER (PARTITION BY g) FROM t",
     "SELECT id, place FROM (SELECT id, rank() OVER (PARTITION BY g ORDER BY x DESC) AS place "
     "FROM t) WHERE place <= 10"},
    {"top 10 of all", "SELECT id, TOP_N(x, 10) OVER () FROM t",
     "SELECT id, place FROM (SELECT id, rank() OVER (ORDER BY x DESC) AS place FROM t) "
     "WHERE place <= 10"},
};

struct Measured {
  /// In milliseconds.
  double median = 0;
  double fastest = 0;
  /// Of the run that took least of it: unlike the others it does not tell what else the machine
  /// did.
  double processor = 0;
  /// The most of any run.
  uint64_t peakBytes = 0;
  Checksum sum;
};

double Milliseconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
}

Measured Measure(WindowEngine& engine, const char* sql, int runs) {
  std::vector<double> times;
  std::vector<double> processor;
  Measured measured;
  for (int run = 0; run < runs; ++run) {
    const PeakMemory peak;
    const double start = Milliseconds(CLOCK_MONOTONIC);
    const double processorStart = Milliseconds(CLOCK_PROCESS_CPUTIME_ID);
    measured.sum = engine.Run(sql);
    processor.push_back(Milliseconds(CLOCK_PROCESS_CPUTIME_ID) - processorStart);
    times.push_back(Milliseconds(CLOCK_MONOTONIC) - start);
    measured.peakBytes = std::max(measured.peakBytes, peak.GetBytes());
  }
  std::ranges::sort(times);
  measured.median = times[times.size() / 2];
  measured.fastest = times.front();
  measured.processor = *std::ranges::min_element(processor);
  return measured;
}

double Mebibytes(uint64_t bytes) { return static_cast<double>(bytes) / (1 << 20); }

bool Run(uint64_t count, int runs, std::string_view name) {
  const std::vector<WindowRow> rows = MakeWindowRows(count);
  const std::unique_ptr<WindowEngine> sqxer = LoadSqxerRows(rows);
  const std::unique_ptr<WindowEngine> sqlite = LoadSqliteRows(rows);
  fmt::print(
      "sqxer {}, SQLite {}; {} rows, {} runs. Milliseconds: median, fastest, processor time.\n\n"
      "| query | sqxer | fastest | processor | peak MiB | spilled MiB | SQLite | fastest | "
      "processor "
      "| peak MiB | ratio |\n|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|\n",
      SQXER_VERSION, sqlite3_libversion(), count, runs);
  bool agree = true;
  int measured = 0;
  double logarithms = 0;
  for (const WindowQuery& query : kQueries) {
    if (!std::string_view(query.name).starts_with(name)) continue;
    const Measured ours = Measure(*sqxer, query.sqxer, runs);
    const Measured theirs = Measure(*sqlite, query.sqlite, runs);
    const double ratio = ours.processor / theirs.processor;
    ++measured;
    logarithms += std::log(ratio);
    fmt::print(
        "| {} | {:.0f} | {:.0f} | {:.0f} | {:.1f} | {:.1f} | {:.0f} | {:.0f} | {:.0f} | {:.1f} | "
        "{:.2f} |\n",
        query.name, ours.median, ours.fastest, ours.processor, Mebibytes(ours.peakBytes),
        Mebibytes(sqxer->GetSpilledBytes()), theirs.median, theirs.fastest, theirs.processor,
        Mebibytes(theirs.peakBytes), ratio);
    std::fflush(stdout);
    if (!query.isComparable || ours.sum.HasValuesOf(theirs.sum)) continue;
    agree = false;
    fmt::print(stderr, "{}: sqxer has {} values of sum {:.17g}, SQLite {} of sum {:.17g}\n",
               query.name, ours.sum.values, ours.sum.sum, theirs.sum.values, theirs.sum.sum);
  }
  if (measured > 0) {
    fmt::print("| geometric mean | | | | | | | | | | {:.2f} |\n", std::exp(logarithms / measured));
  }
  return agree;
}

}  // namespace
}  // namespace sqxer::bench

int main(int count, char** arguments) {
  const std::vector<std::string> words(arguments + 1, arguments + count);
  try {
    const uint64_t rows = words.empty() ? 1'000'000 : std::stoull(words[0]);
    const int runs = words.size() < 2 ? 5 : std::max(std::stoi(words[1]), 1);
    return sqxer::bench::Run(rows, runs, words.size() < 3 ? "" : words[2]) ? 0 : 1;
  } catch (const std::exception& error) {
    fmt::print(stderr, "sqxer_windows: {}\n", error.what());
    return 1;
  }
}
