#pragma once

#include "SQXEROpsTimeZone.h"

namespace sqxer {

// One source makes them.
extern template class SQXEREXPR_API OpFunction<ZoneOfRowOp<true>>;
extern template class SQXEREXPR_API OpFunction<ZoneOfRowOp<false>>;
extern template class SQXEREXPR_API OpFunction<ZoneAtDistanceOp<true>>;
extern template class SQXEREXPR_API OpFunction<ZoneAtDistanceOp<false>>;

// AtTimeZone where the zone is a text of each row, or an interval by which its clocks are ahead of
// UTC. NULL if an operand is. Errors 59063 (the text) for what is no zone, 59171 beyond the
// calendar.

class SQXEREXPR_API FromUtcByZone final : public OpFunction<ZoneOfRowOp<true>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API ToUtcByZone final : public OpFunction<ZoneOfRowOp<false>> {
 public:
  using OpFunction::OpFunction;
};

class SQXEREXPR_API FromUtcByDistance final : public OpFunction<ZoneAtDistanceOp<true>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API ToUtcByDistance final : public OpFunction<ZoneAtDistanceOp<false>> {
 public:
  using OpFunction::OpFunction;
};

}  // namespace sqxer
