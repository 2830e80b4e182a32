#include "ExampleText.h"

#include <algorithm>
#include <cctype>
#include <regex>

namespace sqxer::test {
namespace {

bool IsColumnName(const std::string& token, const std::string& behind) {
  if (token.front() == '"') return true;
  const auto isOfName = [](char c) { return std::islower(c) || std::isdigit(c) || c == '_'; };
  return std::islower(token.front()) && std::ranges::all_of(token, isOfName) &&
         !behind.starts_with('(');
}

}  // namespace

CutText CutAtLiterals(const std::string& expression, bool alsoNames) {
  static const std::regex token(
      R"((?:(?:date|time|timestamp|interval|double precision) *'[^']*')|'(?:[^']|'')*'|"[^"]*"|)"
      R"(\.?\d(?:[\d.]|e[+-]?)*|(?:true|false|null)\b|\w*char\([^)]*\)|[a-z_]\w*|[\s\S])",
      std::regex::icase);
  static const std::regex literal(R"((?:[a-z ]*'[\s\S]*|\.?\d[\s\S]*|true|false|null))",
                                  std::regex::icase);
  CutText cut;
  std::size_t from = 0;
  for (std::sregex_iterator at(expression.begin(), expression.end(), token), end; at != end; ++at) {
    const std::string text = at->str();
    const auto start = static_cast<std::size_t>(at->position());
    const std::string before = expression.substr(0, start);
    const bool isHole =
        std::regex_match(text, literal)
            ? !before.ends_with("IS ") && !before.ends_with("IS NOT ")
            : alsoNames && IsColumnName(text, expression.substr(start + text.size()));
    if (!isHole) continue;
    cut.pieces.push_back(expression.substr(from, start - from));
    cut.holes.push_back(text);
    from = start + text.size();
  }
  cut.pieces.push_back(expression.substr(from));
  return cut;
}

}  // namespace sqxer::test
