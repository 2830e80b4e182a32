#pragma once

#include <bit>
#include <cstring>

#include "Utility/XeTypes.h"

namespace sqxer {

/// The first characters of a text of one byte a character, without the blanks that end it, as a
/// number that sorts as texts do by code point; texts of equal numbers can still differ.
inline constexpr uint32 kTextPrefixLength = sizeof(uint64);

/// Eight bytes behind the text are read, as those of batches let one.
inline uint64 FindTextPrefix(const uint8* characters, uint32 length) {
  uint64 prefix;
  std::memcpy(&prefix, characters, sizeof(prefix));
  if constexpr (std::endian::native == std::endian::little) prefix = __builtin_bswap64(prefix);
  if (length >= kTextPrefixLength) return prefix;
  return length == 0 ? 0 : prefix & ~uint64{0} << (kTextPrefixLength - length) * 8;
}

/// How long a text is without the blanks that end it.
template <class Character>
uint32 TrimmedLength(const Character* characters, uint32 length) {
  while (length != 0 && characters[length - 1] == ' ') --length;
  return length;
}

/// A text of one byte a character by code point: without the blanks that end it.
struct TrimmedText {
  const uint8* characters = nullptr;
  uint32 length = 0;
  uint64 prefix = 0;

  /// Eight bytes behind the text are read.
  static TrimmedText Of(const uint8* characters, uint32 length) {
    length = TrimmedLength(characters, length);
    return {characters, length, FindTextPrefix(characters, length)};
  }
  /// -1, 0 or 1. Eight characters at a time: most texts differ, or end, before a call would pay.
  int Compare(const TrimmedText& other) const {
    uint64 mine = prefix;
    uint64 its = other.prefix;
    for (uint32 at = kTextPrefixLength; mine == its; at += kTextPrefixLength) {
      if (at >= length || at >= other.length) {
        return (length > other.length) - (length < other.length);
      }
      mine = FindTextPrefix(characters + at, length - at);
      its = FindTextPrefix(other.characters + at, other.length - at);
    }
    return mine < its ? -1 : 1;
  }
};

}  // namespace sqxer
