#include "OutputStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "Progress.h"

namespace sqxer {
namespace {

constexpr const char* kStandardOutput = "standard output";

/// Does something with a file, whose errors are those of an output.
template <class Action>
auto AsOutput(const std::string& name, Action&& action) {
  try {
    return action();
  } catch (const std::system_error& error) {
    if (error.code().value() == EPIPE) throw ReaderGone();
    throw OutputError(error.code().value(), name);
  }
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

void WriteOut(std::string_view bytes) { WriteAll(STDOUT_FILENO, bytes, kStandardOutput); }

OutputStream::OutputStream(const std::optional<std::string>& path)
    : name_(path.value_or(kStandardOutput)) {
  if (path) AsOutput(name_, [&] { file_.emplace(*path); });
  const int descriptor = file_ ? file_->GetDescriptor() : STDOUT_FILENO;
  // One that is open for reading only has been put in the place of one that was closed.
  const int mode = fcntl(descriptor, F_GETFL);
  if (mode == -1 || (mode & O_ACCMODE) == O_RDONLY) throw OutputError(EBADF, name_);
  struct stat status;
  isFile_ = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  isTerminal_ = isatty(descriptor) != 0;
}

void OutputStream::Write(std::string_view bytes) {
  isBegun_ = true;
  // What reads it may show it on the bar's terminal.
  if (!isFile_) Progress::Stop();
  if (!file_) return WriteAll(STDOUT_FILENO, bytes, name_);
  AsOutput(name_, [&] { file_->Write(bytes); });
}

void OutputStream::Complete() {
  if (file_) AsOutput(name_, [&] { file_->Complete(); });
}

}  // namespace sqxer
