#pragma once

#include <optional>

#include "SQXERIntervalFormat.h"
#include "SQXERMomentFormat.h"
#include "SQXERNumberFormat.h"
#include "SQXEROpFunction.h"

namespace sqxer {

/// Keeps the format that was read last, since rows mostly have the same.
template <class Format>
class RecentFormat {
 public:
  /// A RefLongVarChar or a ByteText.
  template <class Text>
  const Format& Get(const Text& text) {
    const bool isSame =
        format_ && std::equal(text.buffer_, text.buffer_ + text.length_, text_.begin(), text_.end(),
                              [](auto a, wchar_t b) { return static_cast<wchar_t>(a) == b; });
    if (!isSame) [[unlikely]] {
      format_.reset();
      text_.assign(text.buffer_, text.buffer_ + text.length_);
      format_.emplace(text_);
    }
    return *format_;
  }
  /// Reads a constant, so that what is wrong with it is told before rows are.
  void Prepare(const KnownOperand& format) {
    if (format.text) Get(*format.text);
  }

 private:
  std::optional<Format> format_;
  XeString text_;
};

/// TO_CHAR: a value as a text of a format.
template <class Value, class Format>
struct ToCharOp {
  using Operands = std::tuple<Value, TextOperand>;
  static constexpr const wchar_t* kName = L"ToChar";
  static constexpr bool kOnBytes = true;
  void Prepare(KnownOperands known) { format_.Prepare(known[1]); }
  template <class Text, class Character>
  bool Apply(const Value& value, const Text& format, MadeText<Character>& made) {
    text_.clear();
    format_.Get(format).Write(value, text_);
    Character* out = made.Extend(text_.size());
    for (const wchar_t character : text_) {
      *out = static_cast<Character>(character);
      if (static_cast<wchar_t>(*out++) != character) return false;
    }
    return true;
  }
  static uint64 FindLongest(KnownOperands known) {
    return known[1].text ? Format::CountMost(known[1].text->length_) : kMostMadeCharacters;
  }

 private:
  RecentFormat<Format> format_;
  XeString text_;
};

/// TO_NUMBER: the number that a text of a format stands for.
struct ToNumberOp {
  using Operands = std::tuple<TextOperand, TextOperand>;
  static constexpr const wchar_t* kName = L"NumberOfText";
  static constexpr bool kOnBytes = false;
  void Prepare(KnownOperands known) { format_.Prepare(known[1]); }
  VelmarNumber Apply(const RefLongVarChar& text, const RefLongVarChar& format) {
    return format_.Get(format).Read({text.buffer_, text.length_});
  }

 private:
  RecentFormat<NumberFormat> format_;
};

}  // namespace sqxer
