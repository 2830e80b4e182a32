#pragma once

#include <optional>
#include <vector>

#include "Compiler.h"
#include "FunctionTable.h"
#include "JsonColumns.h"
#include "NameScope.h"
#include "TypedExpression.h"

namespace sqxer {

/// A column of the result, as far as it is known.
struct TypedOutput {
  XeString name;
  TypedExpressionPtr expression;
};

/// Resolves the names of expressions, finds their operators and functions, settles their types and
/// computes what is constant.
class ExpressionTyper {
 public:
  /// Where an expression stands, and so what it may hold.
  struct Clause {
    const wchar_t* name;
    bool aggregates = false;
    /// Where names that are no columns are looked up last; null for none.
    const std::vector<TypedOutput>* aliases = nullptr;
    /// Calls with OVER.
    bool windows = false;
  };

  /// `json` (may be null: there are none) types the values of JSON documents. All must outlive the
  /// typer.
  ExpressionTyper(const NameScope& scope, Catalog& catalog, const QueryParameters& parameters,
                  JsonColumns* json = nullptr)
      : scope_(scope), catalog_(catalog), parameters_(parameters), json_(json) {}

  TypedExpressionPtr Type(const SqlExpression& expression, const Clause& clause) const;
  /// The results of an aggregate, one expression each; nothing for any other expression.
  std::vector<TypedExpressionPtr> TypeSeveralResults(const SqlExpression& expression,
                                                     const Clause& clause) const;
  /// A column of the table by its position there.
  TypedExpressionPtr TypeColumn(int column, int position) const;
  /// A number of rows, known while planning: a whole number that is not negative (58017, with the
  /// clause), or nothing for NULL.
  std::optional<uint64> ReadRowCount(const SqlExpression& expression, const wchar_t* clause) const;

 private:
  /// The action's errors, which is to type a call, tell why operands of it are text.
  template <class Action>
  TypedExpressionPtr WithTextReasons(const SqlExpression& call, Action&& action) const;
  TypedExpressionPtr TypeLiteral(const SqlExpression& expression) const;
  TypedExpressionPtr TypeParameter(const SqlExpression& expression) const;
  TypedExpressionPtr TypeName(const SqlExpression& expression, const Clause& clause) const;
  TypedExpressionPtr TypeOperator(const SqlExpression& expression, const Clause& clause) const;
  TypedExpressionPtr TypeFunction(const SqlExpression& expression, const Clause& clause) const;
  TypedExpressionPtr TypeCall(const FunctionRow& row, const SqlExpression& expression,
                              const Clause& clause) const;
  /// A constant for a function of the clock; null for any other.
  TypedExpressionPtr TypeClock(const SqlExpression& expression) const;
  TypedExpressionPtr TypeGrouping(const SqlExpression& expression, const Clause& clause) const;
  TypedExpressionPtr TypeAdded(const AddedFunctionPtr& added, const SqlExpression& call,
                               const Clause& clause) const;
  TypedExpressionPtr MakeCall(const FunctionRow& row, TypedArguments arguments, int position) const;
  /// Result `index` of an aggregate, over groups or a window.
  TypedExpressionPtr TypeAggregate(const FunctionRow& row, const SqlExpression& expression,
                                   const Clause& clause, int index) const;
  /// The sum by the count of distinct values, in the type of `row`'s result.
  TypedExpressionPtr TypeDistinctAverage(const FunctionRow& row, const SqlExpression& expression,
                                         const Clause& clause) const;
  /// The arguments of an aggregate, each as the row says: its columns, and what goes to `call`.
  void TypeArguments(const SqlExpression& expression, const Clause& clause,
                     TypedExpression& aggregate, TypedAggregate& call) const;
  /// Makes the columns NULL in the rows that FILTER leaves out. Error 58046 for what takes NULLs
  /// for values.
  void ApplyFilter(const SqlExpression& filter, const Clause& clause, const FunctionRow& row,
                   TypedArguments& columns) const;
  /// Makes x and y NULL where the other one is.
  void MakeNullTogether(TypedArguments& columns) const;
  /// What OVER adds to an aggregate: columns, numbers, and the keys behind them.
  void TypeWindow(const SqlExpression& expression, const Clause& clause, TypedExpression& aggregate,
                  TypedAggregate& call) const;
  TypedExpressionPtr TypeKey(const SqlExpression& expression, const Clause& clause) const;
  /// The columns of what ranks the rows itself, and their orders.
  void TypeRank(const SqlExpression& expression, const Clause& clause, const FunctionRow& row,
                TypedArguments& columns, std::vector<SortOrder_t>& orders) const;
  void TypeRankKeys(const std::vector<SqlSortItem>& keys, const Clause& clause,
                    TypedArguments& columns, std::vector<SortOrder_t>& orders) const;
  /// A window's frame with its offsets, of which errors are those of ReadRowCount and 58048; errors
  /// 58049 where the order does not fit. What a RANGE reads is added to `columns`, from 0 on for
  /// it.
  WindowFrame TypeFrame(const SqlWindow& window, const Clause& clause,
                        TypedArguments& columns) const;
  void TypeRange(const SqlWindow& window, const Clause& clause, WindowFrame& frame,
                 TypedArguments& columns) const;
  /// The offset of a RANGE whose key is computed in a type.
  TypedExpressionPtr ReadDistance(const SqlExpression& offset, XeDataType type) const;
  /// How many values a moving node keeps: so many, and `more`.
  TypedExpressionPtr WindowSize(const SqlExpression& rows, uint64 more) const;
  TypedExpressionPtr TypeNumber(const SqlExpression& expression, const FunctionRow& row) const;
  /// A word, written bare or as a text, as a text constant.
  TypedExpressionPtr TypeWord(const SqlExpression& expression, const Clause& clause) const;
  TypedExpressionPtr TypeWithoutColumns(const SqlExpression& expression,
                                        const Clause& clause) const;
  /// The row that a call means, by its name, its arguments and its window.
  static const FunctionRow& LookUpFunction(const SqlExpression& expression);

  const NameScope& scope_;
  Catalog& catalog_;
  const QueryParameters& parameters_;
  JsonColumns* const json_;
};

/// What an aggregate reads of an argument: a bit as an integer where it computes with numbers, and
/// an integer widened so that the result neither overflows nor is cut.
TypedExpressionPtr WidenArgument(const TypedExpressionPtr& argument, const AggregateShape& shape);

/// A function's name as error texts show it.
XeString UpperName(std::string_view name);

}  // namespace sqxer
