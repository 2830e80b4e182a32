#pragma once

#include "SQXERExprFunctionBase.h"
#include "SQXEROpsString.h"
#include "Utility/XeAutoBuffer.h"

namespace sqxer {

/// Base of the functions that give a text made of the characters of one operand, and no longer than
/// that. Each is built as its generic node, which Bind replaces by a variant: over a fixed text
/// (result a fixed text that may end, at a zero character, before its declared length) or over a
/// long one (result a long text). Error 59001 (name, type) for an operand that is no text.
class SQXEREXPR_API TextVariantFunction : public StringValueFunction {
 public:
  using StringValueFunction::StringValueFunction;

 protected:
  /// The batch of a function over long texts, where it has a loop.
  bool HasTextLoop() const { return false; }
  bool ComputeBatch(const BatchRows&, BatchVector&) { return false; }
  /// Binds the operand, which must be a text; it keeps its form.
  void BindText(const wchar_t* name, XeAListStream* stream, RExpression*& replacement,
                MetaDataInfo& info);
  /// The end of Bind: the variant for the operand's form takes this node's place. `resultLength`:
  /// what the result has at most.
  template <class XeCharVariant, class LongVarXeCharVariant>
  void ReplaceByVariant(uint32 resultLength, RExpression*& replacement, MetaDataInfo& info) {
    const XeDataType type = operand_->GetResultDataType();
    SetResult(type, info, resultLength);
    TextVariantFunction* variant;
    if (type == XeCharData) {
      variant = new XeCharVariant(nullptr);
    } else {
      variant = new LongVarXeCharVariant(nullptr);
    }
    // From here on it goes the way of replacements, also when there is no room for its buffer.
    replacement = variant;
    MoveOperandsTo(*variant);
    variant->resultDataType_ = type;
    variant->resultMaxLength_ = resultMaxLength_;
    variant->MakeRoom(resultMaxLength_);
  }

  /// Room for a result of so many characters and a zero character. Takes memory only for a text
  /// longer than it was declared.
  wchar_t* MakeRoom(uint32 length) {
    result_.Reserve(std::size_t{length} + 1);
    return result_.data();
  }
  /// The result, in a buffer of this node that holds until the next evaluation.
  RefLongVarChar Keep(const RefLongVarChar& part) {
    wchar_t* const out = MakeRoom(part.length_);
    CopyText(part, out);
    return {part.length_, out};
  }

  XeAutoBuffer<wchar_t, 128> result_;
  /// The declared length of the operand.
  uint32 resultMaxLength_ = 0;
};

/// The variant of a function over a fixed text. The function's Compute turns a text into another
/// one in its buffer and returns the status of its further operands.
template <class Function>
class OverXeChar : public Function {
 public:
  using Function::Function;
  RExprReturn Eval(void* out) final {
    this->retCode_ = this->operand_->Eval(&charOperand_);
    if (this->retCode_ != kTrue) return this->retCode_;
    const auto length = static_cast<uint32>(wcsnlen(charOperand_, this->resultMaxLength_));
    RefLongVarChar result;
    if (this->Compute({length, charOperand_}, result) == kTrue) {
      result.buffer_[result.length_] = L'\0';
      *static_cast<wchar_t**>(out) = result.buffer_;
    }
    return this->retCode_;
  }

 private:
  wchar_t* charOperand_ = nullptr;
};

/// The variant over a long text.
template <class Function>
class OverLongVarXeChar : public Function {
 public:
  using Function::Function;
  RExprReturn Eval(void* out) final {
    this->retCode_ = this->operand_->Eval(&varCharOperand_);
    if (this->retCode_ != kTrue) return this->retCode_;
    return this->Compute(varCharOperand_, *static_cast<RefLongVarChar*>(out));
  }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    return this->HasTextLoop() ? this->ComputeBatch(rows, out) : RExpression::EvalBatch(rows, out);
  }

 private:
  RefLongVarChar varCharOperand_{};
};

/// The operand with every character in upper case, as Unicode maps single characters and in no
/// locale: the length stays.
class SQXEREXPR_API Upper : public TextVariantFunction {
 public:
  using TextVariantFunction::TextVariantFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;

