#pragma once

#include <unicode/utf16.h>

#include <memory>

#include "Utility/XeTypes.h"

namespace sqxer {

/// Writes the UTF-16 form of a text, at most two units a character; returns the end.
template <class Unit>
Unit* WriteUtf16(const RefLongVarChar& text, Unit* out) {
  for (uint32 i = 0; i < text.length_; ++i) {
    auto c = static_cast<uint32>(text.buffer_[i]);
    if (c > 0x10FFFF || U_IS_SURROGATE(c)) c = 0xFFFD;
    if (c < 0x10000) {
      *out++ = static_cast<Unit>(c);
    } else {
      *out++ = U16_LEAD(c);
      *out++ = U16_TRAIL(c);
    }
  }
  return out;
}

/// The UTF-16 form that the collation works on, in place for all but long texts.
class Utf16Text {
 public:
  explicit Utf16Text(const RefLongVarChar& text) {
    UChar* out = inline_;
    if (text.length_ > kInlineUnits / 2) {
      heap_.reset(new UChar[std::size_t{text.length_} * 2]);
      out = heap_.get();
    }
    units_ = out;
    length_ = static_cast<int32>(WriteUtf16(text, out) - units_);
  }
  Utf16Text(const Utf16Text&) = delete;
  Utf16Text& operator=(const Utf16Text&) = delete;

  const UChar* units() const { return units_; }
  int32 length() const { return length_; }

 private:
  static constexpr uint32 kInlineUnits = 512;

  UChar inline_[kInlineUnits];
  std::unique_ptr<UChar[]> heap_;
  const UChar* units_;
  int32 length_;
};

}  // namespace sqxer
