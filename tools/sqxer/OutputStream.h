#pragma once

#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "Engine/OutputFile.h"

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

/// Writes all of it to what is called `name` in errors. Throws OutputError or ReaderGone.
void WriteAll(int descriptor, std::string_view bytes, const std::string& name);

/// Writes to standard output, all of it. Throws OutputError or ReaderGone.
void WriteOut(std::string_view bytes);

/// Takes the results of statements.
class ResultWriter {
 public:
  virtual ~ResultWriter() = default;
  /// Writes all of it. Throws OutputError or ReaderGone.
  virtual void Write(std::string_view bytes) = 0;
  /// Whether what is written is seen by others before all results are there.
  virtual bool IsSeenAtOnce() const = 0;
  /// Whether anything has been written.
  virtual bool IsBegun() const = 0;
};

/// Standard output, or a file that appears when all results are complete; until then an older one
/// of that name stays.
class OutputStream final : public ResultWriter {
 public:
  /// `path` is that of the file; nothing: standard output. Pipes and devices are written to at
  /// once. Throws OutputError.
  explicit OutputStream(const std::optional<std::string>& path);
  OutputStream(const OutputStream&) = delete;
  OutputStream& operator=(const OutputStream&) = delete;

  void Write(std::string_view bytes) override;
  /// Makes the file appear. Throws OutputError.
  void Complete();
  bool IsTerminal() const { return isTerminal_; }
  bool IsBegun() const override { return isBegun_; }
  bool IsSeenAtOnce() const override { return !file_ || file_->IsSeenAtOnce(); }

 private:
  std::string name_;
  /// Nothing for standard output.
  std::optional<engine::OutputFile> file_;
  bool isTerminal_ = false;
  bool isBegun_ = false;
  bool isFile_ = false;
};

}  // namespace sqxer
