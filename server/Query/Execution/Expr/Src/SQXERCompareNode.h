#pragma once

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
