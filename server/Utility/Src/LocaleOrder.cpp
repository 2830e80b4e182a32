#include <unicode/ucol.h>
#include <unicode/uiter.h>
#include <unicode/uloc.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <cwchar>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "CharacterOrder.h"
#include "HashMix.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/CollationKeyMaker.h"
#include "Utility/ErrorMessage.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer {

namespace {

/// In use by comparisons on any thread. The collations themselves stay open until the process ends,
/// so that one in use is never closed by a change of the configuration.
std::atomic<const UCollator*> currentCollator{nullptr};

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
  UCollator* collator = ucol_open(locale.c_str(), &status);
  if (U_SUCCESS(status)) {
    ucol_setStrength(collator, caseSensitive ? UCOL_TERTIARY : UCOL_SECONDARY);
    // A letter with an accent equals the letter followed by the accent.
    ucol_setAttribute(collator, UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
    if (U_SUCCESS(status)) return collator;
    ucol_close(collator);
  }
  SUGThrow(ErrorMessage(58041, {BaseStringUtil::Utf8ToString(locale), L"Locale",
                                L"an ICU locale such as sv_SE, or nothing"}));
}

/// The collation of a locale, opened or taken from those already open.
const UCollator* FindCollator(const std::string& locale, bool caseSensitive) {
  OpenCollations& open = Open();
  const std::lock_guard lock(open.mutex);
  const UCollator*& collator = open.byLocaleAndCase[{locale, caseSensitive}];
  if (collator == nullptr) collator = OpenCollator(locale, caseSensitive);
  return collator;
}

const UCollator* FindConfiguredCollator() {
  const SUSystemConfig& config = SUSystemConfig::GetSystemConfig();
  return FindCollator(config.locale_, config.caseSensitiveCompare_);
}

const UCollator* Current() {
  const UCollator* collator = currentCollator.load(std::memory_order_acquire);
  if (collator == nullptr) {
    LocaleOrder::UseConfiguredLocale();
    collator = currentCollator.load(std::memory_order_acquire);
  }
  return collator;
}

/// Writes the UTF-16 form of a text, at most two units a character; returns the end.
template <class Unit>
Unit* WriteUtf16(const RefLongVarChar& text, Unit* out) {
  for (uint32 i = 0; i < text.length_; ++i) {
    auto c = static_cast<uint32>(text.buffer_[i]);
    if (c > 0x10FFFF || U_IS_SURROGATE(c)) c = 0xFFFD;
    if (c < 0x10000) {
      *out++ = static_cast<Unit>(c);
    } else {
      *out++ = U16_LEAD(c);
      *out++ = U16_TRAIL(c);
    }
  }
  return out;
}

/// The UTF-16 form that the collation works on, in place for all but long texts.
class Utf16Text {
 public:
  explicit Utf16Text(const RefLongVarChar& text) {
    UChar* out = inline_;
    if (text.length_ > kInlineUnits / 2) {
      heap_.reset(new UChar[std::size_t{text.length_} * 2]);
      out = heap_.get();
    }
    units_ = out;
    length_ = static_cast<int32>(WriteUtf16(text, out) - units_);
  }
  Utf16Text(const Utf16Text&) = delete;
  Utf16Text& operator=(const Utf16Text&) = delete;

  const UChar* units() const { return units_; }
  int32 length() const { return length_; }

 private:
  static constexpr uint32 kInlineUnits = 512;

  UChar inline_[kInlineUnits];
  std::unique_ptr<UChar[]> heap_;
  const UChar* units_;
  int32 length_;
};

/// Reads a text's sort key piece by piece, so that no key is ever held whole.
class SortKeyReader {
 public:
  explicit SortKeyReader(const RefLongVarChar& trimmed) : text_(trimmed) {
    uiter_setString(&characters_, text_.units(), text_.length());
  }

  /// The next 8 bytes as a number, big end first, zero beyond the key's end.
  uint64 Next() {
    uint8 bytes[8] = {};
    UErrorCode status = U_ZERO_ERROR;
    const int32 count = ucol_nextSortKeyPart(collator_, &characters_, state_, bytes, 8, &status);
    atEnd_ = U_FAILURE(status) || count < 8;
    uint64 part = 0;
    for (int i = 0; i < 8; ++i) part = part << 8 | (i < count ? bytes[i] : 0);
    return part;
  }
  bool AtEnd() const { return atEnd_; }

