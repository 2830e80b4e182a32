#pragma once

#include <optional>

#include "ParsedTree.h"
#include "SqlAst.h"

namespace sqxer {

/// What the grammar has of its own for days, times and intervals.
struct SqlTimeReader {
  /// The fields and digits that INTERVAL YEAR TO MONTH and INTERVAL SECOND(3) name, put into
  /// `type`. Error 58003 for more than six digits.
  static void ReadIntervalType(const PgQuery__TypeName& name, SqlTypeName& type);
  /// CURRENT_DATE and its like as calls of functions; null for what is none of the clock.
  static SqlExpressionPtr ReadClock(const PgQuery__SQLValueFunction& value);
  /// The arguments of a call by name, which come to stand where they belong; those that are missing
  /// are 0. Of MAKE_INTERVAL alone. Error 58070 (name) for an argument that it has not, or twice.
  static void PlaceArguments(const PgQuery__FuncCall& call, SqlExpression& function);
  /// AT TIME ZONE as FROM_UTC or TO_UTC, and AGE of one moment as that of today and this one.
  static void Rewrite(SqlExpression& function);
};

}  // namespace sqxer
