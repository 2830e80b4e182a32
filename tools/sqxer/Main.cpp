#include <fcntl.h>
#include <fmt/format.h>
#include <malloc.h>
#include <signal.h>
#include <unistd.h>

#include <new>
#include <stdexcept>

#include "Engine/Engine.h"
#include "ErrorLines.h"
#include "Options.h"
#include "OutputStream.h"
#include "Progress.h"
#include "StatementRunner.h"

namespace sqxer {
namespace {

using engine::Error;
using engine::Session;
using engine::Statement;

void WarnOfHeader(const std::string& path) {
  PrintWarning(
      fmt::format("the first line of \"{}\" looks like data: --header no makes it a row, --header "
                  "yes ends this "
                  "warning",
                  path));
}

void PrintSwitches() {
  std::string text;
  for (const engine::SwitchDescription& one : engine::ListSwitches()) {
    text += fmt::format("{}={}\n    {}\n    Values: {}\n", one.name, one.defaultValue,
                        one.description, one.values);
  }
  WriteOut(text);
}

ExitStatus RunStatements(Session& session, Options options, const std::string& text) {
  OutputStream output(options.out);
  // It shows the bar meanwhile.
  options.output.waitsForEnd = output.IsTerminal();
  if (!engine::IsSqlText(text)) {
    PrintError("the SQL is not valid UTF-8 text");
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
  if (options.errorsAreJson) UseJsonErrors();
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
    PrintError(fmt::format("the result cannot be written: {}", error.what()));
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
    sqxer::PrintError(std::string(error.what()));
  }
  return sqxer::kQueryFailed;
}
