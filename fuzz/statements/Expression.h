#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Kinds.h"

namespace sqxer::fuzz {

/// A piece of SQL with operands in its gaps: `pieces` are one more than `operands`.
struct Expression {
  std::vector<std::string> pieces = {""};
  std::vector<Expression> operands = {};
  Kind kind = Kind::kInteger;
  /// The row of the function table that it is; -1 for what is none.
  int row = -1;
  static constexpr int kNoColumn = -1;
  /// One of another table or of a query.
  static constexpr int kOtherColumn = -2;
  /// The column of the first table that it is.
  int column = kNoColumn;
  /// It must stay what it is, since the call that it stands in takes only a literal there.
  bool isFixed = false;

  std::string Sql() const;
};

Expression Leaf(Kind kind, std::string text);
/// Between a text before and one behind.
Expression Around(Kind kind, std::string before, Expression operand, std::string behind);
Expression Between(Kind kind, std::string before, Expression left, std::string middle,
                   Expression right, std::string behind);

struct OrderKey {
  Expression key;
  std::string direction;
};

/// A SELECT in its clauses.
struct Statement {
  /// The first output is the whole statement.
  bool isExample = false;
  bool isDistinct = false;
  std::vector<Expression> outputs;
  /// One query in the place of `t`, whose outputs are named q0, q1, ..., or none.
  std::vector<Statement> query;
  /// Such as "LEFT JOIN s ON "; empty for no join.
  std::string join;
  std::optional<Expression> on;
  std::optional<Expression> where;
  std::vector<Expression> keys;
  /// "ROLLUP" or "CUBE"; else plain keys.
  std::string grouping;
  std::optional<Expression> having;
  std::vector<OrderKey> order;
  /// "LIMIT 3 OFFSET 2"
  std::string limit;

  /// From FROM to WHERE, with `condition` for another WHERE.
  std::string SqlOfRows(const std::optional<std::string>& condition = std::nullopt) const;
  /// GROUP BY and HAVING.
  std::string SqlOfGroups(const std::optional<std::string>& condition = std::nullopt) const;
  std::string SqlOfOutputs(bool areNamed = false) const;
  /// `areNamed`: the outputs are called q0, q1, ...
  std::string Sql(bool areNamed = false) const;
};

}  // namespace sqxer::fuzz
