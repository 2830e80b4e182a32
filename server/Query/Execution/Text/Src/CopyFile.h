#pragma once

#include <memory>

#include "CopyTarget.h"

namespace sqxer {

/// Opens the file of a COPY, as OpenCopyTarget. Rows are formatted, packed and written while they
/// come.
std::unique_ptr<CopyTarget> OpenCopyFile(const SqlCopy& copy);

}  // namespace sqxer
