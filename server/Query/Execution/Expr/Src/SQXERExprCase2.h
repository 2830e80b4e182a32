#pragma once

#include <vector>

#include "SQXERExpression.h"
#include "SQXEROperandBinding.h"
#include "Utility/ExecutionUtility.h"

namespace sqxer {

/// Base of the nodes that choose one of several values, their branches. Binding brings the branches
/// to their union type; a branch that is the NULL constant has a part neither in the choice of that
/// type nor in the conversions. The node stays in the tree, without typed variants, and lets the
/// chosen branch write straight into the output.
class SQXEREXPR_API Conditional : public RExpression {
 public:
  /// Whether the lookup CASE and NULLIF can tell equal values of a type: all types that nodes
  /// compute in but bit and the binaries.
  static bool HasEquality(XeDataType type);

 protected:
  using RExpression::RExpression;

  static constexpr int kResultsDiffer = 59020;
  static constexpr int kComparedDiffer = 59021;
  static constexpr int kNoEquality = 59022;
  static constexpr int kNothingTyped = 59033;

  /// What a list of branches has in common so far.
  struct BranchUnion {
    /// XeUnknown until a branch counts.
    XeDataType type = XeUnknown;
    /// The longest that counts.
    uint32 length = 0;
  };

  /// Binds an operand, unless it is bound already.
  OperandShape BindBranch(RExpression*& slot, XeAListStream* stream, RExpression*& replacement,
                          MetaDataInfo& info);
  /// Adds a bound branch to those before it; raises `errorCode` when they have no common type.
  void Fold(BranchUnion& branches, RExpression* branch, uint32 length, int errorCode);
  /// Puts a conversion round a branch that is not of the common type.
  static void ConvertBranch(RExpression*& slot, const BranchUnion& branches);
  /// Takes over the common type and describes the result.
  void DescribeResult(const BranchUnion& branches, bool isNullable, MetaDataInfo& info);
  /// All of this for a node of two branches.
  void BindPair(RExpression*& first, RExpression*& second, XeAListStream* stream,
                RExpression*& replacement, MetaDataInfo& info);
};

/// CASE. The searched form takes the first WHEN that is true, whatever became of those before it:
/// NULL and any other status only mean that a WHEN does not match. The lookup form takes the first
/// WHEN that is equal to the case operand, or is NULL when that is NULL. Without a match the result
/// is ELSE, or NULL when there is none. WHENs are evaluated in order up to the match, and no result
/// but the chosen one.
///
/// Errors of binding: 59020 results without a common type, 59021 the same for the case operand and
/// the WHENs, 59023 not one THEN per WHEN, 59032 the case operand is the NULL constant, 59033 no
/// result but NULL constants. Error of evaluation: 59022 (type) when values of a type that has no
/// equality meet.
class SQXEREXPR_API Case final : public Conditional {
 public:
  /// `caseExpr` is null for the searched form, whose WHENs are predicates. `results` holds one THEN
  /// per WHEN and, behind them, ELSE when there is one. All become the node's own.
  Case(RExpression* caseExpr, std::vector<RExpression*> whens, std::vector<RExpression*> results);
  ~Case() override;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }
  RExprType GetExpressionType() override { return kCaseExpression; }
  /// The case operand when there is one, the WHENs, the results.
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;
  int CountOperands() override {
    return static_cast<int>((isLookup_ ? 1 : 0) + whenExprs_.size() + resultExprs_.size());
  }

  /// The type in which the lookup form compares; Bind sets it. A text type also needs
  /// UseCharCompareFunc.
  void SetCaseExprType(XeDataType type);
  /// Installs the character comparison of the thread's current settings.
  void UseCharCompareFunc();

 private:
  using Lookup = RExprReturn (Case::*)(void* out);
  using BatchLookup = bool (Case::*)(const BatchRows& rows, BatchVector& out);

