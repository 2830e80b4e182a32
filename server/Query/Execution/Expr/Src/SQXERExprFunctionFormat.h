#pragma once

#include "SQXEROpsFormat.h"

namespace sqxer {

// One source makes them.
extern template class SQXEREXPR_API OpFunction<ToCharOp<XeDateTime, MomentFormat>>;
extern template class SQXEREXPR_API OpFunction<ToCharOp<XeInterval, IntervalFormat>>;
extern template class SQXEREXPR_API OpFunction<ToCharOp<VelmarNumber, NumberFormat>>;
extern template class SQXEREXPR_API OpFunction<ToCharOp<float64, NumberFormat>>;
extern template class SQXEREXPR_API OpFunction<ToNumberOp>;

// Values as texts of a format, and the way back. NULL if an operand is. Errors: 59060, 59061,
// 59062.

class SQXEREXPR_API ToCharMoment final : public OpFunction<ToCharOp<XeDateTime, MomentFormat>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API ToCharInterval final : public OpFunction<ToCharOp<XeInterval, IntervalFormat>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API ToCharNumeric final : public OpFunction<ToCharOp<VelmarNumber, NumberFormat>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API ToCharDouble final : public OpFunction<ToCharOp<float64, NumberFormat>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API NumberOfText final : public OpFunction<ToNumberOp> {
 public:
  using OpFunction::OpFunction;
};

}  // namespace sqxer
