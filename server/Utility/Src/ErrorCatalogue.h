#pragma once

#include <vector>

#include "Utility/ErrorMessage.h"

namespace sqxer {

/// The parts of the message catalogue, one source each. ErrorCatalogue() merges and sorts them, so
/// the rows of a part may stand in any order. A sentence starts in lower case, quotes what the user
/// named, says what to do and ends with the offending value where there is one.

/// 46030 and 59001..59169: what the expressions raise. 59170..59199: the platform itself.
std::vector<ErrorCatalogueEntry> ErrorCatalogueExpressions();
/// 58000..58999: the plan builder and the configuration.
std::vector<ErrorCatalogueEntry> ErrorCatalogueCompiler();
/// 57000..57999: the executor and its files.
std::vector<ErrorCatalogueEntry> ErrorCatalogueEngine();

}  // namespace sqxer
