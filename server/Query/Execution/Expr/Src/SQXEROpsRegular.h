#pragma once

#include <limits>
#include <memory>
#include <vector>

#include "SQXEROpFunction.h"
#include "SQXEROpsString.h"
#include "SQXERUtf8Reader.h"
#include "Utility/RegularExpression.h"

namespace sqxer {

// Regular expressions over texts. The operands are text and pattern, then numbers, then options,
// letters as RegularExpression::ReadOptions has them. Positions count characters from 1. Errors:
// 59175 and 59176 of pattern and options, 59035 for a number below 1 (below 0 where that has a
// meaning).

/// Keeps the expression of the last pattern and options, since rows mostly have the same.
class RecentExpression {
 public:
  template <class Text>
  const RegularExpression& Get(const Text& pattern, const Text& options,
                               bool allowsGlobal = false) {
    if (!expression_ || !IsSame(pattern, pattern_) || !IsSame(options, options_)) [[unlikely]] {
      expression_.reset();
      pattern_.assign(pattern.buffer_, pattern.buffer_ + pattern.length_);
      options_.assign(options.buffer_, options.buffer_ + options.length_);
      if (!isSimilarTo_) read_ = RegularExpression::ReadOptions(options_, allowsGlobal);
      expression_ = std::make_unique<RegularExpression>(Meaning(), read_);
    }
    return *expression_;
  }
  const RegularExpression::Options& GetOptions() const { return read_; }
  /// Reads constants, so that what is wrong with them is told before rows are.
  void Prepare(const KnownOperand& pattern, const KnownOperand* options,
               bool allowsGlobal = false) {
    if (!pattern.text || (options != nullptr && !options->text)) return;
    Get(*pattern.text, options != nullptr ? *options->text : RefLongVarChar{}, allowsGlobal);
  }
  void UseSimilarTo() { isSimilarTo_ = true; }

 private:
  template <class Text>
  static bool IsSame(const Text& text, const XeString& kept) {
    return text.length_ == kept.size() &&
           std::equal(kept.begin(), kept.end(), text.buffer_,
                      [](wchar_t a, auto b) { return a == static_cast<wchar_t>(b); });
  }
  /// Of SIMILAR TO the options are the escape.
  XeString Meaning() {
    if (!isSimilarTo_) return pattern_;
    const wchar_t escape = options_.empty() ? 0 : options_[0];
    return RegularExpression::OfSimilarTo(pattern_, escape);
  }

  std::unique_ptr<RegularExpression> expression_;
  RegularExpression::Options read_;
  XeString pattern_;
  XeString options_;
  bool isSimilarTo_ = false;
};

/// Goes from match to match of one text.
template <class Text>
class Matches {
 public:
  /// From a position on, 1 for all of the text.
  Matches(const RegularExpression& expression, const Text& text, std::string_view utf8,
          int32 position)
      : expression_(expression), text_(text), utf8_(utf8) {
    isAscii_ = utf8.size() == text.length_;
    isBehindEnd_ = static_cast<uint32>(position) - 1 > text.length_;
    if (!isBehindEnd_) next_ = ByteOf(static_cast<uint32>(position) - 1);
  }
  /// The next match, with as many groups as `parts` has room for behind it.
  bool Next(std::span<RegularExpression::Part> parts) {
    if (isBehindEnd_ || next_ > utf8_.size()) return false;
    if (!expression_.Find(utf8_, next_, parts)) return false;
    next_ = static_cast<std::size_t>(parts[0].end);
    // Else an empty match would be found again.
    if (parts[0].start == parts[0].end) next_ += BytesAt(next_);
    return true;
  }
  uint32 CharacterOf(int64 byte) const {
    if (isAscii_) return static_cast<uint32>(byte);
    const auto wanted = static_cast<std::size_t>(byte);
    // Matches come one behind the other: what lies before the last place is not counted again.
    if (wanted < knownByte_) knownByte_ = knownCharacter_ = 0;
    knownCharacter_ +=
        BaseStringUtil::CountCharacters(utf8_.substr(knownByte_, wanted - knownByte_));
    knownByte_ = wanted;
    return knownCharacter_;
  }
  /// A part in the text itself.
  Text PartOfText(const RegularExpression::Part& part) const {
    const uint32 start = CharacterOf(part.start);
    return PartOf(text_, start, CharacterOf(part.end) - start);
  }

