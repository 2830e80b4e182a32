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
  hashes_.push_back(key.hash);
  if (2 * hashes_.size() > slots_.size()) Grow();
  Insert(key.hash,
         {key.head, key.tail, static_cast<uint32>(text.size()), static_cast<int32>(code)});
  return true;
}

void TextDictionary::Insert(uint64 hash, const Slot& slot) {
  uint64 at = hash & mask_;
  while (slots_[at].code >= 0) at = (at + 1) & mask_;
  slots_[at] = slot;
}

void TextDictionary::Grow() {
  std::vector<Slot> grown(2 * slots_.size());
  slots_.swap(grown);
  mask_ = slots_.size() - 1;
  for (const Slot& slot : grown) {
    if (slot.code >= 0) Insert(hashes_[static_cast<uint32>(slot.code)], slot);
  }
}

}  // namespace sqxer
