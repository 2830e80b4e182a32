#pragma once

#include "SQXERBatchLoops.h"
#include "SQXERBatchTextCompare.h"
#include "SQXERExpression.h"
#include "SQXEROpsCompare.h"

namespace sqxer {

/// A typed comparison on top of the generic node that it replaces: evaluates left, then right,
/// stops at the first without a value, and writes one byte.
template <class Generic, class Op, class T>
requires CompareOp<Op, T>
class CompareNode : public Generic {
 public:
  using Value = T;
  using Generic::Generic;

  RExprReturn Eval(void* out) final {
    this->retCode_ = this->left_->Eval(&value1_);
    if (this->retCode_ != kTrue) return this->retCode_;
    this->retCode_ = this->right_->Eval(&value2_);
    if (this->retCode_ != kTrue) return this->retCode_;
    *static_cast<uint8*>(out) = Op::Apply(value1_, value2_);
    return kTrue;
  }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    if constexpr (HasBatchForm<T>) {
      return EvalPairBatch(*this->left_, *this->right_, rows, this->GetBatchBuffers(), out,
                           [this](const BatchVector& left, const BatchVector& right,
                                  const BatchRows& wanted, BatchVector& result) {
                             BatchBuffers& buffers = this->GetBatchBuffers();
                             uint8* const values = buffers.Values<uint8>();
                             result.form = ColumnForm::kUInt8;
                             result.values = values;
                             CompareVectors<Op, T>(left, right, wanted, buffers, values);
                             return true;
                           });
    } else {
      return Generic::EvalBatch(rows, out);
    }
  }
  bool GivesSameAs(RExpression&) final { return true; }
  bool HasBatchLoop() final { return HasBatchForm<T>; }
  BatchCost GetBatchCost() final {
    return HasBatchForm<T> ? CostOfAll(*this->left_, *this->right_) : BatchCost::kDear;
  }

 protected:
  T value1_{};
  T value2_{};
};

/// Compares two vectors of texts into bytes. The buffers are those of the node.
template <class Op>
void CompareTextBatch(CharCompareFunc_t compare, const BatchVector& a, const BatchVector& b,
                      const BatchRows& rows, BatchBuffers& buffers, uint8* out) {
  int8* const signs = buffers.Signs();
  CompareTextVectors(compare, a, b, rows, buffers, signs);
  MapValues(signs, out, rows, [](int8 sign) { return Op::Apply(int{sign}, 0); });
}

/// A range test over batches: atMost(a, b, rows, truths) writes whether a <= b.
template <class AtMost>
bool EvalBetweenBatch(RExpression& compareOp, RExpression& lowOp, RExpression& highOp,
                      const BatchRows& rows, BatchBuffers& buffers, BatchVector& out,
                      AtMost&& atMost) {
  BatchVector value;
  BatchVector low;
  BatchVector high;
  if (!EvaluateBatch(compareOp, rows, value) || !EvaluateBatch(lowOp, rows, low) ||
      !EvaluateBatch(highOp, rows, high)) {
    return false;
  }
  uint8* const values = buffers.Values<uint8>();
  out = BatchVector();
  IntersectValidity(value, low, high, rows, buffers.Validity(), out);
  const BatchRows wanted = RowsOfAll(out, rows);
  atMost(low, value, wanted, buffers.Truths(0));
  atMost(value, high, wanted, buffers.Truths(1));
  MapPairs(buffers.Truths(0), false, buffers.Truths(1), false, values, wanted,
           [](uint8 a, uint8 b) { return a & b; });
  out.form = ColumnForm::kUInt8;
  out.values = values;
  return true;
}

/// The same over text. The comparison function is that of the settings at construction.
template <class Generic, class Op, class Text>
class TextCompareNode : public Generic {
 public:
  using Value = Text;
  using Generic::Generic;

