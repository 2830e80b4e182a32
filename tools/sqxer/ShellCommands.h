#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Completion.h"

namespace sqxer {

class Shell;

/// A command of the shell: a line that begins with a backslash.
struct ShellCommand {
  /// What its argument is, of which Tab knows.
  enum class Argument { kNone, kTable, kFile, kFormat, kOnOff, kSwitch, kReference };

  std::string_view name;
  /// How its argument is written.
  std::string_view form;
  Argument argument;
  std::string_view description;
  void (*run)(Shell& shell, const std::string& argument);
};
std::span<const ShellCommand> ListShellCommands();
/// "\d [NAME]".
std::string FormOf(const ShellCommand& command);

/// Runs a line that begins with a backslash, or says that there is no such command. Throws what the
/// command does, Error for one.
void RunShellCommand(Shell& shell, std::string_view line);

/// Completes the last word of such a line.
Completion CompleteCommand(std::string_view line, const CompletionSource& source);

}  // namespace sqxer
