#include "Utility/XeAListStream.h"

namespace sqxer {

XeAListStream::~XeAListStream() = default;

}  // namespace sqxer
