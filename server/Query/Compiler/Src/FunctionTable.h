#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Catalog.h"
#include "OperandRules.h"
#include "SQXERExpression.h"

namespace sqxer {

class Aggregate;

/// How one of an aggregate's results is typed.
struct AggregateResult {
  enum class Rule {
    /// int4, uint4, double or numeric, whichever computes the argument's type.
    kComputed,
    /// The argument's own stored type.
    kArgument,
    kDouble,
    /// uint4, never NULL.
    kCount,
    /// The long text of a joined list.
    kList,
  };
  Rule rule;
  /// Appended to the column's name where there are several results.
  const wchar_t* suffix;
};

/// The field that a result is written to, for an argument of a stored form.
ColumnInfo TypeOfResult(const AggregateResult& result, const ColumnInfo& argument);

/// What the plan builder knows of an aggregate.
struct AggregateShape {
  enum class Distinct { kHandled, kNoDifference, kRefused };
  /// A new generic aggregate over input column `column`.
  std::unique_ptr<Aggregate> (*Make)(uint16 column, bool distinct);
  Distinct distinct;
  /// The type to which an integer argument is brought when integer aggregates are wide, so that no
  /// result overflows or is cut; XeUnknown leaves it.
  XeDataType wideInteger;
  std::vector<AggregateResult> results;
  /// What the second argument must be, where there is one.
  const wchar_t* delimiter = nullptr;
};

using Operands = std::vector<std::unique_ptr<RExpression>>;

/// As the number of arguments of a row: so many or more.
constexpr int AtLeast(int count) { return -count; }

/// One row of the table of what exists: the plan builder finds operators and functions here, and
/// the reference for users is printed from here. A new operator is one row.
struct FunctionRow {
  enum class Kind {
    kOperator,
    kFunction,
    kAggregate,
    /// Another way to write an operator; the parser reads it as that one.
    kForm,
    /// A function of the planner's own, whose type depends on the rows; it is only described here.
    kReader,
  };
  Kind kind;
  /// As calls are looked up: lower case, with the number of arguments (AtLeast for several).
  std::string_view name;
  int argumentCount;

  /// How it is written.
  const char* form;
  /// The node classes behind it, generic ones.
  const char* node;
  const char* arguments;
  const char* result;
  const char* nulls;
  const char* description;
  /// A statement that runs over examples/data, and its rows as csv without a header line.
  const char* example;
  const char* exampleResult;

  OperandRule prepare = nullptr;
  /// A new generic node over the operands of a call. The node takes over those that it evaluates;
  /// others, such as a format, it has read from the call's constants.
  std::unique_ptr<RExpression> (*make)(const TypedExpression& call, Operands& operands) = nullptr;
  const AggregateShape* aggregate = nullptr;
  /// Its value may differ from row to row although nothing that it reads does.
  bool isVolatile = false;
  /// Which argument is a word, such as a unit of time: written bare or as a text. -1 for none.
  int word = -1;
  /// Its results of fixed length become long texts, without the blanks that fill them.
  bool givesLongText = false;
  /// How it looks its first argument up in the table that the second one names.
  enum class Lookup { kNone, kByText, kByKey };
  Lookup lookup = Lookup::kNone;

  bool Takes(int count) const {
    return argumentCount < 0 ? count >= -argumentCount : count == argumentCount;
  }
};

const std::vector<FunctionRow>& FunctionTable();

/// The row of an operator, or of a function or aggregate; null when there is none. `anyCount` (may
/// be null) receives whether the name exists with another number of arguments.
const FunctionRow* FindOperator(std::string_view name, int argumentCount);
const FunctionRow* FindFunction(std::string_view name, int argumentCount,
                                const FunctionRow** anyCount = nullptr);

/// The errors of a node class, as the reference tells them; null for one that has none but 59001.
const char* ErrorsOfNode(std::string_view node);

/// The reference in Markdown: what SQL is understood, and every row of the table. It is
/// docs/sql.md, and what `sqxer --functions` prints.
std::string FunctionReference();

}  // namespace sqxer
