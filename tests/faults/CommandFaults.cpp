#include "CommandFaults.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>

namespace sqxer::faults {
namespace {

namespace fs = std::filesystem;

constexpr const char* kOldFile = "old\n";
constexpr const char* kNoMemory = "error: not enough memory for this statement\n";

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool IsEmpty(const std::string& folder) { return fs::is_empty(folder); }

/// Standard error without the lines that show the place of an error.
std::string Sentences(const std::string& err) {
  return std::regex_replace(err, std::regex("(^|\n)(  [^\n]*\n)+"), "$1");
}

}  // namespace

const std::vector<std::string>& CommandFaults::ListLines() {
  static const std::vector<std::string> kLines = {
      "-o table 'SELECT k, SUM(v), MEDIAN(w), LISTAGG(s) FROM t GROUP BY k ORDER BY 2'",
      "--set GroupMemory=1 --threads 2 -o json 'SELECT s, COUNT(DISTINCT id) FROM t GROUP BY s'",
      "--out out/result 'SELECT * FROM t; SELECT id + 1 FROM t WHERE v > 3'",
      "-c 'SELECT $1 AS a' --param 'numeric:5' --schema 't=id:numeric' -t u=u.csv --header yes",
      "-o svg 'SELECT id, v FROM t WHERE id < 30'",
      "--functions median",
      "--help-switches"};
  return kLines;
}

CommandFaults::CommandFaults(std::string command, std::string line, Kind kind)
    : command_(std::move(command)), line_(std::move(line)), kind_(kind) {}

CommandFaults::Outcome CommandFaults::Run(long number) const {
  for (const fs::directory_entry& file : fs::directory_iterator("out")) fs::remove(file);
  std::ofstream("out/result", std::ios::binary) << kOldFile;
  const std::string line =
      "TMPDIR=tmp LD_PRELOAD=" FAULT_INJECTOR " SQXER_FAULT=" + std::string(NameOf(kind_)) + ":" +
      std::to_string(number) + " SQXER_FAULT_COUNT=count.txt " + command_ + " " + line_ +
      " >out.txt 2>err.txt </dev/null";
  const int status = std::system(line.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile("out.txt"), ReadFile("err.txt")};
}

long CommandFaults::Prepare() {
  expected_ = Run(0);
  if (expected_.status != 0) throw std::runtime_error(expected_.err);
  written_ = ReadFile("out/result");
  return std::atol(ReadFile("count.txt").c_str());
}

std::string CommandFaults::Try(long number) const {
  const Outcome outcome = Run(number);
  const std::string shown =
      "status " + std::to_string(outcome.status) + ", standard error:\n" + outcome.err;
  if (!IsEmpty("tmp")) return "a temporary file is left: " + shown;
  if (std::distance(fs::directory_iterator("out"), fs::directory_iterator()) != 1)
    return "a file is left beside the output: " + shown;
  if (outcome.status == 0) {
    const bool isRight = outcome.out == expected_.out && outcome.err == expected_.err &&
                         ReadFile("out/result") == written_;
    return isRight ? "" : "it succeeds with another result: " + shown;
  }
  constexpr int kLastStatus = 3;
  if (outcome.status < 0 || outcome.status > kLastStatus) return shown;
  if (!expected_.out.starts_with(outcome.out)) return "it writes something else: " + shown;
  if (ReadFile("out/result") != kOldFile) return "the output has a part of the result: " + shown;
  if (kind_ == Kind::kMemory) return outcome.err == kNoMemory ? "" : shown;
  if (kind_ != Kind::kFile) return shown;
  const std::string sentences = Sentences(outcome.err);
  return std::ranges::count(sentences, '\n') == 1 && sentences.starts_with("error") ? "" : shown;
}

}  // namespace sqxer::faults
