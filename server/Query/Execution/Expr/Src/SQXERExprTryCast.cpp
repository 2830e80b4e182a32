#include "SQXERExprTryCast.h"

namespace sqxer {

RExprReturn WatchedOperand::Eval(void* out) {
  try {
    return retCode_ = only_->Eval(out);
  } catch (...) {
    hasFailed_ = true;
    throw;
  }
}

bool WatchedOperand::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return EvaluateBatch(*only_, rows, out);
}

void TryCast::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  UnaryOperator::Bind(stream, replacement, info);
  info.isNullable_ = true;
}

RExprReturn TryCast::Eval(void* out) {
  operand_->Forget();
  try {
    retCode_ = only_->Eval(out);
  } catch (const ErrorMessage& error) {
    if (operand_->HasFailed() || error.IsOfStatement()) throw;
    retCode_ = kUnknown;
  }
  return retCode_;
}

bool TryCast::EvalBatch(const BatchRows& rows, BatchVector& out) {
  try {
    if (EvaluateBatch(*only_, rows, out)) return true;
  } catch (const ErrorMessage&) {
    // Whose error it is, and in which rows, is found out row by row.
  }
  return RExpression::EvalBatch(rows, out);
}

}  // namespace sqxer
