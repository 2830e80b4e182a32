#pragma once

#include <optional>

#include "SQXERBatch.h"
#include "Utility/ExecutionUtility.h"
#include "Utility/TrimmedText.h"

/// How the texts of batches compare.

namespace sqxer {

/// -1, 0 or 1 for two texts of one byte a character, by code point; blanks at the end do not count.
SQXEREXPR_API int CompareByteTexts(const BatchText& a, const BatchText& b);

/// The rows of the least and greatest text of a column, NULLs left out, where the batch is a block
/// of it and all rows are wanted; nothing where they are not known.
SQXEREXPR_API std::optional<ColumnBounds<uint16>> KnownTextRows(const BatchVector& texts,
                                                                const BatchRows& rows);

/// Writes -1, 0 or 1 for the wanted rows, as `compare` gives it for the texts of `left` and
/// `right`; what it writes for rows where one of them is NULL has no meaning. Both are kText8 or
/// kText32. The first of the signs stands for all rows where both vectors are constant, of which
/// `rows` then has one. The buffers are those of the node that compares.
SQXEREXPR_API void CompareTextVectors(CharCompareFunc_t compare, const BatchVector& left,
                                      const BatchVector& right, const BatchRows& rows,
                                      BatchBuffers& buffers, int8* signs);

}  // namespace sqxer
