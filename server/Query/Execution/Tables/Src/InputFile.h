#pragma once

#include <sys/stat.h>

#include <atomic>
#include <string>

#include "Utility/XeTypes.h"

namespace sqxer {

/// What tells a file from another, and from itself when it has been written to.
struct FileVersion {
  explicit FileVersion(const struct stat& status);
  bool operator==(const FileVersion&) const = default;
  uint64 device;
  uint64 inode;
  uint64 size;
  int64 seconds;
  int64 nanoseconds;
};

/// A file open for reading: a regular file, a pipe, or standard input, whose path is "-". Errors:
/// 57002 (file, reason) when it cannot be read or is a folder.
class InputFile {
 public:
  explicit InputFile(const std::string& path);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  const std::string& GetPath() const { return path_; }
  /// A regular file, all of which can be read at any place and again.
  bool IsRegular() const { return isRegular_; }
  /// Its size when it was opened; 0 for any other file.
  uint64 GetSize() const { return isRegular_ ? static_cast<uint64>(opened_.st_size) : 0; }

  /// The next bytes: as many as are there without waiting, but at least one; 0 at the end. Only one
  /// thread may read.
  std::size_t Read(char* out, std::size_t size);
  /// Makes a Read that waits return 0 soon; may be called by any thread.
  void Interrupt() { isInterrupted_ = true; }
  /// Bytes that Read has given; may be called by any thread.
  uint64 GetReadBytes() const { return readBytes_; }

  /// Fills `out` from a place of a regular file, but for its end. Any thread may call it.
  std::size_t ReadAt(uint64 offset, char* out, std::size_t size) const;

  FileVersion GetVersion() const { return FileVersion(opened_); }
  /// Error 57020 (file) when a regular file is not the one of that version any more: it has been
  /// written to, or another has its name now.
  void CheckUnchanged(const FileVersion& since) const;

 private:
  bool WaitForBytes(bool mayWait);

  std::string path_;
  int file_;
  bool isRegular_ = false;
  struct stat opened_;
  std::atomic<bool> isInterrupted_ = false;
  std::atomic<uint64> readBytes_ = 0;
};

}  // namespace sqxer