 protected:
  RExprReturn Compute(const RefLongVarChar& text, RefLongVarChar& result);
  bool HasTextLoop() const { return true; }
  bool ComputeBatch(const BatchRows& rows, BatchVector& out);
};
class SQXEREXPR_API UpperXeChar final : public OverXeChar<Upper> {
 public:
  using OverXeChar::OverXeChar;
};
class SQXEREXPR_API UpperLongVarXeChar final : public OverLongVarXeChar<Upper> {
 public:
  using OverLongVarXeChar::OverLongVarXeChar;
};

/// The same in lower case.
class SQXEREXPR_API Lower : public TextVariantFunction {
 public:
  using TextVariantFunction::TextVariantFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;

 protected:
  RExprReturn Compute(const RefLongVarChar& text, RefLongVarChar& result);
  bool HasTextLoop() const { return true; }
  bool ComputeBatch(const BatchRows& rows, BatchVector& out);
};
class SQXEREXPR_API LowerXeChar final : public OverXeChar<Lower> {
 public:
  using OverXeChar::OverXeChar;
};
class SQXEREXPR_API LowerLongVarXeChar final : public OverLongVarXeChar<Lower> {
 public:
  using OverLongVarXeChar::OverLongVarXeChar;
};

/// The operand without the character of the first parameter at its ends. The second parameter, an
/// int4 (or a double or numeric, truncated), is the style: 0, as without it, both ends, 1 the
/// start, 2 the end, a negative one neither. An empty trim text trims nothing, but a fixed one, of
/// which only padding is left then, trims blanks. Errors: 59029 for one of several characters,
/// 59006 for a style above 2.
class SQXEREXPR_API Trim : public TextVariantFunction {
 public:
  using TextVariantFunction::TextVariantFunction;
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;

 protected:
  RExprReturn Compute(const RefLongVarChar& text, RefLongVarChar& result);
  bool HasTextLoop() const { return true; }
  bool ComputeBatch(const BatchRows& rows, BatchVector& out);

 private:
  RefLongVarChar trimChar_{};
  int32 trimStyle_ = TrimOp::kBoth;
  bool isTrimCharFixed_ = false;
};
class SQXEREXPR_API TrimXeChar final : public OverXeChar<Trim> {
 public:
  using OverXeChar::OverXeChar;
};
class SQXEREXPR_API TrimLongVarXeChar final : public OverLongVarXeChar<Trim> {
 public:
  using OverLongVarXeChar::OverLongVarXeChar;
};

/// The characters of the operand from a position on, from 1: parameters position, count, number of
/// tokens and delimiter, of which the first must be there, and the last two come together. Numbers
/// are cast to int4. Without a count it is the length of the text. With tokens, positions are those
/// of the text's leading tokens, which the delimiter's first character parts.
///
/// Positions before the first character use up the count, unless the configuration asks for
/// positions as older callers count (SubstringCompliance). Error 59007 (number, "SubString") for a
/// count below 1 and for a negative number of tokens.
class SQXEREXPR_API SubString : public TextVariantFunction {
 public:
  /// Decides how positions count, by the thread's current settings.
  explicit SubString(RExpression* operand, const ExpressionVector& params = {});
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;

 protected:
  RExprReturn Compute(const RefLongVarChar& text, RefLongVarChar& result);
  bool HasTextLoop() const { return !HasTokens(); }
  bool ComputeBatch(const BatchRows& rows, BatchVector& out);

 private:
  enum Parameter { kFrom = 1, kFor, kTokens, kDelimiter };
  bool HasCount() const { return params_.size() >= kFor; }
  bool HasTokens() const { return params_.size() == kDelimiter; }
  RExprReturn EvalPositions(const RefLongVarChar& text);
  template <class Text>
  Text Cut(const Text& text, int32 from, int32 count) const {
    return countsAsOlderCallers_ ? CompliantSubStringOp::Apply(text, from, count)
                                 : SubStringOp::Apply(text, from, count);
  }

  int32 from_ = 1;
  int32 for_ = 0;
  int32 numLeadingTokens_ = 0;
  RefLongVarChar delimiter_{};
  const bool countsAsOlderCallers_;
};
class SQXEREXPR_API SubStringXeChar final : public OverXeChar<SubString> {
 public:
  using OverXeChar::OverXeChar;
};
class SQXEREXPR_API SubStringLongVarXeChar final : public OverLongVarXeChar<SubString> {
 public:
  using OverLongVarXeChar::OverLongVarXeChar;
};

}  // namespace sqxer
