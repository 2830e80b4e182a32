#include "Generator.h"

#include <algorithm>

#include "FunctionTable.h"

namespace sqxer::fuzz {
namespace {

const std::vector<std::string>& Directions() {
  static const std::vector<std::string> directions = {
      "", "", " DESC", " NULLS FIRST", " DESC NULLS FIRST", " DESC NULLS LAST"};
  return directions;
}

}  // namespace

std::vector<Expression> Generator::ColumnsOf(const RandomTable& table) const {
  std::vector<Expression> columns;
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    columns.push_back(Leaf(table.columns[i].kind, table.columns[i].name));
    columns.back().column =
        &table == &surroundings_.tables[0] ? static_cast<int>(i) : Expression::kOtherColumn;
  }
  return columns;
}

Scope Generator::ScopeOf(const Statement& statement) const {
  Scope scope;
  if (!statement.query.empty()) {
    for (std::size_t i = 0; i < statement.query[0].outputs.size(); ++i) {
      scope.columns.push_back(Leaf(statement.query[0].outputs[i].kind, "q" + std::to_string(i)));
      scope.columns.back().column = Expression::kOtherColumn;
    }
    return scope;
  }
  scope.columns = ColumnsOf(surroundings_.tables[0]);
  if (!statement.join.empty()) {
    std::ranges::move(ColumnsOf(surroundings_.tables[1]), std::back_inserter(scope.columns));
  }
  return scope;
}

Expression Generator::MakeLeaf(Kind kind, const Scope& scope) {
  std::vector<const Expression*> fitting;
  for (const Expression& column : scope.columns) {
    if (column.kind == kind) fitting.push_back(&column);
  }
  if (!fitting.empty() && !OneIn(random_, 4)) return *Pick(random_, fitting);
  if (CastName(kind) == nullptr) {
    return Leaf(kind, fitting.empty() ? "17" : fitting[0]->Sql());
  }
  if (OneIn(random_, 12)) return Leaf(kind, TypedConstant(kind, "", std::nullopt));
  const std::string value = RandomValue(kind, random_);
  return Leaf(kind,
              OneIn(random_, 2) ? PlainConstant(kind, value) : TypedConstant(kind, "", value));
}

Expression Generator::MakeLiteral(const CallShape& shape, std::size_t gap) {
  Expression literal = Leaf(Kind::kText, shape.literals[gap]);
  literal.isFixed = true;
  const bool isText = literal.pieces[0].front() == '\'';
  switch (random_() % 12) {
    case 0:
      literal.pieces[0] = Pick(random_, isText ? shapes_.GetTexts() : shapes_.GetNumbers());
      break;
    case 1:
      if (isText) literal.pieces[0] = Quoted(RandomValue(Kind::kText, random_));
      if (!isText)
        literal.pieces[0] = PlainConstant(Kind::kInteger, RandomValue(Kind::kInteger, random_));
      break;
    case 2:
      if (OneIn(random_, 4)) literal.pieces[0] = "NULL";
      break;
    default:
      break;
  }
  return literal;
}

Expression Generator::MakeCall(const Callable& callable, int depth, const Scope& scope) {
  const Signature& signature = Pick(random_, callable.signatures);
  Expression call;
  call.kind = signature.result;
  call.row = callable.shape->row;
  call.pieces = callable.shape->pieces;
  for (std::size_t i = 0; i < signature.operands.size(); ++i) {
    const OperandKind kind = signature.operands[i];
    call.operands.push_back(kind == kLiteral
                                ? MakeLiteral(*callable.shape, i)
                                : MakeExpression(static_cast<Kind>(kind), depth - 1, scope));
  }
  return call;
}

Expression Generator::MakeAggregate(Kind kind, int depth, const Scope& rows) {
  const auto& callables = shapes_.Find(CallUse::kAggregate, kind);
  if (callables.empty()) return MakeLeaf(kind, {});
  return MakeCall(Pick(random_, callables), depth, rows);
}

