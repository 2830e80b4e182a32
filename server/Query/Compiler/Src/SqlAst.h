#pragma once

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Utility/KeySet.h"
#include "Utility/XeInterval.h"
#include "Utility/XeTypes.h"
#include "WindowFrame.h"

namespace sqxer {

/// A literal as it is written; its type is settled together with its partner's.
struct SqlLiteral {
  enum class Kind {
    kNull,
    kBoolean,
    /// Digits, perhaps with a sign: 12.
    kInteger,
    /// Digits with a point: 1.5.
    kDecimal,
    /// With an exponent: 1e5.
    kExponent,
    kText,
    /// A text with a type in front or behind: DATE '2012-01-31'.
    kTypedText,
  };
  Kind kind = Kind::kNull;
  bool boolean = false;
  /// The digits of a number, the characters of a text.
  XeString text;
  /// Of a typed text.
  XeDataType type = XeUnknown;
  /// Of an interval: the fields that it names, and how many digits of a second.
  std::optional<IntervalFields> fields = {};
  std::optional<int> digits = {};
};

/// A type as a CAST names it.
struct SqlTypeName {
  XeDataType type = XeUnknown;
  /// Characters of a text, 0 where none are stated; digits of a NUMERIC, kBigint for one of 64
  /// bits.
  int precision = 0;
  int scale = 0;
  /// What does not become one is NULL.
  bool isTry = false;
  /// Of an interval.
  std::optional<IntervalFields> fields = {};
  std::optional<int> digits = {};

