#pragma once

#include <string>
#include <vector>

namespace sqxer::test {

/// An expression cut at its literals: `pieces` are one more than `holes`.
struct CutText {
  std::vector<std::string> pieces;
  std::vector<std::string> holes;
};

/// Cuts an expression of the function table's examples at its literals, but not at those behind
/// words such as DATE alone, behind IS, and the lengths of types. `alsoNames`: at the names of
/// columns too, which the examples write in small letters or between quotation marks.
CutText CutAtLiterals(const std::string& expression, bool alsoNames = false);

}  // namespace sqxer::test
