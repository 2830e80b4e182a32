#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Engine/Error.h"

namespace sqxer::engine {

/// A way to call an operator or function; one of several arguments may have more of them. The texts
/// stay as long as the process.
struct FunctionDescription {
  enum class Kind : std::uint8_t {
    kOperator,
    kFunction,
    kAggregate,
    /// An aggregate that exists with OVER alone.
    kWindow,
  };
  Kind kind;
  /// In lower case, as calls name it: "sum", "||".
  std::string_view name;
  /// How it is written: "SUM(x)".
  std::string_view form;
  std::string_view description;
  /// What it takes and gives, and what it makes of NULL.
  std::string_view arguments;
  std::string_view result;
  std::string_view nulls;
  /// A statement, and its rows as CSV without a header.
  std::string_view example;
  std::string_view exampleResult;
};
/// All that are built in.
SQXER_ENGINE_API std::vector<FunctionDescription> ListFunctions();

/// A switch of Session::Set. The texts stay as long as the process.
struct SwitchDescription {
  std::string_view name;
  /// What a session has that was not told otherwise.
  std::string_view defaultValue;
  /// Those that it takes.
  std::string_view values;
  std::string_view description;
};
SQXER_ENGINE_API std::vector<SwitchDescription> ListSwitches();

/// A page of the reference of SQL, in Markdown.
struct SqlPage {
  /// "dates". The texts of both stay as long as the process.
  std::string_view name;
  std::string_view title;
  std::string text;
};
/// All pages, first the one that says what a statement is and leads to the others.
SQXER_ENGINE_API std::vector<SqlPage> DescribeSql();
/// What those pages say of the operators, functions and aggregates of a name, whose letter case
/// does not matter, or the page of that name. Error 58004 when there is none.
SQXER_ENGINE_API std::string DescribeSql(std::string_view name);
/// How they all are written, page by page, for a terminal.
SQXER_ENGINE_API std::string ListSqlForms();

/// Of some names those that a person may have meant by another one: the ones that the fewest
/// letters make different, if these are few; letter case counts. At most three, in their order.
SQXER_ENGINE_API std::vector<std::string> FindNearNames(std::string_view name,
                                                        const std::vector<std::string>& names);

/// The version of the library, as "1.2.3".
SQXER_ENGINE_API const char* GetVersion() noexcept;

}  // namespace sqxer::engine
