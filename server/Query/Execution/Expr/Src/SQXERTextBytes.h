#pragma once

#include <cstring>
#include <limits>
#include <vector>

#include "SQXERBatch.h"
#include "Utility/HashMix.h"

namespace sqxer {

/// The characters of a text in the fewest bytes that hold each of them: one byte a character, or
/// four. A view.
struct TextBytes {
  const uint8* bytes = nullptr;
  uint32 count = 0;
  bool isWide = false;

  /// The first `length` characters of a text of a batch, of that form. `room` receives what is made
  /// narrow here.
  static TextBytes Of(const uint8* characters, uint32 length, ColumnForm form,
                      std::vector<uint8>& room) {
    // An empty text may stand nowhere.
    if (length == 0) return {room.data(), 0, false};
    if (form == ColumnForm::kText8) return {characters, length, false};
    const auto* const wide = reinterpret_cast<const uint32*>(characters);
    uint32 all = 0;
    for (uint32 i = 0; i < length; ++i) all |= wide[i];
    if (all > std::numeric_limits<uint8>::max()) {
      return {characters, length * uint32{sizeof(uint32)}, true};
    }
    room.assign(wide, wide + length);
    return {room.data(), length, false};
  }

  uint32 GetLength() const { return isWide ? count / uint32{sizeof(wchar_t)} : count; }
  /// Writes the characters, four bytes each.
  void Widen(uint8* target) const {
    if (isWide) {
      std::memcpy(target, bytes, count);
      return;
    }
    for (uint32 i = 0; i < count; ++i) {
      const auto character = static_cast<wchar_t>(bytes[i]);
      std::memcpy(target + i * sizeof character, &character, sizeof character);
    }
  }

  uint64 Hash() const {
    uint64 hash = kHashSeed + isWide;
    uint32 at = 0;
    for (; at + sizeof(uint64) <= count; at += sizeof(uint64)) {
      uint64 word;
      std::memcpy(&word, bytes + at, sizeof word);
      hash = MixHash(hash, word);
    }
    uint64 last = 0;
    if (const uint32 rest = count - at; rest != 0) {
      // The bytes before them are read again and shifted out, which takes no loop.
      if (count >= sizeof last) {
        std::memcpy(&last, bytes + count - sizeof last, sizeof last);
        last >>= (sizeof last - rest) * 8;
      } else {
        for (uint32 i = rest; i-- > 0;) last = last << 8 | bytes[at + i];
      }
    }
    return MixHash(MixHash(hash, last), count);
  }
  bool operator==(const TextBytes& other) const {
    if (count != other.count || isWide != other.isWide) return false;
    // Most are too short for a call to pay.
    uint32 at = 0;
    for (; at + sizeof(uint64) <= count; at += sizeof(uint64)) {
      uint64 mine;
      uint64 its;
      std::memcpy(&mine, bytes + at, sizeof mine);
      std::memcpy(&its, other.bytes + at, sizeof its);
      if (mine != its) return false;
    }
    for (; at < count; ++at) {
      if (bytes[at] != other.bytes[at]) return false;
    }
    return true;
  }
};

}  // namespace sqxer
