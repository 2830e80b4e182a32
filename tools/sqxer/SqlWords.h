#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sqxer {

/// A piece of SQL as far as completion has to know it.
struct SqlWord {
  enum class Kind { kWord, kQuotedName, kText, kSign };
  Kind kind;
  /// Without quotation marks; of a sign the character.
  std::string text;
  /// In bytes, the quotation mark included.
  std::size_t start = 0;
  std::size_t end = 0;
  /// A name or text without the quotation mark that ends it.
  bool isOpen = false;
};

/// The words of a text without its comments. One that ends within a comment has an open word of
/// kind kSign at its end.
std::vector<SqlWord> ReadSqlWords(std::string_view sql);

/// Words of the grammar that statements here are made of, in upper case, by name.
std::span<const std::string_view> ListKeywords();
/// Letter case ignored.
bool IsKeyword(std::string_view word);

bool IsDigit(char c);
/// What names have that stand without quotation marks; all that is not ASCII counts as letters.
bool IsNameLetter(char c);
/// A letter of ASCII in lower case; anything else as it is.
char FoldLetter(char c);
/// Letter case of ASCII ignored.
bool StartsWithFolded(std::string_view text, std::string_view prefix);

}  // namespace sqxer
