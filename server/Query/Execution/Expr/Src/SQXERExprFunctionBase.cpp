#include "SQXERExprFunctionBase.h"

#include <algorithm>
#include <memory>
#include <span>
#include <utility>

#include "SQXERExprCast.h"
#include "SQXERExprConstant.h"
#include "SQXERExprConvert.h"
#include "SQXERTypedVariant.h"
#include "Utility/Settings.h"

namespace sqxer {
namespace {

/// A type that a parameter may have, and what brings it to the wanted one; null when it stays.
struct NumericConversion {
  XeDataType from;
  RExpression* (*make)(RExpression* operand);
};

template <class Node>
RExpression* Make(RExpression* operand) {
  return new Node(operand);
}

RExpression* MakeNumberToInt32(RExpression* operand) {
  return new ConvertFloat64toInt32(new ConvertNumbertoFloat64(operand));
}

constexpr NumericConversion kToDouble[] = {{XeInt4Data, &Make<ConvertInt32toFloat64>},
                                           {XeUInt4Data, &Make<ConvertUInt32toFloat64>},
                                           {XeNumericData, &Make<ConvertNumbertoFloat64>},
                                           {XeDoubleData, nullptr}};
constexpr NumericConversion kToNumeric[] = {{XeInt4Data, &Make<ConvertInt32toNumber>},
                                            {XeUInt4Data, &Make<ConvertUInt32toNumber>},
                                            {XeDoubleData, &Make<ConvertFloat64toNumber>},
                                            {XeNumericData, nullptr}};
constexpr NumericConversion kToDoubleOrNumeric[] = {{XeInt4Data, &Make<ConvertInt32toFloat64>},
                                                    {XeUInt4Data, &Make<ConvertUInt32toFloat64>},
                                                    {XeDoubleData, nullptr},
                                                    {XeNumericData, nullptr}};
constexpr NumericConversion kToInt32[] = {{XeDoubleData, &Make<ConvertFloat64toInt32>},
                                          {XeNumericData, &MakeNumberToInt32},
                                          {XeInt4Data, nullptr}};
constexpr NumericConversion kToInt32FromDouble[] = {{XeDoubleData, &Make<ConvertFloat64toInt32>},
                                                    {XeInt4Data, nullptr}};

/// In the order of ParameterType.
constexpr std::span<const NumericConversion> kConversions[] = {
    kToDouble, kToNumeric, kToDoubleOrNumeric, kToInt32, kToInt32FromDouble};

constexpr const wchar_t* kNumericFunction = L"Numeric function";

}  // namespace

ValueFunction::ValueFunction(RExpression* operand, const ExpressionVector& params) try
    : RExpression(1 + static_cast<int>(params.size())),
      operand_(operand),
      params_(params),
      shapes_(params.size() + 1) {
} catch (...) {
  // They have been taken over.
  delete operand;
  for (RExpression* const param : params) delete param;
}

ValueFunction::~ValueFunction() {
  delete operand_;
  for (RExpression* param : params_) delete param;
}

void ValueFunction::Bind(XeAListStream*, RExpression*&, MetaDataInfo&) {
  XeLogicError("Bind of the bare function base");
}

RExprReturn ValueFunction::Eval(void*) { XeLogicError("Eval of the bare function base"); }

RExpression*& ValueFunction::Slot(int index) {
  if (index < 0 || index >= numOperands_) XeLogicError("operand index of a function");
  return index == 0 ? operand_ : params_[static_cast<std::size_t>(index) - 1];
}

RExpression* ValueFunction::GetIthOperand(int index) { return Slot(index); }

void ValueFunction::SetIthOperand(int index, RExpression* operand) { Slot(index) = operand; }

OperandShape ValueFunction::BindIthOperand(int index, XeAListStream* stream,
                                           RExpression*& replacement, MetaDataInfo& info) {
  RExpression*& slot = Slot(index);
  OperandShape& shape = shapes_[static_cast<std::size_t>(index)];
  shape = BindOperand(slot, stream, replacement, info, skipReBindChildren_);
  replacement = nullptr;
  return shape;
}

void ValueFunction::MakeLongText(int index, const wchar_t* name) {
  RExpression*& slot = Slot(index);
  const XeDataType type = slot->GetResultDataType();
  if (type == XeCharData) {
    const uint32 length = shapes_[static_cast<std::size_t>(index)].length;
    slot = new ConvertXeChartoLongVarXeChar(slot, XeLongVarCharData, length);
  } else if (type != XeLongVarCharData) {
    throwExecutionError(kTypeNotSupported, name, type, XeUnknown);
  }
}

OperandShape ValueFunction::BindTextOperand(int index, const wchar_t* name, XeAListStream* stream,
                                            RExpression*& replacement, MetaDataInfo& info) {
  const OperandShape shape = BindIthOperand(index, stream, replacement, info);
  MakeLongText(index, name);
  return shape;
}

void ValueFunction::ConvertIthOperand(int index, ParameterType type, const wchar_t* name) {
  RExpression*& slot = Slot(index);
  const XeDataType from = slot->GetResultDataType();
  for (const NumericConversion& conversion : kConversions[static_cast<int>(type)]) {
    if (conversion.from != from) continue;
    if (conversion.make != nullptr) slot = conversion.make(slot);
    return;
  }
  throwExecutionError(kTypeNotSupported, name, from, XeUnknown);
}

void ValueFunction::ReBindAsCastToInt4(int index, XeAListStream* stream) {
  RExpression*& slot = Slot(index);
  RExpression* const pParamExpr = slot;
  XE_ASSERT(pParamExpr);
  if (pParamExpr->GetResultDataType() == XeInt4Data) return;
  const OperandShape& shape = shapes_[static_cast<std::size_t>(index)];
  MetaDataInfo info;
  info.objectLength_ = shape.length;
  info.isNullable_ = shape.nullable;
  const int length = static_cast<int>(XeFieldDescriptor::GetObjectLength(XeInt4Data, 0));
  slot = new CastToInt32(pParamExpr, XeInt4Data, length, 0);
  slot->SetSourcePosition(pParamExpr->GetSourcePosition());
  slot->SetSkipReBindChildren(true);
  RExpression* pNewExpression = nullptr;
  try {
    slot->Bind(stream, pNewExpression, info);
  } catch (ErrorMessage& error) {
    error.SetSourcePosition(slot->GetSourcePosition());
    throw;
  }
  XE_ASSERT(pNewExpression == NULL);  // NOLINT(modernize-use-nullptr): callers know the text
}

void ValueFunction::SetResult(XeDataType type, MetaDataInfo& info, uint32 length) {
  resultDataType_ = type;
  info.objectLength_ = XeFieldDescriptor::GetObjectLength(type, length);
  info.isNullable_ =
      std::ranges::any_of(shapes_, [](const OperandShape& shape) { return shape.nullable; });
  info.fieldName_ = XeRecordMetaData::exprFieldName_;
  info.aliasName_ = XeRecordMetaData::exprFieldName_;
  info.scale_ = 0;
}

void ValueFunction::MoveOperandsTo(ValueFunction& variant) noexcept {
  std::swap(operand_, variant.operand_);
  params_.swap(variant.params_);
  shapes_.swap(variant.shapes_);
  std::swap(numOperands_, variant.numOperands_);
}

void NumericValueFunction::BindParameter(ParameterType type, const wchar_t* name,
                                         XeAListStream* stream, RExpression*& replacement,
                                         MetaDataInfo& info) {
  BindIthOperand(1, stream, replacement, info);
  ConvertIthOperand(1, type, name);
}

void NumericValueFunction::BindWithoutOperand(RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  SetResult(XeDoubleData, info);
}

void NumericValueFunction::BindMathFunctionsReturningDouble(XeAListStream* stream,
                                                            RExpression*& replacement,
                                                            MetaDataInfo& info,
                                                            bool operandAlreadyBound) {
  replacement = nullptr;
  if (!operandAlreadyBound) BindIthOperand(0, stream, replacement, info);
  ConvertIthOperand(0, ParameterType::kDouble, kNumericFunction);
  SetResult(XeDoubleData, info);
}

void NumericValueFunction::BindMathFunctionsReturningNumeric(XeAListStream*,
                                                             RExpression*& replacement,
                                                             MetaDataInfo& info) {
  replacement = nullptr;
  ConvertIthOperand(0, ParameterType::kNumeric, kNumericFunction);
  SetResult(XeNumericData, info);
}

void NumericValueFunction::BindMathFunctionsReturningDoubleOrNumeric(XeAListStream* stream,
                                                                     RExpression*& replacement,
                                                                     MetaDataInfo& info) {
  bNumericAsDefault = !Settings::Current()->GetSwitches().integerMathAsDouble_;
  numericResults_.clear();
  BindIthOperand(0, stream, replacement, info);
  const XeDataType type = operand_->GetResultDataType();
  const bool isInteger = type == XeInt4Data || type == XeUInt4Data;
  if (type == XeNumericData || (isInteger && bNumericAsDefault)) {
    BindMathFunctionsReturningNumeric(stream, replacement, info);
  } else {
    BindMathFunctionsReturningDouble(stream, replacement, info, true);
  }
}

uint32 StringValueFunction::LimitLength(int index, uint32 length) {
  RExpression& count = *Slot(index);
  int32 value = 0;
  const bool isKnown =
      count.GetExpressionType() == kConstantExpression && count.Eval(&value) == kTrue;
  return isKnown ? std::min(length, static_cast<uint32>(std::max(value, 0))) : length;
}

ExpressionVector ConstantParameter(int32 value, RExpression* operand) {
  std::unique_ptr<RExpression> taken(operand);
  ExpressionVector params(1);
  params[0] = new ConstantInt32(value);
  static_cast<void>(taken.release());
  return params;
}

RExpression* ConstantOperand(int32 value, const ExpressionVector& params) try {
  return new ConstantInt32(value);
} catch (...) {
  for (RExpression* const param : params) delete param;
  throw;
}

}  // namespace sqxer
