#pragma once

#include "SQXERExprFunctionBase.h"

namespace sqxer {

/// The functions that measure a text, as int4: error 59001 (name, type) for an operand that is no
/// text. A fixed text is measured without the blanks that pad it.
class SQXEREXPR_API TextMeasureFunction : public NumericValueFunction {
 public:
  using NumericValueFunction::NumericValueFunction;

 protected:
  void BindText(const wchar_t* name, XeAListStream* stream, RExpression*& replacement,
                MetaDataInfo& info);
  /// The batch of measure(text), which takes texts of either width; strings of bits go by rows.
  template <class Measure>
  bool MeasureBatch(const BatchRows& rows, BatchVector& out, Measure&& measure);
  /// Evaluates the text into varCharOperand_.
  RExprReturn EvalText() { return retCode_ = operand_->Eval(&varCharOperand_); }

  RefLongVarChar varCharOperand_{};
  /// The operand is a string of bits and not of characters.
  bool isBits_ = false;
};

/// Characters without trailing blanks, or with them when `disableRightTrimOnVarChar`.
class SQXEREXPR_API Length final : public TextMeasureFunction {
 public:
  explicit Length(RExpression* operand, const ExpressionVector& params = {},
                  bool disableRightTrimOnVarChar = false)
      : TextMeasureFunction(operand, params),
        m_bDisableRightTrimOnVarChar(disableRightTrimOnVarChar) {}
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;

 private:
  bool m_bDisableRightTrimOnVarChar;
};

/// All characters, blanks included.
class SQXEREXPR_API CharacterLength final : public TextMeasureFunction {
 public:
  using TextMeasureFunction::TextMeasureFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
};

/// Bytes: four a character.
class SQXEREXPR_API OctetLength final : public TextMeasureFunction {
 public:
  using TextMeasureFunction::TextMeasureFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
};

/// Bits: 32 a character.
class SQXEREXPR_API BitLength final : public TextMeasureFunction {
 public:
  using TextMeasureFunction::TextMeasureFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
};

/// The code of the first character in the server's code page, from -128 to 127; 0 for the empty
/// text.
class SQXEREXPR_API Ascii final : public TextMeasureFunction {
 public:
  using TextMeasureFunction::TextMeasureFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;

 private:
  /// The first character in the server's code page.
  char charData_[1] = {};
};

}  // namespace sqxer