  static constexpr int kBigint = -1;
};

struct PlanConstant;
struct SqlQuery;
using SqlQueryPtr = std::shared_ptr<const SqlQuery>;

struct SqlExpression;
/// Shared because one source expression may be read twice: `x IS TRUE` is `x AND x IS NOT NULL`.
using SqlExpressionPtr = std::shared_ptr<const SqlExpression>;

struct SqlSortItem {
  SqlExpressionPtr expression;
  SortOrder_t order = kAscending;
  NullOrder_t nulls = kNullsLast;
};

/// What stands behind OVER, or behind a name in WINDOW; the windows that it names are put in.
struct SqlWindow {
  int position = 0;
  std::vector<SqlExpressionPtr> partitionBy;
  std::vector<SqlSortItem> orderBy;
  /// Without what its offsets say.
  WindowFrame frame;
  bool isFrameWritten = false;
  /// Those of the frame's beginning and end; null without.
  SqlExpressionPtr fromOffset;
  SqlExpressionPtr toOffset;
};
using SqlWindowPtr = std::shared_ptr<const SqlWindow>;

/// An expression as it is written, names unresolved. Predicates and connectives are calls too, so
/// that one table knows every operator and function.
struct SqlExpression {
  enum class Kind {
    kLiteral,
    /// A column or alias; `path` holds its name, perhaps after a table's.
    kName,
    /// `*`, perhaps after a table's name in `path`.
    kStar,
    /// An operator or function: `name` and `arguments`.
    kOperator,
    kFunction,
    /// `$n`; `parameter` is n.
    kParameter,
    /// `query` in the way that `use` says.
    kSubquery,
    /// What a subquery gave: `value`.
    kValue,
  };
  enum class SubqueryUse {
    /// Its one row and column.
    kValue,
    kExists,
    /// The argument compared by the operator `name` with each row.
    kAny,
    kAll,
  };
  Kind kind = Kind::kLiteral;
  /// Byte offset in the statement.
  int position = 0;
  SqlLiteral literal;
  std::vector<XeString> path;
  std::string name;
  std::vector<SqlExpressionPtr> arguments;
  /// COUNT(*)
  bool star = false;
  /// f(DISTINCT x)
  bool distinct = false;
  /// f(x ORDER BY ...), and WITHIN GROUP (ORDER BY ...).
  std::vector<SqlSortItem> orderBy;
  /// f(x) FILTER (WHERE ...); null without.
  SqlExpressionPtr filter;
  /// f(x) OVER ...; null without.
  SqlWindowPtr over;
  int parameter = 0;
  /// The target of the operator "cast".
  SqlTypeName target;
  SqlQueryPtr query;
  SubqueryUse use = SubqueryUse::kValue;
  std::shared_ptr<const PlanConstant> value;
};

/// Calls `visit` for the expressions of which one is made, those of its window included.
template <class Visit>
void ForEachOperand(const SqlExpression& expression, const Visit& visit) {
  for (const SqlExpressionPtr& argument : expression.arguments) visit(argument);
  for (const SqlSortItem& key : expression.orderBy) visit(key.expression);
  if (expression.filter) visit(expression.filter);
  if (!expression.over) return;
  for (const SqlExpressionPtr& key : expression.over->partitionBy) visit(key);
  for (const SqlSortItem& key : expression.over->orderBy) visit(key.expression);
}

/// A copy of an expression with `map(operand)` in the place of each operand.
template <class Map>
SqlExpressionPtr WithOperands(const SqlExpression& expression, const Map& map) {
  auto copy = std::make_shared<SqlExpression>(expression);
  for (SqlExpressionPtr& argument : copy->arguments) argument = map(argument);
  for (SqlSortItem& key : copy->orderBy) key.expression = map(key.expression);
  if (copy->filter) copy->filter = map(copy->filter);
  if (copy->over) {
    auto window = std::make_shared<SqlWindow>(*copy->over);
    for (SqlExpressionPtr& key : window->partitionBy) key = map(key);
    for (SqlSortItem& key : window->orderBy) key.expression = map(key.expression);
    copy->over = std::move(window);
  }
  return copy;
}

inline bool NamesColumn(const SqlExpression& expression) {
  return expression.kind == SqlExpression::Kind::kName ||
         std::ranges::any_of(expression.arguments,
                             [](const SqlExpressionPtr& a) { return NamesColumn(*a); });
}

struct SqlSelectItem {
  SqlExpressionPtr expression;
  /// Empty without AS.
  XeString alias;
  int position = 0;
};

/// The keys of a grouping set, as indexes into those of GROUP BY.
using SqlGroupingSet = std::vector<std::size_t>;

/// A SELECT statement, checked to hold nothing that is not understood.
struct SqlSelect {
  bool explain = false;
  bool distinct = false;
  /// DISTINCT ON; empty without.
  std::vector<SqlExpressionPtr> distinctOn;
  std::vector<SqlSelectItem> items;
  /// Empty without FROM.
  XeString table;
  XeString tableAlias;
  int tablePosition = 0;
  SqlExpressionPtr where;
  std::vector<SqlExpressionPtr> groupBy;
  /// With GROUPING SETS, ROLLUP, CUBE or an empty list: each makes groups of its own.
  bool hasGroupingSets = false;
  std::vector<SqlGroupingSet> groupingSets;
  /// Of several equal sets only one counts.
  bool distinctSets = false;
  SqlExpressionPtr having;
  /// The keys of the windows in WINDOW, also of those that no call uses.
  std::vector<SqlExpressionPtr> windowKeys;
  std::vector<SqlSortItem> orderBy;
  SqlExpressionPtr limit;
  SqlExpressionPtr offset;
};

/// Calls `visit` for each expression that a clause holds; what they are made of is
/// ForEachOperand's.
template <class Visit>
void ForEachExpression(const SqlSelect& select, const Visit& visit) {
  for (const SqlExpressionPtr& key : select.distinctOn) visit(key);
  for (const SqlSelectItem& item : select.items) visit(item.expression);
  if (select.where) visit(select.where);
  for (const SqlExpressionPtr& key : select.groupBy) visit(key);
  if (select.having) visit(select.having);
  for (const SqlExpressionPtr& key : select.windowKeys) visit(key);
  for (const SqlSortItem& item : select.orderBy) visit(item.expression);
}

/// Puts `map(expression)` in the place of each expression that a clause holds.
template <class Map>
void MapExpressions(SqlSelect& select, const Map& map) {
  const auto mapOptional = [&map](SqlExpressionPtr& expression) {
    if (expression) expression = map(expression);
  };
  for (SqlExpressionPtr& key : select.distinctOn) mapOptional(key);
  for (SqlSelectItem& item : select.items) mapOptional(item.expression);
  mapOptional(select.where);
  for (SqlExpressionPtr& key : select.groupBy) mapOptional(key);
  mapOptional(select.having);
  for (SqlExpressionPtr& key : select.windowKeys) mapOptional(key);
  for (SqlSortItem& item : select.orderBy) mapOptional(item.expression);
  mapOptional(select.limit);
  mapOptional(select.offset);
}

}  // namespace sqxer
