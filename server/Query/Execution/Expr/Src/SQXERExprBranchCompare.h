#pragma once

#include <vector>

#include "SQXERExprCase2.h"

namespace sqxer {

/// GREATEST and LEAST: the greatest or least of some values, NULLs left out; NULL where all are.
/// Values are compared as the comparisons do; NaN is greater than every number. Of equal ones it is
/// the first. Errors of binding: 59020 values without a common type, 59033 nothing but NULL
/// constants, 59001 (name, type) for a type without an order.
class SQXEREXPR_API ExtremeOfValues : public Conditional {
 public:
  ExtremeOfValues(std::vector<RExpression*> values, bool isGreatest);
  ~ExtremeOfValues() override;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override { return (this->*evaluate_)(out); }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }
  RExprType GetExpressionType() override { return kCoalesceExpression; }
  RExpression* GetIthOperand(int index) override { return Slot(index); }
  void SetIthOperand(int index, RExpression* operand) override { Slot(index) = operand; }
  int CountOperands() override { return static_cast<int>(values_.size()); }

 private:
  using Evaluation = RExprReturn (ExtremeOfValues::*)(void* out);
  using BatchEvaluation = bool (ExtremeOfValues::*)(const BatchRows& rows, BatchVector& out);

  template <class T>
  RExprReturn EvalTyped(void* out);
  /// The same where all are numbers or days of one form: one loop for each. False otherwise.
  template <class T>
  bool MergeNumbers(std::vector<BatchVector>& vectors, const BatchRows& rows, BatchVector& out);
  template <class T>
  bool EvalBatchTyped(const BatchRows& rows, BatchVector& out);
  /// Whether a value takes the place of the best one so far.
  template <class T>
  bool IsBetter(const T& value, const T& best) const;
  RExpression*& Slot(int index);

  std::vector<RExpression*> values_;
  const bool isGreatest_;
  CharCompareFunc_t compareFunc_ = nullptr;
  Evaluation evaluate_ = nullptr;
  BatchEvaluation evaluateBatch_ = nullptr;
};

class SQXEREXPR_API Greatest final : public ExtremeOfValues {
 public:
  explicit Greatest(std::vector<RExpression*> values) : ExtremeOfValues(std::move(values), true) {}
};
class SQXEREXPR_API Least final : public ExtremeOfValues {
 public:
  explicit Least(std::vector<RExpression*> values) : ExtremeOfValues(std::move(values), false) {}
};

/// IS DISTINCT FROM: whether two values differ, where NULL equals NULL and nothing else. Never
/// NULL. Both are always evaluated. Error 59021 when they have no common type, 59022 (type) at
/// binding for one without equality.
class SQXEREXPR_API IsDistinct final : public Conditional {
 public:
  IsDistinct(RExpression* left, RExpression* right);
  ~IsDistinct() override;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override { return (this->*evaluate_)(out); }
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }
  RExprType GetExpressionType() override { return kNEExpression; }
  RExpression* GetIthOperand(int index) override { return Slot(index); }
  void SetIthOperand(int index, RExpression* operand) override { Slot(index) = operand; }

 private:
  using Evaluation = RExprReturn (IsDistinct::*)(void* out);
  using BatchEvaluation = void (IsDistinct::*)(const BatchVector& a, const BatchVector& b,
                                               const BatchRows& rows);

  template <class T>
  RExprReturn EvalTyped(void* out);
  /// Of numbers, neither of them NULL in every row.
  template <class T>
  void CompareNumbers(const BatchVector& a, const BatchVector& b, const BatchRows& rows);
  template <class T>
  void CompareBatch(const BatchVector& a, const BatchVector& b, const BatchRows& rows);
  RExpression*& Slot(int index);

  RExpression* left_;
  RExpression* right_;
  CharCompareFunc_t compareFunc_ = nullptr;
  Evaluation evaluate_ = nullptr;
  BatchEvaluation compareBatch_ = nullptr;
};

}  // namespace sqxer
