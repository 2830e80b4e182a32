#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Engine/Error.h"

namespace sqxer::engine {

/// One statement of a text of several.
struct Statement {
  std::string sql;
  /// Where it starts in the whole text, in bytes: with the position of an Error, a place for
  /// FindPlace.
  std::size_t offset = 0;
};
/// The statements of a text, parted by semicolons, without the empty ones. What is no SQL is a
/// statement, too, which is refused when it is run.
SQXER_ENGINE_API std::vector<Statement> SplitStatements(const std::string& text);

/// What a text that goes on later, such as one that is typed line by line, is in the middle of at
/// its end.
enum class TextEnd : std::uint8_t {
  /// Between statements: there is none, or a semicolon ended the last one.
  kNothing,
  kStatement,
  /// Between the quotation marks of a text, of a name, or of $name$.
  kText,
  kName,
  kDollarText,
  kComment,
};
SQXER_ENGINE_API TextEnd FindTextEnd(std::string_view text);

/// A place in a text as people count, from 1; columns are characters.
struct Place {
  int line = 1;
  int column = 1;
};
/// The place of a byte offset; that of the end for one beyond.
SQXER_ENGINE_API Place FindPlace(std::string_view text, std::size_t offset);

/// Whether a text is UTF-8 without zero characters, as statements must be.
SQXER_ENGINE_API bool IsSqlText(std::string_view text);
/// All text of a file, or of standard input, to its end. Error 57002 where it cannot be read.
SQXER_ENGINE_API std::string ReadSqlText(const std::optional<std::string>& path = {});

/// What statements would refuse of their parameters, before there is one: error 57019 for a value
/// that its type does not take.
SQXER_ENGINE_API void CheckParameters(const std::vector<std::string>& parameters);

}  // namespace sqxer::engine
