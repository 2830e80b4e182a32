#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Engine/Error.h"

namespace sqxer::engine {

/// A file that appears when it is complete: it is written beside its place and renamed. Until then
/// an older one of that name stays. Pipes and devices are written to at once. Errors are
/// std::system_error.
class SQXER_ENGINE_API OutputFile {
 public:
  explicit OutputFile(const std::string& path);
  /// Removes a file that is not complete.
  ~OutputFile();
  OutputFile(OutputFile&&) noexcept;
  OutputFile& operator=(OutputFile&&) noexcept;

  /// Writes all of it.
  void Write(std::string_view bytes);
  /// Makes the file appear.
  void Complete();
  /// What is written to; -1 when the file is complete.
  int GetDescriptor() const;
  /// Whether what is written is seen by others before Complete.
  bool IsSeenAtOnce() const;

  /// Removes what is not complete of all files of the process, those of COPY too. For signal
  /// handlers that end it.
  static void RemoveUnfinished() noexcept;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace sqxer::engine
