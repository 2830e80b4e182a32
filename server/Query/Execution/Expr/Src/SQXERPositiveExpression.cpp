#include "SQXERPositiveExpression.h"

#include "SQXERTypedVariant.h"

namespace sqxer {

namespace {

constexpr int kNotPositive = 59028;

bool IsTaken(RExpression& expression) {
  const XeDataType type = expression.GetResultDataType();
  return type == XeInt4Data || type == XeUInt4Data ||
         expression.GetExpressionType() == kConstantNullExpression;
}

}  // namespace

void BindPositiveExpression(std::unique_ptr<RExpression>& expression, const XeString& operatorName,
                            MetaDataInfo& info) {
  XE_ASSERT(expression != nullptr);
  const XeRecordMetaData noColumns;
  XeAListStream stream(&noColumns, nullptr);
  MetaDataInfo own;
  expression = BindTree(std::move(expression), &stream, own);
  info.AddParametersOf(own);
  if (IsTaken(*expression)) return;
  try {
    RExpression::throwExecutionError(kTypeNotSupported, operatorName,
                                     expression->GetResultDataType(), XeUnknown);
  } catch (ErrorMessage& error) {
    error.SetSourcePosition(expression->GetSourcePosition());
    throw;
  }
}

void VerifyPositiveExpression(RExpression& expression, uint32& value) {
  int32 number = 0;
  if (expression.Eval(&number) != kTrue || number <= 0) {
    ErrorMessage error(kNotPositive);
    error.SetSourcePosition(expression.GetSourcePosition());
    SUGThrow(error);
  }
  value = static_cast<uint32>(number);
}

}  // namespace sqxer
