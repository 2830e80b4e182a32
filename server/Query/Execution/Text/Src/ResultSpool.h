#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "Utility/HugePages.h"
#include "Utility/XeTypes.h"

namespace sqxer {

class SpillFile;

/// The bytes of a result that is not complete: they are written out when its statement has
/// succeeded, and thrown away otherwise. Kept in memory, and beyond 64 MiB, or a part of what the
/// statement may take, in a temporary file without a name.
class ResultSpool {
 public:
  ResultSpool();
  ~ResultSpool();
  ResultSpool(const ResultSpool&) = delete;
  ResultSpool& operator=(const ResultSpool&) = delete;

  /// Error 59180 when the temporary file cannot be written.
  void Append(std::string_view bytes) {
    memory_.insert(memory_.end(), bytes.begin(), bytes.end());
    if (memory_.size() >= mostMemory_) Spill();
  }
  /// Gives all bytes in order, in pieces.
  void ForEachPiece(const std::function<void(std::string_view)>& take) const;

 private:
  void Spill();

  const uint64 mostMemory_;
  std::vector<char, ScatteredAllocator<char>> memory_;
  std::unique_ptr<SpillFile> file_;
};

}  // namespace sqxer
