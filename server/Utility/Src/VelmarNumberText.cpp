#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>

#include "Decimal.h"
#include "TextBlanks.h"
#include "Utility/NumberText.h"

namespace sqxer {

namespace {

/// A text longer than this takes the exponent form.
constexpr int kLongestPlainText = 64;
static_assert(kLongestPlainText <= kMostNumberText);

template <class Char>
bool IsDigit(Char c) {
  return c >= Char{'0'} && c <= Char{'9'};
}

/// Reads `[sign] digits [. digits] [e [sign] digits]`, all of it, into at most 38 digits and, from
/// the 39th, one more in the last place. At least one digit must stand before the exponent.
template <class Char>
class DecimalReader {
 public:
  explicit DecimalReader(std::basic_string_view<Char> text) : rest_(text) {}

  bool Read(Decimal& out) {
    out.negative = ReadSign();
    ReadDigits(false);
    if (Accept('.')) ReadDigits(true);
    if (!anyDigit_) return false;
    if ((Accept('e') || Accept('E')) && !ReadExponent()) return false;
    if (!rest_.empty()) return false;
    out.coefficient = coefficient_ + (roundUp_ ? 1 : 0);
    out.exponent = static_cast<int>(std::clamp(exponent_, -kFarAway, kFarAway));
    return true;
  }

 private:
  /// Beyond any magnitude, also with the 38 digits of a coefficient on the other side.
  static constexpr int64 kFarAway = 1'000'000;

