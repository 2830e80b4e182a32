#include <algorithm>
#include <charconv>
#include <string>
#include <vector>

#include "IntervalParts.h"

namespace sqxer {

namespace {

using Number = IntervalParts::Number;

/// The units of a text, and which parts of a value they set: none is set twice.
enum class Unit {
  kNone,
  kMicrosecond,
  kMillisecond,
  kSecond,
  kMinute,
  kHour,
  kDay,
  kWeek,
  kMonth,
  kYear,
  kDecade,
  kCentury,
  kMillennium,
};
constexpr uint32 MaskOf(Unit unit) { return 1u << static_cast<int>(unit); }
constexpr uint32 kSecondsMask =
    MaskOf(Unit::kMicrosecond) | MaskOf(Unit::kMillisecond) | MaskOf(Unit::kSecond);
constexpr uint32 kTimeMask = kSecondsMask | MaskOf(Unit::kMinute) | MaskOf(Unit::kHour);

struct UnitWord {
  std::string_view word;
  Unit unit;
};
/// Words are compared by their first ten letters.
constexpr std::size_t kWordLetters = 10;
constexpr UnitWord kUnitWords[] = {
    {"us", Unit::kMicrosecond},
    {"usec", Unit::kMicrosecond},
    {"usecs", Unit::kMicrosecond},
    {"useconds", Unit::kMicrosecond},
    {"microsecon", Unit::kMicrosecond},
    {"ms", Unit::kMillisecond},
    {"msec", Unit::kMillisecond},
    {"msecs", Unit::kMillisecond},
    {"mseconds", Unit::kMillisecond},
    {"millisecon", Unit::kMillisecond},
    {"s", Unit::kSecond},
    {"sec", Unit::kSecond},
    {"secs", Unit::kSecond},
    {"second", Unit::kSecond},
    {"seconds", Unit::kSecond},
    {"m", Unit::kMinute},
    {"min", Unit::kMinute},
    {"mins", Unit::kMinute},
    {"minute", Unit::kMinute},
    {"minutes", Unit::kMinute},
    {"h", Unit::kHour},
    {"hr", Unit::kHour},
    {"hrs", Unit::kHour},
    {"hour", Unit::kHour},
    {"hours", Unit::kHour},
    {"d", Unit::kDay},
    {"day", Unit::kDay},
    {"days", Unit::kDay},
    {"w", Unit::kWeek},
    {"week", Unit::kWeek},
    {"weeks", Unit::kWeek},
    {"mon", Unit::kMonth},
    {"mons", Unit::kMonth},
    {"month", Unit::kMonth},
    {"months", Unit::kMonth},
    {"y", Unit::kYear},
    {"yr", Unit::kYear},
    {"yrs", Unit::kYear},
    {"year", Unit::kYear},
    {"years", Unit::kYear},
    {"dec", Unit::kDecade},
    {"decs", Unit::kDecade},
    {"decade", Unit::kDecade},
    {"decades", Unit::kDecade},
    {"c", Unit::kCentury},
    {"cent", Unit::kCentury},
    {"century", Unit::kCentury},
    {"centuries", Unit::kCentury},
    {"mil", Unit::kMillennium},
    {"mils", Unit::kMillennium},
    {"millennium", Unit::kMillennium},
    {"millennia", Unit::kMillennium},
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsLetter(char c) { return c >= 'a' && c <= 'z'; }
bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// A piece of a text: a word, or what begins with a digit, a point or a sign.
struct Token {
  std::string text;
  bool isWord = false;
};

/// Cuts a text in small letters into tokens; false for characters that stand in none. Punctuation
/// between tokens only separates them.
bool Tokenize(std::string_view text, std::vector<Token>& out) {
  std::size_t at = 0;
  const auto takeWhile = [&](Token& token, auto&& isPart) {
    while (at < text.size() && isPart(text[at])) token.text += text[at++];
  };
  while (at < text.size()) {
    const char c = text[at];
    if (IsBlank(c)) {
      ++at;
      continue;
    }
    Token token;
    if (IsLetter(c)) {
      token.isWord = true;
      takeWhile(token, IsLetter);
    } else if (IsDigit(c) || c == '.') {
      takeWhile(token, IsDigit);
      if (at < text.size() && text[at] == ':') {
        takeWhile(token, [](char part) { return IsDigit(part) || part == ':' || part == '.'; });
      } else if (at < text.size() && (text[at] == '-' || text[at] == '.')) {
        token.text += text[at++];
        takeWhile(token, IsDigit);
      }
      if (token.text == ".") return false;
    } else if (c == '+' || c == '-') {
      token.text += c;
      ++at;
      while (at < text.size() && IsBlank(text[at])) ++at;
      if (at == text.size() || !(IsDigit(text[at]) || text[at] == '.')) return false;
      takeWhile(token, [](char part) {
        return IsDigit(part) || part == ':' || part == '.' || part == '-';
      });
    } else if (c > ' ' && c < '\x7F') {
      ++at;
      continue;
    } else {
      return false;
    }
    out.push_back(std::move(token));
  }
  return true;
}

/// The unit in which a number without one counts.
Unit UnitOf(const std::optional<IntervalFields>& fields) {
  if (!fields) return Unit::kSecond;
  switch (fields->last) {
    case IntervalFields::kYear:
      return Unit::kYear;
    case IntervalFields::kMonth:
      return Unit::kMonth;
    case IntervalFields::kDay:
      return Unit::kDay;
    case IntervalFields::kHour:
      return Unit::kHour;
    case IntervalFields::kMinute:
      return Unit::kMinute;
    case IntervalFields::kSecond:
      break;
  }
  return Unit::kSecond;
}

/// Takes the tokens of a text from the last one to the first: a unit stands behind its number.
class TokenReader {
 public:
  TokenReader(const std::optional<IntervalFields>& fields, IntervalParts& out)
      : fields_(fields), parts_(out) {}

  IntervalReading Read(const std::vector<Token>& tokens) {
    for (auto token = tokens.rbegin(); token != tokens.rend(); ++token) {
      const bool isRead = token->isWord                                ? TakeWord(token->text)
                          : token->text.find(':') != std::string::npos ? TakeTime(token->text)
                                                                       : TakeNumber(token->text);
      if (!isRead) return reading_;
    }
    if (taken_ == 0) return IntervalReading::kUnreadable;
    if (isAgo_ && !parts_.Negate()) return IntervalReading::kOutOfRange;
    return IntervalReading::kRead;
  }

 private:
  bool TakeWord(std::string_view word) {
    if (word == "ago") {
      isAgo_ = true;
      unit_ = Unit::kNone;
      return true;
    }
    const auto* const found =
        std::ranges::find(kUnitWords, word.substr(0, kWordLetters), &UnitWord::word);
    if (found == std::end(kUnitWords)) return false;
    unit_ = found->unit;
    return true;
  }

  /// `[-]h:m`, `h:m:s.f`, or `m:s.f`, which is also what `h:m` means with the fields MINUTE TO
  /// SECOND.
  bool TakeTime(std::string_view text) {
    const bool isNegative = text[0] == '-';
    if (isNegative || text[0] == '+') text.remove_prefix(1);
    int64 hour;
    int64 minute;
    int64 second = 0;
    if (!TakeDigits(text, hour) || !TakeChar(text, ':') || !TakeDigits(text, minute)) return false;
    const bool isSeconds = fields_ && fields_->first == IntervalFields::kMinute &&
                           fields_->last == IntervalFields::kSecond;
    if (TakeChar(text, ':')) {
      if (!TakeDigits(text, second)) return false;
    } else if (isSeconds || text.starts_with('.')) {
      second = minute;
      minute = hour;
      hour = 0;
    }
    float64 fraction = 0;
    if (text.starts_with('.') && !TakeFraction(text, fraction)) return false;
    if (!text.empty()) return false;
    IntervalParts time;
    XeInterval value;
    if (minute > 59 || second > 60 || !time.AddTime({hour, 0}, IntervalParts::kPerHour) ||
        !time.AddTime({minute, 0}, IntervalParts::kPerMinute) ||
        !time.AddTime({second, 0}, IntervalParts::kPerSecond) ||
        !time.AddTime({static_cast<int64>(std::rint(fraction * 1e6)), 0}, 1) || !time.Get(value)) {
      return OutOfRange();
    }
    parts_.SetMicroseconds(isNegative ? -value.microseconds : value.microseconds);
    unit_ = Unit::kDay;
    return Take(kTimeMask);
  }

  bool TakeNumber(std::string_view text) {
    if (unit_ == Unit::kNone) unit_ = UnitOf(fields_);
    const bool isNegative = text[0] == '-';
    if (isNegative || text[0] == '+') text.remove_prefix(1);
    Number number;
    if (!text.starts_with('.') && !TakeDigits(text, number.whole)) return false;
    if (TakeChar(text, '-')) {
      // Years and months.
      int64 months;
      if (!TakeDigits(text, months) || !text.empty()) return false;
      if (months >= 12 || number.whole > INT32_MAX) return OutOfRange();
      unit_ = Unit::kMonth;
      number.whole = number.whole * 12 + months;
    } else if (text.starts_with('.') && !TakeFraction(text, number.fraction)) {
      return false;
    }
    if (!text.empty()) return false;
    if (isNegative) {
      number.whole = -number.whole;
      number.fraction = -number.fraction;
    }
    return Add(number) ? Take(unit_ == Unit::kSecond && number.fraction != 0 ? kSecondsMask
                                                                             : MaskOf(unit_)) &&
                             GoOn()
                       : OutOfRange();
  }
  /// What stands before hours without a unit of its own are days.
  bool GoOn() {
    if (unit_ == Unit::kHour) unit_ = Unit::kDay;
    return true;
  }
  bool Add(const Number& number) {
    switch (unit_) {
      case Unit::kMicrosecond:
        return parts_.AddTime(number, 1);
      case Unit::kMillisecond:
        return parts_.AddTime(number, 1000);
      case Unit::kMinute:
        return parts_.AddTime(number, IntervalParts::kPerMinute);
      case Unit::kHour:
        return parts_.AddTime(number, IntervalParts::kPerHour);
      case Unit::kDay:
        return parts_.AddDays(number, 1);
      case Unit::kWeek:
        return parts_.AddDays(number, 7);
      case Unit::kMonth:
        return parts_.AddMonths(number);
      case Unit::kYear:
        return parts_.AddYears(number, 1);
      case Unit::kDecade:
        return parts_.AddYears(number, 10);
      case Unit::kCentury:
        return parts_.AddYears(number, 100);
      case Unit::kMillennium:
        return parts_.AddYears(number, 1000);
      case Unit::kNone:
      case Unit::kSecond:
        break;
    }
    return parts_.AddTime(number, IntervalParts::kPerSecond);
  }
  bool Take(uint32 mask) {
    if ((taken_ & mask) != 0) return false;
    taken_ |= mask;
    return true;
  }
  bool OutOfRange() {
    reading_ = IntervalReading::kOutOfRange;
    return false;
  }

  static bool TakeChar(std::string_view& text, char c) {
    if (!text.starts_with(c)) return false;
    text.remove_prefix(1);
    return true;
  }
  /// At least one digit.
  bool TakeDigits(std::string_view& text, int64& out) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), out);
    if (error == std::errc::result_out_of_range) return OutOfRange();
    if (error != std::errc() || text[0] == '-') return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
  }
  /// A point and digits, perhaps none.
  static bool TakeFraction(std::string_view& text, float64& out) {
    const std::size_t digits = std::min(text.find_first_not_of("0123456789", 1), text.size());
    out = 0;
    if (digits > 1) std::from_chars(text.data(), text.data() + digits, out);
    text.remove_prefix(digits);
    return true;
  }

