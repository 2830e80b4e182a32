#pragma once

#include "Utility/XeTypes.h"

namespace sqxer {

/// The memory that the groups of a query take together, told by each that holds something of them.
class HeldMemory {
 public:
  /// `isOneGroup`: there is no other group than one.
  explicit HeldMemory(uint64 limit, bool isOneGroup = false)
      : limit_(limit), isOneGroup_(isOneGroup) {}

  uint64 GetLimit() const { return limit_; }
  bool IsOfOneGroup() const { return isOneGroup_; }

  /// Starts anew, with so much in use.
  void Reset(uint64 bytes) { used_ = bytes; }
  void Take(uint64 bytes) { used_ += bytes; }
  void GiveBack(uint64 bytes) { used_ -= bytes; }
  bool HasRoom() const { return used_ < limit_; }
  bool HasRoomFor(uint64 bytes) const { return used_ < limit_ && bytes <= limit_ - used_; }

 private:
  uint64 limit_;
  bool isOneGroup_;
  uint64 used_ = 0;
};

}  // namespace sqxer
