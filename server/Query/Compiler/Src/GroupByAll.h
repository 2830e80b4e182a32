#pragma once

#include <string>

#include "ParsedTree.h"

namespace sqxer {

/// To be called for a statement that the grammar refuses. One that ends its grouping with GROUP BY
/// ALL, as other systems have it, is error 58063 with the list of keys to write.
void RefuseGroupByAll(const std::string& sql, const PgQuery__ScanResult& tokens);

}  // namespace sqxer
