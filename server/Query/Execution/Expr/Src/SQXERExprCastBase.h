#pragma once

#include <span>

#include "SQXERExpression.h"
#include "SQXEROpsCast.h"
#include "Utility/XeAutoBuffer.h"
#include "Utility/XeFieldDataBinder.h"

namespace sqxer {

/// CAST: the operand's value as one of another type. Built as this generic node and replaced at
/// bind by the cast to its target (to long character: by such a cast under a conversion), which may
/// also be built directly.
///
/// Bind errors: 59002 ("Cast", target type) for a target without a cast; 59001 (the cast's name,
/// operand type) for an operand that the cast does not take. Row errors: 59013 (the cast's name,
/// operand type, value) for a value beyond the target's range; 59172 (text, type) for a text that
/// does not read as a whole, blanks around it ignored. NULL stays NULL. A constant is converted
/// once per tree.
class SQXEREXPR_API Cast : public UnaryOperator {
 public:
  /// `precision`: the length of a character or binary target, in characters or bytes; a character
  /// target below 1 is a broken invariant. `scale` is the one that the value reports. `format` is
  /// for targets of date and time (docs/formats.md); empty is ISO 8601.
  Cast(RExpression* operand, XeDataType to, int precision, int scale, const XeString& format = {});

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  /// Over operands by batches where the cast has no loop for their type.
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool TakesOperandValues() override { return true; }
  RExprType GetExpressionType() override { return kCastExpression; }

  /// A value that the cast refuses gives NULL where it can tell without raising an error; what is
  /// raised all the same is for TryCast to take. To be called before it is bound.
  void RefuseQuietly() { isQuiet_ = true; }
  /// The type that was asked for.
  XeDataType GetCastTarget() const { return toDataType_; }
  /// Of days and times; empty for ISO 8601.
  const XeString& GetDateTimeFormat() const { return dateTimeFormat_; }

  bool IsOperandNullConstant() const;
  /// Gives the operand another result type.
  void SetOperandType(XeDataType type) { only_->SetResultDataType(type); }
  /// A NULL constant takes the computation type of the target.
  void PromoteNullDataType();
  /// Once operand and target are known: room for the operand's value, and how it is moved.
  void SetOperandAndResultMetaData();

 protected:
  /// Brings the value at `operandValue_` to `castValue_`; false when the target cannot hold it.
  using Conversion = bool (*)(Cast& cast);
  /// Replaces the operand's vector by the cast's; false when the target cannot hold some value.
  using BatchConversion = bool (*)(Cast& cast, const BatchRows& rows, BatchVector& out);
  /// A type of operand that a cast takes, and its conversion.
  struct OperandForm {
    XeDataType type;
    Conversion convert;
    /// Null for one that goes by rows.
    BatchConversion convertBatch = nullptr;
  };
  /// That of an op, both ways (SQXERBatchCast.h).
  template <CastOp Op>
  static constexpr OperandForm FormOf(XeDataType type);

  template <CastOp Op>
  static bool Compute(Cast& cast) {
    return Op::Apply(*static_cast<const typename Op::From*>(cast.operandValue_),
                     *static_cast<typename Op::To*>(cast.castValue_));
  }
  /// By the field-data binder: out of texts, into texts, and among days and times.
  static bool Move(Cast& cast) {
    return cast.binder_.MoveDataToIntoField(cast.operandValue_, cast.castValue_);
  }

  /// What every typed cast does to bind: the operand first, then the form for its type.
  void BindTyped(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info,
                 std::span<const OperandForm> forms);
  /// Evaluates the operand and converts its value, or keeps what an earlier evaluation made of a
  /// constant. On kTrue the cast's value stands at `castValue_`.
  RExprReturn EvalOperand() {
    if (isEvaluated_) return retCode_;
    retCode_ = only_->Eval(operandValue_);
    if (retCode_ == kTrue && !AtSourcePosition([this] { return convert_(*this); })) {
      if (!isQuiet_) RaiseOutOfRange();
      retCode_ = kUnknown;
    }
    isEvaluated_ = isOperandConstant_;
    return retCode_;
  }

  /// The name in errors.
  virtual const wchar_t* GetOperatorName() const { return L"Cast"; }
  [[noreturn]] virtual void RaiseOutOfRange() const;
  /// The operand's value as an error quotes it.
  XeString ValueText() const;

  XeDataType toDataType_;
  int precision_;
  int scale_;
  XeString dateTimeFormat_;
  /// The operand's value, and the cast's where the class has no field of its own for it.
  alignas(16) XeAutoBuffer<uint8, 16> tempResult_;
  alignas(16) XeAutoBuffer<uint8, 16> result_;
  uint32 operandLength_ = 0;
  XeDataType operandDataType_ = XeUnknown;
  /// Length of the value, as MetaDataInfo counts it.
  uint32 resultLength_ = 0;
  /// The operand is a constant; it has been evaluated.
  bool isOperandConstant_ = false;
  bool isEvaluated_ = false;
  bool isQuiet_ = false;
  XeFieldDataBinder binder_;
  Conversion convert_ = nullptr;
  BatchConversion convertBatch_ = nullptr;
  void* operandValue_ = nullptr;
  void* castValue_ = nullptr;
};

}  // namespace sqxer
