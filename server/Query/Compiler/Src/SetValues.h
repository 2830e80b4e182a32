#pragma once

#include <string>

namespace sqxer {

/// Puts letters in the place of what is set to what in the SET statements of a text, where it
/// stands without quotation marks: the grammar's scanner refuses values such as 64MiB.
void MaskSetValues(std::string& sql);

}  // namespace sqxer
