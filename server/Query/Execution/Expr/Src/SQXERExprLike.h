#pragma once

#include "SQXERExpression.h"
#include "Utility/LikePatternMatch.h"

namespace sqxer {

/// value LIKE pattern [ESCAPE escape]; without an escape operand the escape is the backslash. The
/// value is a text of any kind (a fixed one is matched without the blanks that pad it), pattern and
/// escape are fixed or long texts, taken with all their blanks. Not specialised by type: Bind
/// leaves the node in place. Pattern and escape may be columns; literals and query parameters are
/// read once.
///
/// Writes one byte, 1 or 0. A NULL operand makes the result NULL; evaluation is from left to right
/// and stops at the first operand without a value. Error 59001 ("Like" or "Like Escape", type) for
/// an operand of another type; 59025 at bind for an escape operand whose length is not 1, and on a
/// row whose pattern ends with an escape.
class SQXEREXPR_API Like final : public RExpression {
 public:
  Like(RExpression* value, RExpression* pattern, RExpression* escape = nullptr);
  ~Like() override;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool TakesOperandValues() override { return true; }
  /// A pattern that nobody has read may be wrong.
  BatchCost GetBatchCost() override;
  RExprType GetExpressionType() override { return kLikeExpression; }
  /// Operand 2, the escape, may be null.
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;

  /// The next row reads pattern and escape again.
  void ForgetPattern() { isPatternRead_ = false; }

 private:
  RExpression*& Slot(int index);
  /// Evaluates pattern and escape and gives them to the matcher.
  RExprReturn ReadPattern();

  RExpression* firstOp_;
  RExpression* secondOp_;
  RExpression* escapeOp_;
  RefLongVarChar target_{};
  wchar_t* pattern_ = nullptr;
  wchar_t* escape_ = nullptr;
  LikePatternMatch likePattern;
  int32 patternLength_ = 0;
  /// The copy of a long pattern, ended by a zero character.
  XeAutoBuffer<uint8, 256> patternValue_;
  MetaDataInfo tempMetaDataInfo_;

  /// Pattern and escape are the same for all rows, and the matcher has them already.
  bool isPatternConstant_ = false;
  bool isPatternRead_ = false;
  /// Not long.
  bool isPatternFixedText_ = false;
  bool isEscapeFixedText_ = false;
};

}  // namespace sqxer
