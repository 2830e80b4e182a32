#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sqxer {

/// A text of SQL made cheap to scan. Where signs of operators stand together the grammar's scanner
/// reads all of them again for every comment and operator that starts among them: comments within
/// and behind each other would cost the square of their number.
struct ScannableSql {
  /// The SQL with blanks in its comments (between slashes and stars; those that touch are one), so
  /// that everything else stands where it stood. Ends where a comment starts that does not end.
  std::string text;
  /// Where more than `mostSigns` signs stand together all the same.
  std::optional<int> longRun;
};
ScannableSql MakeScannable(std::string_view sql, std::size_t mostSigns);

/// What a text that goes on later is in the middle of at its end.
enum class SqlEnd {
  /// Between statements: there is none, or a semicolon ended the last one.
  kNothing,
  kStatement,
  /// Between the quotation marks of a text, of a name, or of $name$.
  kText,
  kName,
  kDollarText,
  kComment,
};
SqlEnd FindSqlEnd(std::string_view sql);

}  // namespace sqxer
