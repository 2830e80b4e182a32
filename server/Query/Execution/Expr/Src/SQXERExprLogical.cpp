#include "SQXERExprLogical.h"

#include "SQXEROpsLogic.h"
#include "SQXERTypedVariant.h"

namespace sqxer {
namespace {

constexpr std::span<const TypedVariant> kIsNullVariants =
    kVariants<IsNullXeChar, IsNullLongVarXeChar, IsNullInt32, IsNullUInt32, IsNullFloat64,
              IsNullNumber, IsNullDate, IsNullTime, IsNullDateTime, IsNullBoolean>;

void CheckIsTruthValue(RExpression& node, const wchar_t* name) {
  for (int i = 0; i < node.GetOperandCount(); ++i) {
    RExpression::CheckDataTypeAndThrowError(node.GetIthOperand(i), {XeBitData, XeBoolean}, name);
  }
}

void DescribeTruthValue(RExpression& node, bool nullable, MetaDataInfo& info) {
  node.SetResultDataType(XeBoolean);
  info.isNullable_ = nullable;
  info.objectLength_ = 1;
  info.scale_ = 0;
  info.fieldName_ = XeRecordMetaData::exprFieldName_;
}

/// Binds both operands in the caller's own context; the result can be NULL when either can.
void BindConnective(RExpression& node, const wchar_t* name, XeAListStream* stream,
                    RExpression*& replacement, MetaDataInfo& info) {
  bool nullable = info.isNullable_;
  for (int i = 0; i < node.GetOperandCount(); ++i) {
    RExpression* operand = node.GetIthOperand(i);
    if (!node.GetSkipReBindChildren()) {
      BindInPlace(operand, stream, replacement, info);
      node.SetIthOperand(i, operand);
    }
    nullable |= operand->GetBoundShape().nullable;
  }
  replacement = nullptr;
  CheckIsTruthValue(node, name);
  DescribeTruthValue(node, nullable, info);
}

/// A truth value as nodes hand it upward: a byte, or the status of what is unknown.
RExprReturn WriteTruth(Truth truth, void* out) {
  if (truth == Truth::kUnknown) return kUnknown;
  *static_cast<uint8*>(out) = static_cast<uint8>(truth);
  return kTrue;
}

}  // namespace

void IsNull::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindOperand(stream, replacement, info);
  const XeDataType type = only_->GetResultDataType();
  const TypedVariant* variant = FindVariant(kIsNullVariants, type);
  if (variant == nullptr) throwExecutionError(kTypeNotComparable, L"IsNull", type, XeUnknown);
  DescribeTruthValue(*this, false, info);
  ReplaceBy(*this, variant->make(), XeBoolean, replacement);
}

void LogicalAnd::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindConnective(*this, L"Logical And", stream, replacement, info);
}

RExprReturn LogicalAnd::Eval(void* out) {
  const auto truth = [](RExprReturn status, const void* value) {
    if (status == kUnknown) return Truth::kUnknown;
    return *static_cast<const uint8*>(value) == 0 ? Truth::kFalse : Truth::kTrue;
  };
  retCode_ = left_->Eval(out);
  if (retCode_ != kTrue && retCode_ != kUnknown) return retCode_;
  const Truth left = truth(retCode_, out);
  if (AndOp::Decides(left)) return kTrue;
  retCode1_ = right_->Eval(&value1_);
  if (retCode1_ != kTrue && retCode1_ != kUnknown) return retCode1_;
  return WriteTruth(AndOp::Apply(left, truth(retCode1_, &value1_)), out);
}

void LogicalOr::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindConnective(*this, L"Logical Or", stream, replacement, info);
}

RExprReturn LogicalOr::Eval(void* out) {
  // Unlike AND, every status but kUnknown counts as FALSE: filters rely on a TRUE of one side even
  // when the other has come to its end.
  const auto truth = [](RExprReturn status, const void* value) {
    if (status == kUnknown) return Truth::kUnknown;
    return status == kTrue && *static_cast<const uint8*>(value) == 1 ? Truth::kTrue : Truth::kFalse;
  };
  retCode_ = left_->Eval(out);
  const Truth left = truth(retCode_, out);
  if (OrOp::Decides(left)) return kTrue;
  retCode1_ = right_->Eval(&value1_);
  return WriteTruth(OrOp::Apply(left, truth(retCode1_, &value1_)), out);
}

void LogicalNot::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  UnaryOperator::Bind(stream, replacement, info);
  // An operand of another type would write past the one byte that this node is given.
  CheckIsTruthValue(*this, L"Logical Not");
  DescribeTruthValue(*this, info.isNullable_, info);
}

RExprReturn LogicalNot::Eval(void* out) {
  retCode_ = only_->Eval(out);
  if (retCode_ == kTrue) {
    uint8& value = *static_cast<uint8*>(out);
    value = static_cast<uint8>(NotOp::Apply(value == 1 ? Truth::kTrue : Truth::kFalse));
  }
  return retCode_;
}

}  // namespace sqxer
