#pragma once

#include <span>
#include <vector>

#include "ColumnTexts.h"
#include "Table.h"
#include "TextRun.h"

namespace sqxer {

/// Where in the chunks of a table some rows stand, which are to be those of a chunk.
class GatherPlaces {
 public:
  explicit GatherPlaces(const Table& table);

  /// Some rows by their numbers in the table, or kNoJoinRow. They must stay until the next ones.
  void Find(std::span<const uint32> rows);

  uint32 GetCount() const { return static_cast<uint32>(rows_.size()); }
  /// Whether some are kNoJoinRow. These have the place of another row, if there is any.
  bool HasNone() const { return hasNone_; }
  bool IsNone(uint32 index) const { return hasNone_ && isNone_[index] != 0; }
  /// The chunks that have some of the rows; none when all are kNoJoinRow.
  const std::vector<std::size_t>& GetChunks() const { return used_; }
  /// All rows stand one behind the other in one chunk, from this one on.
  bool AreRun() const { return isRun_; }
  uint64 GetFirst() const { return rows_[0]; }

  /// Calls put(index, chunk, row) for all rows, the row as its number in the chunk; where the rows
  /// are those of one chunk, `chunk` is a constant of the loop.
  template <class Put>
  void ForEach(Put&& put) const {
    ForEach(0, GetCount(), put);
  }
  /// The same of the rows from `first` on, up to `end`.
  template <class Put>
  void ForEach(uint32 first, uint32 end, Put&& put) const {
    const uint32* const rows = rows_.data();
    if (used_.size() == 1) {
      const std::size_t chunk = used_[0];
      for (uint32 i = first; i < end; ++i) put(i, chunk, rows[i]);
    } else {
      const uint32* const chunks = chunks_.data();
      for (uint32 i = first; i < end; ++i) put(i, std::size_t{chunks[i]}, rows[i]);
    }
  }

 private:
  /// Gives rows that are kNoJoinRow the place of another one.
  void ReplaceNone();

  const Table& table_;
  ChunkFinder finder_;
  /// In their chunks: those that were given, or `changed_`.
  std::span<const uint32> rows_;
  std::vector<uint32> changed_;
  std::vector<uint32> chunks_;
  std::vector<uint8> isNone_;
  std::vector<std::size_t> used_;
  bool hasNone_ = false;
  bool isRun_ = false;
};

}  // namespace sqxer
