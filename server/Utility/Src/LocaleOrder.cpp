#include <unicode/ucol.h>
#include <unicode/uiter.h>
#include <unicode/utf16.h>

#include <atomic>
#include <cwchar>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "CharacterOrder.h"
#include "HashMix.h"
#include "Utility/BaseStringUtil.h"
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

const UCollator* Current() {
  const UCollator* collator = currentCollator.load(std::memory_order_acquire);
  if (collator == nullptr) {
    LocaleOrder::UseConfiguredLocale();
    collator = currentCollator.load(std::memory_order_acquire);
  }
  return collator;
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
    for (uint32 i = 0; i < text.length_; ++i) {
      auto c = static_cast<uint32>(text.buffer_[i]);
      if (c > 0x10FFFF || U_IS_SURROGATE(c)) c = 0xFFFD;
      if (c < 0x10000) {
        *out++ = static_cast<UChar>(c);
      } else {
        *out++ = U16_LEAD(c);
        *out++ = U16_TRAIL(c);
      }
    }
    length_ = static_cast<int32>(out - units_);
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
  const SUSystemConfig& config = SUSystemConfig::GetSystemConfig();
  OpenCollations& open = Open();
  const std::lock_guard lock(open.mutex);
  const UCollator*& collator = open.byLocaleAndCase[{config.locale_, config.caseSensitiveCompare_}];
  if (collator == nullptr) collator = OpenCollator(config.locale_, config.caseSensitiveCompare_);
  currentCollator.store(collator, std::memory_order_release);
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

}  // namespace sqxer
