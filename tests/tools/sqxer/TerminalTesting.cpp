#include "TerminalTesting.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace sqxer::test {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::minutes kLongest{1};

}  // namespace

Terminal::Terminal(const std::string& folder, const std::vector<std::string>& arguments,
                   const TerminalSettings& settings) {
  winsize size = {};
  size.ws_row = settings.rows;
  size.ws_col = settings.columns;
  child_ = forkpty(&terminal_, nullptr, nullptr, &size);
  if (child_ != 0) return;
  std::map<std::string, std::string> environment = {{"TERM", "xterm"},
                                                    {"NO_COLOR", "1"},
                                                    {"PAGER", ""},
                                                    {"HOME", folder},
                                                    {"XDG_STATE_HOME", folder + "/state"}};
  for (const auto& [name, value] : settings.environment) environment[name] = value;
  for (const auto& [name, value] : environment) {
    value.empty() ? unsetenv(name.c_str()) : setenv(name.c_str(), value.c_str(), 1);
  }
  std::vector<std::string> words = {"sqxer"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  if (chdir(folder.c_str()) == 0) execv(SQXER_BINARY_DIR "/bin/sqxer", pointers.data());
  _exit(127);
}

Terminal::~Terminal() {
  if (child_ > 0) {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }
  close(terminal_);
}

void Terminal::Type(const std::string& text) {
  EXPECT_EQ(write(terminal_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

bool Terminal::ReadMore(Clock::time_point deadline) {
  pollfd waiting{terminal_, POLLIN, 0};
  while (poll(&waiting, 1, 100) == 0) {
    if (Clock::now() > deadline) return false;
  }
  char piece[4096];
  const ssize_t size = read(terminal_, piece, sizeof piece);
  // A terminal that everybody has left answers with an error.
  if (size <= 0) return false;
  shown_.append(piece, static_cast<std::size_t>(size));
  return true;
}

std::string Terminal::WaitFor(const std::string& text) {
  const Clock::time_point deadline = Clock::now() + kLongest;
  std::size_t found = shown_.find(text);
  while (found == std::string::npos) {
    if (!ReadMore(deadline)) {
      ADD_FAILURE() << "\"" << text << "\" is not shown: " << shown_;
      return std::exchange(shown_, {});
    }
    found = shown_.find(text);
  }
  std::string seen = shown_.substr(0, found + text.size());
  shown_.erase(0, seen.size());
  return seen;
}

std::string Terminal::Run(const std::string& line) {
  Type(line + "\n");
  return WaitFor(kPrompt);
}

void Terminal::ExpectCompletion(const std::string& typed, const std::string& added) {
  SCOPED_TRACE(typed);
  Type(typed);
  WaitFor(typed.substr(typed.size() - 3));
  Type("\t");
  WaitFor(added);
  Type("\x03");
  WaitFor(kPrompt);
}

void Terminal::Signal(int number) { kill(child_, number); }

int Terminal::WaitForEnd() {
  const Clock::time_point deadline = Clock::now() + kLongest;
  while (ReadMore(deadline)) {
  }
  int status = 0;
  pid_t ended = 0;
  while (ended == 0 && Clock::now() < deadline) {
    ended = waitpid(child_, &status, WNOHANG);
    if (ended == 0) poll(nullptr, 0, 10);
  }
  if (ended != child_) {
    ADD_FAILURE() << "it goes on: " << shown_;
    return -1;
  }
  child_ = -1;
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace sqxer::test
