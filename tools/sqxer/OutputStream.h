#pragma once

#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

namespace sqxer {

/// A result cannot be written; what() names the output and the reason.
class OutputError : public std::system_error {
 public:
  OutputError(int error, const std::string& name)
      : std::system_error(error, std::generic_category(), name) {}
};

/// Whoever reads the output has gone, so that there is nothing more to do.
class ReaderGone : public std::exception {
 public:
  const char* what() const noexcept override { return "the reader of the output has gone"; }
};

/// Writes to standard output, all of it. Throws OutputError or ReaderGone.
void WriteOut(std::string_view bytes);

/// Standard output, or a file that appears when all results are complete; until then an older one
/// of that name stays.
class OutputStream {
 public:
  /// `path` is that of the file; nothing: standard output. Pipes and devices are written to at
  /// once. Throws OutputError.
  explicit OutputStream(const std::optional<std::string>& path);
  /// Removes a file that is not complete.
  ~OutputStream();
  OutputStream(const OutputStream&) = delete;
  OutputStream& operator=(const OutputStream&) = delete;

  /// Writes all of it. Throws OutputError or ReaderGone.
  void Write(std::string_view bytes);
  /// Makes the file appear. Throws OutputError.
  void Complete();
  bool IsTerminal() const { return isTerminal_; }
  /// Whether anything has been written.
  bool IsBegun() const { return isBegun_; }
  /// Whether what is written is seen by others before Complete.
  bool IsSeenAtOnce() const { return temporary_.empty(); }

 private:
  void OpenTemporary();

  std::string name_;
  std::string path_;
  /// What is renamed to `path_`; empty for none.
  std::string temporary_;
  int descriptor_;
  bool isTerminal_ = false;
  bool isBegun_ = false;
  bool isFile_ = false;
};

}  // namespace sqxer
