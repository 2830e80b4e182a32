#include "TextReason.h"

#include <algorithm>

#include "PlanError.h"

namespace sqxer {
namespace {

/// Operators that do not take, or do not support, a type, and types that do not meet.
constexpr int kTypeErrors[] = {59001, 59002, 59020, 59021, 59030};

}  // namespace

XeString ExplainText(Catalog& catalog, const NameScope& scope, std::size_t column) {
  const ColumnInfo& info = scope.GetSchema()->columns[column];
  if (!SUXeDataTypeUtility::IsXeTextType(info.type)) return {};
  const XeString reason = catalog.FindTextReason(scope.GetTable(), column);
  return reason.empty() ? XeString() : L"\"" + info.name + L"\" is text because of " + reason;
}

void ThrowIfTextsExplain(const ErrorMessage& error, Catalog& catalog, const NameScope& scope,
                         std::span<const SqlExpressionPtr> operands) {
  const bool isTypeError = std::ranges::find(kTypeErrors, error.GetCode()) != std::end(kTypeErrors);
  if (!isTypeError || scope.GetSchema() == nullptr) return;
  std::vector<XeString> reasons;
  for (const SqlExpressionPtr& operand : operands) {
    if (operand->kind != SqlExpression::Kind::kName) continue;
    const int column = scope.FindColumn(*operand);
    if (column < 0) continue;
    XeString reason = ExplainText(catalog, scope, static_cast<std::size_t>(column));
    const bool isKnown = std::ranges::find(reasons, reason) != reasons.end();
    if (!reason.empty() && !isKnown) reasons.push_back(std::move(reason));
  }
  if (reasons.empty()) return;
  // Behind the sentence stand the arguments that it does not mention.
  std::vector<XeString> arguments = error.GetArguments();
  arguments.insert(arguments.end(), reasons.begin(), reasons.end());
  ThrowPlanError(error.GetCode(), error.GetSourcePosition(), std::move(arguments));
}

}  // namespace sqxer
