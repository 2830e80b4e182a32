#pragma once

#include <string>

#include "SqlQuery.h"

namespace sqxer {

/// Reads one statement. Errors with the position of what is wrong: 58001 for what is no SQL, 58002
/// for a statement other than a query and EXPLAIN of one, 58003 for a clause that is not
/// understood, 58004 for an operator that does not exist, 58005 for a statement nested too deeply.
SqlStatement ParseQuery(const std::string& sql);

/// The same of one that is a single SELECT over at most one table; 58003 for any other.
SqlSelect ParseSelect(const std::string& sql);

}  // namespace sqxer
