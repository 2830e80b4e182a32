#pragma once

#include <string>
#include <string_view>

namespace sqxer {

/// A file that appears when it is complete: it is written beside its place and renamed. Until then
/// an older one of that name stays. Pipes and devices are written to at once.
class ReplacedFile {
 public:
  /// Errors are std::system_error, here and below.
  explicit ReplacedFile(const std::string& path);
  /// Removes a file that is not complete.
  ~ReplacedFile();
  ReplacedFile(const ReplacedFile&) = delete;
  ReplacedFile& operator=(const ReplacedFile&) = delete;

  /// Writes all of it.
  void Write(std::string_view bytes);
  /// Makes the file appear.
  void Complete();
  int GetDescriptor() const { return descriptor_; }
  /// Whether what is written is seen by others before Complete.
  bool IsSeenAtOnce() const { return temporary_.empty(); }

  /// Removes what is not complete of all such files of the process. For signal handlers that end
  /// it.
  static void RemoveUnfinished() noexcept;

 private:
  void OpenTemporary();
  void Close() noexcept;

  std::string path_;
  /// What is renamed to `path_`; empty for none.
  std::string temporary_;
  int descriptor_ = -1;
  /// Where its name stands for RemoveUnfinished.
  std::size_t slot_;
};

}  // namespace sqxer
