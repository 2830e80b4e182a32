#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "server/Query/Execution/Engine/TemporaryFolder.h"

namespace sqxer::test {

/// What a run of the command gave; status -1 when it did not end by itself.
struct Result {
  int status;
  std::string out;
  std::string err;

  /// The lines of standard error without those below an error that show its place.
  std::string Sentences() const;
};

std::string ReadFile(const std::string& path);
/// As one word of the shell.
std::string Quoted(const std::string& text);

/// Runs the command in a folder of its own.
class Command : public testing::Test {
 protected:
  /// Runs a shell line in the folder, in which `sqxer` is the command.
  Result Shell(const std::string& line);
  Result Sqxer(const std::string& options, const std::string& sql) {
    return Shell("sqxer " + options + " " + Quoted(sql));
  }
  /// Runs a shell line on a terminal where `input` is typed, until `isEnough` is true of what the
  /// terminal shows, or for a minute. The result has only that, with the status.
  Result OnTerminal(const std::string& line, const std::string& input,
                    const std::function<bool(const std::string&)>& isEnough = nullptr);

  TemporaryFolder folder_;

 private:
  std::string Script(const std::string& line) const;
};

}  // namespace sqxer::test