  RExprReturn Eval(void* out) final {
    this->retCode_ = this->left_->Eval(&value1_);
    if (this->retCode_ != kTrue) return this->retCode_;
    this->retCode_ = this->right_->Eval(&value2_);
    if (this->retCode_ != kTrue) return this->retCode_;
    *static_cast<uint8*>(out) = CompareText<Op>(compareFunc_, AsText(value1_), AsText(value2_));
    return kTrue;
  }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    BatchBuffers& buffers = this->GetBatchBuffers();
    return EvalPairBatch(*this->left_, *this->right_, rows, buffers, out,
                         [&](const BatchVector& left, const BatchVector& right,
                             const BatchRows& wanted, BatchVector& result) {
                           uint8* const values = buffers.Values<uint8>();
                           result.form = ColumnForm::kUInt8;
                           result.values = values;
                           CompareTextBatch<Op>(compareFunc_, left, right, wanted, buffers, values);
                           return true;
                         });
  }
  bool GivesSameAs(RExpression&) final { return true; }
  bool HasBatchLoop() final { return true; }
  BatchCost GetBatchCost() final {
    return BatchCost::kSafe | CostOfAll(*this->left_, *this->right_);
  }

 protected:
  Text value1_{};
  Text value2_{};
  const CharCompareFunc_t compareFunc_ = ExecutionUtility::GetCharacterComparisonFunction();
};

/// A typed range test on top of the generic node: compare, low, high in this order.
template <class Generic, class T>
requires Comparable<T>
class BetweenNode : public Generic {
 public:
  using Value = T;
  using Generic::Generic;

  RExprReturn Eval(void* out) final {
    this->retCode_ = this->compareOp_->Eval(&valueComp_);
    if (this->retCode_ != kTrue) return this->retCode_;
    this->retCode_ = this->lowOp_->Eval(&valueLow_);
    if (this->retCode_ != kTrue) return this->retCode_;
    this->retCode_ = this->highOp_->Eval(&valueHigh_);
    if (this->retCode_ != kTrue) return this->retCode_;
    *static_cast<uint8*>(out) = BetweenOp::Apply(valueComp_, valueLow_, valueHigh_);
    return kTrue;
  }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    if constexpr (HasBatchForm<T>) {
      BatchBuffers& buffers = this->GetBatchBuffers();
      return EvalBetweenBatch(
          *this->compareOp_, *this->lowOp_, *this->highOp_, rows, buffers, out,
          [&](const BatchVector& a, const BatchVector& b, const BatchRows& wanted, uint8* truths) {
            CompareVectors<LessThanEqualToOp, T>(a, b, wanted, buffers, truths);
          });
    } else {
      return Generic::EvalBatch(rows, out);
    }
  }
  bool GivesSameAs(RExpression&) final { return true; }
  bool HasBatchLoop() final { return HasBatchForm<T>; }
  BatchCost GetBatchCost() final {
    return HasBatchForm<T> ? CostOfAll(*this->compareOp_, *this->lowOp_, *this->highOp_)
                           : BatchCost::kDear;
  }

 protected:
  T valueComp_{};
  T valueLow_{};
  T valueHigh_{};
};

/// The same over text.
template <class Generic, class Text>
class TextBetweenNode : public Generic {
 public:
  using Value = Text;
  using Generic::Generic;

  RExprReturn Eval(void* out) final {
    this->retCode_ = this->compareOp_->Eval(&valueComp_);
    if (this->retCode_ != kTrue) return this->retCode_;
    this->retCode_ = this->lowOp_->Eval(&valueLow_);
    if (this->retCode_ != kTrue) return this->retCode_;
    this->retCode_ = this->highOp_->Eval(&valueHigh_);
    if (this->retCode_ != kTrue) return this->retCode_;
    *static_cast<uint8*>(out) =
        TextBetween(compareFunc_, AsText(valueComp_), AsText(valueLow_), AsText(valueHigh_));
    return kTrue;
  }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    BatchBuffers& buffers = this->GetBatchBuffers();
    return EvalBetweenBatch(
        *this->compareOp_, *this->lowOp_, *this->highOp_, rows, buffers, out,
        [&](const BatchVector& a, const BatchVector& b, const BatchRows& wanted, uint8* truths) {
          CompareTextBatch<LessThanEqualToOp>(compareFunc_, a, b, wanted, buffers, truths);
        });
  }
  bool GivesSameAs(RExpression&) final { return true; }
  bool HasBatchLoop() final { return true; }
  BatchCost GetBatchCost() final {
    return BatchCost::kSafe | CostOfAll(*this->compareOp_, *this->lowOp_, *this->highOp_);
  }

 protected:
  Text valueComp_{};
  Text valueLow_{};
  Text valueHigh_{};
  const CharCompareFunc_t compareFunc_ = ExecutionUtility::GetCharacterComparisonFunction();
};

}  // namespace sqxer
