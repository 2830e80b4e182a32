#include "SQXERNumberFormat.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "SQXERMomentFormat.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"

namespace sqxer {

enum class NumberFormat::Element : uint8 {
  kLiteral,
  kNine,
  kZero,
  kPoint,
  kGroup,
  kShift,
  kSign,
  kMinus,
  kPlus,
  kEitherSign,
  kBrackets,
  kCurrency,
  kOrdinal,
  kRoman,
  kExponent,
  kFillMode,
  /// Understood and without an effect.
  kNothing,
};

struct NumberFormat::Name {
  std::wstring_view text;
  Element element;
};

const NumberFormat::Name NumberFormat::kNames[] = {
    {L"9", Element::kNine},      {L"0", Element::kZero},        {L".", Element::kPoint},
    {L"D", Element::kPoint},     {L",", Element::kGroup},       {L"G", Element::kGroup},
    {L"V", Element::kShift},     {L"SG", Element::kEitherSign}, {L"SP", Element::kNothing},
    {L"S", Element::kSign},      {L"MI", Element::kMinus},      {L"PL", Element::kPlus},
    {L"PR", Element::kBrackets}, {L"L", Element::kCurrency},    {L"TH", Element::kOrdinal},
    {L"RN", Element::kRoman},    {L"EEEE", Element::kExponent}, {L"FM", Element::kFillMode},
    {L"B", Element::kNothing},   {L"C", Element::kNothing},
};

namespace {

constexpr int kNumberFormatError = 59060;
constexpr int kNumberTextError = 59061;
/// What a double has for sure.
constexpr int kDigitsOfDouble = 15;
constexpr int kMostRoman = 3999;
constexpr std::size_t kWidthOfExponent = 4;
constexpr std::size_t kLongestRoman = 15;

[[noreturn]] void RefuseFormat(const wchar_t* reason) {
  SUGThrow(ErrorMessage(kNumberFormatError, {reason}));
}

/// Adds one to the last of some digits; true where that makes one more digit than there were.
bool AddOne(std::string& digits) {
  for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit) {
    if (*digit != '9') {
      ++*digit;
      return false;
    }
    *digit = '0';
  }
  return true;
}

/// The digits of a number times a power of ten, rounded to so many behind the point: halves away
/// from zero.
DecimalDigits RoundTo(const VelmarNumber& number, int shift, std::size_t behind) {
  const VelmarNumber::Parts parts = number.GetParts();
  auto coefficient = static_cast<uint128>(static_cast<int128>(parts.high)) << 64 | parts.low;
  DecimalDigits made;
  made.isNegative = number.isNegative();
  if (made.isNegative) coefficient = -coefficient;
  std::string digits;
  for (; coefficient != 0; coefficient /= 10) {
    digits += static_cast<char>('0' + static_cast<int>(coefficient % 10));
  }
  std::ranges::reverse(digits);
  // Where the point stands among the digits.
  int64 point = static_cast<int64>(digits.size()) + parts.exponent + shift;
  if (point < 0) digits = std::string(static_cast<std::size_t>(-point), '0') + digits;
  point = std::max<int64>(point, 0);
  const std::size_t wanted = static_cast<std::size_t>(point) + behind;
  const bool roundsUp = digits.size() > wanted && digits[wanted] >= '5';
  digits.resize(wanted, '0');
  if (roundsUp && AddOne(digits)) {
    digits.insert(digits.begin(), '1');
    ++point;
  }
  made.whole = digits.substr(0, static_cast<std::size_t>(point));
  made.fraction = digits.substr(static_cast<std::size_t>(point));
  made.whole.erase(0, made.whole.find_first_not_of('0'));
  if (made.whole.empty()) made.whole.push_back('0');
  const auto isZero = [](const std::string& part) {
    return part.find_first_not_of('0') == part.npos;
  };
  made.isNegative = made.isNegative && !(isZero(made.whole) && isZero(made.fraction));
  return made;
}

/// A finite number with so many digits behind the point.
std::string TextOf(float64 number, std::chars_format notation, std::size_t behind) {
  // The digits of the largest double, the sign and the point.
  constexpr std::size_t kMostBefore = 320;
  std::string text(kMostBefore + behind, '\0');
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), number, notation,
                                          static_cast<int>(behind));
  text.resize(static_cast<std::size_t>(end - text.data()));
  return text;
}

