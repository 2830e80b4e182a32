#pragma once

#include <optional>
#include <string>

#include "Utility/XeTypes.h"

namespace sqxer {

// The three orders of texts. In each of them trailing blanks do not count, Compare is -1, 0 or 1,
// Hash is equal for texts that compare equal, and Prefix is the first 8 bytes of a key (missing
// bytes zero) whose bytewise order is that of Compare.

/// By code point.
struct CodePointOrder {
  static int Compare(const RefLongVarChar& a, const RefLongVarChar& b);
  static uint64 Prefix(const RefLongVarChar& text);
  static uint64 Hash(const RefLongVarChar& text);
};

/// By code point after simple case folding.
struct FoldedOrder {
  static int Compare(const RefLongVarChar& a, const RefLongVarChar& b);
  static uint64 Prefix(const RefLongVarChar& text);
  static uint64 Hash(const RefLongVarChar& text);
};

/// By the collation of the locale last given to UseConfiguredLocale.
struct LocaleOrder {
  /// Opens the collation of the configured locale, or takes it from those already open, and
  /// compares by it from now on. Strength is tertiary, secondary (case does not count) when the
  /// configuration ignores case. An empty locale is the root collation. Error 58041 when there is
  /// no such collation.
  static void UseConfiguredLocale();
  /// ICU's own form of a locale's name; nothing for a locale that it does not know.
  static std::optional<std::string> FindLocale(const std::string& name);

  static int Compare(const RefLongVarChar& a, const RefLongVarChar& b);
  static uint64 Prefix(const RefLongVarChar& text);
  static uint64 Hash(const RefLongVarChar& text);
};

/// The text without its trailing blanks.
inline RefLongVarChar TrimTrailingBlanks(RefLongVarChar text) {
  while (text.length_ > 0 && text.buffer_[text.length_ - 1] == L' ') --text.length_;
  return text;
}

}  // namespace sqxer
