#include <algorithm>
#include <cctype>
#include <initializer_list>

#include "FunctionReference.h"
#include "FunctionTable.h"

namespace sqxer {
namespace {

using Kind = FunctionRow::Kind;

constexpr const char* kIndexText = R"(# SQL

What `sqxer` understands of SQL. `sqxer --functions` lists the operators and functions, and
`sqxer --functions NAME` prints what these pages say of one.

)";

struct Section {
  std::string_view name;
  std::string_view title;
  /// What stands in front of the rows, or all of the page.
  const char* const* text = nullptr;
};

constexpr Section kSections[] = {
    {"session", "Views, tables and other statements", &kSessionText},
    {"types", "Literals and types", &kTypesText},
    {"differences", "Where other databases differ", &kDifferencesText},
    {"operators", "Operators"},
    {"conditions", "Conditions"},
    {"conversions", "Conversions and JSON"},
    {"numbers", "Numbers"},
    {"texts", "Texts"},
    {"patterns", "Patterns"},
    {"dates", "Dates and times"},
    {"intervals", "Intervals and zones"},
    {"tables", "Looking up in tables"},
    {"aggregates", "Aggregates"},
    {"statistics", "Statistics"},
    {"windows", "Windows", &kWindowsText},
};

void Append(std::string& out, std::initializer_list<std::string_view> parts) {
  for (std::string_view part : parts) out += part;
}

bool IsOperator(const FunctionRow& row) {
  return row.kind == Kind::kOperator || row.kind == Kind::kForm;
}

std::string_view SectionOf(const FunctionRow& row) {
  if (IsOperator(row)) return "operators";
  return row.kind == Kind::kWindow ? "windows" : row.section;
}

/// Of ASCII letters.
std::string WithCase(std::string_view text, int (*change)(int)) {
  std::string changed(text);
  for (char& c : changed) c = static_cast<char>(change(static_cast<unsigned char>(c)));
  return changed;
}

void AppendRow(std::string& out, const FunctionRow& row) {
  Append(out, {"### `", row.form, "`\n\n", row.description, "\n\n"});
  Append(out, {"- Node: ", row.node, "\n- Arguments: ", row.arguments, "\n"});
  Append(out, {"- Result: ", row.result, "\n- NULL: ", row.nulls, "\n"});
  if (const char* errors = ErrorsOfNode(row.node)) Append(out, {"- Errors: ", errors, "\n"});
  Append(out, {"- Example: `", row.example, "` gives `", row.exampleResult, "`\n"});
}

/// Calls use(row, isFirst) for the rows of a section; `isFirst`: the name has not come before.
template <class Use>
void ForEachRow(std::string_view section, Use&& use) {
  std::vector<std::string_view> names;
  for (const FunctionRow& row : FunctionTable()) {
    if (SectionOf(row) != section) continue;
    const bool isFirst = std::ranges::find(names, row.name) == names.end();
    if (isFirst) names.push_back(row.name);
    use(row, isFirst);
  }
}

std::string MakePage(const Section& section) {
  std::string page;
  Append(page, {"# ", section.title, "\n\nA page of the [reference of SQL](../sql.md).\n"});
  if (section.text != nullptr) Append(page, {"\n", *section.text});
  bool hasRows = false;
  ForEachRow(section.name, [&](const FunctionRow& row, bool isFirst) {
    if (!hasRows) {
      page +=
          "\nThe results of the examples are rows as csv. Operands of other types are error "
          "59001.\n";
    }
    hasRows = true;
    page += '\n';
    // Where the index leads to.
    if (isFirst && !IsOperator(row)) Append(page, {"<a id=\"", row.name, "\"></a>\n\n"});
    AppendRow(page, row);
  });
  return page;
}

std::string MakeIndex() {
  std::string page = kIndexText;
  page += "| page | |\n|---|---|\n";
  for (const Section& section : kSections) {
    Append(page, {"| [", section.title, "](sql/", section.name, ".md) | "});
    std::string_view between;
    ForEachRow(section.name, [&](const FunctionRow& row, bool isFirst) {
      if (!isFirst || IsOperator(row)) return;
      Append(page, {between, "[", WithCase(row.name, &std::toupper), "](sql/", section.name, ".md#",
                    row.name, ")"});
      between = ", ";
    });
    page += " |\n";
  }
  Append(page, {"\n", kStatementsText});
  return page;
}

}  // namespace

std::vector<ReferencePage> MakeReference() {
  std::vector<ReferencePage> pages = {{"sql", "SQL", MakeIndex()}};
  for (const Section& section : kSections) {
    pages.push_back({section.name, section.title, MakePage(section)});
  }
  return pages;
}

std::string DescribeFunction(std::string_view name) {
  const std::string wanted = WithCase(name, &std::tolower);
  std::string text;
  for (const FunctionRow& row : FunctionTable()) {
    if (row.name != wanted) continue;
    if (!text.empty()) text += '\n';
    AppendRow(text, row);
  }
  return text;
}

std::string ListForms() {
  constexpr std::size_t kWidth = 100;
  std::string list;
  for (const Section& section : kSections) {
    std::string line;
    ForEachRow(section.name, [&](const FunctionRow& row, bool) {
      if (line.empty()) Append(list, {section.title, " (", section.name, ")\n"});
      const std::string_view form = row.form;
      if (!line.empty() && line.size() + form.size() + 3 > kWidth) {
        Append(list, {line, "\n"});
        line.clear();
      }
      Append(line, {line.empty() ? "  " : "   ", form});
    });
    if (!line.empty()) Append(list, {line, "\n\n"});
  }
  list += "--functions NAME tells what one of them does; NAME is also one of the pages";
  for (const ReferencePage& page : MakeReference()) Append(list, {" ", page.name});
  return list + "\n";
}

}  // namespace sqxer
