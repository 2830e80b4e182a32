#pragma once

#include "Utility/XeTypes.h"

struct UCollator;

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

/// By a collation, which is not null.
struct LocaleOrder {
  int Compare(const RefLongVarChar& a, const RefLongVarChar& b) const;
  uint64 Prefix(const RefLongVarChar& text) const;
  uint64 Hash(const RefLongVarChar& text) const;

  const UCollator* collator_;
};

/// The text without its trailing blanks.
inline RefLongVarChar TrimTrailingBlanks(RefLongVarChar text) {
  while (text.length_ > 0 && text.buffer_[text.length_ - 1] == L' ') --text.length_;
  return text;
}

}  // namespace sqxer
