#pragma once

#include <bit>

#include "SQXERBatch.h"
#include "Utility/ExecutionUtility.h"

/// How the texts of batches compare.

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

/// -1, 0 or 1 for two texts of one byte a character, by code point; blanks at the end do not count.
SQXEREXPR_API int CompareByteTexts(const BatchText& a, const BatchText& b);

/// Writes -1, 0 or 1 for the wanted rows, as `compare` gives it for the texts of `left` and
/// `right`; what it writes for rows where one of them is NULL has no meaning. Both are kText8 or
/// kText32. The first of the signs stands for all rows where both vectors are constant, of which
/// `rows` then has one. The buffers are those of the node that compares.
SQXEREXPR_API void CompareTextVectors(CharCompareFunc_t compare, const BatchVector& left,
                                      const BatchVector& right, const BatchRows& rows,
                                      BatchBuffers& buffers, int8* signs);

}  // namespace sqxer
