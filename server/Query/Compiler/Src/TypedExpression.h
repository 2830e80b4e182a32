#pragma once

#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "Catalog.h"
#include "PlanConstant.h"
#include "Utility/ExecutionParameter.h"
#include "Utility/JSonValuesHolder.h"
#include "WindowFrame.h"

namespace sqxer {

class Aggregate;
struct FunctionRow;
class LookupTable;
using LookupTablePtr = std::shared_ptr<const LookupTable>;
struct TypedExpression;
using TypedExpressionPtr = std::shared_ptr<const TypedExpression>;
using TypedArguments = std::vector<TypedExpressionPtr>;

/// The direction of a key.
struct RowOrder {
  SortOrder_t order = kAscending;
  NullOrder_t nulls = kNullsLast;
  bool operator==(const RowOrder&) const = default;
};

/// What the call of an aggregate says beside the columns that it reads.
struct TypedAggregate {
  bool distinct = false;
  /// The stored form of the first column.
  ColumnInfo input;
  /// The arguments that are numbers without columns, in order.
  TypedArguments numbers;
  /// Which of its function's words it names; -1 without one.
  int word = -1;
  /// The order of each column, where it ranks the rows by them.
  std::vector<SortOrder_t> orders;
  /// Of one that takes its rows in an order, or without duplicates: the directions of the keys,
  /// which are the last ones of its columns.
  std::vector<RowOrder> keyOrders;
  bool dropsDuplicates = false;
  /// Rows without one of the first columns do not count to what takes rows in an order.
  std::size_t neededColumns = 1;

  /// How many of the arguments are columns, how many behind them what a frame reads, and how many
  /// behind those keys of partitions. The rest are the keys of the order in which it takes the
  /// rows, with their directions.
  std::size_t columns = 0;
  std::size_t frameColumns = 0;
  std::size_t partitionKeys = 0;
  std::vector<RowOrder> rowOrders;
  /// With OVER: that of a function which is computed over frames; its fields are positions among
  /// the columns of the frame.
  std::optional<WindowFrame> frame;
};

/// An expression with its names resolved and its type known. The operators themselves were asked
/// for the types, so they are what the bound trees will have.
struct TypedExpression {
  enum class Kind {
    kConstant,
    /// A query parameter with a value: `parameter`.
    kParameter,
    /// A column of the table: `index` is its position there, `column` its stored form.
    kColumn,
    /// A field of the record that the tree reads: `index` and `column`.
    kField,
    /// A value of a JSON document: `index` and `column` are the column of documents, `constant` is
    /// the path, `documents` reads it.
    kJsonValue,
    /// `function` over `arguments`. Of a cast, `column` is the target: its type, its length in
    /// characters or digits, and its scale.
    kCall,
    /// The only argument brought to `type`.
    kConvert,
    /// An aggregate over the columns `arguments`, in the order in which its node reads them;
    /// `index` is which of its results is meant, `column` that result's field, `aggregate` the rest
    /// of it.
    kAggregate,
    /// The same with OVER; the keys of the window stand behind the columns.
    kWindow,
    /// GROUPING over `arguments`, which are keys of groups.
    kGrouping,
  };
  Kind kind = Kind::kConstant;
  int position = 0;
  /// The value as an operand of another node.
  XeDataType type = XeUnknown;
  uint32 length = 0;
  bool nullable = true;
  PlanConstant constant;
  std::optional<ExecutionParameter> parameter;
  int index = 0;
  ColumnInfo column;
  JSonValuesHolderRef documents;
  const FunctionRow* function = nullptr;
  /// Of a call that looks its first argument up.
  LookupTablePtr lookup;
  /// Of a call of a function that was added.
  AddedFunctionPtr added;
  TypedArguments arguments;
  std::shared_ptr<const TypedAggregate> aggregate;
  /// Nodes of the tree, this one included.
  int size = 1;

  bool IsConstant() const { return kind == Kind::kConstant; }
  bool IsTextConstant() const { return IsConstant() && constant.IsText(); }
  bool IsLiteral() const { return IsConstant() && constant.isLiteral; }
  /// A literal that has not met a partner yet.
  bool IsOpenNull() const { return IsLiteral() && constant.IsNull(); }
  bool IsOpenText() const { return IsLiteral() && constant.IsText(); }
};

TypedExpressionPtr MakeTypedConstant(const PlanConstant& constant, int position);
TypedExpressionPtr MakeTypedParameter(const ExecutionParameter& parameter, int position);
/// The argument itself, a constant of the target type, or a conversion; the pair of types must be
/// one that conversions exist for.
TypedExpressionPtr ConvertTyped(const TypedExpressionPtr& argument, XeDataType target);

/// What computes with a value narrower than nodes take (16-bit integers, 32-bit floats): the
/// argument widened, any other argument itself.
TypedExpressionPtr Widened(const TypedExpressionPtr& argument);
/// The argument of a widening, which is enough for a whole tree; else the expression itself.
TypedExpressionPtr WithoutWidening(const TypedExpressionPtr& expression);

using TypedArgumentSpan = std::span<const TypedExpressionPtr>;
/// The arguments of an aggregate by what they are; without OVER there are only columns.
TypedArgumentSpan ColumnsOf(const TypedExpression& aggregate);
TypedArgumentSpan FrameColumnsOf(const TypedExpression& aggregate);
TypedArgumentSpan PartitionKeysOf(const TypedExpression& aggregate);
TypedArgumentSpan OrderKeysOf(const TypedExpression& aggregate);

/// A value of a field, by its position in the record.
TypedExpressionPtr MakeTypedField(const TypedExpression& value, int index, ColumnInfo column);

/// The same computation over the same columns, wherever it is written.
bool IsSameExpression(const TypedExpression& a, const TypedExpression& b);
bool AreSameArguments(TypedArgumentSpan a, TypedArgumentSpan b);
/// The same aggregate, whichever of its results is meant.
bool IsSameAggregate(const TypedExpression& a, const TypedExpression& b);
/// Equal for what IsSameExpression, or IsSameAggregate, takes for the same.
std::size_t HashOf(const TypedExpression& expression);
/// Whether an aggregate over groups, or GROUPING, is part of the expression.
bool ContainsAggregate(const TypedExpression& expression);
bool ContainsWindow(const TypedExpression& expression);

/// A new unbound tree. Columns read the record position that `columnPositions` gives for their
/// position in the table.
std::unique_ptr<RExpression> BuildTree(const TypedExpression& expression,
                                       const std::vector<int>& columnPositions);

/// A new unbound aggregate that reads its columns at these positions.
std::unique_ptr<Aggregate> BuildAggregate(const TypedExpression& aggregate, UInt16Vector columns);

}  // namespace sqxer
