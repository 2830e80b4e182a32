#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sqxer::engine {

/// A condition of a statement: that a column compares so with a literal.
struct SourceCondition {
  enum class Comparison : std::uint8_t {
    kEqual,
    kNotEqual,
    kLess,
    kLessOrEqual,
    kGreater,
    kGreaterOrEqual,
    kIsNull,
    kIsNotNull,
  };
  struct Literal {
    enum class Kind : std::uint8_t { kNumber, kText, kDate, kTimestamp };
    Kind kind;
    /// As it is written, without quotation marks.
    std::string text;
  };
  /// As it is named in the schema of its table.
  std::string column;
  Comparison comparison;
  /// One; none of a test for NULL; of kEqual several, one of which it has to equal.
  std::vector<Literal> values;
};

}  // namespace sqxer::engine
