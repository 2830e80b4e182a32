#include <gtest/gtest.h>

#include <set>

#include "FunctionTable.h"
#include "PlanTesting.h"

namespace sqxer::testing {
namespace {

TEST(FunctionTable, NoSignatureStandsTwiceAndEveryOneMakesItsNode) {
  std::set<std::tuple<std::string_view, int, WindowForm>> signatures;
  for (const FunctionRow& row : FunctionTable()) {
    // Operators of other types, and forms that are only described, may share a name.
    const bool isShared = row.accepts != nullptr || row.kind == FunctionRow::Kind::kForm;
    EXPECT_TRUE(isShared || signatures.insert({row.name, row.argumentCount, row.windowForm}).second)
        << row.form;
    using enum FunctionRow::Kind;
    EXPECT_EQ(row.make != nullptr, row.kind == kOperator || row.kind == kFunction) << row.form;
    EXPECT_EQ(row.aggregate != nullptr, row.kind == kAggregate || row.kind == kWindow) << row.form;
  }
}

TEST(Statements, AreSplitAtSemicolonsOutsideOfLiterals) {
  const auto split = [](const std::string& text) {
    std::string parts;
    for (const Statement& s : SplitStatements(text))
      parts += std::to_string(s.offset) + s.sql + "|";
    return parts;
  };
  EXPECT_EQ(split(" SELECT 1 ;;\n SELECT ';' ; -- ;"), "1SELECT 1|14SELECT ';'|");
  EXPECT_EQ(split("SELECT 1; SELEC 2"), "0SELECT 1|10SELEC 2|");
  EXPECT_EQ(split("SELECT U&'\\0041' ; SELECT U&'a' "), "0SELECT U&'\\0041' |19SELECT U&'a' |");
  EXPECT_EQ(split("SELECT 'open") + split(" ; \n"), "0SELECT 'open|");
}

}  // namespace
}  // namespace sqxer::testing
