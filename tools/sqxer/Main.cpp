#include <fcntl.h>
#include <fmt/format.h>
#include <malloc.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <utility>

#include "Engine/Engine.h"
#include "Options.h"
#include "OutputStream.h"
#include "Progress.h"

namespace sqxer {
namespace {

using engine::Error;
using engine::Session;
using engine::Statement;

/// Writes a line to standard error. One that is full or closed has nobody to tell it to.
template <class... Parts>
void PrintLine(fmt::format_string<Parts...> format, Parts&&... parts) {
  const std::string line = fmt::format(format, std::forward<Parts>(parts)...) + '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
}

/// Where memory has run out the sentence must not need any.
void PrintOutOfMemory() {
  constexpr std::string_view kLine = "error: not enough memory for this statement\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, kLine.data(), kLine.size());
}

/// What a line quotes may break it, or give orders to the terminal.
std::string OnOneLine(std::string text) {
  std::ranges::replace_if(
      text, [](unsigned char c) { return c < ' ' || c == 0x7F; }, ' ');
  return text;
}

/// The error as one line, with its place in the whole SQL text.
void PrintError(const Error& error, const std::string& sql = {}, std::size_t statementOffset = 0) {
  std::string place;
  if (error.GetPosition() != Error::kUnknown) {
    const auto offset = statementOffset + static_cast<std::size_t>(error.GetPosition());
    const engine::Place at = engine::FindPlace(sql, offset);
    place = fmt::format("line {}, column {}", at.line, at.column);
  }
  if (error.GetRow() != Error::kUnknown) {
    place += fmt::format("{}input row {}", place.empty() ? "" : ", ", error.GetRow());
  }
  PrintLine("error {}: {}{}", error.GetCode(), OnOneLine(error.what()),
            place.empty() ? "" : " (" + place + ")");
}

void WarnOfHeader(const std::string& path) {
  PrintLine(
      "warning: the first line of \"{}\" looks like data: --header no makes it a row, --header yes "
      "ends this warning",
      OnOneLine(path));
}

void PrintTiming(const engine::RunReport& report, std::size_t statement, int runs) {
  const auto milliseconds = [](std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
  };
  PrintLine(
      "{{\"statement\":{},\"load_ms\":{:.3f},\"bind_ms\":{:.3f},\"run_ms\":{:.3f},\"runs\":{},"
      "\"spilled_bytes\":{}}}",
      statement, milliseconds(report.load), milliseconds(report.bind), milliseconds(report.run),
      runs, report.spilledBytes);
}

void PrintSwitches() {
  std::string text;
  for (const engine::SwitchDescription& one : engine::ListSwitches()) {
    text += fmt::format("{}={}\n    {}\n    Values: {}\n", one.name, one.defaultValue,
                        one.description, one.values);
  }
  WriteOut(text);
}

/// Runs a statement and writes its result; standard error says what is wrong.
ExitStatus ExecuteStatement(Session& session, const Options& options, const std::string& text,
                            const Statement& statement, const engine::WriteText& write) {
  try {
    Progress::Start();
    session.Write(statement.sql, write, options.parameters, options.output);
    Progress::Clear();
    return kDone;
  } catch (const Error& error) {
    Progress::Clear();
    PrintError(error, text, statement.offset);
    return error.IsOfFile() ? kFileFailed : kQueryFailed;
  } catch (const std::bad_alloc&) {
    Progress::Clear();
    PrintOutOfMemory();
    return kQueryFailed;
  } catch (const std::length_error&) {
    Progress::Clear();
    PrintOutOfMemory();
    return kQueryFailed;
  }
}

/// Runs one statement and prints its result.
ExitStatus RunStatement(Session& session, const Options& options, const std::string& text,
                        const Statement& statement, std::size_t number, OutputStream& output) {
  const bool isTable = options.output.format == engine::TextOptions::Format::kTable;
  bool isParted = !isTable || number == 1;
  const auto write = [&](std::string_view piece) {
    if (!std::exchange(isParted, true)) output.Write("\n");
    output.Write(piece);
  };
  const ExitStatus status = ExecuteStatement(session, options, text, statement, write);
  const engine::RunReport& report = session.GetReport();
  if (status == kDone) {
    if (options.timing) PrintTiming(report, number, options.output.runs);
  } else if (report.writtenRows && output.IsSeenAtOnce()) {
    PrintLine("error: the result is not complete, it ends after {} rows", *report.writtenRows);
  }
  return status;
}

ExitStatus RunStatements(Session& session, Options options, const std::string& text) {
  OutputStream output(options.out);
  // It shows the bar meanwhile.
  options.output.waitsForEnd = output.IsTerminal();
  if (!engine::IsSqlText(text)) {
    PrintLine("error: the SQL is not valid UTF-8 text");
    return kQueryFailed;
  }
  const std::vector<Statement> statements = engine::SplitStatements(text);
  if (statements.empty()) {
    PrintLine("sqxer: no SQL is given (--help shows the options)");
    return kWrongOptions;
  }
  ExitStatus status = kDone;
  try {
    for (std::size_t i = 0; i < statements.size(); ++i) {
      const ExitStatus one = RunStatement(session, options, text, statements[i], i + 1, output);
      if (status == kDone) status = one;
    }
  } catch (const ReaderGone&) {
    // It has what it wanted: what comes now is for nobody.
    Progress::Clear();
    return status;
  }
  if (status == kDone) output.Complete();
  return status;
}

ExitStatus Run(const Options& options) {
  Session session;
  try {
    for (const auto& [name, value] : options.switches) session.Set(name, value);
    if (!options.sql && !options.sqlFile) session.RefuseStandardInput();
    session.SetFileOptions(options.files);
    session.SetThreads(options.threads);
    for (const auto& [name, path] : options.tables) session.AddFile(name, path);
    for (const auto& [name, columns] : options.schemas) session.SetTypes(name, columns);
    engine::CheckParameters(options.parameters);
  } catch (const Error& error) {
    PrintError(error);
    return kWrongOptions;
  }
  session.SetDirectory(options.directory);
  if (!options.isHeaderGiven) session.SetHeaderWarning(&WarnOfHeader);
  if (options.progress && isatty(STDERR_FILENO)) session.SetProgress(&Progress::Show);

  if (options.functions) {
    try {
      WriteOut(options.functions->empty() ? engine::ListSqlForms()
                                          : engine::DescribeSql(*options.functions));
    } catch (const Error& error) {
      PrintError(error);
      return kWrongOptions;
    }
    return kDone;
  }
  if (options.showSwitches) {
    PrintSwitches();
    return kDone;
  }
  std::string sql;
  try {
    sql = options.sql ? *options.sql : engine::ReadSqlText(options.sqlFile);
  } catch (const Error& error) {
    PrintError(error);
    return kFileFailed;
  }
  return RunStatements(session, options, sql);
}

/// Puts a file that neither reads nor writes in the place of each standard stream that is closed,
/// so that no file which is opened later is taken for it.
void FillStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(stream, F_GETFD) != -1) continue;
    // Opened the wrong way round; it takes the lowest number that is free.
    open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}

