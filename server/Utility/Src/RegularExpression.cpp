#include "Utility/RegularExpression.h"

#include <re2/re2.h>

#include <algorithm>
#include <array>
#include <vector>

#include "Utility/BaseStringUtil.h"
#include "Utility/ErrorMessage.h"
#include "Utility/XeMemory.h"

namespace sqxer {
namespace {

constexpr int kNoPattern = 59175;
constexpr int kNoOption = 59176;

[[noreturn]] void Refuse(std::wstring_view pattern, std::string_view reason) {
  SUGThrow(ErrorMessage(kNoPattern, {XeString(pattern), BaseStringUtil::Utf8ToString(reason)}));
}

/// A class as others write it and as Unicode has it, for within brackets.
struct ClassRow {
  std::wstring_view name;
  std::wstring_view members;
};
constexpr ClassRow kClasses[] = {
    {L"alpha", L"\\p{L}"},
    {L"alnum", L"\\p{L}\\p{Nd}\\p{Nl}"},
    {L"upper", L"\\p{Lu}"},
    {L"lower", L"\\p{Ll}"},
    {L"digit", L"0-9"},
    {L"space", L"\\s\\v\\x{85}\\p{Z}"},
    {L"word", L"\\p{L}\\p{Nd}\\p{Nl}_"},
    {L"punct", L"\\p{P}\\p{S}"},
    {L"graph", L"\\p{L}\\p{M}\\p{N}\\p{P}\\p{S}"},
    {L"print", L"\\p{L}\\p{M}\\p{N}\\p{P}\\p{S}\\p{Zs}"},
};

/// The meaning of a letter behind a backslash as members of a class; empty for others.
std::wstring_view MembersOf(wchar_t letter) {
  switch (letter) {
    case L'w':
      return kClasses[6].members;
    case L'd':
      return kClasses[4].members;
    case L's':
      return kClasses[5].members;
    default:
      return {};
  }
}

/// Writes a pattern as the library reads it.
class Translation {
 public:
  /// Where lines are seen, what excludes some characters excludes the end of a line, too.
  Translation(std::wstring_view pattern, const RegularExpression::Options& options)
      : pattern_(pattern), seesLines_(options.seesLines) {
    while (at_ < pattern_.size()) {
      const wchar_t c = pattern_[at_];
      if (options.isExpanded && (c == L' ' || (c >= L'\t' && c <= L'\r'))) {
        ++at_;
      } else if (options.isExpanded && c == L'#') {
        at_ = std::min(pattern_.find(L'\n', at_), pattern_.size());
      } else if (c == L'\\') {
        TakeEscape(false);
      } else if (c == L'[') {
        TakeBrackets();
      } else if (c == L'{') {
        TakeBound();
      } else {
        if (c == L'?' && isRepetition_) isLazy_ = true;
        // A question mark behind a parenthesis begins an option.
        isRepetition_ = !isRepetition_ && (c == L'*' || c == L'+' || c == L'}' ||
                                           (c == L'?' && (at_ == 0 || pattern_[at_ - 1] != L'(')));
        text_ += c;
        ++at_;
      }
    }
  }

  const XeString& GetText() const { return text_; }
  bool IsLazy() const { return isLazy_; }

