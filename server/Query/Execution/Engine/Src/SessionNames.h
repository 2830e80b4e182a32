#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "NearNames.h"
#include "SqlAst.h"

namespace sqxer {

// What statements of a session make of names, types and expressions.

inline XeString NumberedName(std::size_t column) { return L"c" + std::to_wstring(column); }

inline SqlExpressionPtr MakeName(const XeString& name, int position) {
  auto expression = std::make_shared<SqlExpression>();
  expression->kind = SqlExpression::Kind::kName;
  expression->path = {name};
  expression->position = position;
  return expression;
}

inline SqlExpressionPtr MakeNull(int position) {
  auto expression = std::make_shared<SqlExpression>();
  expression->position = position;
  return expression;
}

inline SqlExpressionPtr MakeCast(SqlExpressionPtr operand, const SqlTypeName& type) {
  auto expression = std::make_shared<SqlExpression>();
  expression->kind = SqlExpression::Kind::kOperator;
  expression->name = "cast";
  expression->position = operand->position;
  expression->target = type;
  expression->arguments = {std::move(operand)};
  return expression;
}

inline bool IsText(XeDataType type) { return type == XeVarCharData || type == XeLongVarCharData; }

/// What a name may have been meant for, as the end of a sentence.
inline XeString Advice(const XeString& name, const std::vector<XeString>& names) {
  const XeString advice = AdviseNames(name, names);
  return advice.empty() ? advice : L": " + advice;
}

}  // namespace sqxer
