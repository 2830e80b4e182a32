#pragma once

#include <cstddef>
#include <cstring>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

struct UCollator;

namespace sqxer {

class KeyDesc;

/// How texts compare. In every kind trailing blanks are not significant.
enum CharComparisonType_t {
  kCompareCodePoints = 0,
  kCompareIgnoringCase = 1,
  /// By the collation of the current settings' locale: case counts only where all else is equal,
  /// and not at all when the settings ignore case.
  kCompareLocale = 2,
};

/// Compares two texts: exactly -1, 0 or 1. Holds the collation that it goes by, so it means the
/// same for ever, on any thread. To be called when it is not null.
class CharCompareFunc_t {
 public:
  using Function = int (*)(const UCollator* collator, const RefLongVarChar& a,
                           const RefLongVarChar& b);

  constexpr CharCompareFunc_t(std::nullptr_t = nullptr) {}
  constexpr CharCompareFunc_t(Function function, CharComparisonType_t type,
                              const UCollator* collator)
      : function_(function), collator_(collator), type_(type) {}

  /// The key descriptor may be null.
  int operator()(const KeyDesc*, const RefLongVarChar& a, const RefLongVarChar& b) const {
    return function_(collator_, a, b);
  }
  explicit operator bool() const { return function_ != nullptr; }
  bool IsByCodePoint() const { return type_ == kCompareCodePoints; }

 private:
  Function function_ = nullptr;
  const UCollator* collator_ = nullptr;
  CharComparisonType_t type_ = kCompareCodePoints;
};

class XEUTILITY_API ExecutionUtility {
 public:
  /// The function for the thread's current settings (case, locale). Nodes call this once, when they
  /// are built.
  static CharCompareFunc_t GetCharacterComparisonFunction();
  /// The function of one kind.
  static CharCompareFunc_t GetCharacterComparisonFunction(CharComparisonType_t type);
  /// A hash equal for texts that compare equal under the type by the thread's current settings.
  static uint64 HashCharacters(CharComparisonType_t type, const RefLongVarChar& text);
  /// Up to 8 leading bytes of the text's sort key, big end first: texts in comparison order have
  /// prefixes in ascending order.
  static uint64 CharacterSortPrefix(CharComparisonType_t type, const RefLongVarChar& text);
  /// Whether a type's values are strings of bits (bit, the binaries), whose length counts bits, and
  /// not of characters.
  static bool IsBitCharacterString(XeDataType type);
};

/// -1, 0 or 1 for two binaries: byte by byte, and of two of which one starts with the other the
/// shorter comes first.
inline int CompareBinaries(const RefLongVarBinary& a, const RefLongVarBinary& b) {
  const uint32 common = a.length_ < b.length_ ? a.length_ : b.length_;
  const int difference = common == 0 ? 0 : std::memcmp(a.buffer_, b.buffer_, common);
  if (difference != 0) return difference < 0 ? -1 : 1;
  return (a.length_ > b.length_) - (a.length_ < b.length_);
}

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
