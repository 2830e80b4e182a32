#pragma once

#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace sqxer::test {

struct TerminalSettings {
  unsigned short rows = 24;
  unsigned short columns = 80;
  /// Variables of the environment; an empty value: it has none of that name.
  std::map<std::string, std::string> environment = {};
};

/// The command on a terminal, typed at by a test.
class Terminal {
 public:
  /// Starts it in a folder, where it keeps its history too.
  Terminal(const std::string& folder, const std::vector<std::string>& arguments,
           const TerminalSettings& settings = {});
  /// Ends it at once if it still runs.
  ~Terminal();
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  void Type(const std::string& text);
  /// Waits until the terminal shows a text behind what was waited for before, and returns what it
  /// has shown up to its end. A failure of the test after a minute, or when the command has ended.
  std::string WaitFor(const std::string& text);
  /// Types a line at the prompt and returns what is shown before the next one.
  std::string Run(const std::string& line);
  /// What is typed before Tab, and what Tab adds. Ends with the line gone.
  void ExpectCompletion(const std::string& typed, const std::string& added);
  void Signal(int number);
  /// Waits for its end: the status, and 128 and the signal's number where one has ended it.
  int WaitForEnd();

 private:
  bool ReadMore(std::chrono::steady_clock::time_point deadline);

  int terminal_ = -1;
  pid_t child_ = -1;
  std::string shown_;
};

constexpr const char* kPrompt = "sqxer> ";
constexpr const char* kContinued = "   ...> ";

}  // namespace sqxer::test
