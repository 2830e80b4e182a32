#pragma once

#include <cstring>

#include "Utility/XeTypes.h"

namespace sqxer {

/// Copies the bytes of a record, which do not overlap. Most records are a few numbers: for those a
/// call of memcpy, which learns the size anew each time, takes longer than the copying.
inline void CopyRecord(uint8* to, const uint8* from, std::size_t size) {
  constexpr std::size_t kWord = 8;
  constexpr std::size_t kMostWords = 8;
  if (size < kWord || size > kMostWords * kWord) {
    std::memcpy(to, from, size);
    return;
  }
  const std::size_t last = size - kWord;
  for (std::size_t at = 0; at < last; at += kWord) std::memcpy(to + at, from + at, kWord);
  std::memcpy(to + last, from + last, kWord);
}

}  // namespace sqxer
