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
  return std::memcmp(keys_.data() + keyStarts_[static_cast<uint32>(slot.code)], text.data(),
                     text.size()) == 0;
}

bool TextDictionary::Add(std::string_view text, const Key& key, uint32 count) {
  const uint32 code = GetCount();
  if (code == kMostEntries) return false;
  texts_.Reserve(1);
  if (count == text.size()) {
    texts_.AppendAscii(text);
  } else {
    texts_.AppendUtf8(text, count);
  }
  keyStarts_.push_back(keys_.size());
  keys_.append(text);
  uint64 at = key.hash % kSlots;
  while (slots_[at].code >= 0) at = (at + 1) % kSlots;
  slots_[at] = {key.head, key.tail, static_cast<uint32>(text.size()), static_cast<int32>(code)};
  return true;
}

}  // namespace sqxer
