#include <unicode/coll.h>
#include <unicode/ucol.h>
#include <unicode/uiter.h>
#include <unicode/uloc.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>

#include "CharacterOrder.h"
#include "Collation.h"
#include "IcuStatus.h"
#include "Utf16Text.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"
#include "Utility/HashMix.h"
#include "Utility/XeAutoBuffer.h"

namespace sqxer {

namespace {

/// The collations stay open until the process ends: whatever was bound under one keeps its address.
struct OpenCollations {
  std::mutex mutex;
  std::map<std::pair<std::string, bool>, const UCollator*> byLocaleAndCase;
};

OpenCollations& Open() {
  static auto* const open = new OpenCollations;
  return *open;
}

const UCollator* OpenCollator(const std::string& locale, bool caseSensitive) {
  UErrorCode status = U_ZERO_ERROR;
  icu::LocalUCollatorPointer collator(ucol_open(locale.c_str(), &status));
  if (U_SUCCESS(status)) {
    ucol_setStrength(collator.getAlias(), caseSensitive ? UCOL_TERTIARY : UCOL_SECONDARY);
    // A letter with an accent equals the letter followed by the accent.
    ucol_setAttribute(collator.getAlias(), UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
    if (U_SUCCESS(status)) return collator.orphan();
  }
  ThrowIfOutOfMemory(status);
  SUGThrow(ErrorMessage(58041, {BaseStringUtil::Utf8ToString(locale), L"Locale",
                                L"an ICU locale such as sv_SE, or nothing"}));
}

}  // namespace

const UCollator* FindCollator(const std::string& locale, bool caseSensitive) {
  OpenCollations& open = Open();
  const std::lock_guard lock(open.mutex);
  const UCollator*& collator = open.byLocaleAndCase[{locale, caseSensitive}];
  if (collator == nullptr) collator = OpenCollator(locale, caseSensitive);
  return collator;
}

std::optional<std::string> FindLocale(const std::string& name) {
  char fullName[ULOC_FULLNAME_CAPACITY];
  char baseName[ULOC_FULLNAME_CAPACITY];
  UErrorCode status = U_ZERO_ERROR;
  uloc_canonicalize(name.c_str(), fullName, ULOC_FULLNAME_CAPACITY, &status);
  uloc_getBaseName(fullName, baseName, ULOC_FULLNAME_CAPACITY, &status);
  ThrowIfOutOfMemory(status);
  // A name that just fits is left without its terminator, which is a warning only.
  if (U_FAILURE(status) || status == U_STRING_NOT_TERMINATED_WARNING) return std::nullopt;
  const int32_t known = uloc_countAvailable();
  // Without memory for their list ICU knows none.
  if (known == 0) throw std::bad_alloc();
  for (int32_t i = 0; i < known; ++i) {
    if (std::strcmp(uloc_getAvailable(i), baseName) == 0) return fullName;
  }
  return std::nullopt;
}

int LocaleOrder::Compare(const RefLongVarChar& a, const RefLongVarChar& b) const {
  const RefLongVarChar left = TrimTrailingBlanks(a);
  const RefLongVarChar right = TrimTrailingBlanks(b);
  if (left.length_ == right.length_ &&
      (left.length_ == 0 || std::wmemcmp(left.buffer_, right.buffer_, left.length_) == 0)) {
    return 0;
  }
  const Utf16Text leftUnits(left);
  const Utf16Text rightUnits(right);
  // Not by ucol_strcoll, to which texts that memory does not do for are equal.
  UErrorCode status = U_ZERO_ERROR;
  const UCollationResult result = icu::Collator::fromUCollator(collator_)->compare(
      leftUnits.units(), leftUnits.length(), rightUnits.units(), rightUnits.length(), status);
  ThrowIfOutOfMemory(status);
  return result;
}

uint64 LocaleOrder::Prefix(const RefLongVarChar& text) const {
  const Utf16Text units(TrimTrailingBlanks(text));
  UCharIterator characters;
  uiter_setString(&characters, units.units(), units.length());
  uint32_t state[2] = {};
  uint8 bytes[8] = {};
  UErrorCode status = U_ZERO_ERROR;
  const int32 count = ucol_nextSortKeyPart(collator_, &characters, state, bytes, 8, &status);
  ThrowIfOutOfMemory(status);
  // Big end first, zero beyond the key's end.
  uint64 part = 0;
  for (int i = 0; i < 8; ++i) part = part << 8 | (i < count ? bytes[i] : 0);
  return part;
}

uint64 LocaleOrder::Hash(const RefLongVarChar& text) const {
  // The whole key: of its pieces each is made by going through the text from its start again.
  const Utf16Text units(TrimTrailingBlanks(text));
  XeAutoBuffer<uint8, 256> key;
  const auto write = [&] {
    const std::size_t room =
        std::min<std::size_t>(key.capacity(), std::numeric_limits<int32>::max());
    return static_cast<uint32>(ucol_getSortKey(collator_, units.units(), units.length(), key.data(),
                                               static_cast<int32>(room)));
  };
  uint32 bytes = write();
  if (bytes > key.capacity()) {
    key.ReserveUnset(bytes);
    bytes = write();
  }
  // None at all is ICU's way to say that memory did not do.
  if (bytes == 0) throw std::bad_alloc();
  uint64 hash = kHashSeed;
  for (uint32 at = 0; at < bytes; at += sizeof(uint64)) {
    uint64 part = 0;
    std::memcpy(&part, key.data() + at, std::min<std::size_t>(sizeof part, bytes - at));
    hash = MixHash(hash, part);
  }
  return hash;
}

}  // namespace sqxer
