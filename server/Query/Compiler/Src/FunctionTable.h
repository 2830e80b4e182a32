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
    /// A double; of intervals an interval.
    kQuantile,
    /// uint4, never NULL.
    kCount,
    /// uint4: the number of a row's place.
    kPlace,
    /// A long text of at most `length` characters.
    kText,
  };
  Rule rule;
  /// Appended to the column's name where there are several results.
  const wchar_t* suffix = L"";
  uint32 length = 0;
};

/// The field that a result is written to, for an argument of a stored form.
ColumnInfo TypeOfResult(const AggregateResult& result, const ColumnInfo& argument);

/// Whether a letter of AggregateShape::arguments stands for a column.
constexpr bool IsColumnArgument(char kind) { return kind >= 'x' && kind <= 'z'; }

using Operands = std::vector<std::unique_ptr<RExpression>>;

/// What an aggregate is made of.
struct AggregateCall {
  /// The columns that it reads, in the order in which the node has them: positions in the record of
  /// its inputs.
  UInt16Vector columns;
  bool distinct = false;
  /// The order of each column, where the function ranks the rows by them.
  std::vector<SortOrder_t> orders;
  /// The arguments that are numbers without columns, unbound, in order, and behind them the shape's
  /// tree over a value. Make takes them over.
  Operands numbers;
  /// Which of the shape's words the call names; -1 without one.
  int word = -1;
};

/// What the plan builder knows of an aggregate.
struct AggregateShape {
  enum class Distinct {
    kHandled,
    kNoDifference,
    kRefused,
    /// The call is the sum of the distinct values by their count.
    kWrittenOut,
    /// The rows are sorted, and of equal arguments the node sees the first ones.
    kSorted,
    /// Only DISTINCT: other calls are refused.
    kRequired,
  };
  /// What ORDER BY within the call does.
  enum class Order {
    kNone,
    /// The rows come to the node in that order.
    kTaken,
    /// They come in the order of x, which ORDER BY may name again, to give the direction.
    kOfArgument,
  };
  /// A new generic aggregate.
  std::unique_ptr<Aggregate> (*Make)(AggregateCall& call);
  Distinct distinct;
  /// The type to which an integer column is brought when integer aggregates are wide, so that no
  /// result overflows or is cut; XeUnknown leaves it.
  XeDataType wideInteger;
  std::vector<AggregateResult> results;
  /// What the arguments are, a letter each: 'x', 'y' and 'z' the columns that the node reads, in
  /// this order, 'n' a number without columns, 'w' one of `words`; "*" alone is the star of
  /// COUNT(*), "x+" are columns of which rows count that have all. A row with fewer arguments has
  /// the first ones.
  std::string_view arguments = "x";
  /// What an argument 'w' may be, and what errors call it.
  std::vector<const wchar_t*> words = {};
  const wchar_t* wordMeaning = nullptr;
  /// The node takes a row of which only x or only y is NULL, as if it had a value: the plan makes
  /// both NULL there.
  bool nullTogether = false;
  /// A NULL is a value to it.
  bool takesNulls = false;
  /// What it holds of each row of a group until the group ends.
  uint32 heldBytes = 0;
  Order order = Order::kNone;
  /// Of dates and timestamps it is the moment of what it is of their seconds since 1970.
  bool takesMoments = false;
  /// Its buffers are as wide as what they hold, and not as its results may be.
  bool growsByNeed = false;
  /// A tree that the node evaluates itself, over a record of the first column's value alone.
  TypedExpressionPtr (*treeOverValue)(const TypedExpressionPtr& value) = nullptr;
};

/// Where an aggregate gives its results, and what it makes of its window.
enum class WindowForm {
  /// One for each group; with OVER for each partition, whose rows all get it, or over a frame for
  /// each row.
  kGroup,
  /// With OVER alone, as all that follow. For each row; the frame is ROWS UNBOUNDED PRECEDING.
  kRunning,
  /// The frame is ROWS n PRECEDING; n + 1 is the last of its numbers.
  kMoving,
  /// It takes the rows in order, and one row is enough for the result of that: the frame does not
  /// matter.
  kInOrder,
  /// A WindowFunction.
  kFramed,
  /// The frame does not matter. It ranks the rows: its columns are the keys of ORDER BY, which may
  /// be
  /// missing. They are such that NULL is a value among others, and comes last.
  kRankByKeys,
  /// The same; its column is the one key of ORDER BY.
  kRankByKey,
  /// No frame here and below. It ranks by its argument, which ORDER BY may name again, to give the
  /// direction.
  kRankByArgument,
  /// It takes the partition as it comes, without ORDER BY.
  kPartition,
};

/// As the number of arguments of a row: so many or more.
constexpr int AtLeast(int count) { return -count; }

/// One row of the table of what exists: the plan builder finds operators and functions here, and
/// the reference for users is printed from here. A new operator is one row.
struct FunctionRow {
  enum class Kind {
    kOperator,
    kFunction,
    kAggregate,
    /// An aggregate that exists with OVER alone.
    kWindow,
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
  WindowForm windowForm = WindowForm::kGroup;
  /// Its value may differ from row to row although nothing that it reads does.
  bool isVolatile = false;
  /// Which argument is a word, such as a unit of time: written bare or as a text. -1 for none.
  int word = -1;
  /// Its results of fixed length become long texts, without the blanks that fill them.
  bool givesLongText = false;
  /// How it looks its first argument up in the table that the second one names.
  enum class Lookup { kNone, kByText, kByKey };
  Lookup lookup = Lookup::kNone;
  /// Of an operator that is another one over these types: which arguments are its own. Null for
  /// the one that takes the rest.
  bool (*accepts)(const TypedArguments& arguments) = nullptr;
  /// The page of the reference that a function or aggregate stands on.
  std::string_view section = {};

  /// Whether it takes so many arguments, or the star.
  bool Takes(int count, bool star) const {
    if (star || count == 0) return argumentCount == 0 && star == TakesStar();
    return argumentCount < 0 ? count >= -argumentCount : count == argumentCount;
  }
  /// Of an aggregate: whether it is the one that takes the star.
  bool TakesStar() const { return aggregate != nullptr && aggregate->arguments == "*"; }
};

const std::vector<FunctionRow>& FunctionTable();

/// The row of an operator; null when there is none.
const FunctionRow* FindOperator(std::string_view name, int argumentCount);
/// The row of the same operator, or function, that accepts these arguments.
const FunctionRow& ChooseByTypes(const FunctionRow& row, const TypedArguments& arguments);
/// The rows of the functions and aggregates of a name, with OVER and without.
std::vector<const FunctionRow*> FindFunctions(std::string_view name);

/// A type's name as CAST has it.
const wchar_t* NameOfType(XeDataType type);

/// Raises 58004 for a name of no function, with the names that are nearest.
[[noreturn]] void ThrowUnknownFunction(std::string_view name, int position);

/// The errors of a node class, as the reference tells them; null for one that has none but 59001.
const char* ErrorsOfNode(std::string_view node);

}  // namespace sqxer
