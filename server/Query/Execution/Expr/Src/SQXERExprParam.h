#pragma once

#include "SQXERExpression.h"
#include "Utility/ExecutionParameter.h"
#include "Utility/XeAutoBuffer.h"

namespace sqxer {

/// A query parameter: reads its value from the parameter block at every Eval, except that a text is
/// converted to wide characters once, when the node is built, and then by TakeParametersAgain. The
/// block must outlive the node.
///
/// The result type is the promoted type of the declared one (8- and 16-bit integers give int4,
/// dates and times give date-times). A parameter is never NULL here: whoever sets parameters puts a
/// NULL constant into the tree instead.
class SQXEREXPR_API Param final : public RExpression {
 public:
  explicit Param(const ExecutionParameter& parameter);

  /// Leaves `info` alone: a comparison gives a parameter the length of its partner.
  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  /// A declared type without a value form in the promoted type is a broken invariant, and so is a
  /// block without a value.
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override { return EvalOnce(rows, out); }
  bool HasBatchLoop() override { return true; }
  RExprType GetExpressionType() override { return kParamExpression; }
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;
  /// Broken invariants: a parameter's place in the block is fixed when it is built.
  int GetParamNumber() override;
  void SetDataPointer(uint8* dataPointer);

  XeDataType GetParamDataType() const { return paramDataType_; }
  /// Length of a value: the declared one of a text or binary, else the width of the result type.
  uint32 GetObjectLength() const { return objectLength_; }
  /// Position in the parameter block, from 0.
  int GetParamIndex() const { return parameter_.GetIndex(); }
  /// The field of the parameter block.
  const XeFieldDescriptorRef& GetFieldDescriptor() const { return parameter_.GetFieldDescriptor(); }
  /// Converts the text that stands in the block now; other types need nothing.
  void TakeAgain();

  /// Writes a value of the promoted type from the stored value of the declared type.
  using ValueWriter = void (*)(uint8* stored, void* out);

 private:
  void MakeRoomForText();

  ExecutionParameter parameter_;
  XeDataType paramDataType_;
  uint8* dataPointer_;
  XeRecordMetaData unicodeRecordMetaData_;
  alignas(16) XeAutoBuffer<uint8, 64> unicodeCharDataRecord_;
  uint32 objectLength_;
  /// Where Eval reads: the block, or the converted text.
  uint8* source_;
  ValueWriter write_;
};

/// For a parameter block that has received the values of another execution: a bound tree, which may
/// keep what it made of a text, takes all of them again. Not while the tree is evaluated.
SQXEREXPR_API void TakeParametersAgain(RExpression& tree);

}  // namespace sqxer
