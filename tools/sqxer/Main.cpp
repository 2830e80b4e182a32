#include <fcntl.h>
#include <fmt/format.h>
#include <malloc.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <new>
#include <stdexcept>

#include "Batch.h"
#include "Engine/Engine.h"
#include "Engine/OutputFile.h"
#include "ErrorLines.h"
#include "Interruption.h"
#include "Options.h"
#include "OutputStream.h"
#include "Progress.h"
#include "Shell.h"
#include "TableFiles.h"

namespace sqxer {
namespace {

using engine::Error;
using engine::Session;

void PrintSwitches() {
  std::string text;
  for (const engine::SwitchDescription& one : engine::ListSwitches()) {
    text += fmt::format("{}={}\n    {}\n    Values: {}\n", one.name, one.defaultValue,
                        one.description, one.values);
  }
  WriteOut(text);
}

/// What the session needs to know before it runs a statement. Throws Error.
void SetUp(Session& session, const Options& options, const std::vector<KnownTable>& opened) {
  if (options.untrusted) session.SetUntrusted();
  for (const auto& [name, value] : options.switches) session.Set(name, value);
  if (options.sql.empty() && !options.sqlFile) session.RefuseStandardInput();
  session.SetFileOptions(options.files);
  session.SetThreads(options.threads);
  for (const auto& [name, path] : options.tables) session.AddFile(name, path);
  for (const KnownTable& table : opened) session.AddFile(table.name, table.path);
  for (const auto& [name, columns] : options.schemas) session.SetTypes(name, columns);
  engine::CheckParameters(options.parameters);
  session.SetDirectory(options.directory);
  if (!options.isHeaderGiven) session.SetHeaderWarning(&PrintHeaderWarning);
  if (options.progress && isatty(STDERR_FILENO)) session.SetProgress(&Progress::Show);
}

ExitStatus PrintReference(const std::string& name) {
  try {
    WriteOut(name.empty() ? engine::ListSqlForms() : engine::DescribeSql(name));
  } catch (const Error& error) {
    PrintError(error);
    return kWrongOptions;
  }
  return kDone;
}

/// Whether a person is there to be asked for statements.
bool IsForShell(const Options& options) {
  return options.sql.empty() && !options.sqlFile && !options.out && isatty(STDIN_FILENO) &&
         isatty(STDOUT_FILENO);
}

ExitStatus Run(Options options) {
  if (options.errorsAreJson) UseJsonErrors();
  Session session;
  std::vector<KnownTable> opened;
  try {
    opened = SortArguments(options);
    SetUp(session, options, opened);
  } catch (const ArgumentError& error) {
    PrintError(std::string(error.what()));
    return error.GetStatus();
  } catch (const Error& error) {
    PrintError(error);
    return kWrongOptions;
  }
  if (options.functions) return PrintReference(*options.functions);
  if (options.showSwitches) {
    PrintSwitches();
    return kDone;
  }
  Interruption::Install();
  ExitStatus status = kDone;
  if (IsForShell(options)) {
    Interruption::ServeShell();
    status = Shell(session, std::move(options), std::move(opened)).Run();
  } else {
    status = RunBatch(session, std::move(options));
  }
  if (const int signal = Interruption::GetSignal(); signal != 0) Interruption::EndBy(signal);
  return status;
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
    auto options = ReadOptions(count, arguments);
    if (const auto* status = std::get_if<ExitStatus>(&options)) return *status;
    return Run(std::get<Options>(std::move(options)));
  } catch (const ReaderGone&) {
    return kDone;
  } catch (const OutputError& error) {
    Progress::Clear();
    PrintError(fmt::format("the result cannot be written: {}", error.what()));
  }
  return kQueryFailed;
}

/// Where an error leaves a function that says it throws nothing: the library that reads options
/// takes memory in such.
[[noreturn]] void OnTerminate() {
  try {
    if (const std::exception_ptr error = std::current_exception()) std::rethrow_exception(error);
  } catch (const std::bad_alloc&) {
    engine::OutputFile::RemoveUnfinished();
    PrintOutOfMemory();
    _exit(kQueryFailed);
  } catch (...) {
    // A fault of the program's own.
  }
  std::abort();
}

}  // namespace
}  // namespace sqxer

int main(int count, char** arguments) {
  // A reader that has gone, and a file beyond the limit of the process, show as errors of the
  // write.
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
  std::set_terminate(&sqxer::OnTerminate);
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
