#pragma once

#include <optional>
#include <string_view>
#include <vector>

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
    const uint64 head = Head(text);
    const uint64 length = text.size();
    for (uint64 at = Hash(text, head) % kSlots;; at = (at + 1) % kSlots) {
      const Slot& slot = slots_[at];
      if (slot.entry == 0) return Add(text, head, at, count(text));
      if (slot.head == head && slot.length == length &&
          (length <= sizeof head || IsRestEqual(slot, text))) {
        return static_cast<uint16>(slot.entry - 1);
      }
    }
  }

  uint32 GetCount() const { return static_cast<uint32>(texts_.GetCount()); }
  const TextRun& GetTexts() const { return texts_; }
  bool EndsInBlank(uint16 code) const { return endsInBlank_[code]; }
  ColumnVector Take() { return texts_.Take(); }

 private:
  static constexpr uint64 kSlots = 4 * kMostEntries;

  struct Slot {
    uint64 head = 0;
    uint32 length = 0;
    /// The code and 1; 0 for an empty slot.
    uint32 entry = 0;
  };

  /// The first eight bytes of a text, zeros behind a shorter one.
  static uint64 Head(std::string_view text) {
    uint64 head;
    __builtin_memcpy(&head, text.data(), sizeof head);
    return text.size() >= sizeof head ? head : head & ((uint64{1} << 8 * text.size()) - 1);
  }
  static uint64 Hash(std::string_view text, uint64 head);
  bool IsRestEqual(const Slot& slot, std::string_view text) const;
  std::optional<uint16> Add(std::string_view text, uint64 head, uint64 slot, uint32 count);

  std::vector<Slot> slots_;
  TextRun texts_;
  /// The texts as they came, to compare with.
  std::string keys_;
  std::vector<std::size_t> keyStarts_;
  std::vector<bool> endsInBlank_;
};

}  // namespace sqxer
