#include "ShellCommands.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "Engine/Engine.h"
#include "ErrorLines.h"
#include "Options.h"
#include "Shell.h"
#include "SqlWords.h"
#include "TableFiles.h"
#include "Terminal.h"

namespace sqxer {
namespace {

using Argument = ShellCommand::Argument;

constexpr std::string_view kBlanks = " \t\r\n\f\v";

std::string_view Trim(std::string_view text, std::string_view what = kBlanks) {
  const std::size_t first = text.find_first_not_of(what);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(what) + 1 - first);
}

/// Text and what belongs to it side by side.
std::string Align(const std::vector<std::pair<std::string, std::string>>& lines) {
  std::size_t width = 0;
  for (const auto& [left, right] : lines) width = std::max(width, engine::CountColumns(left));
  std::string text;
  for (const auto& [left, right] : lines) {
    text += fmt::format("  {}  {}\n", PadTo(left, width), right);
  }
  return text;
}

void ShowHelp(Shell& shell, const std::string& /*argument*/) {
  std::vector<std::pair<std::string, std::string>> lines;
  for (const ShellCommand& command : ListShellCommands()) {
    lines.emplace_back(FormOf(command), command.description);
  }
  shell.Show(Align(lines));
}

void ShowTables(Shell& shell, const std::string& argument) {
  if (!argument.empty()) return shell.Show(shell.DescribeTable(argument));
  std::vector<std::pair<std::string, std::string>> lines;
  for (const KnownTable& table : shell.ListTables()) {
    const bool isView = table.kind == KnownTable::Kind::kMadeView;
    const bool isFile = table.kind == KnownTable::Kind::kFile;
    lines.emplace_back(QuoteName(table.name), isFile   ? OnOneLine(table.path)
                                              : isView ? "(view)"
                                                       : "(table)");
  }
  if (lines.empty()) {
    return shell.Show("no tables: a quoted path of a file is one (SELECT * FROM 'sales.csv')\n");
  }
  shell.Show(Align(lines));
}

void SetTiming(Shell& shell, const std::string& argument) {
  if (!argument.empty() && argument != "on" && argument != "off") {
    return PrintError("\\timing takes on or off");
  }
  shell.SetTiming(argument.empty() ? !shell.IsTiming() : argument == "on");
  shell.Show(fmt::format("timing is {}\n", shell.IsTiming() ? "on" : "off"));
}

void SetOutput(Shell& shell, const std::string& argument) {
  shell.SetOutput(argument.empty() ? std::nullopt : std::optional(argument));
}

void RunFile(Shell& shell, const std::string& argument) {
  if (argument.empty()) return PrintError("\\i takes the path of a file");
  shell.RunFile(argument);
}

void SetFormat(Shell& shell, const std::string& argument) {
  std::vector<std::string> names;
  for (const auto& [name, format] : OutputFormats()) names.push_back(name);
  const auto found = OutputFormats().find(argument);
  if (found == OutputFormats().end()) {
    return PrintError(fmt::format("\\format takes one of {}", fmt::join(names, ", ")));
  }
  shell.SetFormat(found->second);
}

void SetSwitch(Shell& shell, const std::string& argument) {
  const std::size_t blank = std::min(argument.find_first_of(" \t="), argument.size());
  const std::string name = argument.substr(0, blank);
  const std::string_view value =
      blank < argument.size() ? Trim(std::string_view(argument).substr(blank + 1)) : "";
  if (!value.empty()) return shell.SetSwitch(name, std::string(value));
  std::string text;
  for (const engine::SwitchDescription& one : engine::ListSwitches()) {
    if (!name.empty() && one.name != name) continue;
    text += fmt::format("{}={}\n", one.name, shell.GetSwitch(one.name));
    if (!name.empty()) text += fmt::format("    {}\n    Values: {}\n", one.description, one.values);
  }
  // The error that names those near it.
  if (text.empty()) return shell.SetSwitch(name, "");
  shell.Show(text);
}

void ShowReference(Shell& shell, const std::string& argument) {
  shell.Show(argument.empty() ? engine::ListSqlForms() : engine::DescribeSql(argument));
}

void End(Shell& shell, const std::string& /*argument*/) { shell.End(); }

constexpr ShellCommand kCommands[] = {
    {"?", "", Argument::kNone, "this list", &ShowHelp},
    {"d", "[NAME]", Argument::kTable, "the tables that have names, or the columns of one",
     &ShowTables},
    {"format", "NAME", Argument::kFormat, "how results are written, as -o has it", &SetFormat},
    {"h", "[NAME]", Argument::kReference,
     "the operators and functions, what one of them does, or a page of the reference",
     &ShowReference},
    {"i", "FILE", Argument::kFile, "run the statements and commands of a file", &RunFile},
    {"o", "[FILE]", Argument::kFile,
     "write results to a file, which appears with the next \\o or at the end", &SetOutput},
    {"q", "", Argument::kNone, "leave, as Ctrl-D does", &End},
    {"set", "[NAME [VALUE]]", Argument::kSwitch, "the switches, one of them, or set it",
     &SetSwitch},
    {"timing", "[on|off]", Argument::kOnOff, "whether the time of each statement is shown",
     &SetTiming},
};

/// The name of a command, and what stands behind it.
std::pair<std::string_view, std::string_view> Split(std::string_view line) {
  line.remove_prefix(std::min(line.find('\\') + 1, line.size()));
  const std::size_t end = std::min(line.find_first_of(kBlanks), line.size());
  return {line.substr(0, end), line.substr(end)};
}

const ShellCommand* Find(std::string_view name) {
  const auto* const found = std::ranges::find(kCommands, name, &ShellCommand::name);
  return found == std::end(kCommands) ? nullptr : found;
}

void RefuseCommand(const std::string& name) {
  std::vector<std::string> names;
  for (const ShellCommand& command : kCommands) names.emplace_back(command.name);
  std::vector<std::string> near = engine::FindNearNames(name, names);
  for (std::string& one : near) one = fmt::format("\\{}", one);
  const std::string hint =
      near.empty() ? "\\? lists them" : fmt::format("did you mean {}?", fmt::join(near, " or "));
  PrintError(fmt::format("there is no command \\{}: {}", name, hint));
}

std::vector<std::string> WordsFor(Argument argument, const CompletionSource& source) {
  std::vector<std::string> words;
  switch (argument) {
    case Argument::kTable:
      return source.tables();
    case Argument::kFormat:
      for (const auto& [name, format] : OutputFormats()) words.push_back(name);
      break;
    case Argument::kOnOff:
      return {"off", "on"};
    case Argument::kSwitch:
      for (const auto& one : engine::ListSwitches()) words.emplace_back(one.name);
      break;
    case Argument::kReference:
      words = source.functions;
      for (const engine::SqlPage& page : engine::DescribeSql()) words.emplace_back(page.name);
      break;
    case Argument::kNone:
    case Argument::kFile:
      break;
  }
  return words;
}

}  // namespace