/// The digits of printf's notation with a point.
DecimalDigits DigitsOf(std::string text) {
  DecimalDigits made;
  made.isNegative = text.starts_with('-');
  if (made.isNegative) text = text.substr(1);
  const std::size_t point = std::min(text.find('.'), text.size());
  made.whole = text.substr(0, point);
  if (point < text.size()) made.fraction = text.substr(point + 1);
  return made;
}

}  // namespace

NumberFormat::NumberFormat(std::wstring_view format) {
  while (!format.empty()) {
    if (format.front() == L'"') {
      format.remove_prefix(1);
      while (!format.empty() && format.front() != L'"') {
        if (format.front() == L'\\' && format.size() > 1) format.remove_prefix(1);
        AddLiteral(format.front());
        format.remove_prefix(1);
      }
      if (!format.empty()) format.remove_prefix(1);
      continue;
    }
    const auto* const name = std::ranges::find_if(kNames, [&](const Name& one) {
      return std::ranges::equal(format.substr(0, one.text.size()), one.text, {},
                                [](wchar_t c) { return BaseStringUtil::UpperCase(c); });
    });
    if (name != std::end(kNames)) {
      AddElement(*name, format.front() == name->text.front());
      format.remove_prefix(name->text.size());
      continue;
    }
    if (format.starts_with(L"\\\"")) format.remove_prefix(1);
    AddLiteral(format.front());
    format.remove_prefix(1);
  }
  if (!hasZero_) firstZero_ = before_;
}

void NumberFormat::AddLiteral(wchar_t character) {
  if (pieces_.empty() || pieces_.back().element != Element::kLiteral)
    pieces_.push_back({.element = Element::kLiteral});
  pieces_.back().literal += character;
}

void NumberFormat::AddDigit(bool isZero) {
  if (hasBrackets_) RefuseFormat(L"digits stand before PR");
  if (hasPoint_) {
    ++behind_;
    if (isZero) fixed_ = behind_;
    return;
  }
  if (isZero && !hasZero_) {
    hasZero_ = true;
    firstZero_ = before_;
  }
  ++before_;
  shift_ += hasShift_;
}

void NumberFormat::AddSign(Element element) {
  if (element == Element::kSign) {
    if (hasSign_) RefuseFormat(L"S stands once");
    if (hasOtherSign_ || hasBrackets_) RefuseFormat(L"S stands without PL, MI, SG and PR");
    hasSign_ = true;
    isSignBehind_ = before_ + behind_ > 0 || hasPoint_;
    return;
  }
  if (hasSign_ || (element == Element::kBrackets && hasOtherSign_) ||
      (element != Element::kBrackets && hasBrackets_))
    RefuseFormat(L"S, PR and the other signs stand alone");
  (element == Element::kBrackets ? hasBrackets_ : hasOtherSign_) = true;
  // A plus stands beside the sign.
  hasOwnSign_ = hasOwnSign_ || element != Element::kPlus;
}

void NumberFormat::AddElement(const Name& name, bool isUpper) {
  if (isScientific_) RefuseFormat(L"EEEE stands at the end");
  switch (name.element) {
    case Element::kNine:
    case Element::kZero:
      AddDigit(name.element == Element::kZero);
      break;
    case Element::kPoint:
      if (hasPoint_) RefuseFormat(L"there is one point");
      if (hasShift_) RefuseFormat(L"V and a point exclude each other");
      hasPoint_ = true;
      break;
    case Element::kShift:
      if (hasPoint_) RefuseFormat(L"V and a point exclude each other");
      hasShift_ = true;
      break;
    case Element::kSign:
    case Element::kMinus:
    case Element::kPlus:
    case Element::kEitherSign:
    case Element::kBrackets:
      AddSign(name.element);
      break;
    case Element::kExponent:
      if (!isFilled_ || HasSign() || isRoman_ || hasShift_)
        RefuseFormat(L"EEEE stands with digits and a point alone");
      isScientific_ = true;
      break;
    case Element::kFillMode:
      isFilled_ = false;
      break;
    case Element::kRoman:
      isRoman_ = true;
      break;
    default:
      break;
  }
  pieces_.push_back({.element = name.element, .isUpper = isUpper});
}

