#include "Utility/BaseStringUtil.h"

#include <simdjson.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstring>
#include <cwchar>

#include "CharacterSearch.h"
#include "Utility/NumberText.h"
#include "Utility/XeAssert.h"

namespace sqxer {

namespace {

/// The library chooses its code for the processor at its first call, takes memory for that, and
/// ends the process without it: here, before anything else is in memory.
[[maybe_unused]] const bool isProcessorKnown = simdjson::validate_utf8("a", 1);

constexpr wchar_t kReplacement = 0xFFFD;

bool IsCodePoint(wchar_t c) { return c >= 0 && c <= 0x10FFFF && !(c >= 0xD800 && c <= 0xDFFF); }

/// Length of the run of ASCII at the start, in whole steps of eight bytes.
std::size_t AsciiRun(const char* from, const char* end) {
  const char* p = from;
  while (end - p >= 8) {
    uint64 eight;
    std::memcpy(&eight, p, 8);
    if (eight & 0x8080808080808080) break;
    p += 8;
  }
  return static_cast<std::size_t>(p - from);
}

wchar_t* WidenBytes(const char* from, std::size_t count, wchar_t* out) {
  for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<unsigned char>(from[i]);
  return out + count;
}

/// Decodes one character; what is not one becomes kReplacement and at least one byte is consumed.
wchar_t NextCharacter(const char*& p, const char* end) {
  int32_t index = 0;
  UChar32 c;
  U8_NEXT_OR_FFFD(reinterpret_cast<const uint8_t*>(p), index,
                  static_cast<int32_t>(std::min<std::ptrdiff_t>(end - p, 4)), c);
  p += index;
  return static_cast<wchar_t>(c);
}

/// Writes the characters of any bytes at `out`, which has room for one a byte; returns the end.
wchar_t* Decode(std::string_view utf8, wchar_t* out) {
  const char* p = utf8.data();
  const char* const end = p + utf8.size();
  while (p != end) {
    if (const std::size_t run = AsciiRun(p, end)) {
      out = WidenBytes(p, run, out);
      p += run;
    } else {
      *out++ = NextCharacter(p, end);
    }
  }
  return out;
}

bool IsAscii(wchar_t c) { return static_cast<uint32>(c) < 0x80; }

wchar_t AsciiUpperCase(wchar_t c) {
  return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - 32) : c;
}

wchar_t AsciiLowerCase(wchar_t c) {
  return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c;
}

template <wchar_t (*mapAscii)(wchar_t), UChar32 (*map)(UChar32)>
wchar_t MapCase(wchar_t c) {
  return IsAscii(c) ? mapAscii(c) : static_cast<wchar_t>(map(static_cast<UChar32>(c)));
}

/// Blocks that are all ASCII are mapped without a branch, which the compiler does many characters
/// at a time.
template <wchar_t (*mapAscii)(wchar_t), UChar32 (*map)(UChar32)>
void MapText(const RefLongVarChar& text, wchar_t* out) {
  constexpr uint32 kBlock = 8;
  const wchar_t* from = text.buffer_;
  const wchar_t* const end = from + text.length_;
  for (; end - from >= kBlock; from += kBlock, out += kBlock) {
    uint32 bits = 0;
    for (uint32 i = 0; i < kBlock; ++i) bits |= static_cast<uint32>(from[i]);
    if (bits < 0x80) {
      std::transform(from, from + kBlock, out, mapAscii);
    } else {
      std::transform(from, from + kBlock, out, MapCase<mapAscii, map>);
    }
  }
  std::transform(from, end, out, MapCase<mapAscii, map>);
}

/// Whether `count` characters are equal when case does not count.
bool AreEqualInUpperCase(const wchar_t* a, const wchar_t* b, std::size_t count) {
  return std::equal(a, a + count, b, [](wchar_t c, wchar_t d) {
    return c == d || BaseStringUtil::UpperCase(c) == BaseStringUtil::UpperCase(d);
  });
}

bool IsMatchAt(const RefLongVarChar& text, const RefLongVarChar& pattern, uint32 index,
               bool caseSensitive) {
  const wchar_t* const at = text.buffer_ + index;
  return caseSensitive ? std::wmemcmp(at, pattern.buffer_, pattern.length_) == 0
                       : AreEqualInUpperCase(at, pattern.buffer_, pattern.length_);
}

}  // namespace

XeString BaseStringUtil::Utf8ToString(std::string_view utf8) {
  XeString text(utf8.size(), L'\0');
  text.resize(static_cast<std::size_t>(Decode(utf8, text.data()) - text.data()));
  return text;
}

std::string BaseStringUtil::StringToUtf8(std::wstring_view text) {
  std::string out;
  out.reserve(text.size());
  AppendUtf8(out, text);
  return out;
}

