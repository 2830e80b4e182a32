#include "Batch.h"

#include <string>
#include <vector>

#include "ErrorLines.h"
#include "Interruption.h"
#include "OutputStream.h"
#include "Progress.h"
#include "StatementRunner.h"

namespace sqxer {
namespace {

using engine::Error;
using engine::Session;
using engine::Statement;

/// A text with its statements.
struct Script {
  std::string text;
  std::vector<Statement> statements;
};

/// Up to the first statement that a signal has ended; the status of the first that has failed.
ExitStatus RunScripts(Session& session, const Options& options, const std::vector<Script>& scripts,
                      OutputStream& output) {
  ExitStatus status = kDone;
  std::size_t number = 0;
  try {
    for (const Script& script : scripts) {
      for (const Statement& statement : script.statements) {
        const ExitStatus one =
            RunStatement(session, options, script.text, statement, ++number, output);
        if (status == kDone) status = one;
        if (Interruption::GetSignal() != 0) return kQueryFailed;
      }
    }
  } catch (const ReaderGone&) {
    // It has what it wanted: what comes now is for nobody.
    Progress::Clear();
    return status;
  }
  if (status == kDone) output.Complete();
  return status;
}

}  // namespace

ExitStatus RunBatch(Session& session, Options options) {
  std::vector<std::string> texts = options.sql;
  try {
    if (texts.empty()) texts.push_back(engine::ReadSqlText(options.sqlFile));
  } catch (const Error& error) {
    PrintError(error);
    return kFileFailed;
  }
  OutputStream output(options.out);
  // It shows the bar meanwhile.
  options.output.waitsForEnd = output.IsTerminal();
  std::vector<Script> scripts;
  bool isNothing = true;
  for (std::string& text : texts) {
    if (!engine::IsSqlText(text)) {
      PrintError("the SQL is not valid UTF-8 text");
      return kQueryFailed;
    }
    std::vector<Statement> statements = engine::SplitStatements(text);
    isNothing = isNothing && statements.empty();
    scripts.push_back({std::move(text), std::move(statements)});
  }
  if (isNothing) {
    PrintLine("sqxer: no SQL is given (--help shows the options)");
    return kWrongOptions;
  }
  return RunScripts(session, options, scripts, output);
}

}  // namespace sqxer
