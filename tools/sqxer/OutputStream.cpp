#include "OutputStream.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "Progress.h"

namespace sqxer {
namespace {

namespace fs = std::filesystem;

constexpr const char* kStandardOutput = "standard output";

/// The path of a file that is not complete; null for none.
std::atomic<const char*> unfinished = nullptr;

/// The permissions that a file gets which is made without any wishes.
mode_t DefaultMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

void WriteAll(int descriptor, std::string_view bytes, const std::string& name) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EPIPE) {
      throw ReaderGone();
    } else if (errno != EINTR) {
      throw OutputError(errno, name);
    }
  }
}

void RemoveUnfinishedFile() noexcept {
  if (const char* const path = unfinished) unlink(path);
}

void WriteOut(std::string_view bytes) { WriteAll(STDOUT_FILENO, bytes, kStandardOutput); }

OutputStream::OutputStream(const std::optional<std::string>& path)
    : name_(path.value_or(kStandardOutput)), descriptor_(STDOUT_FILENO) {
  if (path) {
    std::error_code ignored;
    const fs::file_status old = fs::status(*path, ignored);
    if (fs::exists(old) && !fs::is_regular_file(old)) {
      descriptor_ = open(path->c_str(), O_WRONLY | O_CLOEXEC);
      if (descriptor_ < 0) throw OutputError(errno, name_);
    } else {
      // The file behind a symbolic link is what is replaced.
      path_ = fs::exists(old) ? fs::canonical(*path, ignored).string() : *path;
      OpenTemporary();
    }
  }
  // One that is open for reading only has been put in the place of one that was closed.
  const int mode = fcntl(descriptor_, F_GETFL);
  if (mode == -1 || (mode & O_ACCMODE) == O_RDONLY) throw OutputError(EBADF, name_);
  struct stat status;
  isFile_ = fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
  isTerminal_ = isatty(descriptor_) != 0;
}

void OutputStream::OpenTemporary() {
  const fs::path path(path_);
  temporary_ = (path.parent_path() / fmt::format(".{}.XXXXXX", path.filename().string())).string();
  // A signal between the file and its name for the handler would leave the file.
  sigset_t all, before;
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, &before);
  descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
  const int error = errno;
  if (descriptor_ >= 0) unfinished = temporary_.c_str();
  sigprocmask(SIG_SETMASK, &before, nullptr);
  if (descriptor_ < 0) throw OutputError(error, name_);
  struct stat old;
  fchmod(descriptor_, stat(path_.c_str(), &old) == 0 ? old.st_mode & 07777 : DefaultMode());
}

OutputStream::~OutputStream() {
  if (descriptor_ != STDOUT_FILENO) close(descriptor_);
  unfinished = nullptr;
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void OutputStream::Write(std::string_view bytes) {
  isBegun_ = true;
  // What reads it may show it on the bar's terminal.
  if (!isFile_) Progress::Stop();
  WriteAll(descriptor_, bytes, name_);
}

void OutputStream::Complete() {
  if (temporary_.empty()) return;
  // Some file systems tell only now that there was no room.
  if (close(std::exchange(descriptor_, STDOUT_FILENO)) != 0 ||
      std::rename(temporary_.c_str(), path_.c_str()) != 0) {
    throw OutputError(errno, name_);
  }
  unfinished = nullptr;
  temporary_.clear();
}

}  // namespace sqxer
