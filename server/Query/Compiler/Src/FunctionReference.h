#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace sqxer {

/// A page of the reference in Markdown.
struct ReferencePage {
  /// As files and `sqxer --functions` call it: "dates".
  std::string_view name;
  std::string_view title;
  std::string text;
};

/// All pages: first the one that says what a statement is, with an index of all names, then one for
/// each section of the function table and for what else there is to say.
std::vector<ReferencePage> MakeReference();

/// What the reference says of each operator, function and aggregate of a name, in Markdown; letter
/// case does not count. Empty when there is none.
std::string DescribeFunction(std::string_view name);

/// The forms of all operators and functions, section by section, for a terminal.
std::string ListForms();

/// What is said of statements, types, windows, and of other databases.
extern const char* const kStatementsText;
extern const char* const kTypesText;
extern const char* const kDifferencesText;
extern const char* const kSessionText;
extern const char* const kWindowsText;

}  // namespace sqxer
