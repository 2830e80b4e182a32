#pragma once

#include <pg_query/pg_query.pb-c.h>

#include <optional>
#include <string>

namespace sqxer {

/// Puts a name of the same length in the place of each text literal that stands where a query names
/// its table, `FROM 'sales.csv'` and `TABLE 'sales.csv'`, which the grammar refuses. Not of those
/// behind the FROM of a function, such as TRIM(BOTH 'x' FROM 'xax'), or of IS DISTINCT FROM. `sql`
/// is what the tokens are of.
void ReplaceTableLiterals(std::string& sql, const PgQuery__ScanResult& tokens);

/// The table that the literal at a place of a statement names; nothing when there is no literal.
std::optional<std::string> ReadTableLiteral(const std::string& sql, int position);

}  // namespace sqxer
