#include "SQXERExprFunctionTimeZone.h"

namespace sqxer {

template class OpFunction<ZoneOfRowOp<true>>;
template class OpFunction<ZoneOfRowOp<false>>;
template class OpFunction<ZoneAtDistanceOp<true>>;
template class OpFunction<ZoneAtDistanceOp<false>>;

}  // namespace sqxer
