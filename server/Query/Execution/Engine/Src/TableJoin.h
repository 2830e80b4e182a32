#pragma once

#include <functional>
#include <span>
#include <vector>

#include "RunProgress.h"
#include "Table.h"
#include "WordSort.h"

namespace sqxer {

enum class JoinKind : uint8 { kInner, kLeft, kRight, kFull, kSemi, kAnti };

/// A side of a join: a table, and which of its columns are the keys, in the order of the other
/// side's.
struct JoinSide {
  const Table* table;
  std::vector<std::size_t> keys;
};

/// Error 57130 for what has more than kMostJoinRows.
[[noreturn]] void ThrowJoinTooLarge(const XeString& what);
/// The rows of a side, by its name in the error: 57130 for more than kMostJoinRows.
uint32 CountJoinRows(const JoinSide& side, const XeString& name);

/// In the place of a row where a side has none.
inline constexpr uint32 kNoJoinRow = 0xFFFFFFFF;
/// The most rows of a side, and the most pairs of a result.
inline constexpr uint64 kMostJoinRows = kNoJoinRow - uint64{1};

/// Rows, by their numbers (from 0) in the two tables, that stand side by side.
struct JoinedRows {
  RowArray<uint32> left;
  /// As many; empty for kSemi and kAnti, which give rows of the left alone.
  RowArray<uint32> right;
};

/// The most pairs that a PairFilter gets at a time.
inline constexpr uint32 kMostCandidatePairs = uint32{1} << 16;

/// Decides among pairs of rows, of which the keys are equal: sets `admitted`, which has zeroes, to
/// 1 where a pair is to stay. What it throws ends the join.
using PairFilter = std::function<void(std::span<const uint32> left, std::span<const uint32> right,
                                      std::span<uint8> admitted)>;

/// The rows whose keys are equal as the operator "=" has it, under the thread's current settings:
/// NULL equals nothing, nor does NaN, and blanks at the end of texts do not count. The types of the
/// keys are the same on both sides. Without keys, all pairs.
///
/// Pairs come in the order of the left rows, then of the right rows, unmatched left rows among
/// them; unmatched right rows of kRight and kFull follow in their order. A row of which `admits`,
/// which may be empty, admits no pair is unmatched.
///
/// The table by which keys are looked up stays within the switch JoinMemory where some 64 passes
/// over the rows do for that; the row numbers, 4 bytes for each row of a side and 8 for each pair,
/// come to that. Error 57130 for more rows than kMostJoinRows; 57110 when it is cancelled.
///
/// `progress` is told the rows gone through of both sides, once for each pass over them.
JoinedRows JoinRows(const JoinSide& left, const JoinSide& right, JoinKind kind,
                    const PairFilter& admits, const RunProgress& progress = nullptr);

}  // namespace sqxer
