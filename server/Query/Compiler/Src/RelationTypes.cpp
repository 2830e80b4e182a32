#include "RelationTypes.h"

#include <algorithm>

#include "ExpressionTyper.h"
#include "FunctionTable.h"
#include "NodeProber.h"
#include "PlanError.h"

namespace sqxer {
namespace {

bool AddNamedColumns(const SqlExpression& expression, const NameScope& scope,
                     std::vector<std::size_t>& columns) {
  if (expression.kind == SqlExpression::Kind::kStar) return false;
  if (expression.kind == SqlExpression::Kind::kName) {
    const int column = scope.HasTable(expression) ? scope.FindColumn(expression) : -1;
    if (column < 0) return false;
    columns.push_back(static_cast<std::size_t>(column));
  }
  bool areKnown = true;
  ForEachOperand(expression, [&](const SqlExpressionPtr& operand) {
    areKnown = areKnown && AddNamedColumns(*operand, scope, columns);
  });
  return areKnown;
}

/// An operator or function over two columns; null where it does not take them.
TypedExpressionPtr TypeOverTwo(const ColumnInfo& a, const ColumnInfo& b, SqlExpression::Kind kind,
                               const char* name) {
  class NoTables final : public Catalog {
   public:
    const TableSchema* FindTable(const XeString&, const TableRequest&) override { return nullptr; }
  } catalog;
  const QueryParameters none;
  TableSchema both;
  both.columns = {a, b};
  both.columns[0].name = L"a";
  both.columns[1].name = L"b";
  const NameScope scope(both, SqlSelect());
  SqlExpression call;
  call.kind = kind;
  call.name = name;
  for (const wchar_t* column : {L"a", L"b"}) {
    auto expression = std::make_shared<SqlExpression>();
    expression->kind = SqlExpression::Kind::kName;
    expression->path = {column};
    call.arguments.push_back(std::move(expression));
  }
  try {
    return ExpressionTyper(scope, catalog, none).Type(call, {L"ON"});
  } catch (const ErrorMessage&) {
    return nullptr;
  }
}

}  // namespace

std::optional<std::vector<std::size_t>> FindNamedColumns(const SqlExpression& expression,
                                                         const TableSchema& schema) {
  const NameScope scope(schema, SqlSelect());
  std::vector<std::size_t> columns;
  if (!AddNamedColumns(expression, scope, columns)) return std::nullopt;
  return columns;
}

ColumnInfo TypeExpression(const SqlExpression& expression, const TableSchema& schema,
                          Catalog& catalog, const QueryParameters& parameters) {
  const NameScope scope(schema, SqlSelect());
  const TypedExpressionPtr typed =
      ExpressionTyper(scope, catalog, parameters).Type(expression, {L"ON"});
  return ResultOfTree(*WithoutWidening(typed), {});
}

std::optional<XeDataType> FindComparisonType(const ColumnInfo& a, const ColumnInfo& b) {
  // What compares values of two types need not say in which type it does.
  const bool areCompared = TypeOverTwo(a, b, SqlExpression::Kind::kOperator, "=") != nullptr;
  return areCompared ? FindCommonType(a, b) : std::nullopt;
}

std::optional<XeDataType> FindCommonType(const ColumnInfo& a, const ColumnInfo& b) {
  if (a.type == b.type) return a.type;
  const TypedExpressionPtr typed = TypeOverTwo(a, b, SqlExpression::Kind::kFunction, "coalesce");
  if (!typed) return std::nullopt;
  return typed->type;
}

std::string CastName(XeDataType type) { return BaseStringUtil::StringToUtf8(NameOfType(type)); }

void SplitConditions(const SqlExpressionPtr& condition, std::vector<SqlExpressionPtr>& parts) {
  const bool isAnd = condition->kind == SqlExpression::Kind::kOperator &&
                     condition->name == "and" && condition->arguments.size() == 2;
  if (!isAnd) return parts.push_back(condition);
  for (const SqlExpressionPtr& part : condition->arguments) SplitConditions(part, parts);
}

SqlExpressionPtr JoinConditions(const std::vector<SqlExpressionPtr>& parts) {
  SqlExpressionPtr all;
  for (const SqlExpressionPtr& part : parts) {
    if (!all) {
      all = part;
      continue;
    }
    auto both = std::make_shared<SqlExpression>();
    both->kind = SqlExpression::Kind::kOperator;
    both->name = "and";
    both->position = part->position;
    both->arguments = {all, part};
    all = std::move(both);
  }
  return all;
}

}  // namespace sqxer
