#include "InputFile.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "TableError.h"

namespace sqxer {
namespace {

/// How long a thread may take to see that it is interrupted.
constexpr int kPollMilliseconds = 50;

[[noreturn]] void ThrowNotReadable(const std::string& path, int error) {
  ThrowTableError(kFileNotReadable, {Wide(path), Wide(std::strerror(error))});
}

}  // namespace

FileVersion::FileVersion(const struct stat& status)
    : device(status.st_dev),
      inode(status.st_ino),
      size(static_cast<uint64>(status.st_size)),
      seconds(status.st_mtim.tv_sec),
      nanoseconds(status.st_mtim.tv_nsec) {}

InputFile::InputFile(const std::string& path)
    : path_(path),
      file_(path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (file_ < 0) ThrowNotReadable(path_, errno);
  int error = fstat(file_, &opened_) != 0 ? errno : 0;
  if (error == 0 && S_ISDIR(opened_.st_mode)) error = EISDIR;
  if (error != 0) {
    close(file_);
    ThrowNotReadable(path_, error);
  }
  // Some of the system's own files say that they are empty and are not. Standard input may have
  // been read from before.
  isRegular_ = S_ISREG(opened_.st_mode) && opened_.st_size > 0 && path != "-";
}

InputFile::~InputFile() { close(file_); }

std::size_t InputFile::Read(char* out, std::size_t size) {
  std::size_t filled = 0;
  while (filled < size) {
    if (!isRegular_ && !WaitForBytes(filled == 0)) break;
    const ssize_t count = read(file_, out + filled, size - filled);
    if (count == 0) break;
    if (count > 0) {
      filled += static_cast<std::size_t>(count);
    } else if (errno != EINTR && errno != EAGAIN) {
      ThrowNotReadable(path_, errno);
    }
  }
  readBytes_ += filled;
  return filled;
}

bool InputFile::WaitForBytes(bool mayWait) {
  pollfd descriptor{file_, POLLIN, 0};
  while (!isInterrupted_) {
    const int ready = poll(&descriptor, 1, mayWait ? kPollMilliseconds : 0);
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) ThrowNotReadable(path_, errno);
    if (!mayWait) return false;
  }
  return false;
}

std::size_t InputFile::ReadAt(uint64 offset, char* out, std::size_t size) const {
  std::size_t filled = 0;
  while (filled < size) {
    const ssize_t count =
        pread(file_, out + filled, size - filled, static_cast<off_t>(offset + filled));
    if (count == 0) break;
    if (count > 0) {
      filled += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      ThrowNotReadable(path_, errno);
    }
  }
  return filled;
}

void InputFile::CheckUnchanged(const FileVersion& since) const {
  if (!isRegular_) return;
  struct stat now;
  if (fstat(file_, &now) != 0) ThrowNotReadable(path_, errno);
  struct stat named;
  // A file that was removed is all there as long as it is open.
  const bool isRemoved = stat(path_.c_str(), &named) != 0;
  if (FileVersion(now) != since || (!isRemoved && FileVersion(named) != since)) {
    ThrowTableError(kFileChanged, {Wide(path_)});
  }
}

}  // namespace sqxer
