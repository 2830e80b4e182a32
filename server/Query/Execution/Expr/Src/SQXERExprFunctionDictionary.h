#pragma once

#include "SQXERExprFunctionBase.h"
#include "Utility/DravoNativeDictionary.h"

namespace sqxer {

/// The text that a dictionary has for a key, an int4 (taken by its bits) or uint4; NULL where it
/// has NULL or no such key. Error 59001 ("DictLookup", type) for a key of another type.
///
/// The result has the type of the dictionary's values, and points into the dictionary: it holds as
/// long as that does.
class SQXEREXPR_API DictLookup final : public ValueFunction {
 public:
  /// Keeps the dictionary and its table. The further operands are taken over, and not evaluated.
  DictLookup(RExpression* key, const ExpressionVector& params, DravoNativeDictionaryRef dictionary,
             DravoNativeTableRef table);

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override { return (this->*evaluate_)(out); }
  RExprType GetExpressionType() override { return kDictLookupExpression; }

 private:
  using EvalFunction = RExprReturn (DictLookup::*)(void* out);
  static EvalFunction ChooseEval(XeDataType resultType);
  RExprReturn EvalFixed(void* out);
  RExprReturn EvalVarying(void* out);
  /// A broken invariant: the result is no text, or the node is not bound.
  RExprReturn EvalOther(void* out);
  /// The stored value of the key's row; null with the status in retCode_ where there is none.
  const uint8* FindValue();

  DravoNativeDictionaryRef dictionary_;
  DravoNativeTableRef nativeTable_;
  Heap<DictionaryAsArrayReader> arrayReader_;
  uint32 dictKey_ = 0;
  EvalFunction evaluate_ = &DictLookup::EvalOther;
};

}  // namespace sqxer
