#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace sqxer {

/// Reads what begins a statement, word by word, as far as the grammar has no say in it. Blanks and
/// comments are passed over.
class WordReader {
 public:
  /// `sql` must outlive it.
  explicit WordReader(std::string_view sql) : sql_(sql) {}

  struct Word {
    /// Letters, digits and underscores with ASCII letters in lower case, or one other character.
    /// Empty at the end.
    std::string text;
    std::size_t start = 0;
    std::size_t end = 0;
    bool Is(std::string_view other) const { return text == other; }
  };
  Word Next() {
    SkipBlanks();
    Word word{{}, at_, at_};
    while (at_ < sql_.size() && IsPartOfWord(sql_[at_])) {
      const char c = sql_[at_++];
      word.text += c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
    }
    if (word.text.empty() && at_ < sql_.size()) word.text = sql_[at_++];
    word.end = at_;
    return word;
  }
  /// Goes on behind the next character of a kind.
  void SkipTo(char c) { at_ = std::min(sql_.find(c, at_), sql_.size() - 1) + 1; }
  /// The next word, which stays the next one.
  Word Peek() const { return WordReader(*this).Next(); }

 private:
  static bool IsPartOfWord(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           static_cast<unsigned char>(c) >= 0x80;
  }

  void SkipBlanks() {
    for (;;) {
      const std::string_view rest = sql_.substr(at_);
      if (rest.starts_with("--")) {
        at_ = std::min(sql_.find('\n', at_), sql_.size());
      } else if (rest.starts_with("/*")) {
        SkipComment();
      } else if (!rest.empty() &&
                 std::string_view(" \t\r\n\f\v").find(rest.front()) != std::string_view::npos) {
        ++at_;
      } else {
        return;
      }
    }
  }
  /// Comments nest.
  void SkipComment() {
    int depth = 0;
    while (at_ < sql_.size()) {
      const std::string_view two = sql_.substr(at_, 2);
      at_ += two == "/*" || two == "*/" ? 2 : 1;
      depth += two == "/*" ? 1 : two == "*/" ? -1 : 0;
      if (depth == 0) return;
    }
  }

  std::string_view sql_;
  std::size_t at_ = 0;
};

}  // namespace sqxer