Expression Generator::MakeWindow(Kind kind, int depth, const Scope& scope) {
  const auto& callables = shapes_.Find(CallUse::kWindow, kind);
  if (callables.empty()) return MakeLeaf(kind, scope);
  const Callable& callable = Pick(random_, callables);
  Scope inner = scope;
  inner.hasWindows = inner.hasQueries = false;
  Expression call = MakeCall(callable, std::min(depth, 2), inner);
  const FunctionRow& row = FunctionTable()[static_cast<std::size_t>(callable.shape->row)];
  const auto add = [&](const std::string& before, int keyDepth) {
    call.pieces.back() += before;
    call.operands.push_back(MakeExpression(RandomKind(), keyDepth, inner));
    call.pieces.emplace_back();
  };
  const int keyDepth = OneIn(random_, 3) ? 1 : 0;
  call.pieces.back() += " OVER (";
  if (!OneIn(random_, 3)) add("PARTITION BY ", keyDepth);
  using enum WindowForm;
  const bool mustOrder = row.windowForm == kRankByKeys || row.windowForm == kRankByKey;
  const bool mustNotOrder = row.windowForm == kPartition;
  if (mustOrder || (!mustNotOrder && !OneIn(random_, 3))) {
    add(call.pieces.back().ends_with("(") ? "ORDER BY " : " ORDER BY ", keyDepth);
    call.pieces.back() += Pick(random_, Directions());
    if (row.windowForm != kRankByKey && OneIn(random_, 3)) {
      add(", ", 0);
      call.pieces.back() += Pick(random_, Directions());
    }
  }
  call.pieces.back() += RandomFrame(row.windowForm, random_) + ")";
  return call;
}

Expression Generator::MakeQuery(Kind kind, int depth, const Scope& scope) {
  Scope inner;
  inner.columns = ColumnsOf(surroundings_.tables[1]);
  Scope both = inner;
  // What stands around may be read in the condition.
  const bool isCorrelated = OneIn(random_, 3);
  if (isCorrelated) std::ranges::copy(scope.columns, std::back_inserter(both.columns));
  Expression condition = MakeExpression(Kind::kBoolean, std::min(depth, 2), both);
  if (isCorrelated) {
    // With an equality, as people write it.
    const Kind key = Pick(random_, inner.columns).kind;
    Expression equal =
        Between(Kind::kBoolean, "(", MakeLeaf(key, inner), " = ", MakeLeaf(key, scope), ")");
    condition = Between(Kind::kBoolean, "(", std::move(equal), " AND ", std::move(condition), ")");
  }
  if (kind == Kind::kBoolean && !OneIn(random_, 3)) {
    if (OneIn(random_, 2)) {
      return Around(kind, "EXISTS (SELECT 1 FROM s WHERE ", std::move(condition), ")");
    }
    const Kind member = RandomKind();
    Expression query = Between(kind, "(", MakeExpression(member, 1, scope),
                               OneIn(random_, 3) ? " NOT IN (SELECT " : " IN (SELECT ",
                               MakeLeaf(member, inner), " FROM s WHERE ");
    query.operands.push_back(std::move(condition));
    query.pieces.emplace_back("))");
    return query;
  }
  return Between(kind, "(SELECT ", MakeAggregate(kind, 1, inner), " FROM s WHERE ",
                 std::move(condition), ")");
}

Expression Generator::MakeExpression(Kind kind, int depth, const Scope& scope) {
  if (depth <= 0 || OneIn(random_, 5)) {
    const bool canAggregate = scope.rows != nullptr && OneIn(random_, 2);
    return canAggregate ? MakeAggregate(kind, 1, *scope.rows) : MakeLeaf(kind, scope);
  }
  if (scope.rows != nullptr && OneIn(random_, 3))
    return MakeAggregate(kind, depth - 1, *scope.rows);
  if (scope.hasWindows && OneIn(random_, 4)) return MakeWindow(kind, depth - 1, scope);
  if (scope.hasQueries && OneIn(random_, 25)) return MakeQuery(kind, depth - 1, scope);
  const auto& callables = shapes_.Find(CallUse::kScalar, kind);
  if (callables.empty()) return MakeLeaf(kind, scope);
  return MakeCall(Pick(random_, callables), depth, scope);
}

Statement Generator::MakeRows() {
  Statement statement;
  if (OneIn(random_, 6)) {
    static const std::vector<std::string> joins = {"JOIN s ON ", "LEFT JOIN s ON ",
                                                   "RIGHT JOIN s ON ", "FULL JOIN s ON "};
    statement.join = Pick(random_, joins);
    const Scope scope = ScopeOf(statement);
    Scope left, right;
    left.columns = ColumnsOf(surroundings_.tables[0]);
    right.columns = ColumnsOf(surroundings_.tables[1]);
    // Mostly an equality of both sides, perhaps with a condition.
    const Kind key = Pick(random_, right.columns).kind;
    Expression on = Between(Kind::kBoolean, "(", MakeExpression(key, OneIn(random_, 3), left),
                            " = ", MakeExpression(key, OneIn(random_, 4), right), ")");
    if (OneIn(random_, 3)) {
      on = Between(Kind::kBoolean, "(", std::move(on), " AND ",
                   MakeExpression(Kind::kBoolean, 2, scope), ")");
    } else if (OneIn(random_, 5)) {
      on = MakeExpression(Kind::kBoolean, 2, scope);
    }
    statement.on = std::move(on);
  }
  return statement;
}