/// Writes one number: the state between the pieces.
class NumberFormat::Writer {
 public:
  Writer(const NumberFormat& format, DecimalDigits digits, XeString& out)
      : format_(format), digits_(std::move(digits)), number_(digits_.whole), out_(out) {
    if (digits_.whole.size() > format.before_) {
      digits_.whole.assign(format.before_, '#');
      digits_.fraction.assign(digits_.fraction.size(), '#');
      showsPoint_ = true;
    }
    missing_ = format.before_ - digits_.whole.size();
    relevant_ = digits_.fraction.size();
    if (!format.isFilled_) {
      const std::size_t last = digits_.fraction.find_last_not_of('0');
      relevant_ = std::min(relevant_, std::max(last + 1, format.fixed_));
    }
    hasFraction_ = !digits_.fraction.empty();
    showsPoint_ = showsPoint_ || hasFraction_;
    hidesZero_ = !format.hasZero_ && digits_.whole == "0" && hasFraction_;
  }

  void Write(const Piece& piece) {
    switch (piece.element) {
      case Element::kLiteral:
        out_ += piece.literal;
        break;
      case Element::kNine:
      case Element::kZero:
        isBehindPoint_ ? WriteFraction() : WriteWhole();
        EndDigit();
        break;
      case Element::kPoint:
        isBehindPoint_ = true;
        if (!showsPoint_) break;
        WriteSign();
        out_ += L'.';
        EndDigit();
        break;
      case Element::kGroup:
        if (hasDigit_) {
          out_ += L',';
        } else if (format_.isFilled_) {
          out_ += L' ';
        }
        break;
      case Element::kMinus:
        WriteOr(digits_.isNegative, L'-');
        break;
      case Element::kPlus:
        WriteOr(!digits_.isNegative, L'+');
        break;
      case Element::kEitherSign:
        out_ += digits_.isNegative ? L'-' : L'+';
        break;
      case Element::kCurrency:
        out_ += L' ';
        break;
      case Element::kOrdinal:
        if (!digits_.isNegative && !format_.hasPoint_ && digits_.whole == number_) {
          XeString number(number_.begin(), number_.end());
          const std::size_t size = number.size();
          AppendOrdinal(piece.isUpper, number);
          out_ += number.substr(size);
        }
        break;
      case Element::kRoman:
        WriteRoman(piece.isUpper);
        break;
      default:
        break;
    }
  }

 private:
  void WriteOr(bool shows, wchar_t character) {
    if (shows) {
      out_ += character;
    } else if (format_.isFilled_) {
      out_ += L' ';
    }
  }
  void WriteBlank() {
    if (format_.isFilled_) out_ += L' ';
  }

  /// In front of the first digit or the point.
  void WriteSign() {
    if (hasSign_) return;
    hasSign_ = true;
    if (format_.hasBrackets_) {
      WriteOr(digits_.isNegative, L'<');
    } else if (format_.hasSign_) {
      if (!format_.isSignBehind_) out_ += digits_.isNegative ? L'-' : L'+';
    } else if (!format_.hasOwnSign_) {
      WriteOr(digits_.isNegative, L'-');
    }
  }

  void WriteWhole() {
    const std::size_t place = written_++;
    if (place < std::min(missing_, format_.firstZero_)) return WriteBlank();
    if (hidesZero_ && place >= missing_) {
      // A number without a fraction shows its zero where nothing is filled up.
      if (format_.isFilled_ || relevant_ > 0) return WriteBlank();
    }
    WriteSign();
    hasDigit_ = true;
    out_ += place < missing_ ? L'0' : static_cast<wchar_t>(digits_.whole[place - missing_]);
  }
  void WriteFraction() {
    const std::size_t place = fraction_++;
    ++written_;
    if (place >= relevant_) return;
    hasDigit_ = true;
    out_ += static_cast<wchar_t>(digits_.fraction[place]);
  }

