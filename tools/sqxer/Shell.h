#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Completion.h"
#include "Engine/Engine.h"
#include "LineEditor.h"
#include "Options.h"
#include "OutputStream.h"
#include "TableFiles.h"

namespace sqxer {

/// Asks a person for statements and commands on a terminal, and runs them.
class Shell {
 public:
  /// `opened` are tables of the session whose columns are to be shown first.
  Shell(engine::Session& session, Options options, std::vector<KnownTable> opened);

  /// Until the person leaves, or a signal ends it, of which Interruption tells.
  ExitStatus Run();

  // What commands do.

  /// Shows a text on the terminal, a long one through the pager.
  void Show(std::string_view text);
  void End() { isEnded_ = true; }
  bool IsTiming() const { return options_.timing; }
  void SetTiming(bool isOn) { options_.timing = isOn; }
  void SetFormat(engine::TextOptions::Format format) { options_.output.format = format; }
  /// Completes the file that results go to, and opens another one; nothing: the terminal. Throws
  /// OutputError.
  void SetOutput(const std::optional<std::string>& path);
  /// Throws Error, as the next two.
  void SetSwitch(const std::string& name, const std::string& value);
  std::string GetSwitch(std::string_view name) const { return session_.Get(std::string(name)); }
  void RunFile(const std::string& path);

  /// Those that statements have made, those that were given, and those of the folder, by name.
  std::vector<KnownTable> ListTables() const;
  /// A line for each column of a table as statements write it, and how many rows it has where that
  /// does not take long. Throws Error.
  std::string DescribeTable(const std::string& table);

 private:
  /// Tells what the statement that is being typed is in the middle of.
  std::string Prompt() const;
  /// What is known of a table as statements write it; without a path where there is no knowing.
  KnownTable FindKnown(const std::string& table) const;
  /// Runs the statements of a part of `text`. False: a signal has come.
  bool RunText(const std::string& text, std::size_t from, std::size_t to);
  void RunOne(const std::string& text, const engine::Statement& statement);
  void RunCommand(std::string_view line);

  Completion Complete(std::string_view before, std::string_view after);
  std::vector<std::string> CompleteColumns(const std::string& table);
  void WarnOfHeader(const std::string& path);

  engine::Session& session_;
  Options options_;
  const std::vector<KnownTable> opened_;
  CompletionSource source_;
  /// What tables were found to have since the last statement.
  std::map<std::string, std::vector<std::string>> columns_;
  /// Files to warn of when nothing is being typed.
  std::vector<std::string> warnings_;
  bool isTyping_ = false;
  /// The lines of a statement without its end.
  std::string typed_;
  /// What they end in the middle of.
  engine::TextEnd typedEnd_ = engine::TextEnd::kNothing;
  std::optional<OutputStream> file_;
  int depth_ = 0;
  bool isEnded_ = false;
};

}  // namespace sqxer