/// What a part of a file leaves serves the next one: to give memory back to the system and have it
/// again, page by page, costs a tenth of the reading.
void KeepFreeMemory() {
  mallopt(M_TRIM_THRESHOLD, 64 << 20);
  mallopt(M_MMAP_THRESHOLD, 4 << 20);
}

ExitStatus Main(int count, char** arguments) {
  try {
    KeepFreeMemory();
    FillStandardStreams();
    const auto options = ReadOptions(count, arguments);
    if (const auto* status = std::get_if<ExitStatus>(&options)) return *status;
    return Run(std::get<Options>(options));
  } catch (const ReaderGone&) {
    return kDone;
  } catch (const OutputError& error) {
    Progress::Clear();
    PrintLine("error: the result cannot be written: {}", OnOneLine(error.what()));
  }
  return kQueryFailed;
}

}  // namespace
}  // namespace sqxer

int main(int count, char** arguments) {
  // A reader that has gone, and a file beyond the limit of the process, show as errors of the
  // write.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  try {
    return sqxer::Main(count, arguments);
  } catch (const std::bad_alloc&) {
    sqxer::PrintOutOfMemory();
  } catch (const std::length_error&) {
    sqxer::PrintOutOfMemory();
  } catch (const std::exception& error) {
    sqxer::PrintLine("error: {}", error.what());
  }
  return sqxer::kQueryFailed;
}
