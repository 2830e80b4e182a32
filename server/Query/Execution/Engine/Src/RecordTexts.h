#pragma once

#include <algorithm>
#include <cstring>

#include "Utility/XeTypes.h"

namespace sqxer {

/// Writes a text into a field of `length` characters: a fixed text fills it with blanks, and
/// readers write a zero behind it.
template <class Character>
void StoreFixedText(const Character* text, uint64 count, uint32 length, uint8* target) {
  auto* const characters = reinterpret_cast<wchar_t*>(target);
  std::copy_n(text, count, characters);
  std::fill(characters + count, characters + length, L' ');
  characters[length] = L'\0';
}

/// Writes a text into a field of varying length that holds it.
template <class Character>
void StoreVaryingText(const Character* text, uint64 count, uint8* target) {
  const auto length = static_cast<uint32>(count);
  std::memcpy(target, &length, sizeof length);
  if constexpr (sizeof(Character) == sizeof(wchar_t)) {
    std::memcpy(target + kLongVarPrefix, text, count * sizeof(wchar_t));
  } else {
    std::copy_n(text, count, reinterpret_cast<wchar_t*>(target + kLongVarPrefix));
  }
}

}  // namespace sqxer
