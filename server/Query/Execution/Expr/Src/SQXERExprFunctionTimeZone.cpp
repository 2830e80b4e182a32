#include "SQXERExprFunctionTimeZone.h"

namespace sqxer {

template class OpFunction<ZoneOfRowOp<true>>;
template class OpFunction<ZoneOfRowOp<false>>;

}  // namespace sqxer
