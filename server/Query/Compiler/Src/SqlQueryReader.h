#pragma once

#include <string>

#include "ParsedTree.h"
#include "SqlQuery.h"

namespace sqxer {

/// Reads a query of the grammar's tree, and those within it. Errors as ParseQuery.
SqlQueryPtr ReadSqlQuery(const std::string& sql, const ParsedTree& tree,
                         const PgQuery__SelectStmt& statement);

/// Puts queries of WITH before those that a query has.
SqlQueryPtr WithCommonTables(const std::string& sql, const ParsedTree& tree,
                             const PgQuery__WithClause& with, const SqlQuery& query);

}  // namespace sqxer
