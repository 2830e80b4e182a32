#pragma once

#include "Utility/SystemUtility.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Characters without trailing blanks.
struct LengthOp {
  template <class Text = RefLongVarChar>
  static int32 Apply(const Text& text) {
    uint32 length = text.length_;
    while (length > 0 && text.buffer_[length - 1] == L' ') --length;
    return static_cast<int32>(length);
  }
};

/// All characters.
struct CharacterLengthOp {
  template <class Text = RefLongVarChar>
  static int32 Apply(const Text& text) {
    return static_cast<int32>(text.length_);
  }
};

/// Bytes: four a character, or as many as a string of so many bits takes.
struct OctetLengthOp {
  template <class Text = RefLongVarChar>
  static int32 Apply(const Text& text, bool isBits) {
    return static_cast<int32>(isBits ? text.length_ / 8 + (text.length_ % 8 != 0)
                                     : text.length_ * 4);
  }
};

/// Bits: 32 a character, or the length of a string of bits.
struct BitLengthOp {
  template <class Text = RefLongVarChar>
  static int32 Apply(const Text& text, bool isBits) {
    return static_cast<int32>(isBits ? text.length_ : text.length_ * 32);
  }
};

/// The code of the first character in the server's code page, as a signed byte: callers rely on
/// codes from 128 up being negative. 0 for the empty text. `code` is room for the byte.
struct AsciiOp {
  static int32 Apply(const RefLongVarChar& text, char* code) {
    if (text.length_ == 0) return 0;
    SystemUtility::WideCharToMultiByte(SystemUtility::GetMultiByteCodePage(), text.buffer_, 1, code,
                                       1);
    return static_cast<int8>(*code);
  }
};

}  // namespace sqxer
