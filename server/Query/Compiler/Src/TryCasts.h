#pragma once

#include <pg_query/pg_query.pb-c.h>

#include <string>

namespace sqxer {

/// Puts CAST in the place of each TRY_CAST( of a statement, which the grammar does not know. `sql`
/// is what the tokens are of, and keeps its length.
void ReplaceTryCasts(std::string& sql, const PgQuery__ScanResult& tokens);

/// Whether the cast at a place of a statement, as it was written, is a TRY_CAST.
bool IsTryCast(const std::string& sql, int position);

}  // namespace sqxer
