#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Engine/Tables.h"
#include "Engine/TextOutput.h"

namespace sqxer {

/// What the command line asks for.
struct Options {
  using Assignments = std::vector<std::pair<std::string, std::string>>;

  /// What stands without an option, as it came: paths of tables, and SQL.
  std::vector<std::string> arguments;
  /// The texts of SQL, or the file that holds it; neither: the shell on a terminal, else standard
  /// input.
  std::vector<std::string> sql;
  std::optional<std::string> sqlFile;
  /// NAME=VALUE each.
  Assignments tables;
  Assignments schemas;
  Assignments switches;
  /// Query parameters, $1 first.
  std::vector<std::string> parameters;
  std::string directory = ".";
  /// How text files are read.
  engine::FileOptions files;
  /// Whether `files.hasHeader` was asked for.
  bool isHeaderGiven = false;
  unsigned threads = 1;
  /// The file of the results; nothing: standard output.
  std::optional<std::string> out;
  engine::TextOptions output;
  /// Whether a format was asked for; by default it depends on where the results go.
  bool isFormatGiven = false;
  /// Whether it was said how many rows are shown.
  bool areRowsGiven = false;
  bool timing = false;
  bool progress = true;
  bool errorsAreJson = false;
  /// Of what the reference is to be printed: a name, or of all functions when it is empty.
  std::optional<std::string> functions;
  bool showSwitches = false;
  /// The statements come from nobody knows whom.
  bool untrusted = false;
};

/// The exit statuses of the command.
enum ExitStatus { kDone = 0, kQueryFailed = 1, kWrongOptions = 2, kFileFailed = 3 };

/// Longer results end on a terminal after so many, unless asked.
constexpr std::uint64_t kRowsOnTerminal = 40;

/// The formats of results by the names that people give them.
const std::map<std::string, engine::TextOptions::Format>& OutputFormats();

/// Reads the command line. Instead of options an exit status when there is nothing more to do: help
/// was printed, or an option is wrong and standard error says so.
std::variant<Options, ExitStatus> ReadOptions(int count, const char* const* arguments);

}  // namespace sqxer
