#pragma once

#include <string_view>

namespace sqxer::JSon {

/// Whether a text is a number as JSON writes them.
inline bool IsNumber(std::string_view text) {
  std::size_t at = text.starts_with('-') ? 1 : 0;
  const auto next = [&] { return at < text.size() ? text[at] : '\0'; };
  const auto digits = [&] {
    const std::size_t start = at;
    while (next() >= '0' && next() <= '9') ++at;
    return at - start;
  };
  const bool startsWithZero = next() == '0';
  const std::size_t whole = digits();
  if (whole == 0 || (startsWithZero && whole > 1)) return false;
  if (next() == '.' && (++at, digits() == 0)) return false;
  if (next() == 'e' || next() == 'E') {
    ++at;
    if (next() == '-' || next() == '+') ++at;
    if (digits() == 0) return false;
  }
  return at == text.size();
}

}  // namespace sqxer::JSon
