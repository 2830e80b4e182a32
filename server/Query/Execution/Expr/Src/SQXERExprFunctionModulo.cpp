#include "SQXERExprFunctionModulo.h"

#include "SQXERBatchLoops.h"
#include "SQXEROpsNumeric.h"
#include "Utility/DecimalPowers.h"

namespace sqxer {

void Mod::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindParameter(ParameterType::kDoubleOrNumeric, L"Mod", stream, replacement, info);
  BindMathFunctionsReturningDoubleOrNumeric(stream, replacement, info);
  const bool isNumeric = operand_->GetResultDataType() == XeNumericData ||
                         params_[0]->GetResultDataType() == XeNumericData;
  if (isNumeric) {
    ConvertIthOperand(0, ParameterType::kNumeric, L"Mod");
    ConvertIthOperand(1, ParameterType::kNumeric, L"Mod");
    SetResult(XeNumericData, info);
  }
  evaluate_ = isNumeric ? &Mod::EvalNumeric : &Mod::EvalDouble;
}

RExprReturn Mod::EvalDouble(void* out) { return EvalOver(tempValue_, tempValue1_, out); }

RExprReturn Mod::EvalNumeric(void* out) {
  VelmarNumber a;
  VelmarNumber b;
  return EvalOver(a, b, out);
}

template <class T>
RExprReturn Mod::EvalOver(T& a, T& b, void* out) {
  static_assert(FallibleBinaryOp<ModOp<T>, T>);
  if (EvalOperands(&a, &b) != kTrue) return retCode_;
  if (!ModOp<T>::Apply(a, b, *static_cast<T*>(out))) [[unlikely]] {
    const OpError error = ModOp<T>::Failure(b);
    RaiseError(error.code, error.Arguments());
  }
  return kTrue;
}

namespace {

/// Whether all wanted values, also those of rows that do not count, are integers of 32 bits, and
/// none is zero where it must not be.
bool AreIntegers(const BatchVector& vector, const BatchRows& rows, bool allowsZero) {
  const float64* const values = vector.As<float64>();
  bool areIntegers = true;
  (vector.isConstant ? FirstRow(rows) : rows).ForEach([&](uint32 row) {
    const float64 value = values[row];
    const bool isWithin = value > -2147483648.0 && value < 2147483648.0;
    const float64 whole = static_cast<int32>(isWithin ? value : 0.5);
    areIntegers &= whole == value && (allowsZero || value != 0);
  });
  return areIntegers;
}

/// The same of integers of 64 bits that are of one scale, or whose one divisor can be brought to
/// the dividends' scale. False for others, and where a divisor is zero.
bool FillScaledRemainders(const BatchVector& a, const BatchVector& b, const BatchRows& rows,
                          BatchBuffers& buffers, BatchVector& out) {
  const bool areScaled =
      a.form == ColumnForm::kDecimal64 && b.form == ColumnForm::kDecimal64 && a.scale >= b.scale;
  if (!areScaled || (!b.isConstant && a.scale != b.scale)) return false;
  int64 divisor = 1;
  if (b.isConstant) {
    const auto power = static_cast<std::size_t>(a.scale - b.scale);
    const int128 moved = int128{b.As<int64>()[0]} * static_cast<int128>(kPowersOfTen[power]);
    divisor = static_cast<int64>(moved);
    if (divisor != moved) return false;
  }
  // The remainder of the least integer by -1 would overflow.
  const auto isSafe = [](int64 value) { return value > 0 || value < -1; };
  bool isDone = true;
  int64* const values = buffers.Values<int64>();
  if (b.isConstant && isSafe(divisor)) {
    MapValues(a.As<int64>(), values, a.isConstant ? FirstRow(rows) : rows,
              [divisor](int64 dividend) { return dividend % divisor; });
  } else {
    MapPairs(a.As<int64>(), a.isConstant, b.As<int64>(), b.isConstant, values, rows,
             [&](int64 dividend, int64 by) {
               isDone &= isSafe(by);
               return dividend % (isSafe(by) ? by : 1);
             });
  }
  out.form = ColumnForm::kDecimal64;
  out.scale = a.scale;
  out.values = reinterpret_cast<const uint8*>(values);
  return isDone;
}

/// The remainders of the rows that have both values. False where a divisor is zero.
template <class T>
bool FillRemainders(const BatchVector& a, const BatchVector& b, const BatchRows& rows,
                    const BatchVector& out, T* values) {
  bool isDone = true;
  rows.ForEach([&](uint32 row) {
    if (!isDone || out.IsNull(row)) return;
    isDone = ModOp<T>::Apply(ReadBatchValue<T>(a, row), ReadBatchValue<T>(b, row), values[row]);
  });
  return isDone;
}

}  // namespace

bool Mod::EvalBatch(const BatchRows& rows, BatchVector& out) {
  BatchVector a;
  BatchVector b;
  if (!EvaluateBatch(*operand_, rows, a) || !EvaluateBatch(*params_[0], rows, b)) return false;
  BatchBuffers& buffers = GetBatchBuffers();
  out = BatchVector();
  IntersectValidity(a, b, rows, buffers.Validity(), out);
  const BatchRows wanted = RowsOfAll(out, rows);
  if (resultDataType_ == XeNumericData) {
    if (FillScaledRemainders(a, b, wanted, buffers, out)) return true;
    out.scale = 0;
    VelmarNumber* const values = buffers.Values<VelmarNumber>();
    out.form = ColumnForm::kNumber;
    out.values = reinterpret_cast<const uint8*>(values);
    return FillRemainders(a, b, wanted, out, values);
  }
  float64* const values = buffers.Values<float64>();
  out.form = ColumnForm::kFloat64;
  out.values = reinterpret_cast<const uint8*>(values);
  if (!AreIntegers(a, wanted, true) || !AreIntegers(b, wanted, false))
    return FillRemainders(a, b, wanted, out, values);
  // The quotient of two integers of 32 bits is never rounded up to the next one. As std::fmod has
  // it, a remainder of zero takes the dividend's sign.
  MapPairs(a.As<float64>(), a.isConstant, b.As<float64>(), b.isConstant, values, wanted,
           [](float64 dividend, float64 divisor) {
             const float64 quotient = static_cast<int32>(dividend / divisor);
             return std::copysign(dividend - quotient * divisor, dividend);
           });
  return true;
}

void Modf::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindParameter(ParameterType::kDouble, L"Modf", stream, replacement, info);
  BindMathFunctionsReturningDouble(stream, replacement, info);
}

RExprReturn Modf::Eval(void* out) {
  retCode_ = operand_->Eval(&tempValue_);
  if (retCode_ != kTrue) return retCode_;
  if (tempValue_ == 0.0) RaiseError(kDivisionByZero, {});
  retCode_ = params_[0]->Eval(&tempValue1_);
  if (retCode_ != kTrue) return retCode_;
  // The dividend is what the slot holds, and the parameter's value gives way to the integral part:
  // callers rely on handing the dividend over in the slot.
  float64& result = *static_cast<float64*>(out);
  result = std::modf(result / tempValue_, &tempValue1_);
  return kTrue;
}

RExprReturn ModfOfEmptySlot::Eval(void* out) {
  float64 slot = 0;
  retCode_ = only_->Eval(&slot);
  if (retCode_ == kTrue) *static_cast<float64*>(out) = slot;
  return retCode_;
}

}  // namespace sqxer
