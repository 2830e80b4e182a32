#pragma once

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "Utility/XeTypes.h"

namespace sqxer::fuzz {

using Random = std::mt19937_64;

/// Whether it comes about, once in `count` times.
inline bool OneIn(Random& random, unsigned count) { return random() % count == 0; }
template <class T>
const T& Pick(Random& random, const std::vector<T>& from) {
  return from[random() % from.size()];
}

/// What values compute as: columns of several declared types are of one kind.
enum class Kind {
  kBit,
  kBoolean,
  kInteger,
  kUnsigned,
  kDouble,
  kNumeric,
  kText,
  kFixedText,
  kDate,
  kTime,
  kTimestamp,
  kInterval,
};
inline constexpr int kKinds = 12;

/// A declared type of columns, with values at its boundaries as a CSV file has them, unquoted.
struct Storage {
  /// As a schema has it.
  std::string declared;
  Kind kind;
  std::vector<std::string> values;
};
const std::vector<Storage>& Storages();

/// The kind of a type of the planner's; none for binaries and what no value has.
std::optional<Kind> KindOf(XeDataType type);

/// As CAST names it; for kUnsigned, which CAST does not have, null.
const char* CastName(Kind kind);

/// A text between quotation marks.
std::string Quoted(const std::string& text);

/// An expression without columns of that kind and value (as in a CSV file; nullopt is NULL), which
/// is typed as a column of it is. `declared` gives the length of texts. Not for kUnsigned.
std::string TypedConstant(Kind kind, const std::string& declared,
                          const std::optional<std::string>& value);
/// The same as a person writes it, where that differs: `5`, `'abc'`, `DATE '2012-01-31'`.
std::string PlainConstant(Kind kind, const std::string& value);

/// A value at a boundary of a kind, or from its middle.
std::string RandomValue(Kind kind, Random& random);

}  // namespace sqxer::fuzz
