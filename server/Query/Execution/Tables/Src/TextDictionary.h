#pragma once

#include <algorithm>
#include <optional>
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

  TextDictionary() : slots_(kSlots) {}

  /// The code of a valid UTF-8 text, which can be read 8 bytes beyond its end. Adds one that is
  /// new: `count` says then how many characters it has. Nothing where it has no room.
  template <class Count>
  std::optional<uint16> FindOrAdd(std::string_view text, Count&& count) {
    const Ends ends(text);
    for (uint64 at = Hash(text, ends) % kSlots;; at = (at + 1) % kSlots) {
      const Slot& slot = slots_[at];
      if (slot.entry == 0) return Add(text, ends, at, count(text));
      if (slot.ends.head == ends.head && slot.ends.tail == ends.tail &&
          slot.length == text.size() && (text.size() <= Ends::kBytes || IsEqual(slot, text))) {
        return static_cast<uint16>(slot.entry - 1);
      }
    }
  }

  uint32 GetCount() const { return static_cast<uint32>(texts_.GetCount()); }
  const TextRun& GetTexts() const { return texts_; }
  ColumnVector Take() { return texts_.Take(); }

 private:
  static constexpr uint64 kSlots = 4 * kMostEntries;

  /// The first and the last eight bytes of a text: with its length all of one up to kBytes.
  struct Ends {
    static constexpr std::size_t kBytes = 2 * sizeof(uint64);

    Ends() = default;
    explicit Ends(std::string_view text) {
      if (text.empty()) return;
      // What lies behind a short text is moved out.
      const std::size_t most = std::max(text.size(), sizeof(uint64));
      const std::size_t beyond = most - text.size();
      head = LoadWord(text.data()) << 8 * beyond;
      tail = LoadWord(text.data() + (most - sizeof(uint64))) << 8 * beyond;
    }

    uint64 head = 0;
    uint64 tail = 0;
  };

  struct Slot {
    Ends ends;
    uint32 length = 0;
    /// The code and 1; 0 for an empty slot.
    uint32 entry = 0;
  };

  static uint64 Mix(uint64 a, uint64 b) {
    __extension__ const unsigned __int128 product = static_cast<unsigned __int128>(a) * b;
    return static_cast<uint64>(product) ^ static_cast<uint64>(product >> 64);
  }
  static uint64 Hash(std::string_view text, const Ends& ends) {
    constexpr uint64 kHeadMask = 0x9E3779B97F4A7C15;
    constexpr uint64 kTailMask = 0xD1B54A32D192ED03;
    const uint64 hash = Mix(ends.head ^ kHeadMask, (ends.tail + text.size()) ^ kTailMask);
    return text.size() <= Ends::kBytes ? hash : MixMiddle(text, hash);
  }
  static uint64 MixMiddle(std::string_view text, uint64 hash);
  bool IsEqual(const Slot& slot, std::string_view text) const;
  std::optional<uint16> Add(std::string_view text, const Ends& ends, uint64 slot, uint32 count);

  std::vector<Slot> slots_;
  TextRun texts_;
  /// The texts as they came, to compare with.
  std::string keys_;
  std::vector<std::size_t> keyStarts_;
};

}  // namespace sqxer