  const std::optional<IntervalFields>& fields_;
  IntervalParts& parts_;
  Unit unit_ = Unit::kNone;
  uint32 taken_ = 0;
  bool isAgo_ = false;
  IntervalReading reading_ = IntervalReading::kUnreadable;
};

/// Cuts what lies below the last field.
void CutToField(IntervalFields::Field last, XeInterval& value) {
  const auto cutTime = [&](int64 unit) { value.microseconds -= value.microseconds % unit; };
  switch (last) {
    case IntervalFields::kYear:
      value.months -= value.months % 12;
      [[fallthrough]];
    case IntervalFields::kMonth:
      value.days = 0;
      [[fallthrough]];
    case IntervalFields::kDay:
      value.microseconds = 0;
      break;
    case IntervalFields::kHour:
      return cutTime(IntervalParts::kPerHour);
    case IntervalFields::kMinute:
      return cutTime(IntervalParts::kPerMinute);
    case IntervalFields::kSecond:
      break;
  }
}

/// False where the time leaves its type.
bool RoundTime(int digits, XeInterval& value) {
  int64 unit = 1;
  for (int i = digits; i < 6; ++i) unit *= 10;
  int64 rounded;
  const int64 half = value.microseconds < 0 ? -(unit / 2) : unit / 2;
  if (__builtin_add_overflow(value.microseconds, half, &rounded)) return false;
  value.microseconds = rounded - rounded % unit;
  return true;
}

}  // namespace

