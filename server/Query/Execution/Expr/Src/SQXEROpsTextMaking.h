#pragma once

#include <string>

#include "SQXEROpFunction.h"
#include "SQXEROpsInteger.h"
#include "SQXEROpsString.h"
#include "SQXERUtf8Reader.h"
#include "Utility/TextDigest.h"

namespace sqxer {

// What FindLongest gives stands for the operands in their order.

/// A text of so many characters: cut, or filled up with another text on one side. A negative number
/// is one of 0; an empty filling fills nothing.
template <bool isLeft>
struct PadOp {
  using Operands = std::tuple<TextOperand, CountOperand, TextOperand>;
  static constexpr const wchar_t* kName = isLeft ? L"LPad" : L"RPad";
  static constexpr bool kOnBytes = true;
  template <class Text, class Made>
  static void Apply(const Text& text, int32 count, const Text& filling, Made& made) {
    const auto length = static_cast<uint32>(std::max(count, 0));
    const Text kept = PartOf(text, 0, std::min(text.length_, length));
    const uint32 missing = filling.length_ == 0 ? 0 : length - kept.length_;
    if (!isLeft) made.Append(kept);
    auto* const end = made.Extend(missing);
    for (uint32 i = 0, next = 0; i < missing; ++i) {
      end[i] = filling.buffer_[next];
      if (++next == filling.length_) next = 0;
    }
    if (isLeft) made.Append(kept);
  }
  static uint64 FindLongest(KnownOperands known) {
    return known[1].count ? static_cast<uint64>(std::max(*known[1].count, 0)) : kMostMadeCharacters;
  }
};

/// The characters from the last to the first.
struct ReverseOp {
  using Operands = std::tuple<TextOperand>;
  static constexpr const wchar_t* kName = L"Reverse";
  static constexpr bool kOnBytes = true;
  template <class Text, class Made>
  static void Apply(const Text& text, Made& made) {
    std::reverse_copy(text.buffer_, text.buffer_ + text.length_, made.Extend(text.length_));
  }
  static uint64 FindLongest(KnownOperands known) { return known[0].length; }
};

/// Each character that stands in the second text becomes the one at its place in the third, and
/// none where that is shorter.
struct TranslateOp {
  using Operands = std::tuple<TextOperand, TextOperand, TextOperand>;
  static constexpr const wchar_t* kName = L"Translate";
  static constexpr bool kOnBytes = true;
  template <class Text, class Made>
  static void Apply(const Text& text, const Text& from, const Text& to, Made& made) {
    auto* const end = from.buffer_ + from.length_;
    for (uint32 i = 0; i < text.length_; ++i) {
      const auto character = text.buffer_[i];
      const auto place =
          static_cast<uint32>(std::find(from.buffer_, end, character) - from.buffer_);
      if (place == from.length_) {
        made.Append(static_cast<wchar_t>(character));
      } else if (place < to.length_) {
        made.Append(static_cast<wchar_t>(to.buffer_[place]));
      }
    }
  }
  static uint64 FindLongest(KnownOperands known) { return known[0].length; }
};

/// The first letter of each word in upper case, the others in lower case; words are made of letters
/// and digits.
struct InitCapOp {
  using Operands = std::tuple<TextOperand>;
  static constexpr const wchar_t* kName = L"InitCap";
  static constexpr bool kOnBytes = true;
  template <class Text, class Character>
  static bool Apply(const Text& text, MadeText<Character>& made) {
    Character* out = made.Extend(text.length_);
    bool isInWord = false;
    for (uint32 i = 0; i < text.length_; ++i) {
      const auto character = static_cast<wchar_t>(text.buffer_[i]);
      const wchar_t changed =
          isInWord ? BaseStringUtil::LowerCase(character) : BaseStringUtil::UpperCase(character);
      *out = static_cast<Character>(changed);
      if (static_cast<wchar_t>(*out++) != changed) return false;
      isInWord = BaseStringUtil::IsAlphanumeric(character);
    }
    return true;
  }
  static uint64 FindLongest(KnownOperands known) { return known[0].length; }
};

/// The UTF-8 bytes of a text in hexadecimal digits, capital letters.
struct HexOp {
  using Operands = std::tuple<TextOperand>;
  static constexpr const wchar_t* kName = L"Hex";
  static constexpr bool kOnBytes = true;
  template <class Text, class Made>
  void Apply(const Text& text, Made& made) {
    const std::string_view bytes = utf8_.Read(text);
    auto* out = made.Extend(2 * bytes.size());
    for (const char byte : bytes) {
      const auto code = static_cast<unsigned char>(byte);
      *out++ = static_cast<std::remove_reference_t<decltype(*out)>>(kDigits[code >> 4]);
      *out++ = static_cast<std::remove_reference_t<decltype(*out)>>(kDigits[code & 15]);
    }
  }
  static uint64 FindLongest(KnownOperands known) { return uint64{known[0].length} * 8; }

