#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <new>
#include <system_error>

#include "Compiler.h"
#include "EngineError.h"
#include "FunctionTable.h"
#include "Options.h"
#include "Progress.h"
#include "ResultFormats.h"
#include "Session.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer {
namespace {

bool IsFileError(const ErrorMessage& error) {
  return error.GetCode() >= kNoTableFile && error.GetCode() <= kLastFileError;
}

/// The error as one line, with its place in the whole SQL text.
void PrintError(const ErrorMessage& error, const std::string& sql, int statementOffset) {
  std::string place;
  if (error.GetSourcePosition() != ErrorMessage::kNoPosition) {
    const LineColumn at = FindLineColumn(sql, statementOffset + error.GetSourcePosition());
    place = fmt::format("line {}, column {}", at.line, at.column);
  }
  if (error.GetRowNumber() != ErrorMessage::kNoRow) {
    place += fmt::format("{}input row {}", place.empty() ? "" : ", ", error.GetRowNumber());
  }
  std::string sentence = error.what();
  std::ranges::replace_if(
      sentence, [](char c) { return c == '\n' || c == '\r'; }, ' ');
  fmt::print(stderr, "error {}: {}{}\n", error.GetCode(), sentence,
             place.empty() ? "" : " (" + place + ")");
}

void PrintTiming(const Session::Timing& timing, std::size_t statement, int runs) {
  const auto milliseconds = [](std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
  };
  fmt::print(stderr,
             "{{\"statement\":{},\"load_ms\":{:.3f},\"bind_ms\":{:.3f},\"run_ms\":{:.3f},"
             "\"runs\":{}}}\n",
             statement, milliseconds(timing.load), milliseconds(timing.bind),
             milliseconds(timing.run), runs);
}

void PrintSwitches() {
  std::string text;
  for (const SUSystemConfig::Switch& one : SUSystemConfig::Switches()) {
    text += fmt::format("{}={}\n    {}\n    Values: {}\n", one.name, one.defaultText,
                        one.description, one.values);
  }
  WriteOut(text);
}

/// The SQL text; nothing when it cannot be read, which standard error then says.
std::optional<std::string> ReadSql(const Options& options) {
  if (options.sql) return options.sql;
  std::string text;
  if (options.sqlFile) {
    std::ifstream file(*options.sqlFile, std::ios::binary);
    text.assign(std::istreambuf_iterator<char>(file), {});
    if (!file.is_open() || file.bad()) {
      const ErrorMessage error(kFileNotReadable, {Wide(*options.sqlFile), Wide(strerror(errno))});
      PrintError(error, "", 0);
      return std::nullopt;
    }
  } else {
    text.assign(std::istreambuf_iterator<char>(std::cin), {});
  }
  return text;
}

/// Runs one statement and prints its result.
ExitStatus RunStatement(Session& session, const Options& options, const std::string& text,
                        const Statement& statement, std::size_t number) {
  try {
    const std::unique_ptr<FormattedResult> result = MakeResult(options);
    Progress::Start();
    session.Execute(statement.sql, *result, options.repeat);
    Progress::Clear();
    if (options.format == OutputFormat::kTable && number > 1) WriteOut("\n");
    result->Print();
    if (options.timing) PrintTiming(session.GetTiming(), number, options.repeat);
    return kDone;
  } catch (const ErrorMessage& error) {
    Progress::Clear();
    PrintError(error, text, statement.offset);
    return IsFileError(error) ? kFileFailed : kQueryFailed;
  } catch (const std::bad_alloc&) {
    Progress::Clear();
    fmt::print(stderr, "error: not enough memory for this statement\n");
    return kQueryFailed;
  } catch (const std::length_error&) {
    Progress::Clear();
    fmt::print(stderr, "error: not enough memory for this statement\n");
    return kQueryFailed;
  }
}

ExitStatus RunStatements(Session& session, const Options& options, const std::string& text) {
  if (text.find('\0') != std::string::npos || !BaseStringUtil::IsValidUtf8(text)) {
    fmt::print(stderr, "error: the SQL is not valid UTF-8 text\n");
    return kQueryFailed;
  }
  const std::vector<Statement> statements = SplitStatements(text);
  if (statements.empty()) {
    fmt::print(stderr, "sqxer: no SQL is given (--help shows the options)\n");
    return kWrongOptions;
  }
  ExitStatus status = kDone;
  for (std::size_t i = 0; i < statements.size(); ++i) {
    const ExitStatus one = RunStatement(session, options, text, statements[i], i + 1);
    if (status == kDone) status = one;
  }
  return status;
}

ExitStatus Run(const Options& options) {
  Session session;
  try {
    for (const auto& [name, value] : options.switches) {
      SUSystemConfig::GetSystemConfig().Set(name, value);
    }
    for (const auto& [name, path] : options.tables) session.AddTable(name, path);
    for (const auto& [name, columns] : options.schemas) session.SetSchema(name, columns);
  } catch (const ErrorMessage& error) {
    PrintError(error, "", 0);
    return kWrongOptions;
  }
  session.SetDirectory(options.directory);
  if (options.progress && isatty(STDERR_FILENO)) session.SetProgress(&Progress::Show);

  if (options.showFunctions) {
    WriteOut(FunctionReference());
    return kDone;
  }
  if (options.showSwitches) {
    PrintSwitches();
    return kDone;
  }
  const std::optional<std::string> sql = ReadSql(options);
  return sql ? RunStatements(session, options, *sql) : kFileFailed;
}

}  // namespace
}  // namespace sqxer

int main(int count, char** arguments) {
  // A reader that has gone shows as an error of the write.
  signal(SIGPIPE, SIG_IGN);
  // For the widths of characters in tables; numbers keep the point.
  std::setlocale(LC_CTYPE, "C.UTF-8");
  try {
    const auto options = sqxer::ReadOptions(count, arguments);
    if (const auto* status = std::get_if<sqxer::ExitStatus>(&options)) return *status;
    return sqxer::Run(std::get<sqxer::Options>(options));
  } catch (const std::system_error& error) {
    fmt::print(stderr, "error: the result cannot be written: {}\n", error.what());
  } catch (const std::exception& error) {
    fmt::print(stderr, "error: {}\n", error.what());
  }
  return sqxer::kQueryFailed;
}
