#pragma once

#include "SQXERBatchArithmetic.h"
#include "SQXERExpression.h"
#include "SQXEROpsArithmetic.h"

namespace sqxer {

/// Where a variant evaluates its operands. It decides what the output slot holds after an error,
/// and keeps one operand off memory where the type allows.
enum class OperandPlaces {
  /// Left into a local, right into value1_.
  kLeftLocal,
  /// Left into the output slot, right into value1_.
  kLeftInOutput,
  /// Left into value1_, right into a local.
  kLeftInField,
};

/// A typed two-operand node over an op, on top of the generic node that it replaces: evaluates
/// left, then right, stops at the first without a value, and raises the op's error at its own place
/// in the SQL.
template <class Generic, template <class> class Op, class T, OperandPlaces places>
requires BinaryOp<Op<T>, T>
class ArithmeticNode : public Generic {
 public:
  using Value = T;
  using Generic::Generic;

  RExprReturn Eval(void* out) final {
    T local;
    T& result = *static_cast<T*>(out);
    T& left = places == OperandPlaces::kLeftLocal      ? local
              : places == OperandPlaces::kLeftInOutput ? result
                                                       : value1_;
    T& right = places == OperandPlaces::kLeftInField ? local : value1_;

    this->retCode_ = this->left_->Eval(&left);
    if (this->retCode_ != kTrue) return this->retCode_;
    this->retCode_ = this->right_->Eval(&right);
    if (this->retCode_ != kTrue) return this->retCode_;
    if (!Op<T>::Apply(left, right, result)) [[unlikely]] {
      if constexpr (FallibleBinaryOp<Op<T>, T>) Fail(right);
    }
    return kTrue;
  }

  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    return EvalPairBatch(*this->left_, *this->right_, rows, this->GetBatchBuffers(), out,
                         [this](const BatchVector& left, const BatchVector& right,
                                const BatchRows& wanted, BatchVector& result) {
                           BatchBuffers& buffers = this->GetBatchBuffers();
                           T* const values = buffers.template Values<T>();
                           result.form = BatchFormOf<T>::kForm;
                           result.values = reinterpret_cast<const uint8*>(values);
                           return CombineVectors<Op<T>>(left, right, wanted, values, buffers,
                                                        result);
                         });
  }
  bool GivesSameAs(RExpression&) final { return true; }
  bool HasBatchLoop() final { return true; }
  BatchCost GetBatchCost() final {
    if constexpr (!FallibleBinaryOp<Op<T>, T>) return CostOfAll(*this->left_, *this->right_);
    if constexpr (!std::floating_point<T>) return BatchCost::kDear;
    return BatchCost::kCheap | CostOfAll(*this->left_, *this->right_);
  }

 protected:
  T value1_{};

 private:
  [[noreturn, gnu::cold, gnu::noinline]] void Fail(T right) const {
    const OpError error = Op<T>::Failure(right);
    this->RaiseError(error.code, error.Arguments());
  }
};

/// The same over decimal numbers, which raise their overflow themselves.
template <class Generic, template <class> class Op>
requires BinaryOp<Op<VelmarNumber>, VelmarNumber>
class NumberArithmeticNode : public Generic {
 public:
  using Value = VelmarNumber;
  using Generic::Generic;

  RExprReturn Eval(void* out) final {
    this->retCode_ = this->left_->Eval(&number1_);
    if (this->retCode_ != kTrue) return this->retCode_;
    this->retCode_ = this->right_->Eval(&number2_);
    if (this->retCode_ != kTrue) return this->retCode_;
    this->AtSourcePosition([this] {
      if (!Op<VelmarNumber>::Apply(number1_, number2_, value1_)) [[unlikely]] {
        if constexpr (FallibleBinaryOp<Op<VelmarNumber>, VelmarNumber>) {
          const OpError error = Op<VelmarNumber>::Failure(number2_);
          SUGThrow(ErrorMessage(error.code, error.Arguments()));
        }
      }
    });
    *static_cast<VelmarNumber*>(out) = value1_;
    return kTrue;
  }

  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    return EvalPairBatch(*this->left_, *this->right_, rows, this->GetBatchBuffers(), out,
                         [this](const BatchVector& left, const BatchVector& right,
                                const BatchRows& wanted, BatchVector& result) {
                           return CombineDecimals<Op<VelmarNumber>>(
                               left, right, wanted, this->GetBatchBuffers(), result);
                         });
  }
  bool GivesSameAs(RExpression&) final { return true; }
  bool HasBatchLoop() final { return true; }

 protected:
  VelmarNumber number1_;
  VelmarNumber number2_;
  VelmarNumber value1_;
};

/// A typed one-operand node that works in the output slot.
template <class Generic, template <class> class Op, class T>
requires UnaryOp<Op<T>, T>
class NegateNode : public Generic {
 public:
  using Value = T;
  using Generic::Generic;

  RExprReturn Eval(void* out) final {
    this->retCode_ = this->only_->Eval(out);
    if (this->retCode_ == kTrue) {
      T& value = *static_cast<T*>(out);
      Op<T>::Apply(value, value);
    }
    return this->retCode_;
  }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) final {
    if constexpr (HasOneBatchForm<T>) {
      if (!EvaluateBatch(*this->only_, rows, out)) return false;
      T* const values = this->GetBatchBuffers().template Values<T>();
      MapValues(out.As<T>(), values, RowsOf(out, rows), [](T value) {
        Op<T>::Apply(value, value);
        return value;
      });
      out.values = reinterpret_cast<const uint8*>(values);
      out.block = nullptr;
      return true;
    } else {
      if (!EvaluateBatch(*this->only_, rows, out)) return false;
      MapDecimals<Op<T>>(RowsOf(out, rows), this->GetBatchBuffers(), out);
      return true;
    }
  }
  bool GivesSameAs(RExpression&) final { return true; }
  bool HasBatchLoop() final { return true; }
};

}  // namespace sqxer