void BaseStringUtil::AppendUtf8(std::string& out, std::wstring_view text) {
  // Most texts are ASCII, which shows when they are copied.
  const std::size_t start = out.size();
  out.resize(start + text.size());
  uint32 seen = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    seen |= static_cast<uint32>(text[i]);
    out[start + i] = static_cast<char>(text[i]);
  }
  if (seen < 0x80) return;
  out.resize(start);
  for (wchar_t c : text) {
    if (!IsCodePoint(c)) c = kReplacement;
    const auto u = static_cast<uint32>(c);
    if (u < 0x80) {
      out += static_cast<char>(u);
    } else if (u < 0x800) {
      out += static_cast<char>(0xC0 | (u >> 6));
      out += static_cast<char>(0x80 | (u & 0x3F));
    } else if (u < 0x10000) {
      out += static_cast<char>(0xE0 | (u >> 12));
      out += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (u & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (u >> 18));
      out += static_cast<char>(0x80 | ((u >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((u >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (u & 0x3F));
    }
  }
}

bool BaseStringUtil::IsValidUtf8(std::string_view utf8) {
  // The validator may not be handed a null pointer, which an empty view can hold.
  return utf8.empty() || simdjson::validate_utf8(utf8.data(), utf8.size());
}

uint32 BaseStringUtil::CountCharacters(std::string_view utf8) {
  return static_cast<uint32>(
      std::ranges::count_if(utf8, [](char c) { return (c & 0xC0) != 0x80; }));
}

void BaseStringUtil::DecodeUtf8(std::string_view utf8, wchar_t* out) { Decode(utf8, out); }

uint32 BaseStringUtil::StdStringToString(std::string_view text, uint32 codePage,
                                         std::vector<uint8>& characters) {
  constexpr uint32 kUtf8 = 65001;
  XE_ASSERT(codePage == kUtf8);
  const uint32 count = CountCharacters(text);
  characters.resize(count * sizeof(wchar_t));
  Decode(text, reinterpret_cast<wchar_t*>(characters.data()));
  return count;
}

XeString BaseStringUtil::QuotedValue(std::string_view utf8) {
  constexpr std::size_t kMostCharacters = 60;
  XeString text = Utf8ToString(utf8.substr(0, 6 * kMostCharacters));
  if (text.size() > kMostCharacters) {
    text.resize(kMostCharacters);
    text += L"...";
  }
  std::ranges::replace_if(
      text, [](wchar_t c) { return c < L' '; }, L' ');
  return text;
}

wchar_t BaseStringUtil::FoldCase(wchar_t c) {
  if (IsAscii(c)) return AsciiLowerCase(c);
  return static_cast<wchar_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}

bool BaseStringUtil::IsAlphanumeric(wchar_t c) { return u_isalnum(static_cast<UChar32>(c)); }

wchar_t BaseStringUtil::UpperCase(wchar_t c) { return MapCase<AsciiUpperCase, u_toupper>(c); }

wchar_t BaseStringUtil::LowerCase(wchar_t c) { return MapCase<AsciiLowerCase, u_tolower>(c); }

void BaseStringUtil::UpperCase(const RefLongVarChar& text, wchar_t* out) {
  MapText<AsciiUpperCase, u_toupper>(text, out);
}

void BaseStringUtil::LowerCase(const RefLongVarChar& text, wchar_t* out) {
  MapText<AsciiLowerCase, u_tolower>(text, out);
}

uint32 BaseStringUtil::PatternMatch(const RefLongVarChar& text, const RefLongVarChar& pattern,
                                    uint32 from, bool caseSensitive) {
  if (pattern.length_ == 0 || pattern.length_ > text.length_) return text.length_;
  const uint32 last = text.length_ - pattern.length_;
  if (from > last) return text.length_;
  if (caseSensitive) {
    const wchar_t* const found = FindCharacters(text.buffer_ + from, text.buffer_ + text.length_,
                                                pattern.buffer_, pattern.length_);
    return found == nullptr ? text.length_ : static_cast<uint32>(found - text.buffer_);
  }
  for (uint32 i = from; i <= last; ++i) {
    if (AreEqualInUpperCase(text.buffer_ + i, pattern.buffer_, pattern.length_)) return i;
  }
  return text.length_;
}

uint32 BaseStringUtil::ReversePatternMatch(const RefLongVarChar& text,
                                           const RefLongVarChar& pattern, uint32 position,
                                           bool caseSensitive) {
  if (pattern.length_ == 0 || pattern.length_ > text.length_) return text.length_;
  // Counts the starts that are left, of which the last is one less.
  for (uint32 i = std::min(position, text.length_ - pattern.length_ + 1); i > 0; --i) {
    if (IsMatchAt(text, pattern, i - 1, caseSensitive)) return i - 1;
  }
  return text.length_;
}

XeString BaseStringUtil::NumberToString(float64 value) {
  const RealText text(value);
  return XeString(text.Get().begin(), text.Get().end());
}

bool BaseStringUtil::IsCaseInsensitiveMatch(std::wstring_view a, std::wstring_view b) {
  return std::ranges::equal(a, b, {}, FoldCase, FoldCase);
}

}  // namespace sqxer
