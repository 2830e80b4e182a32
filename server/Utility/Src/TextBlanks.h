#pragma once

#include <string_view>

namespace sqxer {

/// The text without the blanks around it.
inline std::wstring_view TrimBlanks(std::wstring_view text) {
  while (!text.empty() && text.front() == L' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == L' ') text.remove_suffix(1);
  return text;
}

}  // namespace sqxer
