#include "SQXERExprArithmetic.h"

#include <cwchar>

#include "SQXERBatchText.h"
#include "SQXERExprConvert.h"
#include "SQXEROpsString.h"
#include "SQXERTypedVariant.h"

namespace sqxer {
namespace {

/// A pair of date and interval types that an operator knows, and the type that would come of it.
struct TemporalRow {
  XeDataType left;
  XeDataType right;
  XeDataType result;
};

struct ArithmeticOperator {
  const wchar_t* name;
  std::span<const TypedVariant> variants;
  std::span<const TemporalRow> temporal;
};

constexpr TemporalRow kAddTemporal[] = {
    {XeIntervalData, XeDateTimeData, XeDateTimeData},
    {XeIntervalData, XeIntervalData, XeIntervalData},
    {XeDateTimeData, XeIntervalData, XeDateTimeData},
};
constexpr TemporalRow kSubtractTemporal[] = {
    {XeDateTimeData, XeDateTimeData, XeIntervalData},
    {XeDateTimeData, XeIntervalData, XeDateTimeData},
    {XeIntervalData, XeIntervalData, XeIntervalData},
};
constexpr TemporalRow kScaleTemporal[] = {{XeIntervalData, XeInt4Data, XeIntervalData}};

constexpr ArithmeticOperator kAdd = {L"Add", kVariants<AddInt32, AddUInt32, AddFloat64, AddNumber>,
                                     kAddTemporal};
constexpr ArithmeticOperator kSubtract = {
    L"Subtract", kVariants<SubtractInt32, SubtractUInt32, SubtractFloat64, SubtractNumber>,
    kSubtractTemporal};
constexpr ArithmeticOperator kMultiply = {
    L"Multiply", kVariants<MultiplyInt32, MultiplyUInt32, MultiplyFloat64, MultiplyNumber>,
    kScaleTemporal};
constexpr ArithmeticOperator kDivide = {
    L"Divide", kVariants<DivideInt32, DivideUInt32, DivideFloat64, DivideNumber>, kScaleTemporal};

constexpr std::span<const TypedVariant> kUnaryMinusVariants =
    kVariants<UnaryMinusInt32, UnaryMinusUInt32, UnaryMinusFloat64, UnaryMinusNumber>;

/// Chooses the variant of a node whose operands have been brought to one type, if they have one.
void ChooseArithmeticVariant(const ArithmeticOperator& op, RExpression& node,
                             RExpression*& replacement) {
  const XeDataType left = node.GetIthOperand(0)->GetResultDataType();
  const XeDataType right = node.GetIthOperand(1)->GetResultDataType();
  const XeDataType result = node.GetResultDataType();
  switch (left) {
    case XeInt4Data:
    case XeUInt4Data:
    case XeDoubleData:
    case XeNumericData: {
      if (result == XeUnknown) XeLogicError();
      const TypedVariant* variant = FindVariant(op.variants, result);
      if (variant == nullptr) {
        RExpression::throwExecutionError(kTypeNotSupported, op.name, result, XeUnknown);
      }
      ReplaceBy(node, variant->make(), result, replacement);
      return;
    }
    case XeDateTimeData:
    case XeIntervalData:
      // The timestamp functions do this arithmetic. The pairs are known here only so that the
      // message names the type that the query was after.
      for (const TemporalRow& row : op.temporal) {
        if (row.left == left && row.right == right) {
          RExpression::throwExecutionError(kTypeNotSupported, op.name, row.result, XeUnknown);
        }
      }
      break;
    default:
      break;
  }
  RExpression::throwExecutionError(kTypeNotSupported, op.name, left, right);
}

/// Copies a fixed text up to its zero character, at most up to `end`; returns where it stopped.
wchar_t* CopyFixedText(const wchar_t* text, wchar_t* to, wchar_t* end) {
  const std::size_t length = wcsnlen(text, static_cast<std::size_t>(end - to));
  std::wmemcpy(to, text, length);
  return to + length;
}

}  // namespace

void Add::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  resultDataType_ = XeUnknown;
  BindArithmeticCommon(stream, replacement, info);
  ChooseArithmeticVariant(kAdd, *this, replacement);
}

void Subtract::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  resultDataType_ = XeUnknown;
  BindArithmeticCommon(stream, replacement, info);
  ChooseArithmeticVariant(kSubtract, *this, replacement);
}

void Multiply::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  resultDataType_ = XeUnknown;
  BindArithmeticCommon(stream, replacement, info);
  ChooseArithmeticVariant(kMultiply, *this, replacement);
}

void Divide::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  resultDataType_ = XeUnknown;
  BindArithmeticCommon(stream, replacement, info);
  if (m_bIntegerDivideProduceDouble) {
    ConvertIntegerToDouble(left_, right_, info, resultDataType_);
  }
  ChooseArithmeticVariant(kDivide, *this, replacement);
}

void UnaryMinus::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  UnaryOperator::Bind(stream, replacement, info);
  const TypedVariant* variant = FindVariant(kUnaryMinusVariants, resultDataType_);
  if (variant == nullptr) {
    throwExecutionError(kTypeNotSupported, L"UnaryMinus", resultDataType_, XeUnknown);
  }
  ReplaceBy(*this, variant->make(), resultDataType_, replacement);
}

