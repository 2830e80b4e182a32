#pragma once

#include <cstddef>

namespace sqxer {

/// The first place in [from, to) at which the `length` characters at `wanted` (at least one) stand,
/// or null.
const wchar_t* FindCharacters(const wchar_t* from, const wchar_t* to, const wchar_t* wanted,
                              std::size_t length);

}  // namespace sqxer
