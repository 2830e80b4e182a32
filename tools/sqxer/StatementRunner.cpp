#include "StatementRunner.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "ErrorLines.h"
#include "Interruption.h"
#include "Progress.h"

namespace sqxer {
namespace {

using engine::Error;
using engine::Session;
using engine::Statement;

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

/// Runs a statement and writes its result; standard error says what is wrong.
ExitStatus ExecuteStatement(Session& session, const Options& options, const std::string& text,
                            const Statement& statement, const engine::WriteText& write) {
  try {
    Progress::Start();
    const Interruption::Statement running(session);
    session.Write(statement.sql, write, options.parameters, options.output);
    Progress::Clear();
    return kDone;
  } catch (const Error& error) {
    Progress::Clear();
    PrintFailure(error, text, statement.offset);
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

}  // namespace

void PrintFailure(const Error& error, const std::string& sql, std::size_t statementOffset) {
  if (error.GetCode() == Error::kCancelled && Interruption::GetSignal() != 0) {
    PrintCancelled();
  } else {
    PrintError(error, sql, statementOffset);
  }
}

ExitStatus RunStatement(Session& session, const Options& options, const std::string& text,
                        const Statement& statement, std::size_t number, ResultWriter& output) {
  using Format = engine::TextOptions::Format;
  const bool holdsOne =
      options.output.format == Format::kSvg || options.output.format == Format::kArrow;
  if (holdsOne && output.IsBegun()) {
    PrintError(fmt::format(
        "a picture or an Arrow file holds one result: statement {} needs one of its own", number));
    return kQueryFailed;
  }
  // What people look at is parted; other programs read one result after the other.
  constexpr Format kForPeople[] = {Format::kTable, Format::kLines, Format::kMarkdown,
                                   Format::kChart};
  const bool isForPeople =
      std::ranges::find(kForPeople, options.output.format) != std::end(kForPeople);
  bool isParted = !isForPeople || !output.IsBegun();
  const auto write = [&](std::string_view piece) {
    if (!std::exchange(isParted, true)) output.Write("\n");
    output.Write(piece);
  };
  const ExitStatus status = ExecuteStatement(session, options, text, statement, write);
  const engine::RunReport& report = session.GetReport();
  if (status == kDone) {
    if (options.timing) PrintTiming(report, number, options.output.runs);
  } else if (report.writtenRows && output.IsSeenAtOnce()) {
    PrintError(
        fmt::format("the result is not complete, it ends after {} rows", *report.writtenRows));
  }
  return status;
}

}  // namespace sqxer
