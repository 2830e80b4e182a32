#pragma once

#include <vector>

#include "PlanConstant.h"
#include "Table.h"

namespace sqxer {

/// The values of a column, of a type that constants have.
std::vector<PlanConstant> ReadValues(const Table& table, std::size_t column);

}  // namespace sqxer
