#include "SQXERExprFunctionFormat.h"

namespace sqxer {

template class OpFunction<ToCharOp<XeDateTime, MomentFormat>>;
template class OpFunction<ToCharOp<XeInterval, IntervalFormat>>;
template class OpFunction<ToCharOp<VelmarNumber, NumberFormat>>;
template class OpFunction<ToCharOp<float64, NumberFormat>>;
template class OpFunction<ToNumberOp>;

}  // namespace sqxer
