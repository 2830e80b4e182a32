#pragma once

#include "Utility/Export.h"
#include "Utility/XeAutoBuffer.h"
#include "Utility/XeTypes.h"

struct UCollator;

namespace sqxer {

/// Makes the sort keys of a locale's collation: bytes whose order (bytewise, a key before its
/// continuations) is the order of the texts. Trailing blanks do not count, and case does not when
/// the configuration ignores it, as in comparisons. One object is used by one thread at a time.
class XEUTILITY_API CollationKeyMaker {
 public:
  /// By the configured locale; without one, by the root collation.
  CollationKeyMaker();
  /// By a locale named as ICU does, such as sv_SE or de@collation=phonebook; the empty name is the
  /// root collation. Error 59174 (name) for one that is not known.
  explicit CollationKeyMaker(const XeString& locale);

  /// The key of a text. It stands in the object's own buffer, which only grows, until the next
  /// call.
  RefLongVarBinary MakeKey(const RefLongVarChar& text);
  /// Room for the key of any usual text of so many characters, in bytes. Texts of many signs
  /// that stand for whole words can need more.
  static uint32 GetKeyLength(uint32 characters);

 private:
  const UCollator* collator_;
  XeAutoBuffer<char16_t, 128> units_;
  XeAutoBuffer<uint8, 256> key_;
};

}  // namespace sqxer
