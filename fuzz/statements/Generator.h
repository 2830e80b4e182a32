#pragma once

#include <vector>

#include "Expression.h"
#include "Shapes.h"
#include "Tables.h"

namespace sqxer::fuzz {

/// What an expression may read and call.
struct Scope {
  std::vector<Expression> columns;
  /// Of groups: the rows that their aggregates read; null for rows.
  const Scope* rows = nullptr;
  bool hasWindows = false;
  bool hasQueries = false;
};

/// Makes typed SQL at random of the shapes of calls and the columns of two tables.
class Generator {
 public:
  Generator(const Shapes& shapes, const Surroundings& surroundings, Random& random)
      : shapes_(shapes), surroundings_(surroundings), random_(random) {}

  Statement MakeStatement();
  /// Over the rows of `t`, perhaps joined with those of `s`, without further clauses.
  Statement MakeRows();
  Expression MakeExpression(Kind kind, int depth, const Scope& scope);
  Expression MakeAggregate(Kind kind, int depth, const Scope& rows);
  Scope ScopeOf(const Statement& statement) const;
  Kind RandomKind() { return static_cast<Kind>(random_() % kKinds); }
  /// A statement of the examples that read particular tables, with other literals.
  Statement MakeOfExample(const CallShape& shape);

 private:
  Expression MakeLeaf(Kind kind, const Scope& scope);
  Expression MakeLiteral(const CallShape& shape, std::size_t gap);
  Expression MakeCall(const Callable& callable, int depth, const Scope& scope);
  Expression MakeWindow(Kind kind, int depth, const Scope& scope);
  Expression MakeQuery(Kind kind, int depth, const Scope& scope);
  void AddOrder(Statement& statement, const Scope& scope);
  std::vector<Expression> ColumnsOf(const RandomTable& table) const;

  const Shapes& shapes_;
  const Surroundings& surroundings_;
  Random& random_;
};

}  // namespace sqxer::fuzz
