#include "TextDictionary.h"

#include <cstring>

namespace sqxer {

uint64 TextDictionary::MixMiddle(std::string_view text, uint64 hash) {
  constexpr uint64 kMultiplier = 0x9E3779B97F4A7C15;
  // The last word may reach into the tail.
  for (std::size_t at = sizeof(uint64); at < text.size() - sizeof(uint64); at += sizeof(uint64)) {
    hash = Mix(hash ^ LoadWord(text.data() + at), kMultiplier);
  }
  return hash;
}

bool TextDictionary::IsEqual(const Slot& slot, std::string_view text) const {
  return std::memcmp(keys_.data() + keyStarts_[slot.entry - 1], text.data(), text.size()) == 0;
}

std::optional<uint16> TextDictionary::Add(std::string_view text, const Ends& ends, uint64 slot,
                                          uint32 count) {
  const uint32 code = GetCount();
  if (code == kMostEntries) return std::nullopt;
  texts_.Reserve(1);
  if (count == text.size()) {
    texts_.AppendAscii(text);
  } else {
    texts_.AppendUtf8(text, count);
  }
  keyStarts_.push_back(keys_.size());
  keys_.append(text);
  slots_[slot] = {ends, static_cast<uint32>(text.size()), code + 1};
  return static_cast<uint16>(code);
}

}  // namespace sqxer