 private:
  std::size_t BytesAt(std::size_t byte) const {
    std::size_t length = 1;
    while (byte + length < utf8_.size() && (utf8_[byte + length] & 0xC0) == 0x80) ++length;
    return length;
  }
  std::size_t ByteOf(uint32 character) const {
    std::size_t byte = 0;
    if (isAscii_) return character;
    for (; character > 0; --character) byte += BytesAt(byte);
    return byte;
  }

  const RegularExpression& expression_;
  const Text& text_;
  std::string_view utf8_;
  std::size_t next_ = 0;
  mutable std::size_t knownByte_ = 0;
  mutable uint32 knownCharacter_ = 0;
  bool isAscii_;
  bool isBehindEnd_;
};

inline void RequireFrom(const wchar_t* name, int32 number, int32 least) {
  if (number < least) [[unlikely]]
    SUGThrow(ErrorMessage(59035, {name, std::to_wstring(number)}));
}

/// Whether some part of the text matches.
struct RegexpLikeOp {
  using Operands = std::tuple<TextOperand, TextOperand, TextOperand>;
  static constexpr const wchar_t* kName = L"RegexpLike";
  static constexpr bool kOnBytes = true;
  void Prepare(KnownOperands known) { expression_.Prepare(known[1], &known[2]); }
  template <class Text>
  bool Apply(const Text& text, const Text& pattern, const Text& options) {
    return expression_.Get(pattern, options).IsIn(utf8_.Read(text));
  }

 private:
  Utf8Reader utf8_;
  RecentExpression expression_;
};

/// SIMILAR TO: the third operand is the escape, one character, or none where it is empty.
struct SimilarToOp {
  using Operands = std::tuple<TextOperand, TextOperand, TextOperand>;
  static constexpr const wchar_t* kName = L"SimilarTo";
  static constexpr bool kOnBytes = true;
  SimilarToOp() { expression_.UseSimilarTo(); }
  template <class Text>
  bool Apply(const Text& text, const Text& pattern, const Text& escape) {
    if (escape.length_ > 1) [[unlikely]]
      SUGThrow(ErrorMessage(59025));
    return expression_.Get(pattern, escape).IsIn(utf8_.Read(text));
  }

 private:
  Utf8Reader utf8_;
  RecentExpression expression_;
};

/// How many matches there are from a position on; behind an empty one the search goes on a
/// character further.
struct RegexpCountOp {
  using Operands = std::tuple<TextOperand, TextOperand, CountOperand, TextOperand>;
  static constexpr const wchar_t* kName = L"RegexpCount";
  static constexpr bool kOnBytes = true;
  void Prepare(KnownOperands known) { expression_.Prepare(known[1], &known[3]); }
  template <class Text>
  int32 Apply(const Text& text, const Text& pattern, int32 position, const Text& options) {
    RequireFrom(kName, position, 1);
    Matches<Text> matches(expression_.Get(pattern, options), text, utf8_.Read(text), position);
    RegularExpression::Part part[1];
    int32 count = 0;
    while (matches.Next(part)) ++count;
    return count;
  }