 private:
  const UCollator* collator_ = Current();
  Utf16Text text_;
  UCharIterator characters_;
  uint32_t state_[2] = {};
  bool atEnd_ = false;
};

}  // namespace

void LocaleOrder::UseConfiguredLocale() {
  currentCollator.store(FindConfiguredCollator(), std::memory_order_release);
}

std::optional<std::string> LocaleOrder::FindLocale(const std::string& name) {
  char fullName[ULOC_FULLNAME_CAPACITY];
  char baseName[ULOC_FULLNAME_CAPACITY];
  UErrorCode status = U_ZERO_ERROR;
  uloc_canonicalize(name.c_str(), fullName, ULOC_FULLNAME_CAPACITY, &status);
  uloc_getBaseName(fullName, baseName, ULOC_FULLNAME_CAPACITY, &status);
  // A name that just fits is left without its terminator, which is a warning only.
  if (U_FAILURE(status) || status == U_STRING_NOT_TERMINATED_WARNING) return std::nullopt;
  for (int32_t i = 0; i < uloc_countAvailable(); ++i) {
    if (std::strcmp(uloc_getAvailable(i), baseName) == 0) return fullName;
  }
  return std::nullopt;
}

int LocaleOrder::Compare(const RefLongVarChar& a, const RefLongVarChar& b) {
  const RefLongVarChar left = TrimTrailingBlanks(a);
  const RefLongVarChar right = TrimTrailingBlanks(b);
  if (left.length_ == right.length_ &&
      (left.length_ == 0 || std::wmemcmp(left.buffer_, right.buffer_, left.length_) == 0)) {
    return 0;
  }
  const Utf16Text leftUnits(left);
  const Utf16Text rightUnits(right);
  return ucol_strcoll(Current(), leftUnits.units(), leftUnits.length(), rightUnits.units(),
                      rightUnits.length());
}

uint64 LocaleOrder::Prefix(const RefLongVarChar& text) {
  return SortKeyReader(TrimTrailingBlanks(text)).Next();
}

uint64 LocaleOrder::Hash(const RefLongVarChar& text) {
  SortKeyReader key(TrimTrailingBlanks(text));
  uint64 hash = kHashSeed;
  do {
    hash = MixHash(hash, key.Next());
  } while (!key.AtEnd());
  return hash;
}

CollationKeyMaker::CollationKeyMaker() : collator_(FindConfiguredCollator()) {}

CollationKeyMaker::CollationKeyMaker(const XeString& locale) {
  const std::string name = BaseStringUtil::StringToUtf8(locale);
  const auto known = name.empty() ? name : LocaleOrder::FindLocale(name);
  if (!known) SUGThrow(ErrorMessage(59174, {locale}));
  collator_ = FindCollator(*known, SUSystemConfig::GetSystemConfig().caseSensitiveCompare_);
}

RefLongVarBinary CollationKeyMaker::MakeKey(const RefLongVarChar& text) {
  const RefLongVarChar trimmed = TrimTrailingBlanks(text);
  units_.Reserve(std::size_t{trimmed.length_} * 2);
  const auto length = static_cast<int32>(WriteUtf16(trimmed, units_.data()) - units_.data());
  const auto write = [&] {
    const std::size_t room =
        std::min<std::size_t>(key_.capacity(), std::numeric_limits<int32>::max());
    return static_cast<uint32>(
        ucol_getSortKey(collator_, units_.data(), length, key_.data(), static_cast<int32>(room)));
  };
  uint32 bytes = write();
  if (bytes > key_.capacity()) {
    key_.Reserve(bytes);
    bytes = write();
  }
  // Without the zero byte at the end, which no key holds elsewhere.
  return {bytes == 0 ? 0 : bytes - 1, key_.data()};
}

uint32 CollationKeyMaker::GetKeyLength(uint32 characters) {
  constexpr uint64 kBytesPerCharacter = 8;
  // That of a sign for a whole phrase, of which a text has one rather than many.
  constexpr uint64 kLongestCharacter = 48;
  return static_cast<uint32>(std::min<uint64>(characters * kBytesPerCharacter + kLongestCharacter,
                                              std::numeric_limits<int32>::max()));
}

}  // namespace sqxer
