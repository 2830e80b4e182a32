#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Catalog.h"
#include "QueryParameters.h"
#include "QueryPlan.h"

namespace sqxer {

/// One statement of a text of several, parted by semicolons.
struct Statement {
  /// The statement's own text.
  std::string sql;
  /// Where it starts in the whole text, in bytes.
  int offset = 0;
};

/// Splits a text into its statements (semicolons in literals and comments do not part). Empty ones
/// are left out. Never throws for bad SQL: a statement that does not parse is returned as it
/// stands.
std::vector<Statement> SplitStatements(const std::string& text);

/// Plans one statement. Throws ErrorMessage with the position (byte offset in `sql`) of what is
/// wrong.
QueryPlan CompileStatement(const std::string& sql, Catalog& catalog,
                           const QueryParameters& parameters = {});

/// The moment that it is, in UTC and whole microseconds, or that of the switch Now.
XeDateTime ReadClock();

/// The line and column (from 1, columns in characters) of a byte offset.
struct LineColumn {
  int line;
  int column;
};
LineColumn FindLineColumn(std::string_view text, int offset);

}  // namespace sqxer
