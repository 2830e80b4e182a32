#pragma once

#include <map>
#include <utility>
#include <vector>

#include "RelationRun.h"
#include "SqlNames.h"

namespace sqxer {

// Subqueries that read columns of a query around them become joins with the rows of that query.
// There are two ways.
//
// A subquery without groups, windows and LIMIT is its rows ("members") with conditions over both
// sides: EXISTS, IN, ANY and ALL are semi joins by these.
//
// Any other one is run once over a join of its FROM with the outer rows, of which each different
// one counts once and has a number. The number becomes the first key of its groups, windows and
// DISTINCT, so that it gives what it would give for each outer row, with the number beside it.
//
// What a subquery gives is added to the outer rows as a column that only its own name finds.

/// Outer rows with the columns that subqueries have added.
struct RelationRun::Widened {
  TableRef rows;
  /// What stands for an expression: outside of aggregates, and within.
  std::map<std::pair<const SqlExpression*, bool>, SqlExpressionPtr> made;
};

/// The keys of the groups over which an expression is computed.
struct RelationRun::GroupKeys {
  std::vector<std::size_t> columns;
  /// The columns of subqueries that read nothing but keys: they are keys as well.
  Conditions added;
};

/// A SELECT and the rows of its FROM.
struct RelationRun::Base {
  SqlSelect select;
  SqlRelationPtr from;
  bool isCorrelated = false;
  std::vector<Membership> memberships;
  Widened wide;
  /// Of WHERE: what the rows were not asked yet, without subqueries and with.
  Conditions plain;
  Conditions late;
};

/// The columns of the outer rows that a subquery reads.
struct RelationRun::Outer {
  /// The table's name, by which the subquery reads them.
  XeString tag;
  TableRef rows;
  /// The subquery with these names, and the operand that is compared with its values.
  SqlQueryPtr query;
  SqlExpressionPtr operand;
  /// For each of the outer rows as they were: which of `rows` it is.
  std::vector<uint32> numbers;
};

/// The rows of a subquery, all of which an outer row has for which the conditions are true.
struct RelationRun::Members {
  TableRef rows;
  Conditions conditions;
  /// Of its one column; null for EXISTS.
  SqlExpressionPtr value;
};

/// Whether a name is one of those that stand for columns from outside.
inline bool IsOuterName(const SqlExpression& name) {
  return name.path.size() > 1 && name.path[0].starts_with(L'\x01');
}
bool HasOuterName(const SqlExpression& expression);

/// Error 58003: what is not understood at a place.
[[noreturn]] void RefuseSubquery(int position, const wchar_t* what);

/// Whether a key of GROUP BY or ORDER BY means a result, by its place or its other name.
bool MeansItem(const SqlExpression& key, const SqlSelect& select, std::size_t item);

/// NULL among the truths of FindTruths.
inline constexpr int32 kUnknownTruth = 2;

/// The table of what subqueries give.
inline constexpr const wchar_t* kGivenTag = L"\x01given";

/// What stands in a table of one's own.
inline constexpr const wchar_t* kOuterNumber = L"number";
inline constexpr const wchar_t* kOuterMark = L"mark";

/// Adds a column that is found by its full name alone.
void AddHiddenColumn(Table& table, const XeString& tag, ColumnInfo column);
/// The same of numbers, one for each row.
void AddHiddenNumbers(Table& table, const XeString& tag, const XeString& name,
                      std::span<const int32> numbers);
/// A column of whole numbers without NULLs.
std::vector<uint32> ReadNumbers(const Table& table, std::size_t column);

}  // namespace sqxer
