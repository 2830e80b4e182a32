#pragma once

#include <optional>
#include <vector>

#include "Catalog.h"
#include "QueryParameters.h"
#include "SqlQuery.h"

namespace sqxer {

/// The columns of a table, by their positions, that an expression names outside of subqueries.
/// Nothing where it names others; errors of ambiguous names.
std::optional<std::vector<std::size_t>> FindNamedColumns(const SqlExpression& expression,
                                                         const TableSchema& schema);

/// The column that an expression over a table gives. Errors of typing it.
ColumnInfo TypeExpression(const SqlExpression& expression, const TableSchema& schema,
                          Catalog& catalog, const QueryParameters& parameters);

/// A type in which values of two columns are equal where "=" finds them so; nothing where there is
/// none.
std::optional<XeDataType> FindComparisonType(const ColumnInfo& a, const ColumnInfo& b);

/// The type that values of two types come to in one column; nothing where they do not meet.
std::optional<XeDataType> FindCommonType(const ColumnInfo& a, const ColumnInfo& b);

/// A type as CAST names it.
std::string CastName(XeDataType type);

/// One of several conditions joined by AND; the parts of an AND one by one.
void SplitConditions(const SqlExpressionPtr& condition, std::vector<SqlExpressionPtr>& parts);
/// All of them joined by AND; null for none.
SqlExpressionPtr JoinConditions(const std::vector<SqlExpressionPtr>& parts);

}  // namespace sqxer