 private:
  void TakeEscape(bool isInBrackets) {
    isRepetition_ = false;
    if (at_ + 1 >= pattern_.size()) Refuse(pattern_, "it ends with a backslash");
    const wchar_t letter = pattern_[at_ + 1];
    at_ += 2;
    if (const std::wstring_view members = MembersOf(letter); !members.empty()) {
      text_ += isInBrackets ? XeString(members) : L"[" + XeString(members) + L"]";
      return;
    }
    switch (letter) {
      case L'W':
      case L'D':
      case L'S':
        if (isInBrackets) Refuse(pattern_, "a class that excludes stands in brackets");
        text_ += L"[^";
        text_ += MembersOf(static_cast<wchar_t>(letter - L'A' + L'a'));
        text_ += L']';
        return;
      case L'y':
        text_ += L"\\b";
        return;
      case L'Y':
        text_ += L"\\B";
        return;
      case L'Z':
        text_ += L"\\z";
        return;
      case L'u':
        return TakeCodePoint(4);
      case L'U':
        return TakeCodePoint(8);
      default:
        // Letters that mean something else to the library, or nothing to people.
        if (letter < 0x80 && BaseStringUtil::IsAlphanumeric(letter) &&
            std::wstring_view(L"bBAzntrfvax0123456789").find(letter) == std::wstring_view::npos) {
          Refuse(pattern_, "an escape is not known");
        }
        if (letter < 0x80) text_ += L'\\';
        text_ += letter;
    }
  }
  void TakeCodePoint(std::size_t digits) {
    text_ += L"\\x{";
    text_ += pattern_.substr(at_, digits);
    text_ += L'}';
    at_ = std::min(at_ + digits, pattern_.size());
  }
  /// A number of repetitions, or a brace that stands for itself.
  void TakeBound() {
    const auto isDigit = [](wchar_t c) { return c >= L'0' && c <= L'9'; };
    text_ += pattern_[at_++];
    if (at_ == pattern_.size() || !isDigit(pattern_[at_])) return;
    while (at_ < pattern_.size() && (isDigit(pattern_[at_]) || pattern_[at_] == L',')) {
      text_ += pattern_[at_++];
    }
    if (at_ == pattern_.size() || pattern_[at_] != L'}') {
      Refuse(pattern_, "a number of repetitions does not end");
    }
  }
  void TakeBrackets() {
    isRepetition_ = false;
    text_ += pattern_[at_++];
    if (at_ < pattern_.size() && pattern_[at_] == L'^') {
      text_ += pattern_[at_++];
      if (seesLines_) text_ += L"\\n";
    }
    // Here it is a member.
    if (at_ < pattern_.size() && pattern_[at_] == L']') {
      text_ += L"\\]";
      ++at_;
    }
    while (at_ < pattern_.size() && pattern_[at_] != L']') {
      const wchar_t c = pattern_[at_];
      if (c == L'\\') {
        TakeEscape(true);
      } else if (pattern_.substr(at_, 2) == L"[:") {
        const std::size_t end = pattern_.find(L":]", at_ + 2);
        if (end == std::wstring_view::npos) Refuse(pattern_, "a class in brackets does not end");
        const std::wstring_view name = pattern_.substr(at_ + 2, end - at_ - 2);
        const auto* const row = std::ranges::find(kClasses, name, &ClassRow::name);
        text_ += row != std::end(kClasses) ? row->members : pattern_.substr(at_, end + 2 - at_);
        at_ = end + 2;
      } else if (pattern_.substr(at_, 2) == L"[." || pattern_.substr(at_, 2) == L"[=") {
        Refuse(pattern_, "brackets name a character");
      } else {
        if (c == L'[') text_ += L'\\';
        text_ += c;
        ++at_;
      }
    }
    if (at_ == pattern_.size()) Refuse(pattern_, "a bracket does not end");
    text_ += pattern_[at_++];
  }

  std::wstring_view pattern_;
  bool seesLines_;
  std::size_t at_ = 0;
  XeString text_;
  /// The character before was one that repeats.
  bool isRepetition_ = false;
  bool isLazy_ = false;
};

/// The place behind brackets that begin at a place, or the end of the pattern: a bracket that
/// stands first in them, and one that ends a class, do not end them.
std::size_t EndOfBrackets(std::wstring_view pattern, std::size_t start) {
  std::size_t at = start + 1;
  if (at < pattern.size() && pattern[at] == L'^') ++at;
  if (at < pattern.size() && pattern[at] == L']') ++at;
  for (; at < pattern.size() && pattern[at] != L']'; ++at) {
    if (pattern.substr(at, 2) != L"[:") continue;
    const std::size_t end = pattern.find(L":]", at + 2);
    if (end != std::wstring_view::npos) at = end + 1;
  }
  return std::min(at + 1, pattern.size());
}

}  // namespace

class RegularExpression::Impl {
  /// The most that the library takes for a pattern: where it does not get that, it loses what it
  /// has.
  static void ClaimRoom(const RE2::Options& options) {
    MemoryGateway::Claim(static_cast<std::size_t>(options.max_mem()));
  }

