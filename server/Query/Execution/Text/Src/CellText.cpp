#include "CellText.h"

#include <locale.h>

#include <algorithm>
#include <cwchar>

#include "Utility/BaseStringUtil.h"

namespace sqxer {
namespace {

bool IsPlain(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c >= ' ' && c < '\x7f'; });
}

bool IsControl(wchar_t c) { return c < L' ' || (c >= 0x7f && c < 0xa0); }

/// Makes the widths of characters those of Unicode, whatever the locale of the process.
class UnicodeWidths {
 public:
  UnicodeWidths() {
    // Without such a locale the thread keeps its own.
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    outer_ = uselocale(unicode);
  }
  ~UnicodeWidths() { uselocale(outer_); }
  UnicodeWidths(const UnicodeWidths&) = delete;
  UnicodeWidths& operator=(const UnicodeWidths&) = delete;

 private:
  locale_t outer_;
};

std::size_t WidthOf(wchar_t c) {
  const int columns = wcwidth(c);
  return columns < 0 ? 1 : static_cast<std::size_t>(columns);
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Adds one to the last digit of a plain number.
void CountUp(std::string& number) {
  std::size_t at = number.size();
  while (at > 0) {
    char& c = number[--at];
    if (!IsDigit(c)) {
      if (c == '.') continue;
      ++at;
      break;
    }
    if (c != '9') {
      ++c;
      return;
    }
    c = '0';
  }
  number.insert(at, 1, '1');
}

}  // namespace

std::string Escape(const std::string& text) {
  if (IsPlain(text)) return text;
  XeString escaped;
  for (const wchar_t c : BaseStringUtil::Utf8ToString(text)) {
    if (c == L'\n') {
      escaped += L"\\n";
    } else if (c == L'\r') {
      escaped += L"\\r";
    } else if (c == L'\t') {
      escaped += L"\\t";
    } else if (IsControl(c)) {
      escaped += L"\\x";
      escaped += L"0123456789abcdef"[c >> 4];
      escaped += L"0123456789abcdef"[c & 15];
    } else {
      escaped += c;
    }
  }
  return BaseStringUtil::StringToUtf8(escaped);
}

std::size_t DisplayWidth(std::string_view text) {
  if (IsPlain(text)) return text.size();
  const UnicodeWidths widths;
  std::size_t width = 0;
  for (const wchar_t c : BaseStringUtil::Utf8ToString(text)) width += WidthOf(c);
  return width;
}

std::string Shorten(const std::string& text, std::size_t width) {
  if (text.size() <= width || DisplayWidth(text) <= width) return text;
  const UnicodeWidths widths;
  XeString start;
  std::size_t taken = 1;
  for (const wchar_t c : BaseStringUtil::Utf8ToString(text)) {
    taken += WidthOf(c);
    if (taken > width) break;
    start += c;
  }
  return BaseStringUtil::StringToUtf8(start).append(kEllipsis);
}

void RoundEndless(std::string& number) {
  constexpr std::size_t kMostDigits = 30;
  constexpr std::size_t kShownDigits = 16;
  const std::size_t point = number.find('.');
  const std::size_t first = number.find_first_of("123456789");
  if (point == std::string::npos || first == std::string::npos) return;
  const bool isPlain =
      std::ranges::all_of(number, [](char c) { return IsDigit(c) || c == '.' || c == '-'; });
  const std::size_t digits = number.size() - first - (first < point ? 1 : 0);
  if (!isPlain || digits <= kMostDigits) return;
  // Where the last digit that is shown ends, the point among them.
  const std::size_t end = first + kShownDigits + (first < point ? 1 : 0);
  const std::size_t cut = std::max(end, point + 1);
  if (cut >= number.size()) return;
  const bool roundsUp = number[cut] >= '5';
  number.resize(cut);
  if (roundsUp) CountUp(number);
  while (number.back() == '0') number.pop_back();
  if (number.back() == '.') number.pop_back();
}

}  // namespace sqxer