IntervalReading ReadInterval(std::wstring_view text, XeInterval& out) {
  return ReadInterval(text, {}, {}, out);
}

IntervalReading ReadInterval(std::wstring_view text, const std::optional<IntervalFields>& fields,
                             const std::optional<int>& digits, XeInterval& out) {
  std::string given;
  for (const wchar_t c : text) {
    if (c >= 0x80 || c == 0) return IntervalReading::kUnreadable;
    given += static_cast<char>(c);
  }
  const auto isPart = [](char c) { return !IsBlank(c); };
  given.erase(given.begin(), std::ranges::find_if(given, isPart));
  while (!given.empty() && IsBlank(given.back())) given.pop_back();
  std::string small = given;
  for (char& c : small) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;

  IntervalParts parts;
  std::vector<Token> tokens;
  IntervalReading reading = IntervalReading::kUnreadable;
  if (Tokenize(small, tokens)) reading = TokenReader(fields, parts).Read(tokens);
  if (reading == IntervalReading::kUnreadable) {
    parts = IntervalParts();
    reading = ReadIsoInterval(given, parts);
  }
  if (reading != IntervalReading::kRead) return reading;
  XeInterval value;
  if (!parts.Get(value)) return IntervalReading::kOutOfRange;
  if (fields) CutToField(fields->last, value);
  if (digits && !RoundTime(*digits, value)) return IntervalReading::kOutOfRange;
  out = value;
  return reading;
}

}  // namespace sqxer
