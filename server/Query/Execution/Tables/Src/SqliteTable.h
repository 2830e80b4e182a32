#pragma once

#include <string>

#include "ColumnTypes.h"
#include "Table.h"

namespace sqxer {

/// Reads a table (or view) of a SQLite database file, which is opened for reading only. A column's
/// type is decided by all its values: integers are int4, or numeric when one is beyond 32 bits;
/// reals, or reals and integers, double; texts varchar. What the column is declared as in the
/// database decides where values alone do not: texts of a column declared as some date or time are
/// read as such, and 0 and 1 of one declared boolean as booleans, when every value is one.
///
/// One that is not trusted is read as it stands, whatever is being written to it, so that nothing
/// is written beside it; its views call no extension, make no text beyond 64 MiB, and give a row
/// within 100 million steps of SQLite (57193).
///
/// Errors: 57002 (file, reason), 57016 (file, table), 57017 (file, place, column) for a blob, 57007
/// (file, place) for text with a NUL, 57022 (file, place, encoding) for text that is no UTF-8, and
/// those of TableColumns and ColumnBuilder::Append.
Table LoadSqliteTable(const std::string& path, const std::string& table, const XeString& name,
                      const DeclaredTypes& declared, bool isUntrusted,
                      const LoadProgress& progress);

}  // namespace sqxer
