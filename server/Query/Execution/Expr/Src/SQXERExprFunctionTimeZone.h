#pragma once

#include "SQXEROpsTimeZone.h"

namespace sqxer {

// One source makes them.
extern template class SQXEREXPR_API OpFunction<ZoneOfRowOp<true>>;
extern template class SQXEREXPR_API OpFunction<ZoneOfRowOp<false>>;

// AtTimeZone where the zone is a text of each row. NULL if an operand is. Errors 59063 (the text)
// for what names no zone, 59171 beyond the calendar.

class SQXEREXPR_API FromUtcByZone final : public OpFunction<ZoneOfRowOp<true>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API ToUtcByZone final : public OpFunction<ZoneOfRowOp<false>> {
 public:
  using OpFunction::OpFunction;
};

}  // namespace sqxer
