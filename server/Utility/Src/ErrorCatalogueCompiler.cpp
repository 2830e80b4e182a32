#include "ErrorCatalogue.h"

namespace sqxer {

std::vector<ErrorCatalogueEntry> ErrorCatalogueCompiler() {
  return {
      {58040, 1, "there is no switch of this name (--help-switches lists them all): \"{0}\""},
      {58041, 3, "the switch \"{1}\" takes {2}, not \"{0}\""},
  };
}

}  // namespace sqxer
