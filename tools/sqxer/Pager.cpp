#include "Pager.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "Interruption.h"
#include "Progress.h"
#include "Terminal.h"

namespace sqxer {

PagedOutput::PagedOutput() : mostLines_(GetTerminalSize().rows) {
  const char* const program = std::getenv("PAGER");
  if (program != nullptr && terminal_.IsTerminal()) program_ = program;
}

PagedOutput::~PagedOutput() { WaitForPager(); }

void PagedOutput::Write(std::string_view bytes) {
  isBegun_ = true;
  if (pipe_ >= 0) {
    WriteAll(pipe_, bytes, "PAGER");
    return;
  }
  if (program_.empty()) return WriteToTerminal(bytes);
  held_ += bytes;
  lines_ += static_cast<std::size_t>(std::ranges::count(bytes, '\n'));
  // The prompt takes a line.
  if (lines_ < mostLines_) return;
  Start();
  const std::string held = std::exchange(held_, {});
  if (pipe_ >= 0) return WriteAll(pipe_, held, "PAGER");
  program_.clear();
  WriteToTerminal(held);
}

void PagedOutput::WriteToTerminal(std::string_view bytes) {
  // A terminal takes its time.
  constexpr std::size_t kPiece = 4096;
  while (!bytes.empty()) {
    if (Interruption::GetSignal() != 0) throw ShowingInterrupted();
    const std::string_view piece = bytes.substr(0, kPiece);
    terminal_.Write(piece);
    bytes.remove_prefix(piece.size());
  }
}

void PagedOutput::Finish() {
  WaitForPager();
  const std::string held = std::exchange(held_, {});
  lines_ = 0;
  if (!held.empty()) WriteToTerminal(held);
}

void PagedOutput::Start() {
  Progress::Stop();
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  // Those that this process ignores are its own affair.
  sigset_t own;
  sigemptyset(&own);
  sigaddset(&own, SIGPIPE);
  sigaddset(&own, SIGXFSZ);
  posix_spawnattr_setsigdefault(&attributes, &own);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  std::string shell = "sh", option = "-c";
  // What a pager that is not there would have shown is not lost.
  std::string script = program_ + "\nif [ $? -eq 127 ]; then exec cat; fi";
  char* const arguments[] = {shell.data(), option.data(), script.data(), nullptr};
  const int error = posix_spawn(&pager_, "/bin/sh", &actions, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[0]);
  if (error == 0) {
    pipe_ = ends[1];
  } else {
    close(ends[1]);
    pager_ = -1;
  }
}

void PagedOutput::WaitForPager() noexcept {
  if (pipe_ >= 0) close(std::exchange(pipe_, -1));
  if (pager_ < 0) return;
  while (waitpid(pager_, nullptr, 0) < 0 && errno == EINTR) {
  }
  pager_ = -1;
}

}  // namespace sqxer
