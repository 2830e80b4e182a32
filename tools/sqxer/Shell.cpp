#include "Shell.h"

#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <new>
#include <stdexcept>

#include "ErrorLines.h"
#include "Interruption.h"
#include "Pager.h"
#include "Progress.h"
#include "ShellCommands.h"
#include "SqlWords.h"
#include "StatementRunner.h"
#include "Terminal.h"

namespace sqxer {
namespace {

namespace fs = std::filesystem;
using engine::Error;
using engine::Statement;
using engine::TextEnd;

/// Files that run files.
constexpr int kMostDepth = 16;
/// A file up to that size is read when it is described.
constexpr std::uintmax_t kMostReadBytes = 64 << 20;

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n\f\v") == std::string_view::npos;
}

/// Whether a line is a command, given what was typed before it.
bool IsCommand(std::string_view line, std::string_view typed) {
  const std::size_t first = line.find_first_not_of(" \t");
  if (first == std::string_view::npos || line[first] != '\\') return false;
  const TextEnd end = engine::FindTextEnd(typed);
  return end == TextEnd::kNothing || end == TextEnd::kStatement;
}

/// The command that people mean who know another shell; empty for anything else.
std::string_view FindMeaning(std::string_view line) {
  while (!line.empty() && std::string_view(" \t;").find(line.back()) != std::string_view::npos) {
    line.remove_suffix(1);
  }
  if (line == "quit" || line == "exit") return "\\q";
  return line == "help" ? "\\?" : "";
}

bool IsRegularFile(const std::string& path) {
  std::error_code ignored;
  return fs::is_regular_file(path, ignored);
}

}  // namespace

Shell::Shell(engine::Session& session, Options options, std::vector<KnownTable> opened)
    : session_(session), options_(std::move(options)), opened_(std::move(opened)) {
  if (!options_.isFormatGiven) options_.output.format = engine::TextOptions::Format::kTable;
  source_.tables = [this] {
    std::vector<std::string> names;
    for (const KnownTable& table : ListTables()) names.push_back(QuoteName(table.name));
    return names;
  };
  source_.columns = [this](const std::string& table) { return CompleteColumns(table); };
  for (const engine::FunctionDescription& one : engine::ListFunctions()) {
    using Kind = engine::FunctionDescription::Kind;
    const bool isName = one.kind != Kind::kOperator && !one.name.empty() &&
                        std::ranges::all_of(one.name, &IsNameLetter);
    if (isName) source_.functions.emplace_back(one.name);
  }
  if (!options_.isHeaderGiven) {
    session_.SetHeaderWarning([this](const std::string& path) { WarnOfHeader(path); });
  }
}

ExitStatus Shell::Run() {
  LineEditor editor(
      // What is typed for others' statements is no one's history.
      HistoryFile(session_.IsUntrusted() ? std::string() : FindHistoryPath()),
      [this](std::string_view before, std::string_view after) { return Complete(before, after); });
  WriteOut(fmt::format("sqxer {} (\\? lists the commands, \\q leaves)\n", engine::GetVersion()));
  for (const KnownTable& table : opened_) RunCommand("\\d " + QuoteName(table.name));
  using Outcome = LineEditor::Outcome;
  while (!isEnded_) {
    for (const std::string& path : std::exchange(warnings_, {})) PrintHeaderWarning(path);
    Interruption::Clear();
    if (Interruption::GetSignal() != 0) break;
    std::string line;
    isTyping_ = true;
    const Outcome outcome = editor.Read(Prompt(), line);
    isTyping_ = false;
    if (outcome == Outcome::kEnd) {
      WriteOut("\n");
      break;
    }
    if (outcome == Outcome::kInterrupted) {
      WriteOut("^C\n");
      typed_.clear();
      continue;
    }
    if (IsCommand(line, typed_)) {
      editor.Remember(line);
      RunCommand(line);
      continue;
    }
    if (typed_.empty()) {
      if (IsBlank(line)) continue;
      if (const std::string_view command = FindMeaning(line); !command.empty()) {
        RunCommand(command);
        continue;
      }
    }
    typed_ += (typed_.empty() ? "" : "\n") + line;
    typedEnd_ = engine::FindTextEnd(typed_);
    if (typedEnd_ != TextEnd::kNothing) continue;
    const std::string text = std::exchange(typed_, {});
    editor.Remember(text);
    RunText(text, 0, text.size());
  }
  if (file_) file_->Complete();
  file_.reset();
  return kDone;
}

