#pragma once

#include <algorithm>
#include <string_view>
#include <vector>

#include "DigitWord.h"
#include "TextRun.h"

namespace sqxer {

/// The different texts of a column, and which code each has. It is meant for few: a column with
/// more than kMostEntries is better off without.
class TextDictionary {
 public:
  static constexpr uint32 kMostEntries = 4096;

  TextDictionary() : slots_(kFirstSlots) {}

  /// What finds a text: a hash, and of texts up to kBytes all that tells them apart.
  struct Key {
    static constexpr std::size_t kBytes = 2 * sizeof(uint64);

    /// Of a text that can be read 8 bytes beyond its start.
    explicit Key(std::string_view text) : length(text.size()) {
      if (!text.empty()) {
        // What lies behind a short text is moved out.
        const std::size_t most = std::max(length, sizeof(uint64));
        const std::size_t beyond = 8 * (most - length);
        head = LoadWord(text.data()) << beyond;
        tail = LoadWord(text.data() + (most - sizeof(uint64))) << beyond;
      }
      hash = Mix(head ^ 0x9E3779B97F4A7C15, (tail + length) ^ 0xD1B54A32D192ED03);
      if (length > kBytes) hash = MixMiddle(text, hash);
    }

    std::size_t length;
    /// The first and the last eight bytes, which overlap in a text of fewer than kBytes.
    uint64 head = 0;
    uint64 tail = 0;
    uint64 hash;
  };

  /// The code of a text, negative for one that is new.
  int32 Find(std::string_view text, const Key& key) const {
    for (uint64 at = key.hash & mask_;; at = (at + 1) & mask_) {
      const Slot& slot = slots_[at];
      if (slot.head == key.head && slot.tail == key.tail && slot.length == key.length &&
          (key.length <= Key::kBytes || IsEqual(slot, text))) {
        return slot.code;
      }
      if (slot.code < 0) return slot.code;
    }
  }
  /// Adds a valid UTF-8 text that is new, of `count` characters, which can be read 64 bytes beyond
  /// its start. False where it has no room.
  bool Add(std::string_view text, const Key& key, uint32 count);

  uint32 GetCount() const { return static_cast<uint32>(texts_.GetCount()); }
  const TextRun& GetTexts() const { return texts_; }
  ColumnVector Take() { return texts_.Take(); }

 private:
  static constexpr uint64 kFirstSlots = 64;

  struct Slot {
    uint64 head = 0;
    uint64 tail = 0;
    uint32 length = 0;
    /// Negative for an empty slot.
    int32 code = -1;
  };

  static uint64 Mix(uint64 a, uint64 b) {
    __extension__ const unsigned __int128 product = static_cast<unsigned __int128>(a) * b;
    return static_cast<uint64>(product) ^ static_cast<uint64>(product >> 64);
  }
  static uint64 MixMiddle(std::string_view text, uint64 hash);
  bool IsEqual(const Slot& slot, std::string_view text) const;

  void Insert(uint64 hash, const Slot& slot);
  void Grow();

  /// A power of two of them, half of them empty.
  std::vector<Slot> slots_;
  uint64 mask_ = kFirstSlots - 1;
  TextRun texts_;
  /// The texts as they came, to compare with, and their hashes.
  std::string keys_;
  std::vector<std::size_t> keyStarts_;
  std::vector<uint64> hashes_;
};

}  // namespace sqxer
