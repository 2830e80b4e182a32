#include "ErrorCatalogue.h"

namespace sqxer {

std::vector<ErrorCatalogueEntry> ErrorCatalogueEngine() { return {}; }

}  // namespace sqxer