std::string Shell::Prompt() const {
  if (typed_.empty()) return "sqxer> ";
  switch (typedEnd_) {
    case TextEnd::kText:
      return "   '...> ";
    case TextEnd::kName:
      return "   \"...> ";
    case TextEnd::kDollarText:
      return "   $...> ";
    case TextEnd::kComment:
      return "   *...> ";
    case TextEnd::kNothing:
    case TextEnd::kStatement:
      break;
  }
  return "   ...> ";
}

void Shell::RunCommand(std::string_view line) {
  try {
    RunShellCommand(*this, line);
  } catch (const Error& error) {
    PrintFailure(error);
  } catch (const ShowingInterrupted&) {
    PrintCancelled();
  } catch (const ReaderGone&) {
    // Whoever left the pager has seen enough.
  } catch (const OutputError& error) {
    PrintError(fmt::format("the result cannot be written: {}", error.what()));
  }
}

bool Shell::RunText(const std::string& text, std::size_t from, std::size_t to) {
  if (!engine::IsSqlText(std::string_view(text).substr(from, to - from))) {
    PrintError("the SQL is not valid UTF-8 text");
    return true;
  }
  for (Statement statement : engine::SplitStatements(text.substr(from, to - from))) {
    statement.offset += from;
    RunOne(text, statement);
    if (Interruption::GetSignal() != 0) return false;
  }
  return true;
}

void Shell::RunOne(const std::string& text, const Statement& statement) {
  if (!file_ && options_.output.format == engine::TextOptions::Format::kArrow) {
    return PrintError("Arrow data are not for a terminal: \\o FILE names a file for them");
  }
  using Clock = std::chrono::steady_clock;
  columns_.clear();
  Options options = options_;
  options.timing = false;
  try {
    PagedOutput terminal;
    ResultWriter& output = file_ ? static_cast<ResultWriter&>(*file_) : terminal;
    // The bar is shown meanwhile.
    options.output.waitsForEnd = !file_;
    options.output.width = file_ ? 0 : TerminalWidth(STDOUT_FILENO);
    const bool showsAll = file_ || terminal.HasPager();
    if (!options.areRowsGiven) options.output.mostRows = showsAll ? 0 : kRowsOnTerminal;
    const Clock::time_point start = Clock::now();
    RunStatement(session_, options, text, statement, 1, output);
    const std::chrono::duration<double, std::milli> time = Clock::now() - start;
    terminal.Finish();
    if (const std::string& tag = session_.GetReport().tag; !tag.empty()) WriteOut(tag + "\n");
    if (options_.timing) WriteOut(fmt::format("Time: {:.1f} ms\n", time.count()));
  } catch (const ShowingInterrupted&) {
    PrintCancelled();
  } catch (const ReaderGone&) {
    Progress::Clear();
  } catch (const OutputError& error) {
    Progress::Clear();
    PrintError(fmt::format("the result cannot be written: {}", error.what()));
    // A file that has failed once has not all results; a terminal that is gone is the end.
    if (!file_) isEnded_ = true;
    file_.reset();
  }
}

void Shell::Show(std::string_view text) {
  PagedOutput terminal;
  terminal.Write(text);
  terminal.Finish();
}

void Shell::SetOutput(const std::optional<std::string>& path) {
  if (path && session_.IsUntrusted()) {
    return PrintError("\\o writes a file, which --untrusted does not: --out does");
  }
  if (file_) file_->Complete();
  file_.reset();
  if (path) file_.emplace(path);
}

void Shell::SetSwitch(const std::string& name, const std::string& value) {
  if (!session_.IsUntrusted()) return session_.Set(name, value);
  // As a statement does, within the limits. Another name is refused here, whatever it holds.
  session_.Get(name);
  std::string text;
  for (const char c : value) text += c == '\'' ? std::string("''") : std::string(1, c);
  session_.Query(fmt::format("SET {} = '{}'", name, text));
}

void Shell::RunFile(const std::string& path) {
  if (depth_ == kMostDepth) {
    return PrintError(fmt::format("{} is not run: files run each other {} deep", path, kMostDepth));
  }
  session_.CheckReadable(path);
  const std::string text = engine::ReadSqlText(path);
  ++depth_;
  std::size_t start = 0;
  bool goesOn = true;
  for (std::size_t at = 0; at < text.size() && goesOn && !isEnded_;) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    const std::string_view line(text.data() + at, end - at);
    const std::string_view before(text.data() + start, at - start);
    at = std::min(end + 1, text.size());
    if (IsCommand(line, before)) {
      // What stands before it without a semicolon is a statement.
      goesOn = IsBlank(before) || RunText(text, start, end - line.size());
      if (goesOn) RunCommand(line);
      goesOn = goesOn && Interruption::GetSignal() == 0;
      start = at;
    } else if (at == text.size() ||
               (line.find(';') != std::string_view::npos &&
                engine::FindTextEnd({text.data() + start, at - start}) == TextEnd::kNothing)) {
      goesOn = RunText(text, start, at);
      start = at;
    }
  }
  // Of a script that ends itself the shell does not.
  isEnded_ = false;
  --depth_;
}

