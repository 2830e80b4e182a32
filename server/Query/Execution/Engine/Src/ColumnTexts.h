#pragma once

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

/// Tells which chunk of a table has a row, for many rows in any order.
class ChunkFinder {
 public:
  explicit ChunkFinder(const Table& table) {
    for (const TableChunk& chunk : table.chunks) {
      ends_.push_back(StartOf(ends_.size()) + chunk.rows);
    }
    const uint64 rows = StartOf(ends_.size());
    while (rows >> shift_ > kStretchesPerChunk * ends_.size()) ++shift_;
    for (uint64 row = 0; row < rows; row += uint64{1} << shift_) {
      firstChunks_.push_back(Advance(firstChunks_.empty() ? 0 : firstChunks_.back(), row));
    }
  }

  /// Of a row (from 0) of the table.
  std::size_t Find(uint64 row) const { return Advance(firstChunks_[row >> shift_], row); }
  /// The number of the first row of a chunk.
  uint64 StartOf(std::size_t chunk) const { return chunk == 0 ? 0 : ends_[chunk - 1]; }

 private:
  static constexpr uint64 kStretchesPerChunk = 8;

  std::size_t Advance(std::size_t chunk, uint64 row) const {
    while (row >= ends_[chunk]) ++chunk;
    return chunk;
  }

  std::vector<uint64> ends_;
  /// Of each stretch of as many rows as the shift tells: the chunk of its first row.
  int shift_ = 0;
  std::vector<std::size_t> firstChunks_;
};

}  // namespace sqxer
