#include "SqlTimeReader.h"

#include <array>
#include <bit>

#include "PlanError.h"
#include "SqlExpressionReader.h"

namespace sqxer {
namespace {

// The bits of the grammar's fields of intervals; it exports no names for them.
constexpr std::pair<int, IntervalFields::Field> kFieldBits[] = {
    {1 << 2, IntervalFields::kYear},    {1 << 1, IntervalFields::kMonth},
    {1 << 3, IntervalFields::kDay},     {1 << 10, IntervalFields::kHour},
    {1 << 11, IntervalFields::kMinute}, {1 << 12, IntervalFields::kSecond},
};
constexpr int kAllFields = 0x7FFF;
constexpr int kMostDigits = 6;

constexpr std::array<std::string_view, 7> kIntervalArguments = {"years", "months", "weeks", "days",
                                                                "hours", "mins",   "secs"};

std::shared_ptr<SqlExpression> Call(int position, std::string name,
                                    std::vector<SqlExpressionPtr> arguments) {
  auto call = std::make_shared<SqlExpression>();
  call->kind = SqlExpression::Kind::kFunction;
  call->position = position;
  call->name = std::move(name);
  call->arguments = std::move(arguments);
  return call;
}

SqlExpressionPtr Integer(int position, int value) {
  auto literal = std::make_shared<SqlExpression>();
  literal->position = position;
  literal->literal.kind = SqlLiteral::Kind::kInteger;
  literal->literal.text = std::to_wstring(value);
  return literal;
}

/// Whether an expression is a moment of UTC by the way it is written.
bool IsUtc(const SqlExpression& expression) {
  static constexpr std::string_view kNames[] = {"now", "current_timestamp", "statement_timestamp",
                                                "transaction_timestamp", "to_utc"};
  return expression.kind == SqlExpression::Kind::kFunction &&
         std::ranges::find(kNames, expression.name) != std::end(kNames);
}

int ReadWhole(const PgQuery__Node& node, int position) {
  if (node.node_case != PG_QUERY__NODE__NODE_A_CONST ||
      node.a_const->val_case != PG_QUERY__A__CONST__VAL_IVAL)
    SqlExpressionReader::Refuse(position, L"a precision that is no whole number");
  return node.a_const->ival->ival;
}

}  // namespace

void SqlTimeReader::ReadIntervalType(const PgQuery__TypeName& name, SqlTypeName& type) {
  const int position = name.location < 0 ? 0 : name.location;
  if (name.n_typmods > 0) {
    const int bits = ReadWhole(*name.typmods[0], position);
    for (const auto& [bit, field] : kFieldBits) {
      if (bits == kAllFields || (bits & bit) == 0) continue;
      if (!type.fields) type.fields = IntervalFields{field, field};
      type.fields->last = field;
    }
  }
  if (name.n_typmods < 2) return;
  type.digits = ReadWhole(*name.typmods[1], position);
  if (*type.digits < 0 || *type.digits > kMostDigits)
    SqlExpressionReader::Refuse(position, L"an interval of more than six digits of a second");
}

SqlExpressionPtr SqlTimeReader::ReadClock(const PgQuery__SQLValueFunction& value) {
  const int position = value.location < 0 ? 0 : value.location;
  const auto call = [&](const char* name, bool hasDigits) {
    std::vector<SqlExpressionPtr> arguments;
    if (hasDigits) arguments.push_back(Integer(position, value.typmod));
    return Call(position, name, std::move(arguments));
  };
  switch (value.op) {
    case PG_QUERY__SQLVALUE_FUNCTION_OP__SVFOP_CURRENT_DATE:
      return call("current_date", false);
    case PG_QUERY__SQLVALUE_FUNCTION_OP__SVFOP_CURRENT_TIME:
    case PG_QUERY__SQLVALUE_FUNCTION_OP__SVFOP_LOCALTIME:
      return call("localtime", false);
    case PG_QUERY__SQLVALUE_FUNCTION_OP__SVFOP_CURRENT_TIME_N:
    case PG_QUERY__SQLVALUE_FUNCTION_OP__SVFOP_LOCALTIME_N:
      return call("localtime", true);
    case PG_QUERY__SQLVALUE_FUNCTION_OP__SVFOP_CURRENT_TIMESTAMP:
      return call("current_timestamp", false);
    case PG_QUERY__SQLVALUE_FUNCTION_OP__SVFOP_CURRENT_TIMESTAMP_N:
      return call("current_timestamp", true);
    case PG_QUERY__SQLVALUE_FUNCTION_OP__SVFOP_LOCALTIMESTAMP:
      return call("localtimestamp", false);
    case PG_QUERY__SQLVALUE_FUNCTION_OP__SVFOP_LOCALTIMESTAMP_N:
      return call("localtimestamp", true);
    default:
      return nullptr;
  }
}

void SqlTimeReader::PlaceArguments(const PgQuery__FuncCall& call, SqlExpression& function) {
  if (function.name != "make_interval" || function.arguments.size() > kIntervalArguments.size())
    return;
  std::vector<SqlExpressionPtr> placed(kIntervalArguments.size());
  for (std::size_t i = 0; i < function.arguments.size(); ++i) {
    std::size_t at = i;
    if (call.args[i]->node_case == PG_QUERY__NODE__NODE_NAMED_ARG_EXPR) {
      const std::string_view name = call.args[i]->named_arg_expr->name;
      at = static_cast<std::size_t>(std::ranges::find(kIntervalArguments, name) -
                                    kIntervalArguments.begin());
      if (at == placed.size() || placed[at])
        ThrowPlanError(kNoSuchArgument, function.arguments[i]->position,
                       {L"MAKE_INTERVAL", Wide(name)});
    }
    placed[at] = function.arguments[i];
  }
  for (SqlExpressionPtr& argument : placed)
    if (!argument) argument = Integer(function.position, 0);
  function.arguments = std::move(placed);
}

void SqlTimeReader::Rewrite(SqlExpression& function) {
  if (function.name == "timezone" && function.arguments.size() == 2) {
    std::swap(function.arguments[0], function.arguments[1]);
    function.name = IsUtc(*function.arguments[0]) ? "from_utc" : "to_utc";
  }
  if (function.name == "age" && function.arguments.size() == 1)
    function.arguments.insert(function.arguments.begin(),
                              Call(function.position, "current_date", {}));
}

}  // namespace sqxer
