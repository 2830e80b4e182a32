#pragma once

#include "Utility/ExecutionUtility.h"
#include "Utility/Export.h"
#include "Utility/XeAutoBuffer.h"
#include "Utility/XeTypes.h"

struct UCollator;

namespace sqxer {

/// Makes sort keys: bytes whose order (bytewise, a key before its continuations) is the order of
/// the texts. Trailing blanks do not count, and case does not when the settings ignore it, as in
/// comparisons. Settings are the thread's current ones at construction. One object is used by one
/// thread at a time.
class XEUTILITY_API CollationKeyMaker {
 public:
  /// By the order in which the settings compare texts: by the collation of their locale, without
  /// one by code point.
  CollationKeyMaker();
  /// By a locale named as ICU does, such as sv_SE or de@collation=phonebook; the empty name is the
  /// root collation. Error 59174 (name) for one that is not known.
  explicit CollationKeyMaker(const XeString& locale);

  /// The key of a text. It stands in the object's own buffer, which only grows, until the next
  /// call. std::bad_alloc where memory does not do.
  RefLongVarBinary MakeKey(const RefLongVarChar& text);
  /// Room for the key of any text of so many characters, in bytes: as much as the collation's
  /// longest character takes for each of them.
  uint32 GetKeyLength(uint32 characters) const;

 private:
  RefLongVarBinary MakeCodePointKey(const RefLongVarChar& trimmed);
  RefLongVarBinary MakeCollationKey(const RefLongVarChar& trimmed);

  CharComparisonType_t comparison_ = kCompareLocale;
  /// Of kCompareLocale alone.
  const UCollator* collator_ = nullptr;
  XeAutoBuffer<char16_t, 128> units_;
  XeAutoBuffer<uint8, 256> key_;
};

}  // namespace sqxer
