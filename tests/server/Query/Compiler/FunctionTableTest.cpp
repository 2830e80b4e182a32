#include <gtest/gtest.h>

#include <set>

#include "FunctionTable.h"
#include "PlanTesting.h"

namespace sqxer::testing {
namespace {

TEST(FunctionTable, EveryRowIsDescribedAndNoSignatureStandsTwice) {
  std::set<std::pair<std::string_view, int>> signatures;
  std::set<std::string> forms;
  for (const FunctionRow& row : FunctionTable()) {
    EXPECT_TRUE(signatures.insert({row.name, row.argumentCount}).second) << row.form;
    EXPECT_TRUE(forms.insert(row.form).second) << row.form;
    for (const char* text : {row.form, row.node, row.arguments, row.result, row.nulls,
                             row.description, row.example, row.exampleResult})
      EXPECT_TRUE(text && *text) << row.form;
    EXPECT_EQ(row.description[std::string_view(row.description).size() - 1], '.') << row.form;
    bool computes =
        row.kind == FunctionRow::Kind::kOperator || row.kind == FunctionRow::Kind::kFunction;
    EXPECT_EQ(row.make != nullptr, computes) << row.form;
    EXPECT_EQ(row.aggregate != nullptr, row.kind == FunctionRow::Kind::kAggregate) << row.form;
  }
}

TEST(FunctionTable, TheReferenceHoldsEveryRow) {
  std::string reference = FunctionReference();
  for (const FunctionRow& row : FunctionTable()) {
    EXPECT_NE(reference.find("### `" + std::string(row.form) + "`"), std::string::npos) << row.form;
    EXPECT_NE(reference.find(row.example), std::string::npos) << row.form;
  }
}

TEST(Statements, AreSplitAtSemicolonsOutsideOfLiterals) {
  auto split = [](const std::string& text) {
    std::vector<std::pair<int, std::string>> parts;
    for (const Statement& s : SplitStatements(text)) parts.push_back({s.offset, s.sql});
    return parts;
  };
  using Parts = std::vector<std::pair<int, std::string>>;
  EXPECT_EQ(split(" SELECT 1 ;;\n SELECT ';' ; -- ;"),
            (Parts{{1, "SELECT 1"}, {14, "SELECT ';'"}}));
  EXPECT_EQ(split("SELECT 1; SELEC 2"), (Parts{{0, "SELECT 1"}, {10, "SELEC 2"}}));
  EXPECT_EQ(split("SELECT U&'\\0041' ; SELECT U&'a' "),
            (Parts{{0, "SELECT U&'\\0041' "}, {19, "SELECT U&'a' "}}));
  EXPECT_EQ(split("SELECT 'open"), (Parts{{0, "SELECT 'open"}}));
  EXPECT_EQ(split(" ; \n"), Parts{});
}

TEST(Statements, PositionsBecomeLinesAndColumns) {
  std::string_view text = "SELECT '\u00e9',\n  x";
  for (auto [offset, line, column] : {std::tuple{0, 1, 1}, {10, 1, 10}, {15, 2, 3}, {99, 2, 4}}) {
    LineColumn at = FindLineColumn(text, offset);
    EXPECT_EQ(at.line, line) << offset;
    EXPECT_EQ(at.column, column) << offset;
  }
}

}  // namespace
}  // namespace sqxer::testing
