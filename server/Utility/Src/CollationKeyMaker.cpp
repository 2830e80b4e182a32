#include "Utility/CollationKeyMaker.h"

#include <unicode/ucol.h>
#include <unicode/uset.h>

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "CharacterOrder.h"
#include "Collation.h"
#include "IcuStatus.h"
#include "Utf16Text.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"
#include "Utility/Settings.h"

namespace sqxer {

namespace {

/// A zero byte parts the three levels of a key from each other, and it ends with one.
constexpr uint32 kLevelBytes = 3;
constexpr uint32 kBytesPerCodePoint = 4;

/// Keeps the most bytes that the texts seen by it have as keys.
class LongestKey {
 public:
  explicit LongestKey(const UCollator* collator) : collator_(collator) {}

  void See(const UChar* units, int32 length) {
    const int32 bytes = ucol_getSortKey(collator_, units, length, nullptr, 0);
    if (bytes == 0) throw std::bad_alloc();
    longest_ = std::max(longest_, static_cast<uint32>(bytes));
  }
  void See(UChar32 from, UChar32 to) {
    for (UChar32 c = from; c <= to; ++c) {
      UChar units[2];
      int32 length = 0;
      U16_APPEND_UNSAFE(units, length, c);
      See(units, length);
    }
  }
  /// All that a set holds.
  void See(const USet* set) {
    std::u16string text(64, u'\0');
    for (int32 item = 0; item < uset_getItemCount(set); ++item) {
      UChar32 from = 0;
      UChar32 to = 0;
      UErrorCode status = U_ZERO_ERROR;
      int32 length = uset_getItem(set, item, &from, &to, text.data(),
                                  static_cast<int32>(text.size()), &status);
      if (status == U_BUFFER_OVERFLOW_ERROR) {
        text.resize(static_cast<std::size_t>(length));
        status = U_ZERO_ERROR;
        length = uset_getItem(set, item, &from, &to, text.data(), length, &status);
      }
      RequireSuccess(status);
      if (length == 0) {
        See(from, to);
      } else {
        See(text.data(), length);
      }
    }
  }
  static void RequireSuccess(UErrorCode status) {
    // Of the collation at hand nothing else can fail.
    if (U_FAILURE(status)) throw std::bad_alloc();
  }
  uint32 Get() const { return longest_; }

 private:
  const UCollator* collator_;
  uint32 longest_ = 0;
};

/// A key is made of what its collation has for single characters and, where it has more, for runs
/// of them: those that the collation expands or contracts are measured, and of the others one.
uint32 MeasureKeyBytes(const UCollator* collator) {
  const std::unique_ptr<USet, void (*)(USet*)> contractions(uset_openEmpty(), &uset_close);
  const std::unique_ptr<USet, void (*)(USet*)> expansions(uset_openEmpty(), &uset_close);
  if (contractions == nullptr || expansions == nullptr) throw std::bad_alloc();
  UErrorCode status = U_ZERO_ERROR;
  ucol_getContractionsAndExpansions(collator, contractions.get(), expansions.get(), true, &status);
  LongestKey::RequireSuccess(status);
  LongestKey longest(collator);
  longest.See(contractions.get());
  longest.See(expansions.get());
  // An ideograph far beyond those of the collation, and the syllables that it takes apart.
  longest.See(0x10FFFD, 0x10FFFD);
  longest.See(0xAC00, 0xD7A3);
  // With the bytes that part the levels, for which there may be one more where one character's
  // bytes end and another's begin.
  return longest.Get();
}

}  // namespace

uint32 GetKeyBytesPerCharacter(const UCollator* collator) {
  static auto* const mutex = new std::mutex;
  static auto* const known = new std::map<const UCollator*, uint32>;
  const std::lock_guard lock(*mutex);
  uint32& bytes = (*known)[collator];
  if (bytes == 0) bytes = MeasureKeyBytes(collator);
  return bytes;
}

CollationKeyMaker::CollationKeyMaker() {
  const SettingsRef settings = Settings::Current();
  comparison_ = settings->GetCharComparisonType();
  if (comparison_ == kCompareLocale) collator_ = settings->GetCollator();
}

CollationKeyMaker::CollationKeyMaker(const XeString& locale) {
  const std::string name = BaseStringUtil::StringToUtf8(locale);
  const auto known = name.empty() ? name : FindLocale(name);
  if (!known) SUGThrow(ErrorMessage(59174, {locale}));
  collator_ = FindCollator(*known, Settings::Current()->GetSwitches().caseSensitiveCompare_);
}

RefLongVarBinary CollationKeyMaker::MakeKey(const RefLongVarChar& text) {
  const RefLongVarChar trimmed = TrimTrailingBlanks(text);
  return comparison_ == kCompareLocale ? MakeCollationKey(trimmed) : MakeCodePointKey(trimmed);
}

RefLongVarBinary CollationKeyMaker::MakeCodePointKey(const RefLongVarChar& trimmed) {
  const std::size_t bytes = std::size_t{trimmed.length_} * kBytesPerCodePoint;
  key_.Reserve(bytes);
  uint8* out = key_.data();
  for (uint32 i = 0; i < trimmed.length_; ++i) {
    wchar_t c = trimmed.buffer_[i];
    if (comparison_ == kCompareIgnoringCase) c = BaseStringUtil::FoldCase(c);
    // Comparisons take characters as signed numbers.
    const uint32 code = static_cast<uint32>(c) ^ 0x80000000u;
    for (int shift = 24; shift >= 0; shift -= 8) *out++ = static_cast<uint8>(code >> shift);
  }
  return {static_cast<uint32>(bytes), key_.data()};
}

RefLongVarBinary CollationKeyMaker::MakeCollationKey(const RefLongVarChar& trimmed) {
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
  // Every key ends with a zero byte, which it holds elsewhere nowhere; none at all is ICU's way to
  // say that memory did not do.
  if (bytes == 0) throw std::bad_alloc();
  return {bytes - 1, key_.data()};
}

uint32 CollationKeyMaker::GetKeyLength(uint32 characters) const {
  const uint64 perCharacter =
      comparison_ == kCompareLocale ? GetKeyBytesPerCharacter(collator_) : kBytesPerCodePoint;
  return static_cast<uint32>(
      std::min<uint64>(characters * perCharacter + kLevelBytes, std::numeric_limits<int32>::max()));
}

}  // namespace sqxer
