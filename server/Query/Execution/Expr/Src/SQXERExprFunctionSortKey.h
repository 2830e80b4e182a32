#pragma once

#include <optional>

#include "SQXERExprFunctionBase.h"
#include "Utility/CollationKeyMaker.h"

namespace sqxer {

/// The sort key of the operand, a long binary: ordering by keys is the order in which the settings
/// at bind compare texts, or that of the parameter's locale. The parameter is a text constant, such
/// as 'sv_SE'; error 59174 (locale) at binding when it is not known. Error 59001 ("NLSSort", type)
/// for an operand that is no text, and for a parameter that is no text constant. Error 59013
/// ("NLSSort", type, text) should a collation make a key that is longer than its longest characters
/// add up to.
///
/// The key holds until the next evaluation.
class SQXEREXPR_API NLSSort final : public ValueFunction {
 public:
  using ValueFunction::ValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  RExprType GetExpressionType() override { return kNLSSortExpression; }

 private:
  void BindLocale(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info);

  RefLongVarChar varCharOperand_{};
  /// The most bytes that a key has.
  uint32 keyLength_ = 0;
  std::optional<CollationKeyMaker> keys_;
};

}  // namespace sqxer
