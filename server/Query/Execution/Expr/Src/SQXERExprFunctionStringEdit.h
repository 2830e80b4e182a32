#pragma once

#include "SQXERBatchText.h"
#include "SQXERExprFunctionBase.h"
#include "SQXEROpsString.h"
#include "Utility/XeAutoBuffer.h"

namespace sqxer {

// Functions whose result is a long text (but for Char), built once and never replaced. Where an
// operand is said to be a text, a fixed one becomes a long one without the blanks that pad it, and
// error 59001 (name, type) is for any other type. Results other than those of Left and Right stand
// in a buffer of the node, until its next evaluation.

/// The characters at one end of the operand: as many as the first parameter says, which is cast to
/// int4, or all of them when there are fewer. They are not copied.
template <class Op>
class TextEndFunction : public StringValueFunction {
 public:
  using StringValueFunction::StringValueFunction;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) final {
    const OperandShape text = BindTextOperand(0, Op::kName, stream, replacement, info);
    BindIthOperand(1, stream, replacement, info);
    ReBindAsCastToInt4(1, stream);
    SetResult(XeLongVarCharData, info, LimitLength(1, text.length));
  }
  RExprReturn Eval(void* out) final {
    if (EvalOperands(&varCharOperand_, &count_) == kTrue) {
      RequireCount(count_, 1, Op::kName);
      *static_cast<RefLongVarChar*>(out) = Op::Apply(varCharOperand_, count_);
    }
    return retCode_;
  }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    BatchBuffers& buffers = GetBatchBuffers();
    return EvalPairBatch(*operand_, *params_[0], rows, buffers, out,
                         [&](const BatchVector& operand, const BatchVector& counts,
                             const BatchRows& wanted, BatchVector& result) {
                           BatchText* const texts = buffers.Texts();
                           result.form = operand.form;
                           result.texts = texts;
                           bool isDone = true;
                           ForEachText(operand, wanted, [&](uint32 row, const auto& text) {
                             if (counts.IsNull(row)) return;
                             const auto count = ReadBatchValue<int32>(counts, row);
                             isDone &= count >= 1;
                             texts[row] = AsBatchText(Op::Apply(text, std::max(count, 0)));
                           });
                           return isDone;
                         });
  }
  bool HasBatchLoop() final { return true; }

 private:
  RefLongVarChar varCharOperand_{};
  int32 count_ = 0;
};

/// The first characters. Error 59007 (count, "Left") for a count below 1.
class SQXEREXPR_API Left final : public TextEndFunction<LeftOp> {
 public:
  using TextEndFunction::TextEndFunction;
};

/// The last characters. Error 59007 (count, "Right") for a count below 1.
class SQXEREXPR_API Right final : public TextEndFunction<RightOp> {
 public:
  using TextEndFunction::TextEndFunction;
};

/// The operand with every occurrence of the first parameter replaced by the second, all of them
/// texts. An empty text occurs nowhere; whether case counts is the configuration's. There is room
/// for every replacement in texts as long as they were declared, unless that takes 64 MiB: then
/// replacing stops where the room ends.
class SQXEREXPR_API Replace final : public StringValueFunction {
 public:
  using StringValueFunction::StringValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* result) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;

 private:
  XeAutoBuffer<wchar_t, 128> result_;
  RefLongVarChar varCharOperand_{};
  RefLongVarChar varCharFromSubString_{};
  RefLongVarChar varCharToSubString_{};
  /// The most characters that a result has.
  int32 resultAllocationSize_ = 0;
  bool isCaseSensitive_ = true;
};

/// The operand with some of its characters replaced by a text: parameters position (from 1), number
/// of characters to remove, and the text. The numbers are int4, or double, truncated. A position
/// outside the operand changes nothing; a negative number removes nothing.
class SQXEREXPR_API Insert final : public StringValueFunction {
 public:
  using StringValueFunction::StringValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 private:
  XeAutoBuffer<wchar_t, 128> result_;
  RefLongVarChar varCharOperand_{};
  int32 start_ = 0;
  int32 length_ = 0;
  RefLongVarChar varCharNewString_{};
};

/// As many blanks as the operand says, an int4, or a double, truncated: at most 255, and none for a
/// negative number.
class SQXEREXPR_API Space final : public StringValueFunction {
 public:
  using StringValueFunction::StringValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 private:
  int32 spaceCount_ = 0;
  XeAutoBuffer<wchar_t, 256> spaceBuffer_;
};

/// The operand, a text, as many times as the parameter says: int4, or a double or numeric,
/// truncated. The result is cut to four times the declared length of the operand, or to 255 when
/// that is more. The parameter is evaluated first. Binding raises error 59173 (bytes) where no
/// record could hold that length.
class SQXEREXPR_API Repeat final : public StringValueFunction {
 public:
  using StringValueFunction::StringValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 private:
  int32 repeatCount_ = 0;
  XeAutoBuffer<wchar_t, 256> repeatBuffer_;
  uint32 repeatBufferSize_ = 0;
  RefLongVarChar varCharOperand_{};
  RExprReturn repeatCountOperandRetCode_ = kUnknown;
};

/// The character of a code, as a fixed text of one character: int4, or a double or numeric,
/// truncated. Code 0 is the empty text.
class SQXEREXPR_API Char final : public StringValueFunction {
 public:
  using StringValueFunction::StringValueFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 private:
  /// The character and a zero character.
  wchar_t result_[2] = {};
  int32 charCode_ = 0;
};

}  // namespace sqxer