  /// Behind the last digit, or the last one that is written, stand closing signs.
  void EndDigit() {
    const bool isEnd =
        hasFraction_ ? isBehindPoint_ && fraction_ == relevant_ : written_ == format_.before_;
    if (!isEnd || isClosed_) return;
    isClosed_ = true;
    if (format_.hasBrackets_) WriteOr(digits_.isNegative, L'>');
    if (format_.hasSign_ && format_.isSignBehind_) out_ += digits_.isNegative ? L'-' : L'+';
  }

  void WriteRoman(bool isUpper) {
    struct Letters {
      int value;
      std::wstring_view text;
    };
    constexpr Letters kLetters[] = {
        {1000, L"M"}, {900, L"CM"}, {500, L"D"}, {400, L"CD"}, {100, L"C"}, {90, L"XC"}, {50, L"L"},
        {40, L"XL"},  {10, L"X"},   {9, L"IX"},  {5, L"V"},    {4, L"IV"},  {1, L"I"}};
    XeString roman;
    int value = number_.size() > 4 || digits_.isNegative ? 0 : std::atoi(number_.c_str());
    if (value < 1 || value > kMostRoman) {
      roman.assign(kLongestRoman, L'#');
    } else {
      for (const Letters& letters : kLetters) {
        for (; value >= letters.value; value -= letters.value) roman += letters.text;
      }
    }
    if (format_.isFilled_) out_.append(kLongestRoman - roman.size(), L' ');
    for (const wchar_t letter : roman) {
      out_ += isUpper ? letter : BaseStringUtil::LowerCase(letter);
    }
  }

  const NumberFormat& format_;
  DecimalDigits digits_;
  /// The digits before the point, though there be no room for them.
  const std::string number_;
  XeString& out_;
  /// Places before the first digit.
  std::size_t missing_ = 0;
  /// Digits of the fraction that are written.
  std::size_t relevant_ = 0;
  bool hasFraction_ = false;
  bool showsPoint_ = false;
  bool hidesZero_ = false;
  std::size_t written_ = 0;
  std::size_t fraction_ = 0;
  bool isBehindPoint_ = false;
  bool hasSign_ = false;
  bool hasDigit_ = false;
  bool isClosed_ = false;
};

void NumberFormat::WriteDigits(DecimalDigits digits, XeString& out) const {
  Writer writer(*this, std::move(digits), out);
  for (const Piece& piece : pieces_) writer.Write(piece);
}

void NumberFormat::Write(const VelmarNumber& number, XeString& out) const {
  if (isScientific_) {
    // One digit before the point.
    const int places = number.decimalPlaces();
    int exponent = static_cast<int>(RoundTo(number, places, 0).whole.size()) - 1 - places;
    DecimalDigits digits = RoundTo(number, -exponent, behind_);
    // 9.99 may have become 10.0.
    if (digits.whole.size() > 1) digits = RoundTo(number, -++exponent, behind_);
    std::string text(digits.isNegative ? "-" : "");
    text.append(digits.whole).append(behind_ > 0 ? "." : "").append(digits.fraction);
    // At least two digits.
    text.append(exponent < 0 ? "e-" : "e+").append(std::abs(exponent) < 10 ? "0" : "");
    return WriteScientific(text.append(std::to_string(std::abs(exponent))), out);
  }
  WriteDigits(RoundTo(number, static_cast<int>(shift_), behind_), out);
}

void NumberFormat::Write(float64 number, XeString& out) const {
  if (isScientific_) {
    // The exponent would take four places.
    return WriteScientific(
        std::isfinite(number)
            ? TextOf(number, std::chars_format::scientific, behind_)
            : std::string(before_, '#') + '.' + std::string(behind_ + kWidthOfExponent, '#'),
        out);
  }
  const float64 moved =
      shift_ == 0 ? number : number * std::pow(10.0, static_cast<float64>(shift_));
  if (!std::isfinite(moved)) {
    return WriteDigits(
        {std::signbit(moved), std::string(before_ + 1, '#'), std::string(behind_, '#')}, out);
  }
  const auto whole = static_cast<int>(TextOf(std::fabs(moved), std::chars_format::fixed, 0).size());
  const auto behind =
      static_cast<std::size_t>(std::clamp(kDigitsOfDouble - whole, 0, static_cast<int>(behind_)));
  WriteDigits(DigitsOf(TextOf(moved, std::chars_format::fixed, behind)), out);
}