void Concat::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  const auto bind = [&](RExpression*& operand) {
    return BindOperand(operand, stream, replacement, tempMetaDataInfo_, info, skipReBindChildren_);
  };
  const OperandShape leftShape = bind(left_);
  const OperandShape rightShape = bind(right_);
  const uint32 length = leftShape.length + rightShape.length;
  info.isNullable_ = leftShape.nullable && rightShape.nullable;
  info.objectLength_ = length;
  info.fieldName_ = XeRecordMetaData::exprFieldName_;
  info.aliasName_ = XeRecordMetaData::exprFieldName_;
  info.scale_ = 0;

  const XeDataType left = left_->GetResultDataType();
  const XeDataType right = right_->GetResultDataType();
  const auto isText = [](XeDataType type) {
    return type == XeCharData || type == XeLongVarCharData;
  };
  if (!isText(left) || !isText(right))
    throwExecutionError(kTypeNotSupported, L"Concat", left, right);

  Concat* variant;
  if (left == XeCharData && right == XeCharData) {
    variant = new ConcatXeChar(nullptr, nullptr, length);
    resultDataType_ = XeCharData;
  } else {
    if (left == XeCharData)
      left_ = new ConvertXeChartoLongVarXeChar(left_, XeLongVarCharData, leftShape.length);
    if (right == XeCharData)
      right_ = new ConvertXeChartoLongVarXeChar(right_, XeLongVarCharData, rightShape.length);
    variant = new ConcatLongVarXeChar(nullptr, nullptr, length);
    resultDataType_ = XeLongVarCharData;
  }
  ReplaceBy(*this, variant, resultDataType_, replacement);
}

RExprReturn Concat::EvalOperands(void* left, void* right) {
  leftRetCode_ = left_->Eval(left);
  if (leftRetCode_ != kTrue && leftRetCode_ != kUnknown) return leftRetCode_;
  retCode_ = right_->Eval(right);
  if (retCode_ != kTrue && retCode_ != kUnknown) return retCode_;
  return leftRetCode_ == kUnknown && retCode_ == kUnknown ? kUnknown : kTrue;
}

ConcatXeChar::ConcatXeChar(RExpression* left, RExpression* right, uint32 resultLength)
    : Concat(left, right), resultLength_(resultLength) {
  result_.Reserve(std::size_t{resultLength} + 1);
}

RExprReturn ConcatXeChar::Eval(void* out) {
  const RExprReturn status = EvalOperands(&value1_, &value2_);
  if (status != kTrue) return status;
  wchar_t* to = result_.data();
  wchar_t* const end = to + resultLength_;
  if (leftRetCode_ == kTrue) to = CopyFixedText(value1_, to, end);
  if (retCode_ == kTrue) to = CopyFixedText(value2_, to, end);
  std::wmemset(to, L' ', static_cast<std::size_t>(end - to));
  *end = L'\0';
  *static_cast<wchar_t**>(out) = result_.data();
  return kTrue;
}

ConcatLongVarXeChar::ConcatLongVarXeChar(RExpression* left, RExpression* right, uint32 length)
    : Concat(left, right) {
  result_.Reserve(length);
}

RExprReturn ConcatLongVarXeChar::Eval(void* out) {
  const RExprReturn status = EvalOperands(&value1_, &value2_);
  if (status != kTrue) return status;
  const uint32 left = leftRetCode_ == kTrue ? value1_.length_ : 0;
  const uint32 right = retCode_ == kTrue ? value2_.length_ : 0;
  // Grows only for an operand longer than it was declared.
  result_.Reserve(std::size_t{left} + right);
  if (left != 0) std::wmemcpy(result_.data(), value1_.buffer_, left);
  if (right != 0) std::wmemcpy(result_.data() + left, value2_.buffer_, right);
  *static_cast<RefLongVarChar*>(out) = {left + right, result_.data()};
  return kTrue;
}

bool ConcatLongVarXeChar::EvalBatch(const BatchRows& rows, BatchVector& out) {
  BatchVector left;
  BatchVector right;
  if (!EvaluateBatch(*left_, rows, left) || !EvaluateBatch(*right_, rows, right)) return false;
  ByteTexts starts(left);
  ByteTexts ends(right);
  const auto isNull = [](const BatchVector& vector) {
    return vector.isConstant && vector.IsNull(0);
  };
  // A NULL has no characters, of whatever width.
  const bool areBytes = (starts.IsSure() || isNull(left)) && (ends.IsSure() || isNull(right));
  BatchBuffers& buffers = GetBatchBuffers();
  BatchText* const texts = buffers.Texts();
  uint64* const validity = buffers.Validity();
  std::fill_n(validity, kMostBatchWords, ~uint64{0});
  out = BatchVector();
  out.form = areBytes ? ColumnForm::kText8 : ColumnForm::kText32;
  out.texts = texts;
  out.validity = validity;
  buffers.ClearTexts();
  rows.ForEach([&](uint32 row) {
    const bool hasLeft = !left.IsNull(row);
    const bool hasRight = !right.IsNull(row);
    if (!hasLeft && !hasRight) {
      validity[row / 64] &= ~(uint64{1} << row % 64);
    } else if (areBytes) {
      const ByteText start = hasLeft ? *starts.Get(row) : ByteText();
      const ByteText end = hasRight ? *ends.Get(row) : ByteText();
      uint8* const text = buffers.KeepBytes(std::size_t{start.length_} + end.length_);
      CopyText(end, CopyText(start, text));
      texts[row] = {text, start.length_ + end.length_};
    } else {
      const RefLongVarChar start = hasLeft ? buffers.Widen(left, row, 0) : RefLongVarChar();
      const RefLongVarChar end = hasRight ? buffers.Widen(right, row, 1) : RefLongVarChar();
      const std::size_t length = std::size_t{start.length_} + end.length_;
      uint8* const text = buffers.KeepBytes(length * sizeof(wchar_t));
      CopyText(end, CopyText(start, reinterpret_cast<wchar_t*>(text)));
      texts[row] = {text, static_cast<uint32>(length)};
    }
  });
  return true;
}

}  // namespace sqxer
