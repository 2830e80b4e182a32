#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include "SQXERBatch.h"
#include "Table.h"
#include "Utility/TrimmedText.h"

namespace sqxer {

/// The text of a row of a column without a dictionary, or of an entry of a dictionary.
inline BatchText TextAt(const ColumnVector& texts, uint64 row) {
  const uint64 start = texts.GetOffset(row);
  return {texts.values + start * WidthOfForm(texts.form),
          static_cast<uint32>(texts.GetOffset(row + 1) - start)};
}

/// Takes the blanks that end a text of one byte a character from it.
inline void TrimBlanks(BatchText& text) {
  text.length = TrimmedLength(text.characters, text.length);
}

/// Of one byte a character: a fixed text ends at its first zero character.
inline void CutAtZero(BatchText& text) {
  if (text.length == 0) return;
  if (const void* const zero = std::memchr(text.characters, 0, text.length)) {
    text.length = static_cast<uint32>(static_cast<const uint8*>(zero) - text.characters);
  }
}

/// Tells which chunk of a table has a row, for many rows: those close to the one before are found
/// at once.
class ChunkFinder {
 public:
  explicit ChunkFinder(const Table& table) {
    for (const TableChunk& chunk : table.chunks)
      ends_.push_back(StartOf(ends_.size()) + chunk.rows);
  }

  /// Of a row (from 0) of the table.
  std::size_t Find(uint64 row) {
    if (row >= ends_[current_] || row < StartOf(current_)) {
      current_ = static_cast<std::size_t>(std::ranges::upper_bound(ends_, row) - ends_.begin());
    }
    return current_;
  }
  /// The number of the first row of a chunk.
  uint64 StartOf(std::size_t chunk) const { return chunk == 0 ? 0 : ends_[chunk - 1]; }

 private:
  std::vector<uint64> ends_;
  std::size_t current_ = 0;
};

}  // namespace sqxer
