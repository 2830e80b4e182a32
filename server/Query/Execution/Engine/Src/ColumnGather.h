#pragma once

#include <memory>
#include <span>
#include <vector>

#include "Table.h"

namespace sqxer {

class GatherPlaces;
class GatheredColumn;

/// Makes chunks of some columns of a table, for its rows in any order. Dictionaries and whole runs
/// of rows are shared with the table where they can be.
class ColumnGather {
 public:
  /// Of the columns `wanted`; `rows` of them, about, will be gathered in all. The table must
  /// outlive it.
  ColumnGather(const Table& table, std::span<const std::size_t> wanted, uint64 rows);
  ~ColumnGather();

  /// Appends the columns of some rows (from 0), in their order, to those of a chunk that has as
  /// many rows, or as yet no column. kNoJoinRow gives NULL. Blocks are left out, but for runs of
  /// rows. Error 57110 when it is cancelled.
  void Append(std::span<const uint32> rows, TableChunk& chunk);

 private:
  std::unique_ptr<GatherPlaces> places_;
  std::vector<std::unique_ptr<GatheredColumn>> columns_;
};

/// The most rows of a chunk that GatherColumns makes.
inline constexpr uint64 kMostGatheredRows = uint64{64} * kColumnBlockRows;

/// Appends the columns `wanted` of some rows to the chunks of `into`, as ColumnGather does. Chunks
/// end every kMostGatheredRows rows: where `into` has none it gets them, and else it has to have
/// those of as many rows already. Its schema is left alone: a column is nullable where the table's
/// is, or where a row is kNoJoinRow.
void GatherColumns(const Table& table, std::span<const std::size_t> wanted,
                   std::span<const uint32> rows, Table& into);

}  // namespace sqxer
