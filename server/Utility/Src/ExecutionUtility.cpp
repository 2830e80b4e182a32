#include "Utility/ExecutionUtility.h"

#include <algorithm>
#include <cwchar>

#include "CharacterOrder.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/KeyHashes.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "Utility/Settings.h"
#include "Utility/XeAssert.h"

namespace sqxer {

namespace {

int Sign(int difference) { return (difference > 0) - (difference < 0); }

int CompareLengths(const RefLongVarChar& a, const RefLongVarChar& b) {
  return (a.length_ > b.length_) - (a.length_ < b.length_);
}

struct Unchanged {
  static wchar_t Apply(wchar_t c) { return c; }
};
struct Folded {
  static wchar_t Apply(wchar_t c) { return BaseStringUtil::FoldCase(c); }
};

/// The first 8 bytes of the text in UTF-8, whose byte order is that of the code points: eight
/// characters of plain English decide where three whole code points would.
template <class Map>
uint64 Utf8Prefix(const RefLongVarChar& trimmed) {
  uint64 prefix = 0;
  int room = 64;
  const auto append = [&](uint32 byte) {
    if (room == 0) return;
    room -= 8;
    prefix |= uint64{byte} << room;
  };
  for (uint32 i = 0; i < trimmed.length_ && room > 0; ++i) {
    const wchar_t mapped = Map::Apply(trimmed.buffer_[i]);
    const auto c = static_cast<uint32>(mapped);
    if (c < 0x80) {
      append(c);
    } else if (c < 0x800) {
      append(0xC0 | (c >> 6));
      append(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      append(0xE0 | (c >> 12));
      append(0x80 | ((c >> 6) & 0x3F));
      append(0x80 | (c & 0x3F));
    } else if (c < 0x200000) {
      append(0xF0 | (c >> 18));
      append(0x80 | ((c >> 12) & 0x3F));
      append(0x80 | ((c >> 6) & 0x3F));
      append(0x80 | (c & 0x3F));
    } else {
      // No characters, but texts may hold any value: the prefix must not put those that Compare
      // parts by a later character in another order, so it ends here.
      if (mapped > 0) prefix |= room == 64 ? ~uint64{0} : (uint64{1} << room) - 1;
      break;
    }
  }
  return prefix;
}

template <class Map>
uint64 HashMapped(const RefLongVarChar& trimmed) {
  const uint32 lengths[] = {trimmed.length_};
  uint64 hashes[1];
  HashCharacters(
      lengths,
      [&](std::size_t, uint32 i) { return static_cast<uint32>(Map::Apply(trimmed.buffer_[i])); },
      hashes);
  return hashes[0];
}

template <class Order>
int CompareTexts(const UCollator*, const RefLongVarChar& a, const RefLongVarChar& b) {
  return Order::Compare(a, b);
}

template <>
int CompareTexts<LocaleOrder>(const UCollator* collator, const RefLongVarChar& a,
                              const RefLongVarChar& b) {
  return LocaleOrder{collator}.Compare(a, b);
}

/// Calls `use` with the order of a comparison type in the current settings.
template <class Use>
auto WithOrder(CharComparisonType_t type, Use use) {
  switch (type) {
    case kCompareCodePoints:
      return use(CodePointOrder());
    case kCompareIgnoringCase:
      return use(FoldedOrder());
    case kCompareLocale:
      return use(LocaleOrder{Settings::Current()->GetCollator()});
  }
  XeLogicError("no such character comparison");
}

RefLongVarChar Counted(const wchar_t* text) {
  return {static_cast<uint32>(std::wcslen(text)), const_cast<wchar_t*>(text)};
}

}  // namespace

int CodePointOrder::Compare(const RefLongVarChar& a, const RefLongVarChar& b) {
  const RefLongVarChar left = TrimTrailingBlanks(a);
  const RefLongVarChar right = TrimTrailingBlanks(b);
  const uint32 common = std::min(left.length_, right.length_);
  if (common == 0) return CompareLengths(left, right);
  // Most pairs differ in the first character, which spares the call.
  if (left.buffer_[0] != right.buffer_[0]) return left.buffer_[0] < right.buffer_[0] ? -1 : 1;
  const int difference = std::wmemcmp(left.buffer_, right.buffer_, common);
  return difference != 0 ? Sign(difference) : CompareLengths(left, right);
}

uint64 CodePointOrder::Prefix(const RefLongVarChar& text) {
  return Utf8Prefix<Unchanged>(TrimTrailingBlanks(text));
}

uint64 CodePointOrder::Hash(const RefLongVarChar& text) {
  return HashMapped<Unchanged>(TrimTrailingBlanks(text));
}

int FoldedOrder::Compare(const RefLongVarChar& a, const RefLongVarChar& b) {
  const RefLongVarChar left = TrimTrailingBlanks(a);
  const RefLongVarChar right = TrimTrailingBlanks(b);
  const uint32 common = std::min(left.length_, right.length_);
  for (uint32 i = 0; i < common; ++i) {
    if (left.buffer_[i] == right.buffer_[i]) continue;
    const wchar_t c = Folded::Apply(left.buffer_[i]);
    const wchar_t d = Folded::Apply(right.buffer_[i]);
    if (c != d) return c < d ? -1 : 1;
  }
  return CompareLengths(left, right);
}

uint64 FoldedOrder::Prefix(const RefLongVarChar& text) {
  return Utf8Prefix<Folded>(TrimTrailingBlanks(text));
}

uint64 FoldedOrder::Hash(const RefLongVarChar& text) {
  return HashMapped<Folded>(TrimTrailingBlanks(text));
}

CharCompareFunc_t ExecutionUtility::GetCharacterComparisonFunction() {
  return GetCharacterComparisonFunction(Settings::Current()->GetCharComparisonType());
}

CharCompareFunc_t ExecutionUtility::GetCharacterComparisonFunction(CharComparisonType_t type) {
  const UCollator* const collator =
      type == kCompareLocale ? Settings::Current()->GetCollator() : nullptr;
  return WithOrder(type, [type, collator](auto order) {
    return CharCompareFunc_t(&CompareTexts<decltype(order)>, type, collator);
  });
}

uint64 ExecutionUtility::HashCharacters(CharComparisonType_t type, const RefLongVarChar& text) {
  return WithOrder(type, [&](auto order) { return order.Hash(text); });
}

uint64 ExecutionUtility::CharacterSortPrefix(CharComparisonType_t type,
                                             const RefLongVarChar& text) {
  return WithOrder(type, [&](auto order) { return order.Prefix(text); });
}

bool ExecutionUtility::IsBitCharacterString(XeDataType type) {
  return type == XeBitData || SUXeDataTypeUtility::IsXeBinaryType(type);
}

Less_Char::Less_Char() : compareFunc_(ExecutionUtility::GetCharacterComparisonFunction()) {}

bool Less_Char::operator()(const wchar_t* a, const wchar_t* b) const {
  return compareFunc_(nullptr, Counted(a), Counted(b)) < 0;
}

Less_RefLongVarChar::Less_RefLongVarChar()
    : compareFunc_(ExecutionUtility::GetCharacterComparisonFunction()) {}

}  // namespace sqxer