 public:
  Impl(const std::string& pattern, const RE2::Options& options)
      : re2_((ClaimRoom(options), pattern), options) {}
  RE2 re2_;
};

RegularExpression::Options RegularExpression::ReadOptions(std::wstring_view letters,
                                                          bool allowsGlobal) {
  Options options;
  for (const wchar_t letter : letters) {
    switch (letter) {
      case L'i':
        options.ignoresCase = true;
        break;
      case L'c':
        options.ignoresCase = false;
        break;
      case L'n':
      case L'm':
        options.seesLines = options.anchorsAtLines = true;
        break;
      case L'p':
      case L'w':
        options.seesLines = letter == L'p';
        options.anchorsAtLines = letter == L'w';
        break;
      case L's':
        options.seesLines = options.anchorsAtLines = false;
        break;
      case L'x':
      case L't':
        options.isExpanded = letter == L'x';
        break;
      case L'q':
        options.isPlain = true;
        break;
      case L'g':
        if (allowsGlobal) {
          options.isGlobal = true;
          break;
        }
        [[fallthrough]];
      default:
        SUGThrow(ErrorMessage(kNoOption, {XeString(1, letter)}));
    }
  }
  return options;
}

RegularExpression::RegularExpression(std::wstring_view pattern, const Options& options) {
  RE2::Options re2;
  re2.set_log_errors(false);
  re2.set_case_sensitive(!options.ignoresCase);
  re2.set_literal(options.isPlain);
  re2.set_dot_nl(!options.seesLines);
  std::string text;
  if (options.isPlain) {
    text = BaseStringUtil::StringToUtf8(pattern);
  } else {
    const Translation translation(pattern, options);
    re2.set_longest_match(!translation.IsLazy());
    re2.set_never_nl(false);
    if (options.anchorsAtLines) text = "(?m)";
    BaseStringUtil::AppendUtf8(text, translation.GetText());
  }
  impl_ = std::make_unique<Impl>(text, re2);
  if (!impl_->re2_.ok()) Refuse(pattern, impl_->re2_.error());
}

RegularExpression::~RegularExpression() = default;

XeString RegularExpression::OfSimilarTo(std::wstring_view pattern, wchar_t escape) {
  XeString text = L"^(?:";
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const wchar_t c = pattern[i];
    if (c == escape && escape != 0) {
      if (++i == pattern.size()) break;
      text += L'\\';
      text += pattern[i];
    } else if (c == L'[') {
      const std::size_t end = EndOfBrackets(pattern, i);
      for (; i < end; ++i) {
        if (pattern[i] == L'\\') text += L'\\';
        text += pattern[i];
      }
      --i;
    } else if (c == L'%') {
      text += L".*";
    } else if (c == L'_') {
      text += L'.';
    } else if (c == L'(') {
      text += L"(?:";
    } else {
      if (c == L'.' || c == L'^' || c == L'$' || c == L'\\') text += L'\\';
      text += c;
    }
  }
  return text + L")$";
}

bool RegularExpression::IsIn(std::string_view text) const {
  return impl_->re2_.Match({text.data(), text.size()}, 0, text.size(), RE2::UNANCHORED, nullptr, 0);
}

bool RegularExpression::Find(std::string_view text, std::size_t from, std::span<Part> parts) const {
  // As many as patterns of people have; what goes beyond is not asked for.
  std::array<re2::StringPiece, 16> found;
  const std::size_t count =
      std::min({parts.size(), found.size(), static_cast<std::size_t>(CountGroups()) + 1});
  if (!impl_->re2_.Match({text.data(), text.size()}, from, text.size(), RE2::UNANCHORED,
                         found.data(), static_cast<int>(count))) {
    return false;
  }
  std::ranges::fill(parts, Part());
  for (std::size_t i = 0; i < count; ++i) {
    if (found[i].data() == nullptr) continue;
    const int64 start = found[i].data() - text.data();
    parts[i] = {start, start + static_cast<int64>(found[i].size())};
  }
  return true;
}

int RegularExpression::CountGroups() const { return impl_->re2_.NumberOfCapturingGroups(); }

}  // namespace sqxer
