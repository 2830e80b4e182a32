#include "TextDictionary.h"

#include <algorithm>
#include <cstring>

namespace sqxer {

uint64 TextDictionary::Hash(std::string_view text, uint64 head) {
  constexpr uint64 kMultiplier = 0x9E3779B97F4A7C15;
  const auto mix = [](uint64 a, uint64 b) {
    __extension__ const unsigned __int128 product = static_cast<unsigned __int128>(a) * b;
    return static_cast<uint64>(product) ^ static_cast<uint64>(product >> 64);
  };
  uint64 hash = mix(head ^ text.size(), kMultiplier);
  for (std::size_t at = sizeof head; at < text.size(); at += sizeof head) {
    uint64 word;
    // The last word may begin within the one before.
    const std::size_t from = std::min(at, text.size() - sizeof head);
    std::memcpy(&word, text.data() + from, sizeof word);
    hash = mix(hash ^ word, kMultiplier);
  }
  return hash;
}

bool TextDictionary::IsRestEqual(const Slot& slot, std::string_view text) const {
  return std::memcmp(keys_.data() + keyStarts_[slot.entry - 1], text.data(), text.size()) == 0;
}

std::optional<uint16> TextDictionary::Add(std::string_view text, uint64 head, uint64 slot,
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
  endsInBlank_.push_back(text.ends_with(' '));
  slots_[slot] = {head, static_cast<uint32>(text.size()), code + 1};
  return static_cast<uint16>(code);
}

}  // namespace sqxer
