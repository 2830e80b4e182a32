#pragma once

#include "Engine/Engine.h"

namespace sqxer {

/// What Ctrl-C and the signals that end a process (SIGTERM, SIGHUP) do. They end the statement that
/// is running. A command without a shell ends with it, by the same signal; it does not wait for
/// more than a moment. A shell lives on after Ctrl-C.
class Interruption {
 public:
  /// Handles the signals from now on; one that is ignored, as under nohup, stays so.
  static void Install();
  /// Ctrl-C is no end of the command, even without a statement.
  static void ServeShell();

  /// The signal that came since the last Clear; 0 for none.
  static int GetSignal();
  /// Forgets Ctrl-C, not the others.
  static void Clear();
  /// Becomes readable when a signal has come, a window's new size (SIGWINCH) and SIGCONT among
  /// them, until Drain; -1 before ServeShell.
  static int GetWakeDescriptor();
  static void Drain();

  /// While it lives, statements of the session run that signals are to end.
  class Statement {
   public:
    explicit Statement(engine::Session& session);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
  };

  /// Ends the process as the signal would have done.
  [[noreturn]] static void EndBy(int signal);
};

}  // namespace sqxer
