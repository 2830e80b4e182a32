// One engine's part of the suite, and the tables for all of them.
//
//   sqxer_suite columns                 the columns of each table as JSON
//   sqxer_suite write ROWS FOLDER       the tables as CSV, NAME.csv each
//   sqxer_suite ENGINE FOLDER RUNS SECONDS
//
// The last form loads the tables into the engine and runs each query of standard input, a line each
// of name, SQL and digest SQL parted by tabs. It prints lines of JSON: the engine's version, then
// for each query its runs in nanoseconds, the processor time of them all, and the result; or the
// engine's error. A query whose first run takes longer than SECONDS is not run again.
#include <fmt/format.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>

#include "SuiteEngine.h"
#include "Tables.h"

namespace sqxer::bench {
namespace {

using Clock = std::chrono::steady_clock;

std::string Quote(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    if (static_cast<unsigned char>(c) < ' ') {
      quoted += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
    } else {
      quoted += c;
    }
  }
  quoted += '"';
  return quoted;
}

template <class List, class ToText>
std::string JsonArray(const List& list, ToText toText) {
  std::vector<std::string> texts;
  for (const auto& one : list) texts.push_back(toText(one));
  return fmt::format("[{}]", fmt::join(texts, ","));
}

std::string JsonRows(const Rows& rows) {
  return JsonArray(rows, [](const auto& row) {
    return JsonArray(row,
                     [](const auto& value) { return value ? Quote(*value) : std::string("null"); });
  });
}

void PrintColumns() {
  const auto text = [](const ColumnSpec& column) {
    return fmt::format(R"({{"name":"{}","type":"{}","nullable":{}}})", column.name, column.type,
                       column.nullable);
  };
  std::vector<std::string> tables;
  for (const TableSpec* table : kTables) {
    tables.push_back(fmt::format(R"("{}":{})", table->name, JsonArray(table->columns, text)));
  }
  fmt::print("{{{}}}\n", fmt::join(tables, ","));
}

/// The processor time of this process in nanoseconds.
int64_t ProcessorTime() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto nanoseconds = [](const timeval& time) {
    return int64_t{time.tv_sec} * 1'000'000'000 + int64_t{time.tv_usec} * 1000;
  };
  return nanoseconds(usage.ru_utime) + nanoseconds(usage.ru_stime);
}

SuiteQuery ReadQuery(const std::string& line) {
  const std::size_t first = line.find('\t');
  const std::size_t second = line.find('\t', first + 1);
  return {line.substr(0, first), line.substr(first + 1, second - first - 1),
          line.substr(second + 1)};
}

std::string Measure(SuiteEngine& engine, const SuiteQuery& query, int runs, double seconds) {
  std::vector<std::string> times;
  Report report;
  const int64_t processor = ProcessorTime();
  for (int run = 0; run < runs; ++run) {
    // What the last run left behind is given back outside the clock.
    report = nullptr;
    const Clock::time_point start = Clock::now();
    report = engine.Run(query);
    const std::chrono::nanoseconds time = Clock::now() - start;
    times.push_back(std::to_string(time.count()));
    if (std::chrono::duration<double>(time).count() > seconds) break;
  }
  const int64_t spent = ProcessorTime() - processor;
  return fmt::format(R"({{"name":{},"ns":[{}],"cpu_ns":{},"rows":{}}})", Quote(query.name),
                     fmt::join(times, ","), spent, JsonRows(report()));
}

std::unique_ptr<SuiteEngine> Load(const std::string& engine, const std::string& folder) {
  if (engine == "sqxer") return LoadSqxer(folder);
  if (engine == "sqlite") return LoadSqlite(folder);
  if (engine == "handwritten") return LoadByHand(folder);
  throw std::runtime_error("there is no engine " + engine);
}

void Run(const std::string& name, const std::string& folder, int runs, double seconds) {
  const std::unique_ptr<SuiteEngine> engine = Load(name, folder);
  fmt::print("{{\"version\":{}}}\n", Quote(engine->Version()));
  for (std::string line; std::getline(std::cin, line);) {
    const SuiteQuery query = ReadQuery(line);
    std::string result;
    try {
      result = Measure(*engine, query, runs, seconds);
    } catch (const std::exception& error) {
      result = fmt::format(R"({{"name":{},"error":{}}})", Quote(query.name), Quote(error.what()));
    }
    fmt::print("{}\n", result);
    std::fflush(stdout);
  }
}

}  // namespace
}  // namespace sqxer::bench

int main(int count, char** arguments) {
  namespace bench = sqxer::bench;
  const std::vector<std::string> words(arguments + 1, arguments + count);
  try {
    if (words.size() == 1 && words[0] == "columns") {
      bench::PrintColumns();
    } else if (words.size() == 3 && words[0] == "write") {
      for (const bench::TableSpec* table : bench::kTables) {
        table->write(std::stoull(words[1]), table->PathIn(words[2]));
      }
    } else if (words.size() == 4) {
      bench::Run(words[0], words[1], std::stoi(words[2]), std::stod(words[3]));
    } else {
      fmt::print(stderr, "sqxer_suite columns | write ROWS FOLDER | ENGINE FOLDER RUNS SECONDS\n");
      return 2;
    }
  } catch (const std::exception& error) {
    fmt::print(stderr, "sqxer_suite: {}\n", error.what());
    return 1;
  }
  return 0;
}
