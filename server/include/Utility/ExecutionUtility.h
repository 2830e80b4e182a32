#pragma once

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

class KeyDesc;

/// How texts compare. In every kind trailing blanks are not significant.
enum CharComparisonType_t {
  kCompareCodePoints = 0,
  kCompareIgnoringCase = 1,
  /// By the configured locale's collation: case counts only where all else is equal, and not at all
  /// when the configuration ignores case.
  kCompareLocale = 2,
};

/// Compares two texts: exactly -1, 0 or 1. The key descriptor may be null.
using CharCompareFunc_t = int (*)(const KeyDesc* key, const RefLongVarChar& a,
                                  const RefLongVarChar& b);

class XEUTILITY_API ExecutionUtility {
 public:
  /// The function for the configuration as it stands now (case, locale). Nodes call this once, when
  /// they are built.
  static CharCompareFunc_t GetCharacterComparisonFunction();
  /// The function of one kind. For kCompareLocale this opens the configured locale's collation
  /// (error 58041 when it has none) and makes it the one that all locale comparisons use.
  static CharCompareFunc_t GetCharacterComparisonFunction(CharComparisonType_t type);
  /// A hash equal for texts that compare equal under the type.
  static uint64 HashCharacters(CharComparisonType_t type, const RefLongVarChar& text);
  /// Up to 8 leading bytes of the text's sort key, big end first: texts in comparison order have
  /// prefixes in ascending order.
  static uint64 CharacterSortPrefix(CharComparisonType_t type, const RefLongVarChar& text);
  /// Whether a type's values are strings of bits (bit, the binaries), whose length counts bits, and
  /// not of characters.
  static bool IsBitCharacterString(XeDataType type);
};

/// Order of zero-terminated wide texts under the comparison function of the moment of construction.
class XEUTILITY_API Less_Char {
 public:
  Less_Char();
  bool operator()(const wchar_t* a, const wchar_t* b) const;

 private:
  CharCompareFunc_t compareFunc_;
};

/// The same for counted texts.
class XEUTILITY_API Less_RefLongVarChar {
 public:
  Less_RefLongVarChar();
  bool operator()(const RefLongVarChar& a, const RefLongVarChar& b) const {
    return compareFunc_(nullptr, a, b) < 0;
  }

 private:
  CharCompareFunc_t compareFunc_;
};

}  // namespace sqxer
