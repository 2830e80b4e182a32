#include "SQXERExprFunctionRegular.h"

namespace sqxer {

template class OpFunction<RegexpLikeOp>;
template class OpFunction<SimilarToOp>;
template class OpFunction<RegexpCountOp>;
template class OpFunction<RegexpSubstrOp>;
template class OpFunction<RegexpReplaceOp>;

}  // namespace sqxer
