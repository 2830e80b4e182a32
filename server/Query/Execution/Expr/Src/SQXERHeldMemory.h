#pragma once

#include "Utility/XeTypes.h"

namespace sqxer {

/// The memory that the groups of a query take together, told by each that holds something of them.
class HeldMemory {
 public:
  explicit HeldMemory(uint64 limit) : limit_(limit) {}

  /// Starts anew, with so much in use.
  void Reset(uint64 bytes) { used_ = bytes; }
  void Take(uint64 bytes) { used_ += bytes; }
  void GiveBack(uint64 bytes) { used_ -= bytes; }
  bool HasRoom() const { return used_ < limit_; }
  bool HasRoomFor(uint64 bytes) const { return used_ < limit_ && bytes <= limit_ - used_; }

 private:
  uint64 limit_;
  uint64 used_ = 0;
};

}  // namespace sqxer
