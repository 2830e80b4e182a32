#pragma once

#include <cstddef>

#include "Utility/XeTypes.h"

namespace sqxer {

/// The first place in [from, to) at which the `length` characters at `wanted` (at least one) stand,
/// or null.
const wchar_t* FindCharacters(const wchar_t* from, const wchar_t* to, const wchar_t* wanted,
                              std::size_t length);
/// The same of bytes, which may be read 32 beyond `to`.
const uint8* FindCharacters(const uint8* from, const uint8* to, const uint8* wanted,
                            std::size_t length);

}  // namespace sqxer
