// How SqlExpressionReader reads calls of functions.

#include "PlanError.h"
#include "SqlExpressionReader.h"
#include "SqlOperators.h"
#include "SqlTimeReader.h"
#include "Utility/BaseStringUtil.h"

namespace sqxer {

// MODE() WITHIN GROUP (ORDER BY x) is a function of x, in that order; LISTAGG is one whose rows
// come in that order. PERCENTILE_CONT(p) WITHIN GROUP (ORDER BY x) is a function of x and p;
// descending, of x and 1 - p.
void SqlExpressionReader::ReadOrderedSet(const PgQuery__FuncCall& call,
                                         SqlExpression& function) const {
  if (function.name == "listagg") {
    ReadOrderWithin(call, function);
    return;
  }
  const SqlSortItem key = ReadSort(*call.agg_order[0]->sort_by);
  const bool isMode = function.name == "mode";
  const bool isContinuous = function.name == "percentile_cont";
  if (call.n_agg_order > 1 || function.arguments.size() != (isMode ? 0 : 1) ||
      (!isMode && !isContinuous && function.name != "percentile_disc")) {
    Refuse(function.position, L"WITHIN GROUP of this function, or of several columns");
  }
  if (isMode) {
    function.arguments = {key.expression};
    function.orderBy = {key};
    return;
  }
  SqlExpressionPtr fraction = function.arguments[0];
  if (key.order == kDescending) {
    if (!isContinuous) Refuse(key.expression->position, L"a descending order of PERCENTILE_DISC");
    const auto one = Literal(fraction->position, SqlLiteral::Kind::kInteger, L"1");
    fraction = Operator(fraction->position, "-", {one, fraction});
  }
  function.arguments = {key.expression, fraction};
}

void SqlExpressionReader::ReadOrderWithin(const PgQuery__FuncCall& call,
                                          SqlExpression& function) const {
  for (std::size_t i = 0; i < call.n_agg_order; ++i)
    function.orderBy.push_back(ReadSort(*call.agg_order[i]->sort_by));
}

// IIF(c, x, y), and DECODE(a, b, x, ..., y), as the CASE that they are.
SqlExpressionPtr SqlExpressionReader::AsCase(const SqlExpression& call, bool hasValue) {
  const std::vector<SqlExpressionPtr>& given = call.arguments;
  std::vector<SqlExpressionPtr> operands;
  std::vector<SqlExpressionPtr> results;
  if (hasValue) operands.push_back(given[0]);
  std::size_t i = hasValue ? 1 : 0;
  for (; i + 1 < given.size(); i += 2) {
    operands.push_back(given[i]);
    results.push_back(given[i + 1]);
  }
  if (i < given.size()) results.push_back(given[i]);
  operands.insert(operands.end(), results.begin(), results.end());
  return Operator(call.position, hasValue ? "case" : "case when", std::move(operands));
}

std::vector<SqlExpressionPtr> SqlExpressionReader::ReadArguments(
    const PgQuery__FuncCall& call) const {
  const bool takesNames = StringOf(*call.funcname[call.n_funcname - 1]) == "make_interval";
  std::vector<SqlExpressionPtr> all;
  for (std::size_t i = 0; i < call.n_args; ++i) {
    const PgQuery__Node& argument = *call.args[i];
    const bool isNamed = argument.node_case == PG_QUERY__NODE__NODE_NAMED_ARG_EXPR;
    all.push_back(Read(takesNames && isNamed ? *argument.named_arg_expr->arg : argument));
  }
  return all;
}

SqlExpressionPtr SqlExpressionReader::ReadFunction(const PgQuery__FuncCall& call) const {
  int position = Place(call.location);
  if (call.func_variadic) Refuse(position, L"VARIADIC");
  // The grammar itself writes the schema of its own functions.
  if (call.n_funcname > 2 || (call.n_funcname == 2 && StringOf(*call.funcname[0]) != "pg_catalog"))
    Refuse(position, L"a schema before a function");
  auto function = std::make_shared<SqlExpression>();
  function->kind = SqlExpression::Kind::kFunction;
  function->position = position;
  function->name = StringOf(*call.funcname[call.n_funcname - 1]);
  function->star = call.agg_star;
  function->distinct = call.agg_distinct;
  const bool areFractions = call.agg_within_group && call.n_args == 1 &&
                            call.args[0]->node_case == PG_QUERY__NODE__NODE_A_ARRAY_EXPR;
  if (areFractions) {
    XeString name = Wide(function->name);
    for (wchar_t& c : name) c = BaseStringUtil::UpperCase(c);
    ThrowPlanError(kSeveralFractions, call.args[0]->a_array_expr->location, {name});
  }
  function->arguments = ReadArguments(call);
  SqlTimeReader::PlaceArguments(call, *function);
  if (call.agg_within_group) {
    ReadOrderedSet(call, *function);
  } else {
    ReadOrderWithin(call, *function);
  }
  if (call.agg_filter) {
    function->filter = Read(*call.agg_filter);
    // Rows that are left out are a NULL that is not counted.
    if (function->name == "count" && function->star) {
      function->star = false;
      function->arguments = {Literal(position, SqlLiteral::Kind::kInteger, L"1")};
    }
  }
  if (call.over) function->over = ReadWindow(*call.over);
  const std::size_t count = function->arguments.size();
  if ((function->name == "iif" && count == 3) || (function->name == "decode" && count >= 3)) {
    if (function->filter || function->over || function->distinct || function->star ||
        !function->orderBy.empty())
      Refuse(position, L"FILTER, OVER, DISTINCT or ORDER BY of a function that is no aggregate");
    return AsCase(*function, function->name == "decode");
  }
  SqlTimeReader::Rewrite(*function);
  // The grammar's own names for TRIM and for its ends.
  if (function->name == "btrim") function->name = "trim";
  // OVERLAY without FOR replaces as many characters as it puts in.
  if (function->name == "overlay" && function->arguments.size() == 3)
    function->arguments.push_back(
        Call(SqlExpression::Kind::kFunction, position, "char_length", {function->arguments[1]}));
  return function;
}

}  // namespace sqxer
