#pragma once

#include <cwchar>
#include <limits>

#include "SQXERBatchLoops.h"
#include "SQXEROpsConvert.h"

namespace sqxer {

/// Base of the nodes that bring an operand to the type that its parent computes in. They are made
/// while a parent binds, over an operand that is bound already, and stand at the operand's place in
/// the SQL. Status of the operand passes through; NULL leaves the output alone.
class SQXEREXPR_API Convert : public UnaryOperator {
 public:
  bool TakesOperandValues() override { return true; }
  Convert(RExpression* operand, XeDataType resultType);

  /// Binds the operand of a node that was built over an unbound one, or of a tree that is bound
  /// again. The node's own type stays; its length is that of the operand.
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;

  /// `operand` itself when the types are equal, else a new node over it that gives `target`.
  /// `length` is the length of the value in characters or bytes. Error 59030 (source type, target
  /// type) when there is no such conversion; the operand then still belongs to the caller.
  static RExpression* AddConversionExpression(XeDataType target, XeDataType source,
                                              RExpression* operand, uint32 length);

 private:
  /// Takes over what the operand tells, so that a parent can ask a conversion that it put in.
  void TakeShape();
};

/// When both operands are integers, brings those of 32 bits to double, and `resultType` and
/// `info.objectLength_` with them. Otherwise nothing changes.
SQXEREXPR_API void ConvertIntegerToDouble(RExpression*& left, RExpression*& right,
                                          MetaDataInfo& info, XeDataType& resultType);

/// Node over a conversion between values of fixed width.
template <ConversionOp Op>
class ConvertValue : public Convert {
 public:
  explicit ConvertValue(RExpression* operand, XeDataType resultType = Op::kResult)
      : Convert(operand, resultType) {}
  /// For the binding tables, whose conversions all take a length.
  ConvertValue(RExpression* operand, XeDataType resultType, uint32 /*length*/)
      : Convert(operand, resultType) {}

  RExprReturn Eval(void* out) override {
    retCode_ = only_->Eval(&value1_);
    if (retCode_ == kTrue) {
      *static_cast<typename Op::To*>(out) = AtSourcePosition([this] { return Op::Apply(value1_); });
    }
    return retCode_;
  }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override {
    if (!EvaluateBatch(*only_, rows, out)) return false;
    ConvertVector<Op>(RowsOf(out, rows), GetBatchBuffers(), out);
    return true;
  }
  bool GivesSameAs(RExpression&) override { return true; }
  bool HasBatchLoop() override { return true; }
  BatchCost GetBatchCost() override {
    // To and from the other types a conversion may fail or take its time.
    return std::is_arithmetic_v<typename Op::To> && std::is_arithmetic_v<typename Op::From>
               ? only_->GetBatchCost()
               : BatchCost::kDear;
  }

 protected:
  typename Op::From value1_{};
};

class SQXEREXPR_API ConvertBittoInt32 final : public ConvertValue<BitToInt32> {
 public:
  using ConvertValue::ConvertValue;
};
class SQXEREXPR_API ConvertBittoUInt32 final : public ConvertValue<BitToUInt32> {
 public:
  using ConvertValue::ConvertValue;
};
class SQXEREXPR_API ConvertBittoFloat64 final : public ConvertValue<BitToFloat64> {
 public:
  using ConvertValue::ConvertValue;
};
class SQXEREXPR_API ConvertBittoNumber final : public ConvertValue<BitToNumber> {
 public:
  using ConvertValue::ConvertValue;
};
/// Over a cast to a narrow number that is an operand: nothing computes in narrow numbers.
class SQXEREXPR_API ConvertInt16toInt32 final : public ConvertValue<Int16ToInt32> {
 public:
  using ConvertValue::ConvertValue;
};
class SQXEREXPR_API ConvertFloat32toFloat64 final : public ConvertValue<Float32ToFloat64> {
 public:
  using ConvertValue::ConvertValue;
};
class SQXEREXPR_API ConvertInt32toUInt32 final : public ConvertValue<Int32ToUInt32> {
 public:
  using ConvertValue::ConvertValue;
};
class SQXEREXPR_API ConvertInt32toFloat64 final : public ConvertValue<Int32ToFloat64> {
 public:
  using ConvertValue::ConvertValue;
};
class SQXEREXPR_API ConvertInt32toNumber final : public ConvertValue<Int32ToNumber> {
 public:
  using ConvertValue::ConvertValue;
};
class SQXEREXPR_API ConvertUInt32toFloat64 final : public ConvertValue<UInt32ToFloat64> {
 public:
  using ConvertValue::ConvertValue;
};
class SQXEREXPR_API ConvertUInt32toNumber final : public ConvertValue<UInt32ToNumber> {
 public:
  using ConvertValue::ConvertValue;
};
class SQXEREXPR_API ConvertFloat64toInt32 final : public ConvertValue<Float64ToInt32> {
 public:
  using ConvertValue::ConvertValue;
};
class SQXEREXPR_API ConvertFloat64toNumber final : public ConvertValue<Float64ToNumber> {
 public:
  using ConvertValue::ConvertValue;
};
class SQXEREXPR_API ConvertNumbertoFloat64 final : public ConvertValue<NumberToFloat64> {
 public:
  using ConvertValue::ConvertValue;
};
class SQXEREXPR_API ConvertXeDatetoXeDateTime final : public ConvertValue<DateToDateTime> {
 public:
  using ConvertValue::ConvertValue;
  /// Days become microseconds, as moments of columns are.
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
};
class SQXEREXPR_API ConvertXeTimetoXeDateTime final : public ConvertValue<TimeToDateTime> {
 public:
  using ConvertValue::ConvertValue;
};

/// Node that reads a date or time out of a text. `length` is the declared length of a fixed text,
/// which is read up to its first zero character but no further than that; 0 is no limit.
template <ConversionOp Op, class Text>
class ConvertText : public Convert {
 public:
  ConvertText(RExpression* operand, XeDataType resultType, uint32 length)
      : Convert(operand, resultType), limit_(Limit(operand, length)) {}

