#include <fcntl.h>
#include <fmt/format.h>
#include <malloc.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

#include "Compiler.h"
#include "EngineError.h"
#include "FunctionTable.h"
#include "Options.h"
#include "OutputStream.h"
#include "Progress.h"
#include "ResultFormats.h"
#include "Session.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer {
namespace {

bool IsFileError(const ErrorMessage& error) {
  return error.GetCode() >= kNoTableFile && error.GetCode() <= kLastFileError;
}

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
void PrintError(const ErrorMessage& error, const std::string& sql, int statementOffset) {
  std::string place;
  if (error.GetSourcePosition() != ErrorMessage::kNoPosition) {
    const LineColumn at = FindLineColumn(sql, statementOffset + error.GetSourcePosition());
    place = fmt::format("line {}, column {}", at.line, at.column);
  }
  if (error.GetRowNumber() != ErrorMessage::kNoRow) {
    place += fmt::format("{}input row {}", place.empty() ? "" : ", ", error.GetRowNumber());
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

void PrintTiming(const Session::Timing& timing, std::size_t statement, int runs) {
  const auto milliseconds = [](std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
  };
  PrintLine(
      "{{\"statement\":{},\"load_ms\":{:.3f},\"bind_ms\":{:.3f},\"run_ms\":{:.3f},\"runs\":{},"
      "\"spilled_bytes\":{}}}",
      statement, milliseconds(timing.load), milliseconds(timing.bind), milliseconds(timing.run),
      runs, timing.spilledBytes);
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
  const std::string name = options.sqlFile.value_or("standard input");
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> opened(nullptr, &std::fclose);
  if (options.sqlFile) opened.reset(std::fopen(name.c_str(), "rb"));
  std::FILE* const file = options.sqlFile ? opened.get() : stdin;
  std::string text;
  char piece[1 << 16];
  // A terminal goes on after its end of file, so that nothing is to be read behind it.
  while (file != nullptr && !std::feof(file) && !std::ferror(file)) {
    text.append(piece, std::fread(piece, 1, sizeof piece, file));
  }
  if (file != nullptr && std::ferror(file) == 0) return text;
  PrintError(ErrorMessage(kFileNotReadable, {Wide(name), Wide(strerror(errno))}), "", 0);
  return std::nullopt;
}

/// Runs a statement into a result; standard error says what is wrong.
ExitStatus ExecuteStatement(Session& session, const Options& options, const std::string& text,
                            const Statement& statement, FormattedResult& result) {
  try {
    Progress::Start();
    session.Execute(statement.sql, result, options.repeat);
    Progress::Clear();
    return kDone;
  } catch (const ErrorMessage& error) {
    Progress::Clear();
    PrintError(error, text, statement.offset);
    return IsFileError(error) ? kFileFailed : kQueryFailed;
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
  const std::unique_ptr<FormattedResult> result = MakeResult(options, output);
  const ExitStatus status = ExecuteStatement(session, options, text, statement, *result);
  if (status == kDone) {
    if (options.format == OutputFormat::kTable && number > 1) output.Write("\n");
    result->Print();
    if (options.timing) PrintTiming(session.GetTiming(), number, options.repeat);
  } else if (const auto rows = result->GetEarlyRows(); rows && output.IsSeenAtOnce()) {
    PrintLine("error: the result is not complete, it ends after {} rows", *rows);
  }
  return status;
}

ExitStatus RunStatements(Session& session, const Options& options, const std::string& text) {
  OutputStream output(options.out);
  if (text.find('\0') != std::string::npos || !BaseStringUtil::IsValidUtf8(text)) {
    PrintLine("error: the SQL is not valid UTF-8 text");
    return kQueryFailed;
  }
  const std::vector<Statement> statements = SplitStatements(text);
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
    for (const auto& [name, value] : options.switches) {
      session.Set(name, value);
    }
    if (!options.sql && !options.sqlFile) session.RefuseStandardInput();
    session.SetFileOptions(options.files);
    session.SetThreads(options.files.file.threads);
    for (const auto& [name, path] : options.tables) session.AddTable(name, path);
    for (const auto& [name, columns] : options.schemas) session.SetSchema(name, columns);
    session.SetParameters(options.parameters);
  } catch (const ErrorMessage& error) {
    PrintError(error, "", 0);
    return kWrongOptions;
  }
  // For the results, which are kept in the session's folder for temporary files.
  const SettingsScope scope(session.GetSettings());
  session.SetDirectory(options.directory);
  if (!options.isHeaderGiven) session.SetHeaderWarning(&WarnOfHeader);
  if (options.progress && isatty(STDERR_FILENO)) {
    session.SetProgress(&Progress::ShowReading, &Progress::ShowRunning);
  }

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
  // For the widths of characters in tables; numbers keep the point.
  std::setlocale(LC_CTYPE, "C.UTF-8");
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
