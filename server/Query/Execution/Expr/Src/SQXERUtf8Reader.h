#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "Utility/BaseStringUtil.h"

namespace sqxer {

/// Texts, of characters of one byte or of wchar_t, as UTF-8.
class Utf8Reader {
 public:
  /// Holds until the next call; of a text of ASCII in bytes it is that text.
  template <class Text>
  std::string_view Read(const Text& text) {
    if constexpr (sizeof *text.buffer_ == 1) {
      const std::string_view bytes(reinterpret_cast<const char*>(text.buffer_), text.length_);
      // Characters beyond ASCII are negative.
      if (std::ranges::all_of(bytes, [](char c) { return c >= 0; })) return bytes;
      bytes_.clear();
      for (const char c : bytes) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x80) {
          bytes_ += c;
        } else {
          bytes_ += static_cast<char>(0xC0 | code >> 6);
          bytes_ += static_cast<char>(0x80 | (code & 0x3F));
        }
      }
    } else {
      bytes_.clear();
      BaseStringUtil::AppendUtf8(bytes_, {text.buffer_, text.length_});
    }
    return bytes_;
  }

 private:
  std::string bytes_;
};

}  // namespace sqxer
