#include "SqlComments.h"

#include <algorithm>
#include <utility>

namespace sqxer {
namespace {

constexpr std::size_t kNowhere = std::string_view::npos;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsNameStart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}
bool IsSign(char c) { return std::string_view("~!@#^&|`?+-*/%<>=").find(c) != kNowhere; }
bool IsBlank(char c) { return std::string_view(" \t\n\r\f\v").find(c) != kNowhere; }

/// Goes over the tokens as the grammar's scanner does, as far as it takes to know the comments from
/// what looks like them in texts and names.
class CommentBlanker {
 public:
  CommentBlanker(std::string_view sql, std::size_t mostSigns)
      : sql_(sql), mostSigns_(mostSigns), result_{std::string(sql), std::nullopt} {}

  ScannableSql Run() {
    while (at_ < sql_.size()) {
      const std::size_t signsBefore = std::exchange(signs_, 0);
      SkipToken(signsBefore);
      if (signs_ > mostSigns_ && !result_.longRun) result_.longRun = static_cast<int>(at_ - 1);
    }
    return std::move(result_);
  }

  /// Behind Run.
  SqlEnd GetEnd() const { return end_; }

 private:
  bool Sees(std::string_view what) const { return sql_.substr(at_).starts_with(what); }
  /// `open` is what the text is in the middle of when there is no end.
  void SkipPast(std::string_view end, std::size_t from, SqlEnd open) {
    const std::size_t found = sql_.find(end, from);
    at_ = found == kNowhere ? sql_.size() : found + end.size();
    if (found == kNowhere) end_ = open;
  }
  template <class Condition>
  void SkipWhile(Condition&& condition) {
    while (at_ < sql_.size() && condition(sql_[at_])) ++at_;
  }

  void SkipToken(std::size_t signsBefore) {
    const char c = sql_[at_];
    if (IsBlank(c)) {
      ++at_;
      return;
    }
    const bool goesOn = std::exchange(endedEscapes_, false);
    if (Sees("--")) {
      SkipWhile([](char d) { return d != '\n' && d != '\r'; });
      return;
    }
    if (Sees("/*")) {
      signs_ = BlankComment() ? 2 : signsBefore + 4;
      return;
    }
    end_ = c == ';' ? SqlEnd::kNothing : SqlEnd::kStatement;
    if (c == '\'') {
      SkipText(goesOn);
    } else if (c == '"') {
      SkipPast("\"", at_ + 1, SqlEnd::kName);
    } else if (c == '$') {
      SkipDollar();
    } else if (IsNameStart(c)) {
      SkipName();
    } else {
      if (IsSign(c)) signs_ = signsBefore + 1;
      ++at_;
    }
  }

  void SkipName() {
    const std::size_t start = at_;
    SkipWhile([](char c) { return IsNameStart(c) || IsDigit(c) || c == '$'; });
    const bool isE = at_ == start + 1 && (sql_[start] | 0x20) == 'e';
    if (isE && Sees("'")) SkipText(true);
  }

  /// `hasEscapes`: E'...', whose parts on further lines have them too.
  void SkipText(bool hasEscapes) {
    if (!hasEscapes) return SkipPast("'", at_ + 1, SqlEnd::kText);
    for (++at_; at_ < sql_.size() && sql_[at_] != '\''; ++at_) {
      if (sql_[at_] == '\\') ++at_;
    }
    if (at_ >= sql_.size()) end_ = SqlEnd::kText;
    at_ = std::min(at_ + 1, sql_.size());
    endedEscapes_ = true;
  }

  /// $1, or $name$ ... $name$.
  void SkipDollar() {
    const std::size_t start = at_++;
    const bool isNumber = at_ < sql_.size() && IsDigit(sql_[at_]);
    SkipWhile([&](char c) { return IsDigit(c) || (!isNumber && IsNameStart(c)); });
    if (isNumber || !Sees("$")) {
      at_ = start + 1;
      return;
    }
    SkipPast(sql_.substr(start, at_ + 1 - start), at_ + 1, SqlEnd::kDollarText);
  }

  /// Whether there are blanks in it now.
  bool BlankComment() {
    const std::size_t start = at_;
    int depth = 0;
    do {
      if (Sees("/*")) {
        ++depth;
        at_ += 2;
      } else if (Sees("*/")) {
        --depth;
        at_ += 2;
      } else {
        ++at_;
      }
    } while (depth > 0 && at_ < sql_.size());
    if (depth > 0) {
      result_.text.resize(start + 2);
      end_ = SqlEnd::kComment;
      return true;
    }
    // One that touches the one before is part of it.
    const std::size_t from = start == commentEnd_ ? start - 2 : start + 2;
    std::fill(result_.text.begin() + static_cast<std::ptrdiff_t>(from),
              result_.text.begin() + static_cast<std::ptrdiff_t>(at_ - 2), ' ');
    commentEnd_ = at_;
    return from + 2 < at_;
  }

  const std::string_view sql_;
  const std::size_t mostSigns_;
  ScannableSql result_;
  std::size_t at_ = 0;
  std::size_t commentEnd_ = kNowhere;
  /// How many stand together before here.
  std::size_t signs_ = 0;
  /// Behind a text with escapes and nothing but blanks.
  bool endedEscapes_ = false;
  SqlEnd end_ = SqlEnd::kNothing;
};

}  // namespace

ScannableSql MakeScannable(std::string_view sql, std::size_t mostSigns) {
  return CommentBlanker(sql, mostSigns).Run();
}

SqlEnd FindSqlEnd(std::string_view sql) {
  CommentBlanker walk(sql, kNowhere);
  walk.Run();
  return walk.GetEnd();
}

}  // namespace sqxer
