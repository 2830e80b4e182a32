#pragma once

#include <optional>
#include <string>

#include "Utility/XeTypes.h"

struct UCollator;

namespace sqxer {

/// ICU's own form of a locale's name; nothing for a locale that it does not know.
std::optional<std::string> FindLocale(const std::string& name);

/// The collation of a locale, opened or taken from those already open. The empty locale is the root
/// collation. Strength is tertiary, or secondary when case does not count. It is not changed any
/// more and stays open until the process ends, so any thread may compare by it. Error 58041 when
/// there is no such collation, std::bad_alloc when memory does not do.
const UCollator* FindCollator(const std::string& locale, bool caseSensitive);

/// The most bytes that a character adds to a sort key.
uint32 GetKeyBytesPerCharacter(const UCollator* collator);

}  // namespace sqxer
