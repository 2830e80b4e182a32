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

/// All of the SQL that is understood, as a page of Markdown.
SQXER_ENGINE_API std::string DescribeSql();

/// The version of the library, as "1.2.3".
SQXER_ENGINE_API const char* GetVersion() noexcept;

}  // namespace sqxer::engine
