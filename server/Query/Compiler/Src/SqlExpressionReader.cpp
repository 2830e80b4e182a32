#include "SqlExpressionReader.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "PlanError.h"

namespace sqxer {
namespace {

std::string_view StringOf(const PgQuery__Node& node) {
  return node.node_case == PG_QUERY__NODE__NODE_STRING ? node.string->sval : "";
}

SqlExpressionPtr Call(SqlExpression::Kind kind, int position, std::string name,
                      std::vector<SqlExpressionPtr> arguments) {
  auto call = std::make_shared<SqlExpression>();
  call->kind = kind;
  call->position = position;
  call->name = std::move(name);
  call->arguments = std::move(arguments);
  return call;
}

SqlExpressionPtr Operator(int position, std::string name, std::vector<SqlExpressionPtr> operands) {
  return Call(SqlExpression::Kind::kOperator, position, std::move(name), std::move(operands));
}

SqlExpressionPtr Not(SqlExpressionPtr operand) {
  int position = operand->position;
  return Operator(position, "not", {std::move(operand)});
}

std::shared_ptr<SqlExpression> Literal(int position, SqlLiteral::Kind kind, XeString text = {}) {
  auto literal = std::make_shared<SqlExpression>();
  literal->kind = SqlExpression::Kind::kLiteral;
  literal->position = position;
  literal->literal.kind = kind;
  literal->literal.text = std::move(text);
  return literal;
}

/// Forms that the grammar has and this system has not.
const wchar_t* FormName(const PgQuery__Node& node) {
  switch (node.node_case) {
    case PG_QUERY__NODE__NODE_SUB_LINK:
      return L"a subquery";
    case PG_QUERY__NODE__NODE_CASE_EXPR:
      return L"CASE";
    case PG_QUERY__NODE__NODE_COALESCE_EXPR:
      return L"COALESCE";
    case PG_QUERY__NODE__NODE_MIN_MAX_EXPR:
      return L"GREATEST or LEAST";
    case PG_QUERY__NODE__NODE_PARAM_REF:
      return L"a query parameter";
    case PG_QUERY__NODE__NODE_COLLATE_CLAUSE:
      return L"COLLATE";
    case PG_QUERY__NODE__NODE_SQLVALUE_FUNCTION:
      return L"a function of the session, such as CURRENT_DATE";
    case PG_QUERY__NODE__NODE_ROW_EXPR:
      return L"a row of several values in parentheses";
    case PG_QUERY__NODE__NODE_A_ARRAY_EXPR:
      return L"ARRAY";
    case PG_QUERY__NODE__NODE_A_INDIRECTION:
      return L"a subscript or field of a value";
    case PG_QUERY__NODE__NODE_GROUPING_FUNC:
      return L"GROUPING";
    case PG_QUERY__NODE__NODE_GROUPING_SET:
      return L"GROUPING SETS, ROLLUP or CUBE";
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
    case PG_QUERY__NODE__NODE_SUB_LINK:
      return node.sub_link->location;
    case PG_QUERY__NODE__NODE_CASE_EXPR:
      return node.case_expr->location;
    case PG_QUERY__NODE__NODE_COALESCE_EXPR:
      return node.coalesce_expr->location;
    case PG_QUERY__NODE__NODE_MIN_MAX_EXPR:
      return node.min_max_expr->location;
    case PG_QUERY__NODE__NODE_PARAM_REF:
      return node.param_ref->location;
    case PG_QUERY__NODE__NODE_COLLATE_CLAUSE:
      return node.collate_clause->location;
    case PG_QUERY__NODE__NODE_SQLVALUE_FUNCTION:
      return node.sqlvalue_function->location;
    case PG_QUERY__NODE__NODE_ROW_EXPR:
      return node.row_expr->location;
    case PG_QUERY__NODE__NODE_A_ARRAY_EXPR:
      return node.a_array_expr->location;
    case PG_QUERY__NODE__NODE_GROUPING_FUNC:
      return node.grouping_func->location;
    case PG_QUERY__NODE__NODE_GROUPING_SET:
      return node.grouping_set->location;
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

struct LiteralTypeName {
  std::string_view name;
  XeDataType type;
};
// As the grammar names them: INTEGER arrives as int4, DOUBLE PRECISION as float8.
constexpr LiteralTypeName kLiteralTypes[] = {
    {"date", XeDateData},     {"time", XeTimeData},        {"timestamp", XeDateTimeData},
    {"int4", XeInt4Data},     {"uint4", XeUInt4Data},      {"float8", XeDoubleData},
    {"double", XeDoubleData}, {"numeric", XeNumericData},  {"bool", XeBoolean},
    {"boolean", XeBoolean},   {"text", XeLongVarCharData}, {"varchar", XeLongVarCharData},
    {"integer", XeInt4Data},
};

}  // namespace

void SqlExpressionReader::Refuse(int position, std::wstring_view clause) {
  ThrowPlanError(kClauseNotUnderstood, position < 0 ? 0 : position, {XeString(clause)});
}

SqlExpressionPtr SqlExpressionReader::Read(const PgQuery__Node& node) const {
  switch (node.node_case) {
    case PG_QUERY__NODE__NODE_A_CONST:
      return ReadConstant(*node.a_const);
    case PG_QUERY__NODE__NODE_TYPE_CAST:
      return ReadTypedText(*node.type_cast);
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
    case PG_QUERY__NODE__NODE_BOOLEAN_TEST:
      return ReadTruthTest(*node.boolean_test);
    case PG_QUERY__NODE__NODE_FUNC_CALL:
      return ReadFunction(*node.func_call);
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

SqlExpressionPtr SqlExpressionReader::ReadTypedText(const PgQuery__TypeCast& cast) const {
  const PgQuery__TypeName& name = *cast.type_name;
  int position = Place(cast.location >= 0 ? cast.location : name.location);
  std::string_view typeName = name.n_names ? StringOf(*name.names[name.n_names - 1]) : "";
  bool literal = cast.arg->node_case == PG_QUERY__NODE__NODE_A_CONST &&
                 !cast.arg->a_const->isnull &&
                 cast.arg->a_const->val_case == PG_QUERY__A__CONST__VAL_SVAL;
  if (!literal) Refuse(position, L"CAST of anything but a text literal");
  if (name.n_typmods || name.n_array_bounds || name.setof || name.pct_type)
    Refuse(Place(name.location), L"a type with a length, a precision or array bounds");
  for (const LiteralTypeName& known : kLiteralTypes) {
    if (typeName != known.name) continue;
    auto text = Literal(Place(cast.arg->a_const->location), SqlLiteral::Kind::kTypedText,
                        Wide(cast.arg->a_const->sval->sval));
    text->literal.type = known.type;
    return text;
  }
  Refuse(Place(name.location), L"a literal of the type " + Wide(typeName));
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
      std::vector<SqlExpressionPtr> operands;
      if (expression.lexpr) operands.push_back(Read(*expression.lexpr));
      if (expression.rexpr) operands.push_back(Read(*expression.rexpr));
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
      Refuse(position, L"IN");
    case PG_QUERY__A__EXPR__KIND__AEXPR_LIKE:
      Refuse(position, L"LIKE");
    case PG_QUERY__A__EXPR__KIND__AEXPR_ILIKE:
      Refuse(position, L"ILIKE");
    case PG_QUERY__A__EXPR__KIND__AEXPR_SIMILAR:
      Refuse(position, L"SIMILAR TO");
    case PG_QUERY__A__EXPR__KIND__AEXPR_DISTINCT:
    case PG_QUERY__A__EXPR__KIND__AEXPR_NOT_DISTINCT:
      Refuse(position, L"IS DISTINCT FROM");
    case PG_QUERY__A__EXPR__KIND__AEXPR_NULLIF:
      Refuse(position, L"NULLIF");
    case PG_QUERY__A__EXPR__KIND__AEXPR_OP_ANY:
    case PG_QUERY__A__EXPR__KIND__AEXPR_OP_ALL:
      Refuse(position, L"ANY or ALL of an array");
    default:
      Refuse(position, L"this operator");
  }
}

SqlExpressionPtr SqlExpressionReader::ReadConnective(const PgQuery__BoolExpr& expression) const {
  int position = Place(expression.location);
  std::vector<SqlExpressionPtr> operands;
  for (std::size_t i = 0; i < expression.n_args; ++i) operands.push_back(Read(*expression.args[i]));
  if (expression.boolop == PG_QUERY__BOOL_EXPR_TYPE__NOT_EXPR)
    return Operator(position, "not", std::move(operands));
  const char* name = expression.boolop == PG_QUERY__BOOL_EXPR_TYPE__AND_EXPR ? "and" : "or";
  // The grammar holds a chain of any length as one list. Pairing neighbours keeps the order of
  // evaluation and makes the tree as shallow as its length allows.
  while (operands.size() > 1) {
    std::vector<SqlExpressionPtr> paired;
    for (std::size_t i = 0; i + 1 < operands.size(); i += 2)
      paired.push_back(Operator(position, name, {operands[i], operands[i + 1]}));
    if (operands.size() % 2) paired.push_back(operands.back());
    operands = std::move(paired);
  }
  return operands.front();
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

SqlExpressionPtr SqlExpressionReader::ReadFunction(const PgQuery__FuncCall& call) const {
  int position = Place(call.location);
  if (call.over) Refuse(position, L"OVER (a window)");
  if (call.agg_filter) Refuse(position, L"FILTER");
  if (call.agg_within_group) Refuse(position, L"WITHIN GROUP");
  if (call.n_agg_order) Refuse(position, L"ORDER BY within a function");
  if (call.func_variadic) Refuse(position, L"VARIADIC");
  auto function = std::make_shared<SqlExpression>();
  function->kind = SqlExpression::Kind::kFunction;
  function->position = position;
  function->name = StringOf(*call.funcname[call.n_funcname - 1]);
  function->star = call.agg_star;
  function->distinct = call.agg_distinct;
  for (std::size_t i = 0; i < call.n_args; ++i) function->arguments.push_back(Read(*call.args[i]));
  return function;
}

}  // namespace sqxer
