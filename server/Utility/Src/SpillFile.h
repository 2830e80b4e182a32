#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

#include "Utility/Export.h"
#include "Utility/StatementBudget.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// A temporary file without a name: the system frees its room as soon as it is closed, however the
/// process ends. Every failure is error 59180 (folder, the system's reason); 57183 when it gets
/// longer than the statement's budget allows.
class XEUTILITY_API SpillFile {
 public:
  /// The system calls behind it. Each answers as the call does and sets errno.
  struct Calls {
    /// Opens a new nameless file in a folder: its descriptor, or -1.
    int (*open)(const char* folder);
    ssize_t (*write)(int file, const void* bytes, std::size_t count, off_t offset);
    ssize_t (*read)(int file, void* bytes, std::size_t count, off_t offset);
  };
  /// Replaces them (tests do, to fill the disk) and returns those before.
  static Calls SetCalls(const Calls& calls);

  /// Opens in a folder, such as that of the switch TempDirectory; where that is empty in TMPDIR,
  /// else in /tmp.
  explicit SpillFile(const std::string& folder);
  ~SpillFile();
  SpillFile(const SpillFile&) = delete;
  SpillFile& operator=(const SpillFile&) = delete;

  /// Bytes written so far: where the next Append starts.
  uint64 GetSize() const { return size_; }
  void Append(const uint8* bytes, std::size_t count);
  /// Reads bytes that were written.
  void Read(uint64 offset, uint8* bytes, std::size_t count) const;

 private:
  void Write(const uint8* bytes, std::size_t count);
  [[noreturn]] void ThrowFailure(int error) const;

  std::string folder_;
  int file_;
  uint64 size_ = 0;
  /// Of the thread that made it: the bytes count with it. Null for none.
  StatementBudget* budget_;
};

}  // namespace sqxer