std::span<const ShellCommand> ListShellCommands() { return kCommands; }

std::string FormOf(const ShellCommand& command) {
  return fmt::format("\\{}{}{}", command.name, command.form.empty() ? "" : " ", command.form);
}

void RunShellCommand(Shell& shell, std::string_view line) {
  auto [name, rest] = Split(Trim(line));
  // As people type who are used to semicolons.
  name = Trim(name, ";");
  const ShellCommand* const command = Find(name);
  if (command == nullptr) return RefuseCommand(std::string(name));
  std::string_view argument = Trim(rest);
  const bool isFile = command->argument == Argument::kFile;
  if (!isFile) argument = Trim(argument.substr(0, argument.find_last_not_of(';') + 1));
  if (command->argument == Argument::kNone && !argument.empty()) {
    return PrintError(fmt::format("\\{} takes nothing behind it", name));
  }
  const bool isQuoted = argument.size() > 1 && argument.front() == argument.back() &&
                        (argument.front() == '\'' || argument.front() == '"');
  if (isFile && isQuoted) argument = argument.substr(1, argument.size() - 2);
  command->run(shell, std::string(argument));
}

Completion CompleteCommand(std::string_view line, const CompletionSource& source) {
  const auto [name, rest] = Split(line);
  if (rest.empty()) {
    std::vector<std::string> names;
    for (const ShellCommand& command : kCommands) names.emplace_back(command.name);
    return CompleteWord(name, names);
  }
  const ShellCommand* const command = Find(name);
  if (command == nullptr) return {};
  std::string_view word = rest.substr(rest.find_first_not_of(kBlanks) == std::string_view::npos
                                          ? rest.size()
                                          : rest.find_first_not_of(kBlanks));
  if (command->argument != Argument::kFile) {
    return CompleteWord(word, WordsFor(command->argument, source));
  }
  const bool isQuoted = !word.empty() && (word.front() == '\'' || word.front() == '"');
  const std::string mark(isQuoted ? word.substr(0, 1) : "");
  if (isQuoted) word.remove_prefix(1);
  Completion paths = CompletePath(word, false);
  paths.suffix = mark;
  return paths;
}

}  // namespace sqxer
