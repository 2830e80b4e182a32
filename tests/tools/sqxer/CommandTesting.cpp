#include "CommandTesting.h"

#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <iterator>
#include <regex>

namespace sqxer::test {

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string Result::Sentences() const {
  return std::regex_replace(err, std::regex("(^|\n)(  [^\n]*\n)+"), "$1");
}

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string Command::Script(const std::string& line) const {
  return "cd " + Quoted(folder_.Path()) + "\nsqxer() { " + Quoted(SQXER_BINARY_DIR "/bin/sqxer") +
         " \"$@\"; }\n" + line;
}

Result Command::Shell(const std::string& line) {
  const std::string script = Script("{ " + line + "\n} >out.txt 2>err.txt </dev/null");
  const int status = std::system(("bash -c " + Quoted(script)).c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadFile(folder_.File("out.txt")),
          ReadFile(folder_.File("err.txt"))};
}

Result Command::OnTerminal(const std::string& line, const std::string& input,
                           const std::function<bool(const std::string&)>& isEnough) {
  using namespace std::chrono;
  const std::string script = Script(line);
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    execl("/bin/bash", "bash", "-c", script.c_str(), nullptr);
    _exit(127);
  }
  EXPECT_EQ(write(terminal, input.data(), input.size()), static_cast<ssize_t>(input.size()));
  std::string shown;
  const auto deadline = steady_clock::now() + minutes(1);
  while (steady_clock::now() < deadline && !(isEnough && isEnough(shown))) {
    pollfd waiting{terminal, POLLIN, 0};
    poll(&waiting, 1, 100);
    if (waiting.revents == 0) continue;
    char piece[4096];
    const ssize_t size = read(terminal, piece, sizeof piece);
    // A terminal that everybody has left answers with an error.
    if (size <= 0) break;
    shown.append(piece, static_cast<std::size_t>(size));
  }
  int status = 0;
  bool hasEnded = waitpid(child, &status, WNOHANG) == child;
  for (int i = 0; !hasEnded && i < 100 && !isEnough && steady_clock::now() < deadline; ++i) {
    poll(nullptr, 0, 10);
    hasEnded = waitpid(child, &status, WNOHANG) == child;
  }
  if (!hasEnded) {
    // The child leads the session of its terminal.
    kill(-child, SIGKILL);
    waitpid(child, &status, 0);
  }
  close(terminal);
  return {hasEnded && WIFEXITED(status) ? WEXITSTATUS(status) : -1, shown, ""};
}

}  // namespace sqxer::test