 private:
  Utf8Reader utf8_;
  RecentExpression expression_;
};

/// The match of a number, the first is 1, or a group of it; NULL where there is none. Group -1 is
/// the first one of the pattern, and the whole match where that has none.
struct RegexpSubstrOp {
  using Operands =
      std::tuple<TextOperand, TextOperand, CountOperand, CountOperand, TextOperand, CountOperand>;
  static constexpr const wchar_t* kName = L"RegexpSubstr";
  static constexpr bool kOnBytes = true;
  static constexpr int32 kFirstGroup = std::numeric_limits<int32>::min();
  void Prepare(KnownOperands known) { expression_.Prepare(known[1], &known[4]); }
  template <class Text>
  std::optional<Text> Apply(const Text& text, const Text& pattern, int32 position, int32 number,
                            const Text& options, int32 group) {
    RequireFrom(kName, position, 1);
    RequireFrom(kName, number, 1);
    if (group != kFirstGroup) RequireFrom(kName, group, 0);
    const RegularExpression& expression = expression_.Get(pattern, options);
    if (group == kFirstGroup) group = expression.CountGroups() > 0 ? 1 : 0;
    if (group > expression.CountGroups()) return std::nullopt;
    parts_.resize(static_cast<std::size_t>(group) + 1);
    Matches<Text> matches(expression, text, utf8_.Read(text), position);
    for (; number > 0; --number) {
      if (!matches.Next(parts_)) return std::nullopt;
    }
    if (parts_.back().start < 0) return std::nullopt;
    return matches.PartOfText(parts_.back());
  }

 private:
  Utf8Reader utf8_;
  RecentExpression expression_;
  std::vector<RegularExpression::Part> parts_;
};

/// The text with matches replaced. In the replacement \1 to \9 stand for groups, \& for the match
/// and
/// \\ for a backslash. Of the matches from a position on the one of a number is replaced: all of
/// them for 0, or, of those who leave the number open, for option g, else the first.
struct RegexpReplaceOp {
  using Operands =
      std::tuple<TextOperand, TextOperand, TextOperand, CountOperand, CountOperand, TextOperand>;
  static constexpr const wchar_t* kName = L"RegexpReplace";
  static constexpr bool kOnBytes = true;
  static constexpr int32 kAsOptionsSay = std::numeric_limits<int32>::min();
  void Prepare(KnownOperands known) { expression_.Prepare(known[1], &known[5], true); }
  template <class Text, class Made>
  void Apply(const Text& text, const Text& pattern, const Text& replacement, int32 position,
             int32 number, const Text& options, Made& made) {
    RequireFrom(kName, position, 1);
    if (number != kAsOptionsSay) RequireFrom(kName, number, 0);
    const RegularExpression& expression = expression_.Get(pattern, options, true);
    if (number == kAsOptionsSay) number = expression_.GetOptions().isGlobal ? 0 : 1;
    Matches<Text> matches(expression, text, utf8_.Read(text), position);
    RegularExpression::Part parts[10];
    uint32 done = 0;
    for (int32 found = 1; matches.Next(parts); ++found) {
      if (number != 0 && found < number) continue;
      const uint32 start = matches.CharacterOf(parts[0].start);
      made.Append(PartOf(text, done, start - done));
      AppendReplacement(replacement, matches, parts, made);
      done = matches.CharacterOf(parts[0].end);
      if (number != 0) break;
    }
    made.Append(PartOf(text, done, text.length_ - done));
  }
  static uint64 FindLongest(KnownOperands known) {
    const uint64 perMatch =
        std::max<uint64>(known[2].length, 1) * std::max<uint64>(known[0].length, 1);
    const uint64 worst =
        known[0].length + std::min(perMatch, kMostCharacters) * (uint64{known[0].length} + 1);
    return LikelyLongest(worst, known[0].length);
  }

 private:
  template <class Text, class Made>
  static void AppendReplacement(const Text& replacement, const Matches<Text>& matches,
                                std::span<const RegularExpression::Part> parts, Made& made) {
    for (uint32 i = 0; i < replacement.length_; ++i) {
      const auto character = replacement.buffer_[i];
      const bool isEscape = character == '\\' && i + 1 < replacement.length_;
      const auto next = isEscape ? replacement.buffer_[i + 1] : character;
      if (isEscape && (next == '&' || (next >= '1' && next <= '9'))) {
        const RegularExpression::Part& part = parts[next == '&' ? 0 : next - '0'];
        if (part.start >= 0) made.Append(matches.PartOfText(part));
        ++i;
      } else {
        made.Append(static_cast<wchar_t>(character));
        if (isEscape && next == '\\') ++i;
      }
    }
  }

  Utf8Reader utf8_;
  RecentExpression expression_;
};

}  // namespace sqxer
