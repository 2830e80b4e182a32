#pragma once

#include <string>
#include <string_view>

namespace sqxer::JSon {

/// Appends a text as JSON writes it, in quotation marks. Both are UTF-8.
inline void AppendText(std::string_view text, std::string& out) {
  out += '"';
  for (const char c : text) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (static_cast<unsigned char>(c) < ' ') {
          out += "\\u00";
          out += "0123456789abcdef"[c >> 4];
          out += "0123456789abcdef"[c & 15];
        } else {
          out += c;
        }
    }
  }
  out += '"';
}

}  // namespace sqxer::JSon
