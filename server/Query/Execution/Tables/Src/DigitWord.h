#pragma once

#include <bit>

#include "Utility/XeTypes.h"

/// Eight characters of a text in one word, the first in the lowest byte, to be read all at once.

namespace sqxer {

static_assert(std::endian::native == std::endian::little);

constexpr uint64 kZeroDigits = 0x3030303030303030;
/// The highest bit of each byte, which no ASCII character has.
constexpr uint64 kHighBits = 0x8080808080808080;

inline uint64 LoadWord(const char* text) {
  uint64 word;
  __builtin_memcpy(&word, text, sizeof word);
  return word;
}

/// A word of which nothing but bit 7 of each byte is set that holds no value from 0 to 9. The byte
/// behind such a one may have it needlessly.
constexpr uint64 FindNonDigits(uint64 values) {
  return ((values + 0x7676767676767676) | values) & kHighBits;
}

/// In each byte the number of two digits that its value and the next one make.
constexpr uint64 JoinPairs(uint64 values) { return values * 10 + (values >> 8); }

/// The number that eight values from 0 to 9 make.
constexpr uint64 JoinDigits(uint64 values) {
  constexpr uint64 kOuterPairs = 0x000000FF000000FF;
  const uint64 pairs = JoinPairs(values);
  return ((pairs & kOuterPairs) * (100 + (uint64{1'000'000} << 32)) +
          (pairs >> 16 & kOuterPairs) * (1 + (uint64{10'000} << 32))) >>
         32;
}

}  // namespace sqxer