void NumberFormat::WriteScientific(std::string_view text, XeString& out) {
  if (!text.starts_with('-')) out += L' ';
  out.append(text.begin(), text.end());
}

/// Reads one text by the pieces of a format.
class NumberFormat::Reader {
 public:
  Reader(const NumberFormat& format, std::wstring_view text) : format_(format), text_(text) {}

  void Read(const Piece& piece) {
    switch (piece.element) {
      case Element::kNine:
      case Element::kZero:
        SkipBlanks();
        if (!hasDigit_ || format_.isSignBehind_) TakeSign();
        if (!text_.empty() && text_[0] >= L'0' && text_[0] <= L'9') {
          digits_ += Take();
          hasDigit_ = true;
          fraction_ += hasPoint_;
        } else if (!text_.empty() && text_[0] == L'.' && format_.hasPoint_ && !hasPoint_) {
          // The number has fewer digits before its point than the format.
          TakePoint();
          Read(piece);
        }
        break;
      case Element::kPoint:
        if (!text_.empty() && text_[0] == L'.' && !hasPoint_) TakePoint();
        break;
      case Element::kGroup:
        if (!text_.empty() && text_[0] == L',') Take();
        break;
      case Element::kSign:
      case Element::kMinus:
      case Element::kPlus:
      case Element::kEitherSign:
        SkipBlanks();
        TakeSign();
        break;
      case Element::kCurrency:
        while (IsOther()) Take();
        break;
      case Element::kOrdinal:
        text_.remove_prefix(std::min<std::size_t>(text_.size(), 2));
        break;
      case Element::kLiteral:
        for (std::size_t i = 0; i < piece.literal.size() && IsOther(); ++i) Take();
        break;
      default:
        break;
    }
  }

  VelmarNumber Finish() {
    if (format_.hasBrackets_ || format_.hasSign_ || format_.hasOtherSign_) {
      SkipBlanks();
      TakeSign();
    }
    XeString number = (isNegative_ ? L"-" : L"") + digits_;
    const std::size_t behind = fraction_ + format_.shift_;
    number += L"e-" + std::to_wstring(behind);
    bool isRead = false;
    return VelmarNumber::stringAsNumber(number.c_str(), static_cast<uint32>(number.size()),
                                        &isRead);
  }
  bool HasDigit() const { return hasDigit_; }

 private:
  wchar_t Take() {
    const wchar_t first = text_.front();
    text_.remove_prefix(1);
    return first;
  }
  /// Whether what comes next is no part of a number.
  bool IsOther() const {
    return !text_.empty() && std::wstring_view(L"0123456789.,+-<>").find(text_[0]) == text_.npos;
  }
  void TakePoint() {
    Take();
    hasPoint_ = true;
  }
  void SkipBlanks() {
    while (!text_.empty() && text_[0] == L' ') Take();
  }
  void TakeSign() {
    if (text_.empty()) return;
    const wchar_t sign = text_[0];
    const bool isBracket = format_.hasBrackets_ && (sign == L'<' || sign == L'>');
    if (sign != L'-' && sign != L'+' && !isBracket) return;
    isNegative_ = isNegative_ || sign == L'-' || sign == L'<';
    Take();
  }

  const NumberFormat& format_;
  std::wstring_view text_;
  XeString digits_;
  std::size_t fraction_ = 0;
  bool isNegative_ = false;
  bool hasDigit_ = false;
  bool hasPoint_ = false;
};

VelmarNumber NumberFormat::Read(std::wstring_view text) const {
  if (isScientific_) RefuseFormat(L"EEEE is for writing numbers");
  if (isRoman_) RefuseFormat(L"RN is for writing numbers");
  Reader reader(*this, text);
  for (const Piece& piece : pieces_) reader.Read(piece);
  const VelmarNumber number = reader.Finish();
  if (!reader.HasDigit()) SUGThrow(ErrorMessage(kNumberTextError, {XeString(text)}));
  return number;
}

}  // namespace sqxer
