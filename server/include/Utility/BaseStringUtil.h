#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Text at the border of the library: UTF-8 outside, 32-bit characters inside.
class XEUTILITY_API BaseStringUtil {
 public:
  /// Characters of a UTF-8 text. Invalid bytes become U+FFFD; callers that must refuse them use
  /// IsValidUtf8 first.
  static XeString Utf8ToString(std::string_view utf8);
  static std::string StringToUtf8(std::wstring_view text);
  static void AppendUtf8(std::string& out, std::wstring_view text);
  static bool IsValidUtf8(std::string_view utf8);
  /// Number of characters in a valid UTF-8 text.
  static uint32 CountCharacters(std::string_view utf8);
  /// Writes the characters of a valid UTF-8 text at `out`, which has room for CountCharacters of
  /// them.
  static void DecodeUtf8(std::string_view utf8, wchar_t* out);
  /// Makes `characters` those of a valid text, a wchar_t each, and returns their count. The memory
  /// of `characters` only grows. A code page other than 65001 (UTF-8) is a broken invariant.
  static uint32 StdStringToString(std::string_view text, uint32 codePage,
                                  std::vector<uint8>& characters);
  /// A UTF-8 value as messages quote it: on one line, and long ones cut.
  static XeString QuotedValue(std::string_view utf8);

  /// Equality of names without regard to letter case (simple case folding, no locale).
  static bool IsCaseInsensitiveMatch(std::wstring_view a, std::wstring_view b);
  /// Simple case folding of one character, the rule behind IsCaseInsensitiveMatch.
  static wchar_t FoldCase(wchar_t c);
};

}  // namespace sqxer
