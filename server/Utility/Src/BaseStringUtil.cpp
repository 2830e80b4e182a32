#include "Utility/BaseStringUtil.h"

#include <simdjson.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstring>

#include "Utility/XeAssert.h"

namespace sqxer {

namespace {

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
  if (text.size() > kMostCharacters) text = text.substr(0, kMostCharacters) + L"...";
  std::ranges::replace_if(
      text, [](wchar_t c) { return c < L' '; }, L' ');
  return text;
}

wchar_t BaseStringUtil::FoldCase(wchar_t c) {
  if (c >= 0 && c < 0x80) return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c;
  return static_cast<wchar_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}

bool BaseStringUtil::IsCaseInsensitiveMatch(std::wstring_view a, std::wstring_view b) {
  return std::ranges::equal(a, b, {}, FoldCase, FoldCase);
}

}  // namespace sqxer
