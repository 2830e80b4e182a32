#pragma once

#include "SQXEROpFunction.h"
#include "SQXEROpsInteger.h"

namespace sqxer {

// One source makes them.
extern template class SQXEREXPR_API OpFunction<BitsOp<AndBits, int32>>;
extern template class SQXEREXPR_API OpFunction<BitsOp<AndBits, VelmarNumber>>;
extern template class SQXEREXPR_API OpFunction<BitsOp<OrBits, int32>>;
extern template class SQXEREXPR_API OpFunction<BitsOp<OrBits, VelmarNumber>>;
extern template class SQXEREXPR_API OpFunction<BitsOp<XorBits, int32>>;
extern template class SQXEREXPR_API OpFunction<BitsOp<XorBits, VelmarNumber>>;
extern template class SQXEREXPR_API OpFunction<BitsOp<ShiftLeft, int32>>;
extern template class SQXEREXPR_API OpFunction<BitsOp<ShiftLeft, VelmarNumber>>;
extern template class SQXEREXPR_API OpFunction<BitsOp<ShiftRight, int32>>;
extern template class SQXEREXPR_API OpFunction<BitsOp<ShiftRight, VelmarNumber>>;
extern template class SQXEREXPR_API OpFunction<BitNotOp<int32>>;
extern template class SQXEREXPR_API OpFunction<BitNotOp<VelmarNumber>>;
extern template class SQXEREXPR_API OpFunction<FitNumericOp>;
extern template class SQXEREXPR_API OpFunction<FitBigintOp>;
extern template class SQXEREXPR_API OpFunction<BigintOfTextOp>;
extern template class SQXEREXPR_API OpFunction<DivOp>;
extern template class SQXEREXPR_API OpFunction<GcdOp<int32>>;
extern template class SQXEREXPR_API OpFunction<GcdOp<VelmarNumber>>;
extern template class SQXEREXPR_API OpFunction<LcmOp<int32>>;
extern template class SQXEREXPR_API OpFunction<LcmOp<VelmarNumber>>;
extern template class SQXEREXPR_API OpFunction<WidthBucketOp<float64>>;
extern template class SQXEREXPR_API OpFunction<WidthBucketOp<VelmarNumber>>;
extern template class SQXEREXPR_API OpFunction<LogOfBaseOp>;
extern template class SQXEREXPR_API OpFunction<IsNanOp>;
extern template class SQXEREXPR_API OpFunction<IsFiniteOp>;
extern template class SQXEREXPR_API OpFunction<IsInfiniteOp>;

// Functions of numbers whose meaning is that of their op; see there. NULL if an operand is. Where
// there is a variant for INTEGER and one for NUMERIC, the plan builder chooses.

class SQXEREXPR_API BitAndInt32 final : public OpFunction<BitsOp<AndBits, int32>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API BitAndNumeric final : public OpFunction<BitsOp<AndBits, VelmarNumber>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API BitOrInt32 final : public OpFunction<BitsOp<OrBits, int32>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API BitOrNumeric final : public OpFunction<BitsOp<OrBits, VelmarNumber>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API BitXorInt32 final : public OpFunction<BitsOp<XorBits, int32>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API BitXorNumeric final : public OpFunction<BitsOp<XorBits, VelmarNumber>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API ShiftLeftInt32 final : public OpFunction<BitsOp<ShiftLeft, int32>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API ShiftLeftNumeric final : public OpFunction<BitsOp<ShiftLeft, VelmarNumber>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API ShiftRightInt32 final : public OpFunction<BitsOp<ShiftRight, int32>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API ShiftRightNumeric final : public OpFunction<BitsOp<ShiftRight, VelmarNumber>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API BitNotInt32 final : public OpFunction<BitNotOp<int32>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API BitNotNumeric final : public OpFunction<BitNotOp<VelmarNumber>> {
 public:
  using OpFunction::OpFunction;
};

/// Decimals that are known to fit pass as they are.
class SQXEREXPR_API FitNumeric final : public OpFunction<FitNumericOp> {
 public:
  FitNumeric(RExpression* operand, int precision, int scale);
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool GivesSameAs(RExpression& other) override;
};
class SQXEREXPR_API FitBigint final : public OpFunction<FitBigintOp> {
 public:
  using OpFunction::OpFunction;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
};
class SQXEREXPR_API BigintOfText final : public OpFunction<BigintOfTextOp> {
 public:
  using OpFunction::OpFunction;
};

class SQXEREXPR_API Div final : public OpFunction<DivOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API GcdInt32 final : public OpFunction<GcdOp<int32>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API GcdNumeric final : public OpFunction<GcdOp<VelmarNumber>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API LcmInt32 final : public OpFunction<LcmOp<int32>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API LcmNumeric final : public OpFunction<LcmOp<VelmarNumber>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API WidthBucketFloat64 final : public OpFunction<WidthBucketOp<float64>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API WidthBucketNumeric final : public OpFunction<WidthBucketOp<VelmarNumber>> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API LogOfBase final : public OpFunction<LogOfBaseOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API IsNan final : public OpFunction<IsNanOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API IsFinite final : public OpFunction<IsFiniteOp> {
 public:
  using OpFunction::OpFunction;
};
class SQXEREXPR_API IsInfinite final : public OpFunction<IsInfiniteOp> {
 public:
  using OpFunction::OpFunction;
};

}  // namespace sqxer
