#include "SqlExpressionReader.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <utility>

#include "PlanError.h"
#include "SqlOperators.h"
#include "SqlTimeReader.h"

namespace sqxer {
namespace {

/// Forms that the grammar has and this system has not.
const wchar_t* FormName(const PgQuery__Node& node) {
  switch (node.node_case) {
    case PG_QUERY__NODE__NODE_COLLATE_CLAUSE:
      return L"COLLATE";
    case PG_QUERY__NODE__NODE_SQLVALUE_FUNCTION:
      return L"a function of the session, such as CURRENT_USER";
    case PG_QUERY__NODE__NODE_ROW_EXPR:
      return L"a row of several values in parentheses";
    case PG_QUERY__NODE__NODE_A_ARRAY_EXPR:
      return L"ARRAY";
    case PG_QUERY__NODE__NODE_A_INDIRECTION:
      return L"a subscript or field of a value";
    case PG_QUERY__NODE__NODE_NAMED_ARG_EXPR:
      return L"an argument by name";
    case PG_QUERY__NODE__NODE_SET_TO_DEFAULT:
      return L"DEFAULT";
    default:
      return L"this form of expression";
  }
}

int FormPosition(const PgQuery__Node& node) {
  switch (node.node_case) {
    case PG_QUERY__NODE__NODE_COLLATE_CLAUSE:
      return node.collate_clause->location;
    case PG_QUERY__NODE__NODE_SQLVALUE_FUNCTION:
      return node.sqlvalue_function->location;
    case PG_QUERY__NODE__NODE_ROW_EXPR:
      return node.row_expr->location;
    case PG_QUERY__NODE__NODE_A_ARRAY_EXPR:
      return node.a_array_expr->location;
    case PG_QUERY__NODE__NODE_NAMED_ARG_EXPR:
      return node.named_arg_expr->location;
    case PG_QUERY__NODE__NODE_SET_TO_DEFAULT:
      return node.set_to_default->location;
    case PG_QUERY__NODE__NODE_COLUMN_REF:
      return node.column_ref->location;
    case PG_QUERY__NODE__NODE_A_INDIRECTION:
      return FormPosition(*node.a_indirection->arg);
    default:
      return 0;
  }
}

}  // namespace

void SqlExpressionReader::Refuse(int position, std::wstring_view clause) {
  ThrowPlanError(kClauseNotUnderstood, position < 0 ? 0 : position, {XeString(clause)});
}

SqlExpressionPtr SqlExpressionReader::Read(const PgQuery__Node& node) const {
  switch (node.node_case) {
    case PG_QUERY__NODE__NODE_A_CONST:
      return ReadConstant(*node.a_const);
    case PG_QUERY__NODE__NODE_TYPE_CAST:
      return ReadCast(*node.type_cast);
    case PG_QUERY__NODE__NODE_COLUMN_REF:
      return ReadName(*node.column_ref);
    case PG_QUERY__NODE__NODE_A_EXPR:
      return ReadOperator(*node.a_expr);
    case PG_QUERY__NODE__NODE_BOOL_EXPR:
      return ReadConnective(*node.bool_expr);
    case PG_QUERY__NODE__NODE_NULL_TEST: {
      auto test =
          Operator(Place(node.null_test->location), "is null", {Read(*node.null_test->arg)});
      return node.null_test->nulltesttype == PG_QUERY__NULL_TEST_TYPE__IS_NULL ? test : Not(test);
    }
    case PG_QUERY__NODE__NODE_SUB_LINK:
      return ReadSubquery(*node.sub_link);
    case PG_QUERY__NODE__NODE_BOOLEAN_TEST:
      return ReadTruthTest(*node.boolean_test);
    case PG_QUERY__NODE__NODE_FUNC_CALL:
      return ReadFunction(*node.func_call);
    case PG_QUERY__NODE__NODE_CASE_EXPR:
      return ReadCase(*node.case_expr);
    case PG_QUERY__NODE__NODE_COALESCE_EXPR: {
      const PgQuery__CoalesceExpr& coalesce = *node.coalesce_expr;
      return Call(SqlExpression::Kind::kFunction, Place(coalesce.location), "coalesce",
                  ReadAll(coalesce.args, coalesce.n_args));
    }
    case PG_QUERY__NODE__NODE_MIN_MAX_EXPR: {
      const PgQuery__MinMaxExpr& extreme = *node.min_max_expr;
      return Call(SqlExpression::Kind::kFunction, Place(extreme.location),
                  extreme.op == PG_QUERY__MIN_MAX_OP__IS_GREATEST ? "greatest" : "least",
                  ReadAll(extreme.args, extreme.n_args));
    }
    case PG_QUERY__NODE__NODE_GROUPING_FUNC: {
      const PgQuery__GroupingFunc& grouping = *node.grouping_func;
      return Call(SqlExpression::Kind::kFunction, Place(grouping.location), "grouping",
                  ReadAll(grouping.args, grouping.n_args));
    }
    case PG_QUERY__NODE__NODE_PARAM_REF: {
      auto parameter = std::make_shared<SqlExpression>();
      parameter->kind = SqlExpression::Kind::kParameter;
      parameter->position = Place(node.param_ref->location);
      parameter->parameter = ParameterNumber(*node.param_ref);
      return parameter;
    }
    case PG_QUERY__NODE__NODE_SQLVALUE_FUNCTION:
      if (SqlExpressionPtr clock = SqlTimeReader::ReadClock(*node.sqlvalue_function)) return clock;
      Refuse(FormPosition(node), FormName(node));
    default:
      Refuse(FormPosition(node), FormName(node));
  }
}

SqlExpressionPtr SqlExpressionReader::ReadConstant(const PgQuery__AConst& constant) const {
  using Kind = SqlLiteral::Kind;
  int position = Place(constant.location);
  if (constant.isnull) return Literal(position, Kind::kNull);
  switch (constant.val_case) {
    case PG_QUERY__A__CONST__VAL_IVAL: {
      int value = constant.ival->ival;
      if (value == 0) value = NegativeInteger(position);
      return Literal(position, Kind::kInteger, std::to_wstring(value));
    }
    case PG_QUERY__A__CONST__VAL_FVAL: {
      XeString text = Wide(constant.fval->fval);
      bool exponent = text.find_first_of(L"eE") != XeString::npos;
      bool point = text.find(L'.') != XeString::npos;
      return Literal(position,
                     exponent ? Kind::kExponent
                     : point  ? Kind::kDecimal
                              : Kind::kInteger,
                     text);
    }
    case PG_QUERY__A__CONST__VAL_BOOLVAL: {
      auto literal = Literal(position, Kind::kBoolean);
      literal->literal.boolean = constant.boolval->boolval;
      return literal;
    }
    case PG_QUERY__A__CONST__VAL_SVAL:
      return Literal(position, Kind::kText, Wide(constant.sval->sval));
    default:
      Refuse(position, L"a bit string literal");
  }
}

std::vector<SqlExpressionPtr> SqlExpressionReader::ReadAll(PgQuery__Node* const* nodes,
                                                           std::size_t count) const {
  std::vector<SqlExpressionPtr> all;
  for (std::size_t i = 0; i < count; ++i) all.push_back(Read(*nodes[i]));
  return all;
}

// The grammar's library hands a negative integer out as 0, so its value is read from the tokens:
// any number of signs and parentheses, then the digits.
int SqlExpressionReader::NegativeInteger(int position) const {
  const PgQuery__ScanResult& scan = *tree_.tokens;
  PgQuery__ScanToken** const end = scan.tokens + scan.n_tokens;
  PgQuery__ScanToken** at = std::lower_bound(
      scan.tokens, end, position,
      [](const PgQuery__ScanToken* token, int start) { return token->start < start; });
  long sign = 1;
  for (; at != end; ++at) {
    const PgQuery__ScanToken& token = **at;
    if (token.token == PG_QUERY__TOKEN__ASCII_45) {
      sign = -sign;
    } else if (token.token == PG_QUERY__TOKEN__ICONST) {
      return static_cast<int>(sign * std::strtol(sql_.c_str() + token.start, nullptr, 10));
    } else if (token.token != PG_QUERY__TOKEN__ASCII_40 &&
               token.token != PG_QUERY__TOKEN__C_COMMENT &&
               token.token != PG_QUERY__TOKEN__SQL_COMMENT) {
      break;
    }
  }
  return 0;
}

// The grammar's library keeps 32 bits of a number, so that $4294967297 would be $1.
int SqlExpressionReader::ParameterNumber(const PgQuery__ParamRef& parameter) const {
  const char* const at = sql_.c_str() + Place(parameter.location);
  if (*at != '$') return parameter.number;
  return static_cast<int>(std::min(std::strtol(at + 1, nullptr, 10), long{INT_MAX}));
}

SqlExpressionPtr SqlExpressionReader::ReadName(const PgQuery__ColumnRef& name) const {
  auto expression = std::make_shared<SqlExpression>();
  expression->kind = SqlExpression::Kind::kName;
  expression->position = Place(name.location);
  for (std::size_t i = 0; i < name.n_fields; ++i) {
    if (name.fields[i]->node_case == PG_QUERY__NODE__NODE_A_STAR)
      expression->kind = SqlExpression::Kind::kStar;
    else
      expression->path.push_back(Wide(StringOf(*name.fields[i])));
  }
  std::size_t longest = expression->kind == SqlExpression::Kind::kStar ? 1 : 2;
  if (expression->path.size() > longest)
    Refuse(expression->position, L"a column name of more than two parts");
  return expression;
}

SqlExpressionPtr SqlExpressionReader::ReadOperator(const PgQuery__AExpr& expression) const {
  int position = Place(expression.location);
  switch (expression.kind) {
    case PG_QUERY__A__EXPR__KIND__AEXPR_OP: {
      std::string name(StringOf(*expression.name[expression.n_name - 1]));
      if (SqlExpressionPtr rows = ReadRowComparison(expression)) return rows;
      std::vector<SqlExpressionPtr> operands;
      if (expression.lexpr) operands.push_back(Read(*expression.lexpr));
      if (expression.rexpr) operands.push_back(Read(*expression.rexpr));
      if (name.starts_with("!~"))
        return Not(Operator(position, name.substr(1), std::move(operands)));
      return Operator(position, std::move(name), std::move(operands));
    }
    case PG_QUERY__A__EXPR__KIND__AEXPR_BETWEEN:
    case PG_QUERY__A__EXPR__KIND__AEXPR_NOT_BETWEEN: {
      const PgQuery__List& bounds = *expression.rexpr->list;
      auto between =
          Operator(position, "between",
                   {Read(*expression.lexpr), Read(*bounds.items[0]), Read(*bounds.items[1])});
      bool negated = expression.kind == PG_QUERY__A__EXPR__KIND__AEXPR_NOT_BETWEEN;
      return negated ? Not(between) : between;
    }
    case PG_QUERY__A__EXPR__KIND__AEXPR_BETWEEN_SYM:
    case PG_QUERY__A__EXPR__KIND__AEXPR_NOT_BETWEEN_SYM:
      Refuse(position, L"BETWEEN SYMMETRIC");
    case PG_QUERY__A__EXPR__KIND__AEXPR_IN:
      return ReadMembership(expression);
    case PG_QUERY__A__EXPR__KIND__AEXPR_LIKE:
      return ReadLike(expression);
    case PG_QUERY__A__EXPR__KIND__AEXPR_ILIKE:
      return ReadLike(expression);
    case PG_QUERY__A__EXPR__KIND__AEXPR_SIMILAR:
      return ReadSimilar(expression);
    case PG_QUERY__A__EXPR__KIND__AEXPR_DISTINCT:
    case PG_QUERY__A__EXPR__KIND__AEXPR_NOT_DISTINCT: {
      auto distinct = Operator(position, "is distinct from",
                               {Read(*expression.lexpr), Read(*expression.rexpr)});
      return expression.kind == PG_QUERY__A__EXPR__KIND__AEXPR_DISTINCT ? distinct : Not(distinct);
    }
    case PG_QUERY__A__EXPR__KIND__AEXPR_NULLIF:
      return Call(SqlExpression::Kind::kFunction, position, "nullif",
                  {Read(*expression.lexpr), Read(*expression.rexpr)});
    case PG_QUERY__A__EXPR__KIND__AEXPR_OP_ANY:
    case PG_QUERY__A__EXPR__KIND__AEXPR_OP_ALL:
      return ReadArrayComparison(expression);
    default:
      Refuse(position, L"this operator");
  }
}

// ESCAPE arrives as a function of the grammar's own round the pattern.
std::vector<SqlExpressionPtr> SqlExpressionReader::ReadPattern(const PgQuery__AExpr& expression,
                                                               std::string_view escape) const {
  std::vector<SqlExpressionPtr> operands{Read(*expression.lexpr)};
  const PgQuery__Node& right = *expression.rexpr;
  const bool isFunction = right.node_case == PG_QUERY__NODE__NODE_FUNC_CALL &&
                          right.func_call->n_funcname == 2 &&
                          StringOf(*right.func_call->funcname[1]) == escape;
  if (!isFunction) {
    operands.push_back(Read(right));
  } else {
    for (std::size_t i = 0; i < right.func_call->n_args; ++i)
      operands.push_back(Read(*right.func_call->args[i]));
  }
  return operands;
}

SqlExpressionPtr SqlExpressionReader::ReadLike(const PgQuery__AExpr& expression) const {
  const int position = Place(expression.location);
  std::vector<SqlExpressionPtr> operands = ReadPattern(expression, "like_escape");
  // Without letter case is in small letters.
  if (expression.kind == PG_QUERY__A__EXPR__KIND__AEXPR_ILIKE) {
    const bool isLetter = operands.size() > 2 && operands[2]->literal.text.size() == 1 &&
                          BaseStringUtil::LowerCase(operands[2]->literal.text[0]) !=
                              BaseStringUtil::UpperCase(operands[2]->literal.text[0]);
    if (isLetter) Refuse(operands[2]->position, L"a letter as the ESCAPE of ILIKE");
    for (SqlExpressionPtr& operand : operands)
      operand = Call(SqlExpression::Kind::kFunction, operand->position, "lower", {operand});
  }
  auto like = Operator(position, "like", std::move(operands));
  return StringOf(*expression.name[0]).starts_with('!') ? Not(like) : like;
}

SqlExpressionPtr SqlExpressionReader::ReadSimilar(const PgQuery__AExpr& expression) const {
  auto similar = Operator(Place(expression.location), "similar to",
                          ReadPattern(expression, "similar_to_escape"));
  return StringOf(*expression.name[0]).starts_with('!') ? Not(similar) : similar;
}

// The operands stand as the node has them: the value looked up, the conditions, the results.
SqlExpressionPtr SqlExpressionReader::ReadCase(const PgQuery__CaseExpr& expression) const {
  std::vector<SqlExpressionPtr> operands, results;
  if (expression.arg) operands.push_back(Read(*expression.arg));
  for (std::size_t i = 0; i < expression.n_args; ++i) {
    const PgQuery__CaseWhen& branch = *expression.args[i]->case_when;
    operands.push_back(Read(*branch.expr));
    results.push_back(Read(*branch.result));
  }
  if (expression.defresult) results.push_back(Read(*expression.defresult));
  operands.insert(operands.end(), results.begin(), results.end());
  return Operator(Place(expression.location), expression.arg ? "case" : "case when",
                  std::move(operands));
}

SqlExpressionPtr SqlExpressionReader::ReadConnective(const PgQuery__BoolExpr& expression) const {
  int position = Place(expression.location);
  std::vector<SqlExpressionPtr> operands = ReadAll(expression.args, expression.n_args);
  if (expression.boolop == PG_QUERY__BOOL_EXPR_TYPE__NOT_EXPR)
    return Operator(position, "not", std::move(operands));
  const char* name = expression.boolop == PG_QUERY__BOOL_EXPR_TYPE__AND_EXPR ? "and" : "or";
  return Chain(position, name, std::move(operands));
}

SqlExpressionPtr SqlExpressionReader::ReadTruthTest(const PgQuery__BooleanTest& test) const {
  SqlExpressionPtr operand = Read(*test.arg);
  int position = Place(test.location);
  SqlExpressionPtr isNull = Operator(position, "is null", {operand});
  auto andNotNull = [&](SqlExpressionPtr value) {
    return Operator(position, "and", {std::move(value), Not(isNull)});
  };
  switch (test.booltesttype) {
    case PG_QUERY__BOOL_TEST_TYPE__IS_TRUE:
      return andNotNull(operand);
    case PG_QUERY__BOOL_TEST_TYPE__IS_NOT_TRUE:
      return Not(andNotNull(operand));
    case PG_QUERY__BOOL_TEST_TYPE__IS_FALSE:
      return andNotNull(Not(operand));
    case PG_QUERY__BOOL_TEST_TYPE__IS_NOT_FALSE:
      return Not(andNotNull(Not(operand)));
    case PG_QUERY__BOOL_TEST_TYPE__IS_UNKNOWN:
      return isNull;
    case PG_QUERY__BOOL_TEST_TYPE__IS_NOT_UNKNOWN:
      return Not(isNull);
    default:
      Refuse(position, L"this test");
  }
}

SqlExpressionPtr SqlExpressionReader::ReadSubquery(const PgQuery__SubLink& link) const {
  using Use = SqlExpression::SubqueryUse;
  const int position = Place(link.location);
  auto subquery = std::make_shared<SqlExpression>();
  subquery->kind = SqlExpression::Kind::kSubquery;
  subquery->position = position;
  switch (link.sub_link_type) {
    case PG_QUERY__SUB_LINK_TYPE__EXISTS_SUBLINK:
      subquery->use = Use::kExists;
      break;
    case PG_QUERY__SUB_LINK_TYPE__ANY_SUBLINK:
      subquery->use = Use::kAny;
      break;
    case PG_QUERY__SUB_LINK_TYPE__ALL_SUBLINK:
      subquery->use = Use::kAll;
      break;
    case PG_QUERY__SUB_LINK_TYPE__EXPR_SUBLINK:
      break;
    default:
      Refuse(position, L"ARRAY of a subquery");
  }
  if (link.testexpr) subquery->arguments.push_back(Read(*link.testexpr));
  // IN has no operator's name.
  subquery->name = link.n_oper_name > 0 ? StringOf(*link.oper_name[link.n_oper_name - 1])
                                        : std::string_view("=");
  if (!IsComparison(subquery->name))
    Refuse(position, L"ANY or ALL of a subquery with an operator that is no comparison");
  subquery->query = readQuery_(*link.subselect->select_stmt);
  return subquery;
}

}  // namespace sqxer
