#include "SQXERExprFunctionMoments.h"

namespace sqxer {

template class OpFunction<TimestampOfEpochOp>;

}  // namespace sqxer