 private:
  static constexpr const wchar_t* kDigits = L"0123456789ABCDEF";
  Utf8Reader utf8_;
};

/// A number in hexadecimal digits, small letters: of a negative one its two's complement, of as
/// many bits as the operand's type has, NUMERIC 64. Error 59161 for a NUMERIC beyond them; its
/// fraction is cut.
struct ToHexInt32Op {
  using Operands = std::tuple<int32>;
  static constexpr const wchar_t* kName = L"ToHex";
  static constexpr bool kOnBytes = false;
  static void Apply(int32 number, MadeText<wchar_t>& made) {
    Write(static_cast<uint32>(number), made);
  }
  static void Write(uint64 bits, MadeText<wchar_t>& made) {
    int digits = 1;
    while (digits < 16 && bits >> 4 * digits != 0) ++digits;
    while (digits-- > 0) made.Append(L"0123456789abcdef"[bits >> 4 * digits & 15]);
  }
  static uint64 FindLongest(KnownOperands) { return 8; }
};
struct ToHexNumericOp {
  using Operands = std::tuple<VelmarNumber>;
  static constexpr const wchar_t* kName = L"ToHex";
  static constexpr bool kOnBytes = false;
  static void Apply(const VelmarNumber& number, MadeText<wchar_t>& made) {
    ToHexInt32Op::Write(static_cast<uint64>(WholeNumberOf(number, kName)), made);
  }
  static uint64 FindLongest(KnownOperands) { return 16; }
};

/// The digest of a text's UTF-8 bytes.
template <TextDigest::Kind kind>
struct DigestOp {
  using Operands = std::tuple<TextOperand>;
  static constexpr const wchar_t* kName = kind == TextDigest::Kind::kMd5 ? L"Md5" : L"Sha256";
  static constexpr bool kOnBytes = true;
  template <class Text, class Made>
  void Apply(const Text& text, Made& made) {
    char digits[TextDigest::CountDigits(kind)];
    TextDigest::Write(kind, utf8_.Read(text), digits);
    made.Append(std::string_view(digits, sizeof digits));
  }
  static uint64 FindLongest(KnownOperands) { return TextDigest::CountDigits(kind); }

 private:
  Utf8Reader utf8_;
};

/// A text as a literal of a statement.
struct QuoteLiteralOp {
  using Operands = std::tuple<TextOperand>;
  static constexpr const wchar_t* kName = L"QuoteLiteral";
  static constexpr bool kOnBytes = true;
  template <class Text, class Made>
  static void Apply(const Text& text, Made& made) {
    auto* const end = text.buffer_ + text.length_;
    if (std::find(text.buffer_, end, '\\') != end) made.Append(L'E');
    Write(text, L'\'', true, made);
  }
  static uint64 FindLongest(KnownOperands known) { return uint64{known[0].length} * 2 + 3; }

  /// The text between quotation marks, of which those within it are doubled.
  template <class Text, class Made>
  static void Write(const Text& text, wchar_t mark, bool doublesBackslashes, Made& made) {
    made.Append(mark);
    for (uint32 i = 0; i < text.length_; ++i) {
      const auto character = static_cast<wchar_t>(text.buffer_[i]);
      if (character == mark || (doublesBackslashes && character == L'\\')) made.Append(character);
      made.Append(character);
    }
    made.Append(mark);
  }
};

/// A text as a name of a statement: in quotation marks unless it is made of small letters, digits
/// and underscores, and begins with no digit.
struct QuoteIdentOp {
  using Operands = std::tuple<TextOperand>;
  static constexpr const wchar_t* kName = L"QuoteIdent";
  static constexpr bool kOnBytes = true;
  template <class Text, class Made>
  static void Apply(const Text& text, Made& made) {
    bool isPlain = text.length_ > 0 && !IsDigit(text.buffer_[0]);
    for (uint32 i = 0; i < text.length_; ++i) {
      const auto c = text.buffer_[i];
      isPlain = isPlain && ((c >= 'a' && c <= 'z') || IsDigit(c) || c == '_');
    }
    if (isPlain) {
      made.Append(text);
    } else {
      QuoteLiteralOp::Write(text, L'"', false, made);
    }
  }
  static uint64 FindLongest(KnownOperands known) { return uint64{known[0].length} * 2 + 2; }

 private:
  static bool IsDigit(auto c) { return c >= '0' && c <= '9'; }
};

}  // namespace sqxer