  RExprReturn Eval(void* out) override {
    Text value{};
    retCode_ = only_->Eval(&value);
    if (retCode_ == kTrue) {
      if constexpr (std::same_as<Text, wchar_t*>) {
        text_.assign(value, wcsnlen(value, limit_));
      } else {
        text_.assign(value.buffer_, value.length_);
      }
      *static_cast<typename Op::To*>(out) = AtSourcePosition([this] { return Op::Apply(text_); });
    }
    return retCode_;
  }

 private:
  // A parameter goes by its partner's length, which says nothing about its text.
  static std::size_t Limit(RExpression* operand, uint32 length) {
    const bool known = length != 0 && operand->GetExpressionType() != kParamExpression;
    return known ? length : std::numeric_limits<std::size_t>::max() / sizeof(wchar_t);
  }

  std::size_t limit_;
  /// Kept between rows, so that it stops allocating.
  XeString text_;
};

class SQXEREXPR_API ConvertXeChartoXeDate final : public ConvertText<TextToDate, wchar_t*> {
 public:
  using ConvertText::ConvertText;
};
class SQXEREXPR_API ConvertXeLongVarChartoXeDate final
    : public ConvertText<TextToDate, RefLongVarChar> {
 public:
  using ConvertText::ConvertText;
};
class SQXEREXPR_API ConvertXeChartoXeTime final : public ConvertText<TextToTime, wchar_t*> {
 public:
  using ConvertText::ConvertText;
};
class SQXEREXPR_API ConvertXeLongVarChartoXeTime final
    : public ConvertText<TextToTime, RefLongVarChar> {
 public:
  using ConvertText::ConvertText;
};
class SQXEREXPR_API ConvertXeChartoXeDateTime final : public ConvertText<TextToDateTime, wchar_t*> {
 public:
  using ConvertText::ConvertText;
};
class SQXEREXPR_API ConvertXeLongVarChartoXeDateTime final
    : public ConvertText<TextToDateTime, RefLongVarChar> {
 public:
  using ConvertText::ConvertText;
};

class CastToChar;
class ConstantLongVarXeChar;

/// A fixed text as a long one. The blanks that pad a fixed text are no part of the long value, but
/// the characters of a literal that was cast to character all are, and a cast to fixed character
/// keeps its padding.
class SQXEREXPR_API ConvertXeChartoLongVarXeChar final : public Convert {
 public:
  /// `length`: the declared length of the fixed text in characters.
  ConvertXeChartoLongVarXeChar(RExpression* operand, XeDataType resultType, uint32 length);
  /// Makes all characters of the operand part of the long value, whatever the operand is.
  void KeepBlanks() { keepsBlanks_ = true; }
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 private:
  void FindCast();

  uint32 objectLength_;
  /// The cast under this node and the literal under that; not owned, null when there is none.
  CastToChar* pCastToCharOperand_ = nullptr;
  ConstantLongVarXeChar* pConstantChar_ = nullptr;
  /// The cast is one to fixed character, or it was asked for.
  bool keepsBlanks_ = false;
  /// Characters that trimming leaves in any case: those of the literal.
  uint32 trimFloor_ = 0;
};

/// A text of varying length as a long one: the same value. The tables offer no such conversion; the
/// plan builder puts it over readers that give texts of varying length, which few operators take.
class SQXEREXPR_API ConvertVarXeChartoLongVarXeChar final : public Convert {
 public:
  /// `length`: the characters of the longest value, which the node reports, whatever its operand.
  ConvertVarXeChartoLongVarXeChar(RExpression* operand, XeDataType resultType, uint32 length)
      : Convert(operand, resultType), objectLength_(length) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  /// What gives such texts reads documents, and those by rows.
  bool TakesOperandValues() override { return false; }

 private:
  uint32 objectLength_;
};

/// A fixed binary as a long one: the same bytes, with the length given at construction.
class SQXEREXPR_API ConvertBinarytoLongVarBinary final : public Convert {
 public:
  ConvertBinarytoLongVarBinary(RExpression* operand, XeDataType resultType, uint32 length)
      : Convert(operand, resultType), objectLength_(length) {}
  RExprReturn Eval(void* out) override;

 private:
  uint32 objectLength_;
};

}  // namespace sqxer