  template <class Matches>
  RExprReturn EvalFirst(Matches matches, void* out);
  template <class T>
  RExprReturn EvalLookup(void* out);
  template <class T>
  bool EvalBatchLookup(const BatchRows& rows, BatchVector& out);
  /// Gives the rows of which matches(branches, i, truths) says that the i-th WHEN does the result
  /// of it: a vector of truth values, NULL being none. The others have ELSE.
  template <class Matches>
  bool EvalBatchFirst(const BatchRows& rows, BatchVector& out, Matches&& matches);
  template <class T>
  bool AreEqual(const T& value, const T& when) const;
  RExpression*& Slot(int index);

  /// An operand stays one while its slot is empty.
  const bool isLookup_;
  RExpression* caseExpr_;
  std::vector<RExpression*> whenExprs_;
  std::vector<RExpression*> resultExprs_;
  XeDataType caseExprDataType_ = XeUnknown;
  CharCompareFunc_t compareFunc_ = nullptr;
  /// EvalLookup and EvalBatchLookup for caseExprDataType_.
  Lookup lookup_;
  BatchLookup batchLookup_;
};

/// IFNULL: the first operand or, where that is NULL, the second, which is not evaluated otherwise.
/// Error 59021 when they have no common type.
class SQXEREXPR_API IfNull final : public Conditional {
 public:
  IfNull(RExpression* op, RExpression* value);
  ~IfNull() override;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }
  RExprType GetExpressionType() override { return kIfNullExpression; }
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;

 private:
  RExpression*& Slot(int index);

  RExpression* opExpr_;
  RExpression* valueExpr_;
};

/// NULLIF: the value, or NULL where it is equal to the other operand. Both are always evaluated;
/// where the other one gives no value, for whatever reason, the result is the value. Error 59021
/// when they have no common type. Values of a type without equality are a broken invariant.
class SQXEREXPR_API NullIf final : public Conditional {
 public:
  NullIf(RExpression* value, RExpression* compare);
  ~NullIf() override;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  /// A decimal that gives NULL leaves the output alone; of the other types it may have written.
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }
  RExprType GetExpressionType() override { return kNullIfExpression; }
  /// 0 is what is compared with, 1 the value.
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;

 private:
  using Evaluation = RExprReturn (NullIf::*)(void* out);
  using BatchEvaluation = bool (NullIf::*)(const BatchRows& rows, BatchVector& out);

  template <class T>
  RExprReturn EvalTyped(void* out);
  template <class T>
  bool EvalBatchTyped(const BatchRows& rows, BatchVector& out);
  void ChooseEvaluation();
  RExpression*& Slot(int index);

  RExpression* compareExpr_;
  RExpression* valueExpr_;
  CharCompareFunc_t compareFunc_ = nullptr;
  /// EvalTyped and EvalBatchTyped for the result type.
  Evaluation evaluate_;
  BatchEvaluation evaluateBatch_;
};

/// COALESCE: the first value that is not NULL; those after it are not evaluated. Errors of binding:
/// 59020 values without a common type, 59033 nothing but NULL constants.
class SQXEREXPR_API Coalesce final : public Conditional {
 public:
  explicit Coalesce(std::vector<RExpression*> values);
  ~Coalesce() override;

  void Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) override;
  RExprReturn Eval(void* out) override;
  bool EvalBatch(const BatchRows& rows, BatchVector& out) override;
  bool HasBatchLoop() override { return true; }
  RExprType GetExpressionType() override { return kCoalesceExpression; }
  RExpression* GetIthOperand(int index) override;
  void SetIthOperand(int index, RExpression* operand) override;
  int CountOperands() override { return static_cast<int>(valueExprs_.size()); }

 private:
  RExpression*& Slot(int index);

  std::vector<RExpression*> valueExprs_;
  /// Stays null: nothing is compared. Plans that are exchanged give this node the fields of NULLIF.
  [[maybe_unused]] CharCompareFunc_t compareFunc_ = nullptr;
};

}  // namespace sqxer
