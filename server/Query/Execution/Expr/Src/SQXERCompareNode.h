#pragma once

#include "SQXERBatchLoops.h"
#include "SQXERBatchText.h"
#include "SQXERExpression.h"
#include "SQXEROpsCompare.h"
#include "Utility/Settings.h"

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
  bool HasBatchLoop() final { return HasBatchForm<T>; }
  BatchCost GetBatchCost() final {
    return HasBatchForm<T> ? CostOfAll(*this->left_, *this->right_) : BatchCost::kDear;
  }

 protected:
  T value1_{};
  T value2_{};
};

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
                           if (CompareBytes(left, right, wanted, values)) return true;
                           wanted.ForEach([&](uint32 row) {
                             if (left.IsNull(row) || right.IsNull(row)) return;
                             values[row] =
                                 CompareText<Op>(compareFunc_, buffers.Widen(left, row, 0),
                                                 buffers.Widen(right, row, 1));
                           });
                           return true;
                         });
  }
  bool HasBatchLoop() final { return true; }

 protected:
  Text value1_{};
  Text value2_{};
  const CharCompareFunc_t compareFunc_ = ExecutionUtility::GetCharacterComparisonFunction();

 private:
  /// Where texts of one-byte characters are compared by code point.
  bool CompareBytes(const BatchVector& left, const BatchVector& right, const BatchRows& rows,
                    uint8* values) const {
    if (!comparesCodePoints_) return false;
    ByteTexts a(left);
    ByteTexts b(right);
    if (!a.IsSure() || !b.IsSure()) return false;
    rows.ForEach([&](uint32 row) {
      if (left.IsNull(row) || right.IsNull(row)) return;
      values[row] = Op::Apply(CompareByCodePoint(*a.Get(row), *b.Get(row)), 0);
    });
    return true;
  }

  const bool comparesCodePoints_ =
      Settings::Current()->GetCharComparisonType() == kCompareCodePoints;
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
      BatchVector value;
      BatchVector low;
      BatchVector high;
      if (!EvaluateBatch(*this->compareOp_, rows, value) ||
          !EvaluateBatch(*this->lowOp_, rows, low) || !EvaluateBatch(*this->highOp_, rows, high)) {
        return false;
      }
      BatchBuffers& buffers = this->GetBatchBuffers();
      uint8* const values = buffers.Values<uint8>();
      uint8* const reachesLow = buffers.Truths(0);
      uint8* const reachesHigh = buffers.Truths(1);
      BatchVector both;
      IntersectValidity(value, low, rows, buffers.Validity(), both);
      out = BatchVector();
      IntersectValidity(both, high, rows, buffers.Validity(), out);
      const BatchRows wanted = RowsOf(out, rows);
      CompareVectors<LessThanEqualToOp, T>(low, value, wanted, buffers, reachesLow);
      CompareVectors<LessThanEqualToOp, T>(value, high, wanted, buffers, reachesHigh);
      MapPairs(reachesLow, false, reachesHigh, false, values, wanted,
               [](uint8 a, uint8 b) { return a & b; });
      out.form = ColumnForm::kUInt8;
      out.values = values;
      return true;
    } else {
      return Generic::EvalBatch(rows, out);
    }
  }
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

 protected:
  Text valueComp_{};
  Text valueLow_{};
  Text valueHigh_{};
  const CharCompareFunc_t compareFunc_ = ExecutionUtility::GetCharacterComparisonFunction();
};

}  // namespace sqxer
