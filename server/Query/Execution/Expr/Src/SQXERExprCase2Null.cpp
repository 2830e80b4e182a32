// IFNULL, NULLIF and COALESCE.

#include <type_traits>
#include <utility>

#include "SQXERBatchBranches.h"
#include "SQXERBatchEquality.h"
#include "SQXERBranchTypes.h"
#include "SQXERExprCase2.h"
#include "SQXEROpsCompare.h"

namespace sqxer {
namespace {}  // namespace

// IFNULL

IfNull::IfNull(RExpression* op, RExpression* value)
    : Conditional(2), opExpr_(op), valueExpr_(value) {}

IfNull::~IfNull() {
  delete opExpr_;
  delete valueExpr_;
}

RExpression*& IfNull::Slot(int index) {
  if (index != 0 && index != 1) XeLogicError("operand index of an IFNULL");
  return index == 0 ? opExpr_ : valueExpr_;
}

RExpression* IfNull::GetIthOperand(int index) { return Slot(index); }

void IfNull::SetIthOperand(int index, RExpression* operand) { Slot(index) = operand; }

void IfNull::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindPair(opExpr_, valueExpr_, stream, replacement, info);
}

RExprReturn IfNull::Eval(void* out) {
  retCode_ = opExpr_->Eval(out);
  if (retCode_ == kUnknown) retCode_ = valueExpr_->Eval(out);
  return retCode_;
}

bool IfNull::EvalBatch(const BatchRows& rows, BatchVector& out) {
  RExpression* const values[] = {opExpr_, valueExpr_};
  return EvalFirstValue(values, rows, GetBatchBuffers(), out);
}

// NULLIF

NullIf::NullIf(RExpression* value, RExpression* compare)
    : Conditional(2), compareExpr_(compare), valueExpr_(value) {
  ChooseEvaluation();
}

NullIf::~NullIf() {
  delete compareExpr_;
  delete valueExpr_;
}

RExpression*& NullIf::Slot(int index) {
  if (index != 0 && index != 1) XeLogicError("operand index of a NULLIF");
  // Not in the order of evaluation: plans that are exchanged number the operands this way.
  return index == 0 ? compareExpr_ : valueExpr_;
}

RExpression* NullIf::GetIthOperand(int index) { return Slot(index); }

void NullIf::SetIthOperand(int index, RExpression* operand) { Slot(index) = operand; }

void NullIf::ChooseEvaluation() {
  evaluate_ = ChooseByEquality(resultDataType_, []<class T>(std::type_identity<T>) {
    // A variable as in Case.
    const Evaluation evaluate = &NullIf::EvalTyped<T>;
    return evaluate;
  });
  evaluateBatch_ = ChooseByEquality(resultDataType_, []<class T>(std::type_identity<T>) {
    const BatchEvaluation evaluate = &NullIf::EvalBatchTyped<T>;
    return evaluate;
  });
}

void NullIf::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindPair(valueExpr_, compareExpr_, stream, replacement, info);
  info.isNullable_ = true;
  if (SUXeDataTypeUtility::IsXeTextType(resultDataType_)) {
    compareFunc_ = ExecutionUtility::GetCharacterComparisonFunction();
  }
  ChooseEvaluation();
}

RExprReturn NullIf::Eval(void* out) { return (this->*evaluate_)(out); }

template <class T>
RExprReturn NullIf::EvalTyped(void* out) {
  // A decimal reaches the output only when it is the result: callers keep the one before it there.
  constexpr bool viaScratch = std::is_same_v<T, VelmarNumber>;
  T scratch{};
  T* value = viaScratch ? &scratch : static_cast<T*>(out);
  T compared{};
  retCode_ = valueExpr_->Eval(value);
  // Asked even where there is no value, for the sake of nodes that count their rows; a failure of
  // this side only means that nothing is equal.
  const RExprReturn status = compareExpr_->Eval(&compared);
  if (retCode_ != kTrue) return retCode_;
  if (status == kTrue) {
    if constexpr (std::is_same_v<T, AnyValue>) {
      XeLogicError("NULLIF of a type without equality");
    } else if (EqualValues(compareFunc_, *value, compared)) {
      return kUnknown;
    }
  }
  if constexpr (viaScratch) *static_cast<T*>(out) = scratch;
  return kTrue;
}

bool NullIf::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return (this->*evaluateBatch_)(rows, out);
}

template <class T>
bool NullIf::EvalBatchTyped(const BatchRows& rows, BatchVector& out) {
  if constexpr (std::is_same_v<T, AnyValue>) {
    return RExpression::EvalBatch(rows, out);
  } else {
    BatchVector value;
    BatchVector compared;
    if (!EvaluateBatch(*valueExpr_, rows, value) || !EvaluateBatch(*compareExpr_, rows, compared)) {
      return false;
    }
    BatchBuffers& buffers = GetBatchBuffers();
    BatchVector both;
    IntersectValidity(value, compared, rows, buffers.Validity(), both);
    uint8* const truths = buffers.Truths(0);
    EqualVectors<T>(compareFunc_, value, compared, RowsOfAll(both, rows), buffers, truths);
    const auto isNothing = [&](uint32 row) { return !both.IsNull(row) && truths[row] != 0; };
    if (value.isConstant && !compared.isConstant) {
      BatchBranches branches(rows, buffers);
      branches.Take(value, [&](uint32 row) { return !isNothing(row); });
      return branches.Finish(out);
    }
    out = value;
    if (both.isConstant && both.IsNull(0)) return true;
    out.block = nullptr;
    uint64* const validity = buffers.Validity();
    const uint32 words = (RowsOf(both, rows).count + 63) / 64;
    for (uint32 word = 0; word < words; ++word) {
      const uint64 bothValid = both.validity == nullptr ? ~uint64{0} : both.validity[word];
      const uint64 valueValid = value.validity == nullptr ? ~uint64{0} : value.validity[word];
      validity[word] = valueValid & ~(bothValid & PackTruths(truths + word * std::size_t{64}));
    }
    out.validity = validity;
    return true;
  }
}

// COALESCE

Coalesce::Coalesce(std::vector<RExpression*> values)
    : Conditional(OperandCount(values.size())), valueExprs_(std::move(values)) {}

Coalesce::~Coalesce() {
  for (RExpression* value : valueExprs_) delete value;
}

RExpression*& Coalesce::Slot(int index) {
  const auto at = static_cast<std::size_t>(index);
  if (at >= valueExprs_.size()) XeLogicError("operand index of a COALESCE");
  return valueExprs_[at];
}

RExpression* Coalesce::GetIthOperand(int index) { return Slot(index); }

void Coalesce::SetIthOperand(int index, RExpression* operand) { Slot(index) = operand; }

void Coalesce::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  BranchUnion branches;
  bool isNullable = true;
  for (RExpression*& value : valueExprs_) {
    const OperandShape shape = BindBranch(value, stream, replacement, info);
    Fold(branches, value, shape.length, kResultsDiffer);
    isNullable &= shape.nullable;
  }
  if (branches.type == XeUnknown) RaiseError(kNothingTyped, {});
  for (RExpression*& value : valueExprs_) ConvertBranch(value, branches);
  DescribeResult(branches, isNullable, info);
}

bool Coalesce::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return EvalFirstValue(valueExprs_, rows, GetBatchBuffers(), out);
}

RExprReturn Coalesce::Eval(void* out) {
  retCode_ = kUnknown;
  for (RExpression* value : valueExprs_) {
    retCode_ = value->Eval(out);
    if (retCode_ != kUnknown) break;
  }
  return retCode_;
}

}  // namespace sqxer