  bool Accept(char c) {
    if (rest_.empty() || rest_.front() != static_cast<Char>(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  /// Whether the number is negative.
  bool ReadSign() { return !Accept('+') && Accept('-'); }

  void ReadDigits(bool behindPoint) {
    for (; !rest_.empty() && IsDigit(rest_.front()); rest_.remove_prefix(1)) {
      const auto digit = static_cast<uint32>(rest_.front() - Char{'0'});
      anyDigit_ = true;
      if (digits_ < kDecimalDigits) {
        coefficient_ = coefficient_ * 10 + digit;
        if (coefficient_ != 0) ++digits_;
        if (behindPoint) --exponent_;
        continue;
      }
      if (digits_ == kDecimalDigits) {
        roundUp_ = digit >= 5;
        ++digits_;
      }
      if (!behindPoint) ++exponent_;
    }
  }

  bool ReadExponent() {
    const bool negative = ReadSign();
    if (rest_.empty() || !IsDigit(rest_.front())) return false;
    int64 power = 0;
    for (; !rest_.empty() && IsDigit(rest_.front()); rest_.remove_prefix(1)) {
      power = std::min(power * 10 + (rest_.front() - Char{'0'}), int64{1} << 40);
    }
    exponent_ += negative ? -power : power;
    return true;
  }

  std::basic_string_view<Char> rest_;
  uint128 coefficient_ = 0;
  int digits_ = 0;
  int64 exponent_ = 0;
  bool anyDigit_ = false;
  bool roundUp_ = false;
};

/// The digits of a coefficient, none for zero.
class DigitText {
 public:
  explicit DigitText(uint128 value) {
    while (value > std::numeric_limits<uint64>::max()) {
      constexpr uint64 kChunk = 1'000'000'000'000'000'000;
      auto low = static_cast<uint64>(value % kChunk);
      value /= kChunk;
      for (int i = 0; i < 18; ++i, low /= 10) Prepend(low % 10);
    }
    for (auto low = static_cast<uint64>(value); low != 0; low /= 10) Prepend(low % 10);
  }

  std::string_view Get() const { return {first_, buffer_.data() + buffer_.size()}; }

 private:
  void Prepend(uint64 digit) { *--first_ = static_cast<char>('0' + digit); }

  std::array<char, kDecimalDigits + 1> buffer_;
  char* first_ = buffer_.data() + buffer_.size();
};

/// Where the next characters of a text go.
class TextEnd {
 public:
  explicit TextEnd(wchar_t* at) : at_(at) {}

  void Put(char c) { *at_++ = static_cast<wchar_t>(c); }
  void Put(std::string_view characters) { at_ = std::ranges::copy(characters, at_).out; }
  void PutZeros(int count) { at_ = std::fill_n(at_, count, L'0'); }
  const wchar_t* Get() const { return at_; }

 private:
  wchar_t* at_;
};

/// Characters of the plain notation, without a sign.
int CountPlain(int digits, int exponent) {
  const int whole = digits + exponent;
  if (exponent >= 0) return whole;
  return whole > 0 ? digits + 1 : digits + 2 - whole;
}

void PutPlain(TextEnd& text, std::string_view digits, int exponent) {
  const int whole = static_cast<int>(digits.size()) + exponent;
  if (exponent >= 0) {
    text.Put(digits);
    text.PutZeros(exponent);
  } else if (whole > 0) {
    text.Put(digits.substr(0, static_cast<std::size_t>(whole)));
    text.Put('.');
    text.Put(digits.substr(static_cast<std::size_t>(whole)));
  } else {
    text.Put("0.");
    text.PutZeros(-whole);
    text.Put(digits);
  }
}

void PutExponent(TextEnd& text, std::string_view digits, int exponent) {
  text.Put(digits.front());
  if (digits.size() > 1) {
    text.Put('.');
    text.Put(digits.substr(1));
  }
  const int magnitude = static_cast<int>(digits.size()) - 1 + exponent;
  text.Put(magnitude < 0 ? "E-" : "E+");
  std::array<char, 8> power;
  text.Put({power.data(), std::to_chars(power.begin(), power.end(), std::abs(magnitude)).ptr});
}

constexpr std::array<float64, 23> kExactDoublePowers = {
    1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
    1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

}  // namespace

VelmarNumber::VelmarNumber(float64 value) {
  constexpr const wchar_t* kOperation = L"ConvertFloat64toNumber";
  std::array<char, 32> text;
  // Without the notation named, large values come with all the digits of their plain form.
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::scientific)
          .ptr;
  Decimal read;
  // "nan" and "inf" do not read.
  if (!DecimalReader<char>({text.data(), end}).Read(read)) RaiseNumberOverflow(kOperation);
  *this = VelmarNumberAccess::Pack(read, kOperation);
}

float64 VelmarNumber::asDouble() const {
  const Decimal value = VelmarNumberAccess::Unpack(*this);
  constexpr uint128 kExactIntegers = uint128{1} << std::numeric_limits<float64>::digits;
  constexpr int kMostExactPower = static_cast<int>(kExactDoublePowers.size()) - 1;
  // One operation on two exact doubles rounds once, to the nearest.
  if (value.coefficient <= kExactIntegers && std::abs(value.exponent) <= kMostExactPower) {
    const auto whole = static_cast<float64>(static_cast<int64>(value.coefficient));
    const float64 power = kExactDoublePowers[static_cast<std::size_t>(std::abs(value.exponent))];
    const float64 magnitude = value.exponent < 0 ? whole / power : whole * power;
    return value.negative ? -magnitude : magnitude;
  }
  std::array<char, 64> text;
  char* end = text.data();
  if (value.negative) *end++ = '-';
  end = std::ranges::copy(DigitText(value.coefficient).Get(), end).out;
  *end++ = 'e';
  end = std::to_chars(end, text.data() + text.size(), value.exponent).ptr;
  // Bytes that hold no number of ours (a column read as the wrong type) give 0 where the range of
  // doubles ends.
  float64 nearest = 0;
  std::from_chars(text.data(), end, nearest);
  return nearest;
}

uint32 WriteText(const VelmarNumber& number, wchar_t* out) {
  Decimal value = VelmarNumberAccess::Unpack(number);
  TextEnd text(out);
  if (value.coefficient == 0) {
    text.Put('0');
    return 1;
  }
  StripZeros(value);
  const DigitText digits(value.coefficient);
  if (value.negative) text.Put('-');
  const int plain = CountPlain(static_cast<int>(digits.Get().size()), value.exponent);
  if (plain + (value.negative ? 1 : 0) <= kLongestPlainText) {
    PutPlain(text, digits.Get(), value.exponent);
  } else {
    PutExponent(text, digits.Get(), value.exponent);
  }
  return static_cast<uint32>(text.Get() - out);
}

XeString VelmarNumber::asString() const {
  std::array<wchar_t, kMostNumberText> text;
  return XeString(text.data(), WriteText(*this, text.data()));
}

VelmarNumber VelmarNumber::stringAsNumber(const wchar_t* text, uint32 length, bool* success) {
  std::wstring_view characters(text, length);
  characters = TrimBlanks(characters.substr(0, characters.find(L'\0')));
  Decimal read;
  VelmarNumber number;
  const bool done =
      DecimalReader<wchar_t>(characters).Read(read) && VelmarNumberAccess::TryPack(read, number);
  if (success) *success = done;
  return number;
}

}  // namespace sqxer
