#pragma once

#include <memory>
#include <vector>

#include "SqlAst.h"

namespace sqxer {

struct SqlRelation;
using SqlRelationPtr = std::shared_ptr<const SqlRelation>;

/// What stands in FROM.
struct SqlRelation {
  enum class Kind {
    /// `table`: a name or a path.
    kTable,
    /// `query` in parentheses.
    kQuery,
    /// GENERATE_SERIES of `arguments`.
    kSeries,
    /// `left` and `right`.
    kJoin,
  };
  enum class Join { kInner, kLeft, kRight, kFull };
  Kind kind = Kind::kTable;
  int position = 0;
  XeString table;
  /// Empty without; then `columns` is empty, too.
  XeString alias;
  /// Other names for the first columns.
  std::vector<XeString> columns;
  SqlQueryPtr query;
  std::vector<SqlExpressionPtr> arguments;

  Join join = Join::kInner;
  SqlRelationPtr left;
  SqlRelationPtr right;
  /// ON; null without.
  SqlExpressionPtr condition;
  /// USING.
  std::vector<XeString> sharedColumns;
  bool isNatural = false;
};

/// A query of WITH.
struct SqlCommonTable {
  int position = 0;
  XeString name;
  std::vector<XeString> columns;
  SqlQueryPtr query;
};

/// A SELECT, VALUES, or two queries put together.
struct SqlQuery {
  enum class Operation { kNone, kUnion, kIntersect, kExcept };
  int position = 0;
  std::vector<SqlCommonTable> with;
  /// What the SELECT reads; null without FROM.
  SqlRelationPtr from;
  /// Where there is no operation and there are no values. Its table is that of `from`, where that
  /// is one table without other names for its columns.
  SqlSelect select;
  /// The rows of VALUES.
  std::vector<std::vector<SqlExpressionPtr>> values;
  Operation operation = Operation::kNone;
  bool keepsAll = false;
  SqlQueryPtr left;
  SqlQueryPtr right;
  /// Of an operation or VALUES; a SELECT has its own.
  std::vector<SqlSortItem> orderBy;
  SqlExpressionPtr limit;
  SqlExpressionPtr offset;

  bool IsSelect() const { return operation == Operation::kNone && values.empty(); }
};

struct SqlStatement {
  bool explain = false;
  /// EXPLAIN runs the query and tells what its steps took, and perhaps each expression of it.
  bool analyze = false;
  bool nodes = false;
  SqlQueryPtr query;
};

}  // namespace sqxer
