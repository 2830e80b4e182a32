#pragma once

#include <string>
#include <vector>

#include "FaultInjector.h"

namespace sqxer::faults {

/// A line of arguments of the command, one call of whose process fails in each run: it ends with
/// the status and the one sentence of an error, or as ever, and leaves nothing.
class CommandFaults {
 public:
  /// What is tried, as words of the shell. Files are those of WriteFiles.
  static const std::vector<std::string>& ListLines();

  /// `command`: an absolute path.
  CommandFaults(std::string command, std::string line, Kind kind);

  /// Runs it without a failure: how many calls it has. std::runtime_error where it fails.
  long Prepare();
  /// What is wrong when the call of that number fails; empty when all is right.
  std::string Try(long number) const;

 private:
  struct Outcome {
    int status;
    std::string out;
    std::string err;
  };
  Outcome Run(long number) const;

  const std::string command_;
  const std::string line_;
  const Kind kind_;
  Outcome expected_{};
  std::string written_;
};

}  // namespace sqxer::faults
