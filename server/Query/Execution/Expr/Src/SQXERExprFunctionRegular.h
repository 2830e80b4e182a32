#pragma once

#include "SQXEROpFunction.h"
#include "SQXEROpsRegular.h"

namespace sqxer {

// One source makes them.
extern template class SQXEREXPR_API OpFunction<RegexpLikeOp>;
extern template class SQXEREXPR_API OpFunction<SimilarToOp>;
extern template class SQXEREXPR_API OpFunction<RegexpCountOp>;
extern template class SQXEREXPR_API OpFunction<RegexpSubstrOp>;
extern template class SQXEREXPR_API OpFunction<RegexpReplaceOp>;

// Functions of regular expressions whose meaning is that of their op; see there. NULL if an operand
// is.

class SQXEREXPR_API RegexpLike final : public OpFunction<RegexpLikeOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API SimilarTo final : public OpFunction<SimilarToOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API RegexpCount final : public OpFunction<RegexpCountOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API RegexpSubstr final : public OpFunction<RegexpSubstrOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API RegexpReplace final : public OpFunction<RegexpReplaceOp> {
 public:
  using OpFunction::OpFunction;
};

}  // namespace sqxer
