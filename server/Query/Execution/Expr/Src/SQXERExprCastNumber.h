#pragma once

#include "SQXERBatchCast.h"

namespace sqxer {

/// Cast to a signed integer: from texts, 32-bit integers, doubles and decimals. Fractions are cut
/// off.
template <class Integer>
class CastToInteger : public Cast {
 public:
  using Cast::Cast;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override {
    static constexpr OperandForm kForms[] = {
        {XeCharData, &Move},
        {XeLongVarCharData, &Move},
        FormOf<CastInteger<int32, Integer>>(XeInt4Data),
        FormOf<CastInteger<uint32, Integer>>(XeUInt4Data),
        FormOf<CastFloat64ToInteger<Integer>>(XeDoubleData),
        FormOf<CastNumberToInteger<Integer>>(XeNumericData),
    };
    BindTyped(stream, replacement, info, kForms);
  }
  RExprReturn Eval(void* out) override {
    if (EvalOperand() == kTrue) *static_cast<Integer*>(out) = *static_cast<Integer*>(castValue_);
    return retCode_;
  }
};

class SQXEREXPR_API CastToInt16 final : public CastToInteger<int16> {
 public:
  CastToInt16(RExpression* operand, XeDataType to, int precision, int scale)
      : CastToInteger(operand, to, precision, scale) {}
  RExprType GetExpressionType() override { return kCastToInt16Expression; }

 protected:
  const wchar_t* GetOperatorName() const override { return L"CastToInt16"; }
};

class SQXEREXPR_API CastToInt32 final : public CastToInteger<int32> {
 public:
  CastToInt32(RExpression* operand, XeDataType to, int precision, int scale)
      : CastToInteger(operand, to, precision, scale) {}
  RExprType GetExpressionType() override { return kCastToInt32Expression; }

 protected:
  const wchar_t* GetOperatorName() const override { return L"CastToInt32"; }
};

/// Cast to the nearest 32-bit floating-point number: from what CastToFloat64 takes. A finite value
/// does not become an infinity: 59013.
class SQXEREXPR_API CastToFloat32 final : public Cast {
 public:
  CastToFloat32(RExpression* operand, XeDataType to, int precision, int scale)
      : Cast(operand, to, precision, scale) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  RExprType GetExpressionType() override { return kCastToFloat32Expression; }

 protected:
  const wchar_t* GetOperatorName() const override { return L"CastToFloat32"; }
};

/// Cast to the nearest double: from texts, 32-bit integers, doubles, decimals, bits and booleans.
class SQXEREXPR_API CastToFloat64 final : public Cast {
 public:
  CastToFloat64(RExpression* operand, XeDataType to, int precision, int scale)
      : Cast(operand, to, precision, scale) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  RExprType GetExpressionType() override { return kCastToFloat64Expression; }

 protected:
  const wchar_t* GetOperatorName() const override { return L"CastToFloat64"; }
};

/// Cast to a decimal: from texts, 32-bit integers, doubles and decimals. The value keeps all its
/// digits, whatever precision and scale were asked for.
class SQXEREXPR_API CastToNumeric final : public Cast {
 public:
  CastToNumeric(RExpression* operand, XeDataType to, int precision, int scale)
      : Cast(operand, to, precision, scale) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 protected:
  const wchar_t* GetOperatorName() const override { return L"CastToNumeric"; }

 private:
  VelmarNumber number_;
};

}  // namespace sqxer
