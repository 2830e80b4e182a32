#pragma once

#include "SQXERExpression.h"

namespace sqxer {

/// The operand of a cast as it is, which remembers whether it was the one that failed.
class SQXEREXPR_API WatchedOperand final : public UnaryOperator {
 public:
  using UnaryOperator::UnaryOperator;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }

  bool HasFailed() const { return hasFailed_; }
  void Forget() { hasFailed_ = false; }

 private:
  bool hasFailed_ = false;
};

/// TRY_CAST: what a cast gives, or NULL where it refuses the value. Errors of the cast's operand
/// stay errors, and so do those of binding.
class SQXEREXPR_API TryCast final : public UnaryOperator {
 public:
  /// `cast` is built over `operand`, which stays in the tree.
  TryCast(RExpression* cast, WatchedOperand* operand) : UnaryOperator(cast), operand_(operand) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }

 private:
  WatchedOperand* operand_;
};

}  // namespace sqxer
