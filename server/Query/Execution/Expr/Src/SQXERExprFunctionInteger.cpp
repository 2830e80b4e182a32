#include "SQXERExprFunctionInteger.h"

namespace sqxer {

template class OpFunction<BitsOp<AndBits, int32>>;
template class OpFunction<BitsOp<AndBits, VelmarNumber>>;
template class OpFunction<BitsOp<OrBits, int32>>;
template class OpFunction<BitsOp<OrBits, VelmarNumber>>;
template class OpFunction<BitsOp<XorBits, int32>>;
template class OpFunction<BitsOp<XorBits, VelmarNumber>>;
template class OpFunction<BitsOp<ShiftLeft, int32>>;
template class OpFunction<BitsOp<ShiftLeft, VelmarNumber>>;
template class OpFunction<BitsOp<ShiftRight, int32>>;
template class OpFunction<BitsOp<ShiftRight, VelmarNumber>>;
template class OpFunction<BitNotOp<int32>>;
template class OpFunction<BitNotOp<VelmarNumber>>;
template class OpFunction<FitNumericOp>;
template class OpFunction<FitBigintOp>;
template class OpFunction<BigintOfTextOp>;
template class OpFunction<DivOp>;
template class OpFunction<GcdOp<int32>>;
template class OpFunction<GcdOp<VelmarNumber>>;
template class OpFunction<LcmOp<int32>>;
template class OpFunction<LcmOp<VelmarNumber>>;
template class OpFunction<WidthBucketOp<float64>>;
template class OpFunction<WidthBucketOp<VelmarNumber>>;
template class OpFunction<LogOfBaseOp>;
template class OpFunction<IsNanOp>;
template class OpFunction<IsFiniteOp>;
template class OpFunction<IsInfiniteOp>;

namespace {

/// Whether all wanted decimals of a vector have at most `places` behind the point, and are below a
/// limit in their size.
bool AreWithin(const BatchVector& vector, const BatchRows& rows, int places,
               const VelmarNumber& limit) {
  if (!IsScaled(vector.form) || vector.scale > places) return false;
  const WideBounds bounds = FindScaledBounds(vector, RowsOf(vector, rows));
  if (!HaveDecimalDigits(bounds)) return false;
  return VelmarNumber::FromScaled(bounds.greatest, vector.scale) < limit &&
         VelmarNumber::negate(VelmarNumber::FromScaled(bounds.least, vector.scale)) < limit;
}

/// Calls use(divisor) with ten to the power of some digits; a few of them as a constant, by which
/// the compiler divides without a division.
template <class T, class Use>
void WithPowerOfTen(int digits, Use&& use) {
  switch (digits) {
    case 1:
      return use(std::integral_constant<T, 10>());
    case 2:
      return use(std::integral_constant<T, 100>());
    case 3:
      return use(std::integral_constant<T, 1000>());
    default:
      return use(static_cast<T>(kPowersOfTen[static_cast<std::size_t>(digits)]));
  }
}

/// Integers of one scale, rounded to fewer digits behind the point.
template <class T>
void RoundScaled(int places, const BatchRows& rows, BatchBuffers& buffers, BatchVector& out) {
  T* const values = buffers.Values<T>();
  WithPowerOfTen<T>(out.scale - places, [&](auto power) {
    MapValues(out.As<T>(), values, rows, [power](T value) {
      const T divisor = power;
      // Half of a power of ten is whole. No branch asks for the rest, which nobody could guess.
      const T half = divisor / 2;
      const T rest = value % divisor;
      return static_cast<T>(value / divisor + (rest >= half) - (rest <= -half));
    });
  });
  out.scale = static_cast<int16>(places);
  out.values = reinterpret_cast<const uint8*>(values);
  out.block = nullptr;
}

}  // namespace

FitNumeric::FitNumeric(RExpression* operand, int precision, int scale)
    : OpFunction(operand, {}, FitNumericOp(precision, scale)) {}

void FitNumeric::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  OpFunction::Bind(stream, replacement, info);
  info.scale_ = static_cast<int16>(GetOp().scale);
}

bool FitNumeric::GivesSameAs(RExpression& other) {
  const FitNumericOp& op = static_cast<FitNumeric&>(other).GetOp();
  return op.precision == GetOp().precision && op.scale == GetOp().scale;
}

bool FitNumeric::EvalBatch(const BatchRows& rows, BatchVector& out) {
  OperandVectors operands;
  if (!EvaluateOperands(rows, operands)) return false;
  out = operands[0];
  if (out.isConstant && out.IsNull(0)) return true;
  const int places = GetOp().scale;
  if (IsScaled(out.form) && places >= 0 && out.scale > places) {
    WithScaledType(out.form, [&]<class T>(std::type_identity<T>) {
      RoundScaled<T>(places, RowsOf(out, rows), GetBatchBuffers(), out);
    });
  }
  return AreWithin(out, rows, places, GetOp().limit) || ComputeBatch(operands, rows, out);
}

bool FitBigint::EvalBatch(const BatchRows& rows, BatchVector& out) {
  OperandVectors operands;
  if (!EvaluateOperands(rows, operands)) return false;
  out = operands[0];
  if (out.isConstant && out.IsNull(0)) return true;
  static const VelmarNumber kLimit(std::numeric_limits<int64>::max());
  return AreWithin(out, rows, 0, kLimit) || ComputeBatch(operands, rows, out);
}

}  // namespace sqxer
