#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// A regular expression, read once and matched against any number of UTF-8 texts, in time that
/// grows with the text alone. The syntax is that of POSIX's extended expressions with Perl's
/// classes (\d \w \s), lazy repetitions, (?:...) and (?i); there are no back references and no
/// looking around. Classes are Unicode's. A dot matches every character, ^ and $ the ends of the
/// text. Of several matches at the first place the longest counts, but the first alternative where
/// the pattern has a lazy repetition.
class XEUTILITY_API RegularExpression {
 public:
  struct Options {
    bool ignoresCase = false;
    /// A dot and a class that excludes do not match the end of a line.
    bool seesLines = false;
    /// ^ and $ match at lines.
    bool anchorsAtLines = false;
    /// Blanks and what follows a # in a line say nothing, outside of brackets.
    bool isExpanded = false;
    /// The pattern stands for itself.
    bool isPlain = false;
    /// All matches are meant: for those who replace.
    bool isGlobal = false;
    bool operator==(const Options&) const = default;
  };
  /// From the letters i and c; n and m, which see lines in both ways, p and w, which do in the
  /// first and in the second alone, s, which does in none; x, t for its opposite, q, g. Error 59176
  /// (the letter) for any other one, and for g unless it is allowed.
  static Options ReadOptions(std::wstring_view letters, bool allowsGlobal);

  /// Error 59175 (pattern, reason) for what is no expression of this kind.
  RegularExpression(std::wstring_view pattern, const Options& options);
  ~RegularExpression();
  RegularExpression(const RegularExpression&) = delete;
  RegularExpression& operator=(const RegularExpression&) = delete;

  /// The pattern of SIMILAR TO as one: % and _ as in LIKE, | * + ? {m} () [] as here, and the whole
  /// text must match. `escape` makes a character plain; 0 for none. Error 59175.
  static XeString OfSimilarTo(std::wstring_view pattern, wchar_t escape);

  /// Whether some part of the text matches.
  bool IsIn(std::string_view text) const;
  /// A part of a text as byte offsets; -1 twice for a group that took no part.
  struct Part {
    int64 start = -1;
    int64 end = -1;
  };
  /// Finds the first match at or behind an offset. The whole match and the first groups go to
  /// `parts`, as many as it has room for.
  bool Find(std::string_view text, std::size_t from, std::span<Part> parts) const;
  int CountGroups() const;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace sqxer
