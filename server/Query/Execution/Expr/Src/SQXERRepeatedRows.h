#pragma once

#include <cstring>
#include <limits>
#include <vector>

#include "Utility/HashMix.h"
#include "Utility/RecordPacker.h"

namespace sqxer {

/// Rows that came lately, in front of a sorter: rows of the same bytes are dropped there, or
/// counted and sorted once. A row that has made room for another one counts as new, so the sorter
/// has the last word. Where few rows come again they are no longer looked for.
class RepeatedRows {
 public:
  explicit RepeatedRows(const RecordPacker& packer) : packer_(packer), slots_(kSlots) {}

  /// Whether rows are still looked for.
  bool IsOpen() const { return isOpen_; }
  void Clear() {
    for (Slot& slot : slots_) slot.bytes = slot.count = 0;
  }

  /// Whether the row is one that came lately; it is from now on.
  bool Repeats(const uint8* row) {
    Slot* const slot = Find(row);
    if (slot == nullptr) return false;
    if (slot->bytes != 0) return true;
    Put(*slot);
    return false;
  }

  /// Counts the row, whose number is given. Calls sort(packed, count, number) for a row that makes
  /// room, with the number of the first one like it; false, and nothing done, for a row that is too
  /// long.
  template <class Sort>
  bool Count(const uint8* row, uint64 number, Sort&& sort) {
    Slot* const slot = Find(row);
    if (slot == nullptr) return false;
    if (slot->bytes == 0 || slot->count == std::numeric_limits<uint32>::max()) {
      if (slot->count != 0) sort(slot->packed, slot->count, slot->first);
      Put(*slot);
      slot->count = 0;
      slot->first = number;
    }
    ++slot->count;
    return true;
  }
  /// The same for all rows that are left.
  template <class Sort>
  void Flush(Sort&& sort) {
    for (Slot& slot : slots_) {
      if (slot.count != 0) sort(slot.packed, slot.count, slot.first);
      slot.bytes = slot.count = 0;
    }
  }

 private:
  static constexpr std::size_t kSlots = 4096;
  static constexpr std::size_t kMostBytes = 96;
  static constexpr uint32 kRowsPerLook = 16384;
  static constexpr uint32 kLeastRepeated = kRowsPerLook / 4;

  struct Slot {
    /// 0 for one that has no row, or another than the one that is looked for.
    uint32 bytes = 0;
    uint32 count = 0;
    uint64 first = 0;
    alignas(8) uint8 packed[kMostBytes];
  };

  /// The slot of a row, which has 0 bytes if that is not there; null for a row that is too long.
  /// The row is packed.
  Slot* Find(const uint8* row) {
    if (++looked_ == kRowsPerLook) {
      isOpen_ = isOpen_ && found_ >= kLeastRepeated;
      looked_ = found_ = 0;
    }
    bytes_ = packer_.Measure(row);
    if (bytes_ > kMostBytes) return nullptr;
    packer_.Pack(row, packed_, bytes_);
    uint64 hash = kHashSeed;
    for (std::size_t at = 0; at < bytes_; at += sizeof(uint64)) {
      uint64 word;
      std::memcpy(&word, packed_ + at, sizeof word);
      hash = MixHash(hash, word);
    }
    Slot& slot = slots_[hash % kSlots];
    if (slot.bytes == bytes_ && std::memcmp(slot.packed, packed_, bytes_) == 0) {
      ++found_;
    } else {
      slot.bytes = 0;
    }
    return &slot;
  }
  /// Puts the row that was packed last there.
  void Put(Slot& slot) const {
    slot.bytes = static_cast<uint32>(bytes_);
    std::memcpy(slot.packed, packed_, bytes_);
  }

  const RecordPacker& packer_;
  std::vector<Slot> slots_;
  alignas(8) uint8 packed_[kMostBytes];
  std::size_t bytes_ = 0;
  uint32 looked_ = 0;
  uint32 found_ = 0;
  bool isOpen_ = true;
};

}  // namespace sqxer
