#pragma once

#include <functional>

#include "Compiler.h"
#include "server/Utility/UtilityTesting.h"

namespace sqxer::testing {

/// One table `t` with a nullable column of every type a table can have, and names that take care:
/// "Cost Repair" with a blank, "Dup" and "DUP" that differ in case only, "Only" with a capital.
class EveryTypeCatalog : public Catalog {
 public:
  EveryTypeCatalog();
  const TableSchema* FindTable(const XeString& name, const TableRequest&) override;
  TableSchema table{L"t", {}};
};

/// Binds every tree of a statement's plan over EveryTypeCatalog as the executor does and prints the
/// plan: one "step: trees" a line, a tree as its class names with their operands in parentheses.
/// Columns and constants are their text and what follows Extract or Constant in their class names.
std::string Explain(const std::string& sql);
/// Only the outputs of SELECT `expression` FROM t.
std::string Output(const std::string& expression);
/// "code @position: sentence", or "planned" when there is no error.
std::string ErrorOf(const std::string& sql);

/// Expects results as a table tells them, from its second line on: "input => result", several of
/// them on a line parted by ";;", or an input and below it the lines of its result, indented by two
/// blanks (by four: the line before goes on).
void ExpectResults(const std::function<std::string(const std::string&)>& compute,
                   const std::string& table);

}  // namespace sqxer::testing
