#pragma once

#include <vector>

#include "SQXERExpression.h"
#include "SQXEROperandBinding.h"

namespace sqxer {

/// The further operands of a function.
using ExpressionVector = std::vector<RExpression*>;

/// Base of the scalar functions: a first operand, which may be absent (null), and further ones,
/// which it owns. Operand 0 is the first, operand i the i-th of the further ones. Bind brings the
/// operands to the types that Eval works on, and hands back no replacement but for the functions
/// that have a variant for fixed and one for long texts.
///
/// Operands are evaluated in their order; the first status other than a value is returned at once,
/// so a NULL operand makes the result NULL. A result can be NULL when any operand can.
class SQXEREXPR_API ValueFunction : public RExpression {
 public:
  explicit ValueFunction(RExpression* operand, const ExpressionVector& params = {});
  ~ValueFunction() override;

  /// Broken invariants: every function has its own.
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  /// The functions that have no kind of their own report their band's.
  RExprType GetExpressionType() override { return kFunctionExpressionBegin; }
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;
  bool TakesOperandValues() override { return true; }

 protected:
  RExpression*& Slot(int index);
  /// Binds one operand, unless the operands of a second binding are skipped, and returns its shape.
  OperandShape BindIthOperand(int index, XeAListStream* stream, RExpression*& replacement,
                              MetaDataInfo& info);
  /// Makes a long text of a bound operand, which must be a text. Error 59001 (name, type).
  void MakeLongText(int index, const wchar_t* name);
  /// Both.
  OperandShape BindTextOperand(int index, const wchar_t* name, XeAListStream* stream,
                               RExpression*& replacement, MetaDataInfo& info);
  /// What a bound operand is brought to, and from which types.
  enum class ParameterType {
    /// From int4, uint4 and numeric.
    kDouble,
    /// From int4, uint4 and double.
    kNumeric,
    /// Integers become doubles; doubles and decimals stay.
    kDoubleOrNumeric,
    /// From double and numeric, truncated. Not from uint4.
    kInt32,
    /// From double alone, truncated.
    kInt32FromDouble,
  };
  /// Brings a bound operand to a type. Error 59001 (name, type) for one that does not get there.
  void ConvertIthOperand(int index, ParameterType type, const wchar_t* name);
  /// Brings a bound operand to int4 as a cast does; one that is of that type stays as it is. Errors
  /// are the cast's: 59001 ("CastToInt32", type), and those of its rows.
  void ReBindAsCastToInt4(int index, XeAListStream* stream);
  /// Sets the result type and fills `info` for a computed value: `length` is that of a text or
  /// binary.
  void SetResult(XeDataType type, MetaDataInfo& info, uint32 length = 0);
  /// Gives the operands, and what they told, to a variant that takes this node's place.
  void MoveOperandsTo(ValueFunction& variant) noexcept;

  /// Evaluates the first operand, then the further ones in order, into their places, and stores the
  /// status in retCode_.
  template <class... Rest>
  RExprReturn EvalOperands(void* first, Rest*... rest) {
    retCode_ = operand_->Eval(first);
    return retCode_ == kTrue ? EvalParams(rest...) : retCode_;
  }
  /// The same for the further operands alone.
  template <class... Places>
  RExprReturn EvalParams(Places*... places) {
    retCode_ = kTrue;
    [[maybe_unused]] auto param = params_.begin();
    static_cast<void>((((retCode_ = (*param++)->Eval(places)) == kTrue) && ...));
    return retCode_;
  }

  RExpression* operand_;
  ExpressionVector params_;

 private:
  /// What each operand told when it was bound.
  std::vector<OperandShape> shapes_;
};

/// Base of the functions that give a number.
class SQXEREXPR_API NumericValueFunction : public ValueFunction {
 public:
  using ValueFunction::ValueFunction;
  RExprType GetExpressionType() override { return kNumericValueFunction; }
  /// Whether integers are computed as decimal numbers, as the configuration said at the last
  /// binding by the rule double-or-numeric.
  bool IsNumericDefault() const { return bNumericAsDefault; }

 protected:
  /// Binds the first parameter and brings it to a type.
  void BindParameter(ParameterType type, const wchar_t* name, XeAListStream* stream,
                     RExpression*& replacement, MetaDataInfo& info);

  /// For a function that has no operand: the result is a double that is never NULL.
  void BindWithoutOperand(RExpression*& replacement, MetaDataInfo& info);
  /// Binds the first operand, unless that was done, brings it to double, and so the result. Errors
  /// of these three: 59001 ("Numeric function", type).
  void BindMathFunctionsReturningDouble(XeAListStream* stream, RExpression*& replacement,
                                        MetaDataInfo& info, bool operandAlreadyBound = false);
  /// Brings the first operand, already bound, and the result to numeric.
  void BindMathFunctionsReturningNumeric(XeAListStream* stream, RExpression*& replacement,
                                         MetaDataInfo& info);
  /// Binds the first operand: a double gives a double, a numeric a numeric, an integer what the
  /// configuration says (IntegerMathAsDouble).
  void BindMathFunctionsReturningDoubleOrNumeric(XeAListStream* stream, RExpression*& replacement,
                                                 MetaDataInfo& info);

  /// Room for results in bytes. Empty since the last binding: values stand in fields of their own.
  std::vector<uint8> numericResults_;
  bool bNumericAsDefault = false;
};

/// Base of the functions that give a text.
class SQXEREXPR_API StringValueFunction : public ValueFunction {
 public:
  using ValueFunction::ValueFunction;
  RExprType GetExpressionType() override { return kStringValueFunction; }

 protected:
  /// The greatest length of a text of as many characters as a bound int4 operand says, which has no
  /// more than `length` anyway: less than that when the operand is a constant.
  uint32 LimitLength(int index, uint32 length);
  /// Error 59007 (count, name) for a count below the least.
  void RequireCount(int32 count, int32 least, const wchar_t* name) const {
    if (count < least) [[unlikely]]
      RaiseError(59007, {std::to_wstring(count), name});
  }
};

/// Base of the functions that give a date-time.
class SQXEREXPR_API TimeValueFunction : public ValueFunction {
 public:
  using ValueFunction::ValueFunction;
  RExprType GetExpressionType() override { return kTimeValueFunction; }
};

/// A constant as the parameter of a function that has taken over an operand, and as the operand of
/// one that has taken over parameters: these go where memory does not do for it.
ExpressionVector ConstantParameter(int32 value, RExpression* operand);
RExpression* ConstantOperand(int32 value, const ExpressionVector& params);

}  // namespace sqxer