std::vector<KnownTable> Shell::ListTables() const {
  using Kind = KnownTable::Kind;
  std::vector<KnownTable> tables;
  // What has a name first is what the name means.
  const auto add = [&](KnownTable table) {
    if (std::ranges::find(tables, table.name, &KnownTable::name) == tables.end()) {
      tables.push_back(std::move(table));
    }
  };
  for (engine::MadeTable& made : session_.ListMadeTables()) {
    add({std::move(made.name), "", made.isView ? Kind::kMadeView : Kind::kMadeTable});
  }
  for (const KnownTable& table : opened_) add(table);
  for (const auto& [name, path] : options_.tables) add({name, path});
  for (KnownTable& table : ListTablesOfFolder(options_.directory)) add(std::move(table));
  std::ranges::sort(tables, {}, &KnownTable::name);
  return tables;
}

std::string Shell::DescribeTable(const std::string& table) {
  const Interruption::Statement running(session_);
  Progress::Start();
  const std::string from = " FROM " + table;
  std::error_code ignored;
  const KnownTable known = FindKnown(table);
  const bool isSmall =
      known.kind == KnownTable::Kind::kMadeTable ||
      (IsRegularFile(known.path) && fs::file_size(known.path, ignored) <= kMostReadBytes);
  // Without rows, so that all are read for the types.
  const std::vector<engine::Column> columns =
      isSmall ? session_.Query("SELECT *" + from + " WHERE FALSE").GetColumns()
              : SampleColumns(session_, table);
  std::string rows;
  if (isSmall) {
    engine::TextOptions options;
    options.hasHeader = false;
    session_.Write(
        "SELECT COUNT(*)" + from, [&](std::string_view piece) { rows += piece; }, {}, options);
    rows.resize(std::min(rows.find('\n'), rows.size()));
    rows = fmt::format(", {} row{}", rows, rows == "1" ? "" : "s");
  }
  Progress::Clear();
  std::string text = fmt::format("{}: {} column{}{}\n", OnOneLine(table), columns.size(),
                                 columns.size() == 1 ? "" : "s", rows);
  std::size_t width = 0;
  for (const engine::Column& column : columns) {
    width = std::max(width, engine::CountColumns(OnOneLine(QuoteName(column.name))));
  }
  for (const engine::Column& column : columns) {
    // The length of texts is that of those in the sample.
    const std::string type = isSmall ? column.type : column.type.substr(0, column.type.find('('));
    text += fmt::format("  {}  {}\n", PadTo(OnOneLine(QuoteName(column.name)), width), type);
  }
  return text;
}

KnownTable Shell::FindKnown(const std::string& table) const {
  const std::vector<SqlWord> words = ReadSqlWords(table);
  if (words.size() != 1) return {};
  const std::string& name = words.front().text;
  for (const KnownTable& known : ListTables()) {
    if (known.name.size() == name.size() && StartsWithFolded(known.name, name)) return known;
  }
  return {name, engine::NameOfTable(name).empty() ? std::string() : name};
}

Completion Shell::Complete(std::string_view before, std::string_view after) {
  const Interruption::Statement running(session_);
  Progress::Start();
  Progress::Stop();
  if (IsCommand(before, typed_)) return CompleteCommand(before, source_);
  const std::string text = typed_.empty() ? std::string() : typed_ + "\n";
  return CompleteSql(text + std::string(before), after, source_);
}

std::vector<std::string> Shell::CompleteColumns(const std::string& table) {
  const auto [found, isNew] = columns_.try_emplace(table);
  if (!isNew) return found->second;
  // Only of tables whose first rows are soon read.
  const KnownTable known = FindKnown(table);
  if (known.kind != KnownTable::Kind::kMadeTable && !IsRegularFile(known.path)) return {};
  try {
    for (const engine::Column& column : SampleColumns(session_, table)) {
      found->second.push_back(QuoteName(column.name));
    }
  } catch (const Error&) {
    // The statement will say so.
  }
  return found->second;
}

void Shell::WarnOfHeader(const std::string& path) {
  if (isTyping_) {
    warnings_.push_back(path);
  } else {
    PrintHeaderWarning(path);
  }
}

}  // namespace sqxer
