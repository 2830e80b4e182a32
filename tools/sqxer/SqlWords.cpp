#include "SqlWords.h"

#include <algorithm>

namespace sqxer {
namespace {

constexpr std::string_view kKeywords[] = {
    "ALL",      "AND",       "AS",      "ASC",    "BETWEEN",   "BY",        "CASE",
    "CAST",     "COPY",      "CREATE",  "CROSS",  "CURRENT",   "DESC",      "DESCRIBE",
    "DISTINCT", "DROP",      "ELSE",    "END",    "ESCAPE",    "EXCEPT",    "EXISTS",
    "EXPLAIN",  "FALSE",     "FILTER",  "FIRST",  "FOLLOWING", "FROM",      "FULL",
    "GROUP",    "GROUPING",  "HAVING",  "ILIKE",  "IN",        "INNER",     "INTERSECT",
    "INTERVAL", "INTO",      "IS",      "JOIN",   "LAST",      "LATERAL",   "LEFT",
    "LIKE",     "LIMIT",     "NATURAL", "NOT",    "NULL",      "NULLS",     "OFFSET",
    "ON",       "OR",        "ORDER",   "OUTER",  "OVER",      "PARTITION", "PRECEDING",
    "RANGE",    "REPLACE",   "RIGHT",   "ROLLUP", "ROWS",      "SELECT",    "SETS",
    "SHOW",     "SIMILAR",   "TABLE",   "TABLES", "THEN",      "TIMESTAMP", "TO",
    "TRUE",     "UNBOUNDED", "UNION",   "USING",  "VALUES",    "VIEW",      "WHEN",
    "WHERE",    "WINDOW",    "WITH",    "WITHIN"};

bool IsBlank(char c) { return std::string_view(" \t\n\r\f\v").find(c) != std::string_view::npos; }

class WordReader {
 public:
  explicit WordReader(std::string_view sql) : sql_(sql) {}

  std::vector<SqlWord> Read() {
    while (at_ < sql_.size()) ReadOne();
    return std::move(words_);
  }

 private:
  using Kind = SqlWord::Kind;

  bool Sees(std::string_view what) const { return sql_.substr(at_).starts_with(what); }

  void ReadOne() {
    const std::size_t start = at_;
    const char c = sql_[at_];
    if (IsBlank(c)) {
      ++at_;
    } else if (Sees("--")) {
      at_ = std::min(sql_.find('\n', at_), sql_.size());
      if (at_ == sql_.size()) Add(Kind::kSign, "", start, true);
    } else if (Sees("/*")) {
      const std::size_t end = sql_.find("*/", at_ + 2);
      at_ = end == std::string_view::npos ? sql_.size() : end + 2;
      if (end == std::string_view::npos) Add(Kind::kSign, "", start, true);
    } else if (c == '\'' || c == '"') {
      ReadQuoted(c);
    } else if (IsNameLetter(c)) {
      while (at_ < sql_.size() && IsNameLetter(sql_[at_])) ++at_;
      Add(Kind::kWord, std::string(sql_.substr(start, at_ - start)), start, false);
    } else {
      ++at_;
      Add(Kind::kSign, std::string(1, c), start, false);
    }
  }

  void ReadQuoted(char mark) {
    const std::size_t start = at_++;
    std::string text;
    bool isOpen = true;
    while (at_ < sql_.size() && isOpen) {
      const char c = sql_[at_++];
      if (c != mark) {
        text += c;
      } else if (at_ < sql_.size() && sql_[at_] == mark) {
        text += sql_[at_++];
      } else {
        isOpen = false;
      }
    }
    Add(mark == '"' ? Kind::kQuotedName : Kind::kText, std::move(text), start, isOpen);
  }

  void Add(Kind kind, std::string text, std::size_t start, bool isOpen) {
    words_.push_back({kind, std::move(text), start, at_, isOpen});
  }

  const std::string_view sql_;
  std::size_t at_ = 0;
  std::vector<SqlWord> words_;
};

}  // namespace

std::vector<SqlWord> ReadSqlWords(std::string_view sql) { return WordReader(sql).Read(); }

std::span<const std::string_view> ListKeywords() { return kKeywords; }

bool IsKeyword(std::string_view word) {
  return std::ranges::any_of(kKeywords, [&](std::string_view keyword) {
    return keyword.size() == word.size() && StartsWithFolded(keyword, word);
  });
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

char FoldLetter(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool IsNameLetter(char c) {
  const char folded = FoldLetter(c);
  return (folded >= 'a' && folded <= 'z') || IsDigit(c) || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

bool StartsWithFolded(std::string_view text, std::string_view prefix) {
  return text.size() >= prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), text.begin(),
                    [](char a, char b) { return FoldLetter(a) == FoldLetter(b); });
}

}  // namespace sqxer