void Generator::AddOrder(Statement& statement, const Scope& scope) {
  for (unsigned left = 1 + random_() % 2; left > 0; --left) {
    // Of distinct rows only outputs are keys.
    const bool isPlace = statement.isDistinct || OneIn(random_, 2);
    const std::size_t place = 1 + random_() % statement.outputs.size();
    // A key may be of what no operand is.
    if (!isPlace && scope.rows == nullptr && OneIn(random_, 8) && !shapes_.FindOpaque().empty()) {
      statement.order.push_back({MakeCall(Pick(random_, shapes_.FindOpaque()), 1, scope), ""});
      continue;
    }
    statement.order.push_back(
        {isPlace ? Leaf(Kind::kInteger, std::to_string(place))
                 : Around(Kind::kInteger, "(", MakeExpression(RandomKind(), 1, scope), ")"),
         Pick(random_, Directions())});
  }
}

Statement Generator::MakeStatement() {
  if (!shapes_.GetStatements().empty() && OneIn(random_, 60)) {
    return MakeOfExample(Pick(random_, shapes_.GetStatements()));
  }
  Statement statement = MakeRows();
  if (statement.join.empty() && OneIn(random_, 8)) {
    Statement query = MakeRows();
    Scope inner = ScopeOf(query);
    inner.hasWindows = OneIn(random_, 3);
    for (unsigned left = 2 + random_() % 3; left > 0; --left) {
      query.outputs.push_back(MakeExpression(RandomKind(), 2, inner));
    }
    if (OneIn(random_, 3)) query.where = MakeExpression(Kind::kBoolean, 2, ScopeOf(query));
    if (OneIn(random_, 6)) query.isDistinct = true;
    statement.query.push_back(std::move(query));
  }
  Scope rows = ScopeOf(statement);
  rows.hasQueries = true;
  if (OneIn(random_, 2)) statement.where = MakeExpression(Kind::kBoolean, 3, rows);

  Scope scope = rows;
  if (OneIn(random_, 3)) {
    scope.columns.clear();
    scope.rows = &rows;
    for (unsigned left = random_() % 4; left > 0; --left) {
      Expression key = MakeExpression(RandomKind(), OneIn(random_, 3), rows);
      // A number would be a place.
      if (key.row < 0 && key.column == Expression::kNoColumn) continue;
      scope.columns.push_back(key);
      statement.keys.push_back(std::move(key));
    }
    if (statement.keys.size() > 1 && OneIn(random_, 5)) {
      statement.grouping = OneIn(random_, 2) ? "ROLLUP" : "CUBE";
    }
    if (OneIn(random_, 4)) statement.having = MakeExpression(Kind::kBoolean, 2, scope);
  }
  scope.hasWindows = OneIn(random_, 3);
  for (unsigned left = 1 + random_() % 4; left > 0; --left) {
    if (scope.rows != nullptr && OneIn(random_, 15)) {
      statement.outputs.push_back(MakeCall(Pick(random_, shapes_.FindWide()), 1, rows));
      continue;
    }
    const int depth = 1 + static_cast<int>(random_() % 4);
    statement.outputs.push_back(scope.hasWindows && OneIn(random_, 2)
                                    ? MakeWindow(RandomKind(), depth, scope)
                                    : MakeExpression(RandomKind(), depth, scope));
  }
  statement.isDistinct = OneIn(random_, 8);
  if (OneIn(random_, 3)) AddOrder(statement, scope);
  if (OneIn(random_, 4)) {
    statement.limit = "LIMIT " + std::to_string(random_() % 30);
    if (OneIn(random_, 3)) statement.limit += " OFFSET " + std::to_string(random_() % 12);
  }
  return statement;
}

Statement Generator::MakeOfExample(const CallShape& shape) {
  Statement statement;
  Expression whole;
  whole.row = shape.row;
  whole.pieces = shape.pieces;
  for (std::size_t i = 0; i < shape.literals.size(); ++i) {
    whole.operands.push_back(MakeLiteral(shape, i));
  }
  statement.outputs.push_back(std::move(whole));
  statement.isExample = true;
  return statement;
}

}  // namespace sqxer::fuzz
