#pragma once

#include <span>

#include "Table.h"

namespace sqxer {

/// The most rows of a chunk that GatherColumns makes.
inline constexpr uint64 kMostGatheredRows = uint64{64} * kColumnBlockRows;

/// Appends the columns `wanted` of some rows of a table, in the order of `rows`, to the chunks of
/// `into`; kNoJoinRow gives NULL. Chunks end every kMostGatheredRows rows: where `into` has none it
/// gets them, and else it has to have those of as many rows already. Its schema is left alone: a
/// column is nullable where the table's is, or where a row is kNoJoinRow. Dictionaries are shared
/// where they can be. Nothing is known of the blocks. Error 57110 when it is cancelled.
void GatherColumns(const Table& table, std::span<const std::size_t> wanted,
                   std::span<const uint32> rows, Table& into);

}  // namespace sqxer
