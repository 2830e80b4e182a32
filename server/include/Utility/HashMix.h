#pragma once

#include "Utility/XeTypes.h"

namespace sqxer {

/// What a running hash starts with.
inline constexpr uint64 kHashSeed = 0x2545F4914F6CDD1Du;

/// Folds a value into a running hash. The order of the values counts, and every result is fit for
/// use as it is.
inline uint64 MixHash(uint64 hash, uint64 value) {
  __extension__ using Product = unsigned __int128;
  const Product product = static_cast<Product>(hash ^ value) * 0x9E3779B97F4A7C15u;
  return static_cast<uint64>(product) ^ static_cast<uint64>(product >> 64);
}

}  // namespace sqxer
