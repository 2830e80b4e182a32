#include "Utility/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include "TextBlanks.h"

namespace sqxer {

namespace {

template <class Real>
std::size_t WriteReal(Real value, std::array<char, 32>& out) {
  if (std::isfinite(value)) {
    const char* const end = std::to_chars(out.data(), out.data() + out.size(), value).ptr;
    return static_cast<std::size_t>(end - out.data());
  }
  const std::string_view name = std::isnan(value) ? "NaN" : value > 0 ? "Infinity" : "-Infinity";
  std::ranges::copy(name, out.data());
  return name.size();
}

uint32 Widen(std::string_view ascii, wchar_t* out) {
  std::ranges::copy(ascii, out);
  return static_cast<uint32>(ascii.size());
}

/// A text in ASCII, with a question mark, which no number has, for every other character.
class AsciiText {
 public:
  explicit AsciiText(std::wstring_view text) : size_(text.size()) {
    // Only a text that hardly is a number takes memory.
    if (size_ > room_.size()) long_.resize(size_);
    start_ = long_.empty() ? room_.data() : long_.data();
    std::ranges::transform(text, start_, [](wchar_t c) {
      return static_cast<uint32>(c) < 128 ? static_cast<char>(c) : '?';
    });
  }
  AsciiText(const AsciiText&) = delete;
  AsciiText& operator=(const AsciiText&) = delete;

  std::string_view Get() const { return {start_, size_}; }

 private:
  std::array<char, 400> room_;
  std::string long_;
  char* start_;
  std::size_t size_;
};

/// from_chars over the whole text, which may also begin with a plus sign.
template <class Number>
NumberReading ReadWhole(std::string_view digits, Number& out) {
  if (digits.starts_with('+') && !digits.starts_with("+-")) digits.remove_prefix(1);
  const char* const last = digits.data() + digits.size();
  Number read{};
  const auto [end, error] = std::from_chars(digits.data(), last, read);
  if (error == std::errc::invalid_argument || end != last) return NumberReading::kUnreadable;
  if (error != std::errc()) return NumberReading::kOutOfRange;
  out = read;
  return NumberReading::kRead;
}

}  // namespace

RealText::RealText(float32 value) : size_(WriteReal(value, characters_)) {}

RealText::RealText(float64 value) : size_(WriteReal(value, characters_)) {}

uint32 WriteText(int64 value, wchar_t* out) {
  std::array<char, 20> digits;
  const char* const end = std::to_chars(digits.begin(), digits.end(), value).ptr;
  return Widen({digits.data(), end}, out);
}

uint32 WriteText(float32 value, wchar_t* out) { return Widen(RealText(value).Get(), out); }

uint32 WriteText(float64 value, wchar_t* out) { return Widen(RealText(value).Get(), out); }

NumberReading ReadNumber(std::string_view text, int64& out) { return ReadWhole(text, out); }

NumberReading ReadNumber(std::string_view text, float32& out) {
  const NumberReading reading = ReadWhole(text, out);
  if (reading != NumberReading::kOutOfRange) return reading;
  float64 wide;
  if (ReadWhole(text, wide) != NumberReading::kRead || std::fabs(wide) > 1) return reading;
  out = static_cast<float32>(wide);
  return NumberReading::kRead;
}

NumberReading ReadNumber(std::string_view text, float64& out) { return ReadWhole(text, out); }

NumberReading ReadNumber(std::wstring_view text, int64& out) {
  return ReadNumber(AsciiText(TrimBlanks(text)).Get(), out);
}

NumberReading ReadNumber(std::wstring_view text, float32& out) {
  return ReadNumber(AsciiText(TrimBlanks(text)).Get(), out);
}

NumberReading ReadNumber(std::wstring_view text, float64& out) {
  return ReadNumber(AsciiText(TrimBlanks(text)).Get(), out);
}

NumberReading ReadNumber(std::wstring_view text, VelmarNumber& out) {
  bool success = false;
  const VelmarNumber read =
      VelmarNumber::stringAsNumber(text.data(), static_cast<uint32>(text.size()), &success);
  // A decimal ends at the first zero character, if it has one.
  if (success && text.find(L'\0') == std::wstring_view::npos) {
    out = read;
    return NumberReading::kRead;
  }
  // A number for which decimals have no room is one for doubles, or is beyond those too.
  float64 wide = 0;
  const NumberReading reading = ReadNumber(text, wide);
  return reading == NumberReading::kUnreadable || !std::isfinite(wide) ? NumberReading::kUnreadable
                                                                       : NumberReading::kOutOfRange;
}

}  // namespace sqxer
