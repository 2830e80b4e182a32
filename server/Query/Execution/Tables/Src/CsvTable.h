#pragma once

#include <string>

#include "ColumnTypes.h"
#include "Table.h"

namespace sqxer {

/// Reads a table from a file whose first line names the columns, in two passes: what it holds, then
/// the values. An empty field is NULL, a quoted empty one the empty text; an empty line is a NULL
/// in a table of one column and nothing in any other; a column without a name is called column1 by
/// its position. Inferred types are those of ClassifyText, a column without any value is varchar.
///
/// Errors, with the line where the first bad record starts: those of ReadCsvFile and
/// ColumnBuilder::Append, 57003 (file) without a header, 57004 (file, place, fields, columns),
/// 57009 (file, column) for a name that occurs twice, 57013 (file, column) for a declared column
/// that the file has not, 57018 (file, columns), 57020 (file) for a file that changes, or another
/// one in its place, while it is read.
Table LoadCsvTable(const std::string& path, char delimiter, const XeString& name,
                   const DeclaredTypes& declared, LoadProgress progress);

}  // namespace sqxer
