#include "ReplacedFile.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "Utility/SystemUtility.h"

namespace sqxer {
namespace {

namespace fs = std::filesystem;

/// More files than these at once are not removed by a signal.
constexpr std::size_t kSlots = 64;
/// The paths of files that are not complete; null for none.
std::array<std::atomic<const char*>, kSlots> unfinished = {};

[[noreturn]] void Fail(int error, const std::string& path) {
  throw std::system_error(error, std::generic_category(), path);
}

/// The permissions that a file gets which is made without any wishes.
mode_t DefaultMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

/// Whether a path is that of what standard output goes to.
bool IsStandardOutput(const std::string& path) {
  struct stat file, output;
  return stat(path.c_str(), &file) == 0 && fstat(STDOUT_FILENO, &output) == 0 &&
         file.st_dev == output.st_dev && file.st_ino == output.st_ino;
}

/// A free place for a path.
std::size_t TakeSlot(const char* path) {
  for (std::size_t slot = 0; slot < kSlots; ++slot) {
    const char* none = nullptr;
    if (unfinished[slot].compare_exchange_strong(none, path)) return slot;
  }
  return kSlots;
}

}  // namespace

ReplacedFile::ReplacedFile(const std::string& path) : path_(path), slot_(kSlots) {
  std::error_code ignored;
  const fs::file_status old = fs::status(path, ignored);
  // /dev/stdout and its like stand for files that are open, whose contents are others' too.
  const bool isOpenFile = path.starts_with("/dev/") || path.starts_with("/proc/");
  if (isOpenFile && IsStandardOutput(path)) {
    descriptor_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    if (descriptor_ < 0) Fail(errno, path);
    return;
  }
  if (fs::exists(old) && !fs::is_regular_file(old)) {
    descriptor_ = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) Fail(errno, path);
    return;
  }
  // The file behind a symbolic link is what is replaced.
  if (fs::exists(old)) {
    std::error_code error;
    path_ = fs::canonical(path, error).string();
    SystemUtility::ThrowIfOutOfMemory(error);
    if (error) Fail(error.value(), path);
  }
  OpenTemporary();
}

void ReplacedFile::OpenTemporary() {
  const fs::path path(path_);
  std::string hidden = ".";
  hidden.append(path.filename().string()).append(".XXXXXX");
  temporary_ = (path.parent_path() / hidden).string();
  // A signal between the file and its name for the handler would leave the file.
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
  const int error = errno;
  if (descriptor_ >= 0) slot_ = TakeSlot(temporary_.c_str());
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (descriptor_ < 0) Fail(error, path_);
  struct stat old;
  fchmod(descriptor_, stat(path_.c_str(), &old) == 0 ? old.st_mode & 07777 : DefaultMode());
}

ReplacedFile::~ReplacedFile() {
  Close();
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

void ReplacedFile::Close() noexcept {
  if (descriptor_ >= 0) close(std::exchange(descriptor_, -1));
  if (slot_ < kSlots) unfinished[std::exchange(slot_, kSlots)] = nullptr;
}

void ReplacedFile::Write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor_, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      Fail(errno, path_);
    }
  }
}

void ReplacedFile::Complete() {
  if (temporary_.empty()) return;
  // Some file systems tell only now that there was no room.
  if (close(std::exchange(descriptor_, -1)) != 0 ||
      std::rename(temporary_.c_str(), path_.c_str()) != 0) {
    Fail(errno, path_);
  }
  Close();
  temporary_.clear();
}

void ReplacedFile::RemoveUnfinished() noexcept {
  for (const std::atomic<const char*>& path : unfinished) {
    if (const char* const name = path) unlink(name);
  }
}

}  // namespace sqxer
