#pragma once

#include "Catalog.h"
#include "SqlAst.h"

namespace sqxer {

/// What a statement may read of its table, by the names that it mentions: known before the table
/// is.
TableRequest FindTableReads(const SqlSelect& select);

}  // namespace sqxer
