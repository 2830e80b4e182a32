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
  /// The upper or lower case of a character where that is one character; any other character
  /// itself. Depends on no locale.
  static wchar_t UpperCase(wchar_t c);
  static wchar_t LowerCase(wchar_t c);
  /// A letter or digit of any script.
  static bool IsAlphanumeric(wchar_t c);
  /// The same for each character of a text; `out` has room for as many.
  static void UpperCase(const RefLongVarChar& text, wchar_t* out);
  static void LowerCase(const RefLongVarChar& text, wchar_t* out);

  /// The index of the first occurrence of a pattern at or behind index `from`, or the length of the
  /// text when there is none, as for an empty pattern. Characters are equal by code point or, when
  /// case does not count, by their upper case.
  static uint32 PatternMatch(const RefLongVarChar& text, const RefLongVarChar& pattern, uint32 from,
                             bool caseSensitive);
  /// The same for the last occurrence that starts at or before `position`, of which 1 is the first
  /// character.
  static uint32 ReversePatternMatch(const RefLongVarChar& text, const RefLongVarChar& pattern,
                                    uint32 position, bool caseSensitive);

  /// The text of a double, as RealText gives it.
  static XeString NumberToString(float64 value);
};

/// A text of UTF-8 as one of wide characters.
inline XeString Wide(std::string_view utf8) { return BaseStringUtil::Utf8ToString(utf8); }

}  // namespace sqxer
