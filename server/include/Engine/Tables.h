#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Engine/ArrowInterface.h"
#include "Engine/Error.h"
#include "Engine/SourceCondition.h"

namespace sqxer::engine {

/// How the files of tables are read, as far as that cannot be found by looking.
struct FileOptions {
  /// What parts the fields of CSV: an ASCII character, but no quotation mark or line end. Without
  /// one it is the comma, tab, semicolon or bar that is found by looking; of .tsv the tab.
  std::optional<char> delimiter = {};
  /// Of CSV: whether the first line names the columns; they are column1, column2, ... otherwise.
  bool hasHeader = true;
  /// Of texts without a byte order mark, such as "latin1"; empty for UTF-8.
  std::string encoding = {};
  /// A field of CSV without quotation marks that is NULL, as an empty one always is.
  std::string nullText = {};
};

/// What a path of a table would be called where no name is given: without its folder and endings
/// ("logs/sales 2024.csv.gz": "sales_2024"), "_" in the place of what a name must not have that
/// stands without quotation marks. Empty for what is no path of a table.
SQXER_ENGINE_API std::string NameOfTable(const std::string& path);

struct ArrowOptions {
  /// Binary columns hold UTF-8, such as JSON documents.
  bool takesBinaryAsText = false;
  /// Of a source: its rows stay the same, so that columns that a statement has read are there for
  /// the next.
  bool areRowsKept = false;
};

/// What a statement reads of a table that is somewhere else.
struct SourceRequest {
  /// The columns, as they are named in the schema. No others need come, and these in any order.
  std::vector<std::string> columns;
  /// Rows for which one of these is not true need not come: the statement leaves them out itself.
  /// Whoever does so compares as expressions do (texts without their blanks at the end and by code
  /// points, NaN behind all numbers, NULL with nothing), goes by them in their order, and ends at
  /// the first one that could fail, such as that of a text with a number. Rows are then counted in
  /// errors as they come.
  std::vector<SourceCondition> conditions;
};
/// Puts a new stream over all rows into `out`.
using OpenSource = std::function<void(const SourceRequest& request, ArrowArrayStream* out)>;

}  // namespace sqxer::engine
