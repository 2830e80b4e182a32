#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace sqxer {

class SpillFile;

/// The bytes of a result that is not complete: they are written out when its statement has
/// succeeded, and thrown away otherwise. Kept in memory, and beyond 64 MiB in a temporary file
/// without a name.
class ResultSpool {
 public:
  ResultSpool();
  ~ResultSpool();
  ResultSpool(const ResultSpool&) = delete;
  ResultSpool& operator=(const ResultSpool&) = delete;

  /// Error 59180 when the temporary file cannot be written.
  void Append(std::string_view bytes) {
    memory_ += bytes;
    if (memory_.size() >= kMaxMemory) Spill();
  }
  /// Gives all bytes in order, in pieces.
  void ForEachPiece(const std::function<void(std::string_view)>& take) const;

 private:
  static constexpr std::size_t kMaxMemory = std::size_t{64} << 20;
  void Spill();

  std::string memory_;
  std::unique_ptr<SpillFile> file_;
};

}  // namespace sqxer
