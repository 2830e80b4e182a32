#include "ValueReader.h"

#include <algorithm>
#include <array>
#include <utility>

#include "Utility/DateTimeMetaData.h"
#include "Utility/NumberText.h"
#include "Utility/SUDataConvert.h"

namespace sqxer {
namespace {

constexpr std::size_t kMaxInt4Digits = 9;
constexpr std::size_t kMaxNumericDigits = 38;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool IsWord(std::string_view text, std::string_view lower) {
  return std::ranges::equal(text, lower, [](char c, char l) {
    return (c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c) == l;
  });
}

/// A short ASCII text in the server's characters; nothing for any other.
class AsciiText {
 public:
  explicit AsciiText(std::string_view text) : size_(text.size()) {
    if (size_ > characters_.size()) {
      size_ = 0;
      return;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (static_cast<unsigned char>(text[i]) >= 128) {
        size_ = 0;
        return;
      }
      characters_[i] = static_cast<wchar_t>(text[i]);
    }
  }
  std::wstring_view Get() const { return {characters_.data(), size_}; }

 private:
  std::array<wchar_t, 256> characters_;
  std::size_t size_;
};

template <class Number>
bool ReadWhole(std::string_view text, Number& value) {
  return ReadNumber(text, value) == NumberReading::kRead;
}

template <class Value>
bool ReadDateTime(std::string_view text, Value& value) {
  const AsciiText ascii(TrimBlanks(text));
  return !ascii.Get().empty() &&
         SUDataConvert::GetDefaultDateTimeMetaData().TryConvert(ascii.Get(), value);
}

/// Counts the digits at the front and removes them.
std::size_t TakeDigits(std::string_view& text) {
  std::size_t count = 0;
  while (count < text.size() && IsDigit(text[count])) ++count;
  text.remove_prefix(count);
  return count;
}

unsigned ClassifyInteger(std::string_view text, bool negative, std::size_t digits) {
  // Only a double has a negative zero.
  if (negative && text == "-0") return kDoubleKind;
  if (digits > kMaxNumericDigits) return 0;
  const unsigned wide = kNumericKind | kDoubleKind;
  if (digits <= kMaxInt4Digits) return kInt4Kind | wide;
  int64 value;
  return ReadWhole(text, value) && std::in_range<int32>(value) ? kInt4Kind | wide : wide;
}

unsigned ClassifyNumber(std::string_view text) {
  const bool negative = text.front() == '-';
  std::string_view rest = text.substr(negative ? 1 : 0);
  if (rest == "Infinity" || text == "NaN") return kDoubleKind;
  const bool leadingZero = rest.size() > 1 && rest[0] == '0' && IsDigit(rest[1]);
  const std::size_t whole = TakeDigits(rest);
  if (leadingZero) return 0;
  if (rest.empty()) return whole == 0 ? 0 : ClassifyInteger(text, negative, whole);
  std::size_t fraction = 0;
  if (rest.front() == '.') {
    rest.remove_prefix(1);
    fraction = TakeDigits(rest);
  }
  if (whole + fraction == 0) return 0;
  if (!rest.empty() && rest.front() != 'e' && rest.front() != 'E') return 0;
  float64 value;
  return ReadWhole(text, value) ? kDoubleKind : 0;
}

/// Whether the text starts with digits (written 9) and separators exactly as the pattern has them.
bool HasShape(std::string_view text, std::string_view pattern) {
  return text.size() >= pattern.size() &&
         std::equal(pattern.begin(), pattern.end(), text.begin(),
                    [](char p, char c) { return p == '9' ? IsDigit(c) : p == c; });
}

unsigned ClassifyDateTime(std::string_view text) {
  constexpr std::string_view kDate = "9999-99-99";
  constexpr std::string_view kTime = "99:99";
  XeDateTime value;
  if (HasShape(text, kTime)) {
    XeTime time;
    return ReadDateTime(text, time) ? kTimeKind : 0;
  }
  std::string_view rest = text.substr(text.front() == '-' ? 1 : 0);
  if (!HasShape(rest, kDate)) return 0;
  rest.remove_prefix(kDate.size());
  if (rest.empty()) {
    return ReadDateTime(text, value) ? kDateKind | kTimeStampKind : 0;
  }
  const bool hasTime =
      (rest.front() == ' ' || rest.front() == 'T') && HasShape(rest.substr(1), kTime);
  return hasTime && ReadDateTime(text, value) ? kTimeStampKind : 0;
}

}  // namespace

std::string_view TrimBlanks(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

unsigned ClassifyText(std::string_view text) {
  text = TrimBlanks(text);
  if (text.empty()) return 0;
  if (IsWord(text, "true") || IsWord(text, "false")) return kBooleanKind;
  // As PostgreSQL's COPY writes them. Capitals are more often the marks of something else.
  if (text == "t" || text == "f") return kBooleanKind;
  const unsigned number = ClassifyNumber(text);
  return number != 0 ? number : ClassifyDateTime(text);
}

bool ReadValue(std::string_view text, bool& value) {
  text = TrimBlanks(text);
  value = IsWord(text, "true") || IsWord(text, "t") || text == "1";
  return value || IsWord(text, "false") || IsWord(text, "f") || text == "0";
}

bool ReadValue(std::string_view text, int64& value) { return ReadWhole(TrimBlanks(text), value); }
bool ReadValue(std::string_view text, float32& value) { return ReadWhole(TrimBlanks(text), value); }
bool ReadValue(std::string_view text, float64& value) { return ReadWhole(TrimBlanks(text), value); }

bool ReadValue(std::string_view text, VelmarNumber& value) {
  int64 integer;
  if (ReadValue(text, integer)) {
    value = VelmarNumber(integer);
    return true;
  }
  const AsciiText ascii(TrimBlanks(text));
  bool success = false;
  value = VelmarNumber::stringAsNumber(ascii.Get().data(), static_cast<uint32>(ascii.Get().size()),
                                       &success);
  return success && !ascii.Get().empty();
}

bool ReadValue(std::string_view text, XeDate& value) { return ReadDateTime(text, value); }
bool ReadValue(std::string_view text, XeTime& value) { return ReadDateTime(text, value); }
bool ReadValue(std::string_view text, XeDateTime& value) { return ReadDateTime(text, value); }

}  // namespace sqxer
