#pragma once

#include "SqlAst.h"
#include "SqlExpressionReader.h"

namespace sqxer {

/// Reads GROUP BY: its keys, and where it has GROUPING SETS, ROLLUP, CUBE or an empty list, the
/// sets that these make, in the order in which they are written out. Errors 58003 and 58060.
void ReadGroupBy(const PgQuery__SelectStmt& statement, const SqlExpressionReader& expressions,
                 SqlSelect& select);

}  // namespace sqxer
