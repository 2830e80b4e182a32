#pragma once

#include <algorithm>
#include <utility>

#include "Utility/Export.h"
#include "Utility/HashMix.h"
#include "Utility/KeySet.h"
#include "Utility/XeTypes.h"

namespace sqxer {

// The hashes that KeyDesc::Hash gives, of many values at once.

/// Those of `count` values of the key's type, which is no text and no binary, that stand side by
/// side as stored, none of them NULL.
XEUTILITY_API void HashValues(const KeyDesc& key, const uint8* values, std::size_t count,
                              uint64* hashes);

/// The hashes of several texts, which are those of keys (KeyDesc::Hash) where the texts have no
/// blanks at their end. Text `lane` has lengths[lane] characters, and at(lane, i) is the i-th of
/// them, as the order of the key maps it. The sums of one text wait for each other, those of
/// several texts do not.
template <std::size_t lanes, class At>
void HashCharacters(const uint32 (&lengths)[lanes], At&& at, uint64 (&hashes)[lanes]) {
  const auto pair = [&](std::size_t lane, uint32 i) {
    return uint64{at(lane, i)} << 32 | at(lane, i + 1);
  };
  const uint32 common = *std::min_element(lengths, lengths + lanes) / 2 * 2;
  // Written out for each text, so that the sums stay in registers.
  [&]<std::size_t... lane>(std::index_sequence<lane...>) {
    uint64 sums[] = {(static_cast<void>(lane), kHashSeed)...};
    for (uint32 i = 0; i < common; i += 2) {
      ((sums[lane] = MixHash(sums[lane], pair(lane, i))), ...);
    }
    ((hashes[lane] = sums[lane]), ...);
  }
  (std::make_index_sequence<lanes>());
  for (std::size_t lane = 0; lane < lanes; ++lane) {
    uint64 hash = hashes[lane];
    uint32 i = common;
    for (; i + 1 < lengths[lane]; i += 2) hash = MixHash(hash, pair(lane, i));
    if (i < lengths[lane]) hash = MixHash(hash, at(lane, i));
    hashes[lane] = MixHash(hash, lengths[lane]);
  }
}

}  // namespace sqxer
