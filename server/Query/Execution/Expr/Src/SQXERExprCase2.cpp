#include "SQXERExprCase2.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include "SQXERBatchBranches.h"
#include "SQXERBatchEquality.h"
#include "SQXERBatchFewValues.h"
#include "SQXERBranchTypes.h"
#include "SQXERExprConvert.h"
#include "SQXEROpsCompare.h"
#include "SQXERTypedVariant.h"

namespace sqxer {

namespace {

constexpr int kResultsDiffer = 59020;
constexpr int kComparedDiffer = 59021;
constexpr int kNoEquality = 59022;
constexpr int kIncompleteBranches = 59023;
constexpr int kLookupOfNull = 59032;
constexpr int kNothingTyped = 59033;

bool IsNullConstant(RExpression* node) {
  return node->GetExpressionType() == kConstantNullExpression;
}

void DeleteAll(const std::vector<RExpression*>& nodes) {
  for (RExpression* node : nodes) delete node;
}

/// The batch of a CASE whose branches are cheap: all of them for every row, and the one of each row
/// taken. False where some is dear or fails, or they have forms that this does not bring together;
/// nothing is lost then.
bool EvalAllBranches(const std::vector<RExpression*>& whens,
                     const std::vector<RExpression*>& results, const BatchRows& rows,
                     BatchBuffers& buffers, BatchVector& out) {
  const auto isCheap = [](RExpression* tree) {
    const BatchCost cost = tree->GetBatchCost();
    return cost == BatchCost::kFree || cost == BatchCost::kCheap || IsSameInEveryRow(*tree);
  };
  if (!std::ranges::all_of(whens, isCheap) || !std::ranges::all_of(results, isCheap)) return false;
  std::vector<BatchVector> truths(whens.size());
  std::vector<BatchVector> values(results.size());
  const auto evaluate = [&rows](const std::vector<RExpression*>& trees,
                                std::vector<BatchVector>& vectors) {
    for (std::size_t i = 0; i < trees.size(); ++i) {
      if (!EvaluateBatch(*trees[i], rows, vectors[i])) return false;
    }
    return true;
  };
  try {
    return evaluate(whens, truths) && evaluate(results, values) &&
           BlendBranches(truths, values, rows, buffers, out);
  } catch (const ErrorMessage&) {
    // Of a row that may belong to another branch: each is asked for its own rows.
    return false;
  }
}

}  // namespace

bool Conditional::HasEquality(XeDataType type) {
  return ChooseByEquality(
      type, []<class T>(std::type_identity<T>) -> bool { return !std::is_same_v<T, AnyValue>; });
}

OperandShape Conditional::BindBranch(RExpression*& slot, XeAListStream* stream,
                                     RExpression*& replacement, MetaDataInfo& info) {
  return BindOperand(slot, stream, replacement, info, skipReBindChildren_);
}

void Conditional::Fold(BranchUnion& branches, RExpression* branch, uint32 length, int errorCode) {
  if (IsNullConstant(branch)) return;
  const XeDataType type = branch->GetResultDataType();
  if (branches.type == XeUnknown) {
    branches.type = type;
  } else if (SUXeDataTypeUtility::AreUnionCompatible(branches.type, type)) {
    branches.type = SUXeDataTypeUtility::GetUnionDataType(branches.type, type);
  } else {
    RaiseError(errorCode, {});
  }
  branches.length = std::max(branches.length, length);
}

void Conditional::ConvertBranch(RExpression*& slot, const BranchUnion& branches) {
  if (IsNullConstant(slot)) return;
  slot = Convert::AddConversionExpression(branches.type, slot->GetResultDataType(), slot,
                                          branches.length);
}

void Conditional::DescribeResult(const BranchUnion& branches, bool isNullable, MetaDataInfo& info) {
  resultDataType_ = branches.type;
  // Two narrow types can meet in one that is wider than both.
  info.objectLength_ = XeFieldDescriptor::GetObjectLength(branches.type, branches.length);
  info.isNullable_ = isNullable;
  info.fieldName_ = XeRecordMetaData::exprFieldName_;
  info.aliasName_ = XeRecordMetaData::exprFieldName_;
  info.scale_ = 0;
}

void Conditional::BindPair(RExpression*& first, RExpression*& second, XeAListStream* stream,
                           RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  BranchUnion branches;
  bool isNullable = false;
  for (RExpression** slot : {&first, &second}) {
    const OperandShape shape = BindBranch(*slot, stream, replacement, info);
    Fold(branches, *slot, shape.length, kComparedDiffer);
    isNullable |= shape.nullable;
  }
  // Two NULL constants: the result is NULL, of the type that the constant has.
  if (branches.type == XeUnknown) branches.type = first->GetResultDataType();
  for (RExpression** slot : {&first, &second}) ConvertBranch(*slot, branches);
  DescribeResult(branches, isNullable, info);
}

// CASE

Case::Case(RExpression* caseExpr, std::vector<RExpression*> whens,
           std::vector<RExpression*> results)
    : Conditional(OperandCount((caseExpr != nullptr) + whens.size() + results.size())),
      isLookup_(caseExpr != nullptr),
      caseExpr_(caseExpr),
      whenExprs_(std::move(whens)),
      resultExprs_(std::move(results)) {
  SetCaseExprType(XeUnknown);
}

Case::~Case() {
  delete caseExpr_;
  DeleteAll(whenExprs_);
  DeleteAll(resultExprs_);
}

RExpression*& Case::Slot(int index) {
  if (isLookup_ && index == 0) return caseExpr_;
  // A negative index is beyond every list.
  std::size_t at = static_cast<std::size_t>(index) - (isLookup_ ? 1 : 0);
  if (at < whenExprs_.size()) return whenExprs_[at];
  at -= whenExprs_.size();
  if (at < resultExprs_.size()) return resultExprs_[at];
  XeLogicError("operand index of a CASE");
}

RExpression* Case::GetIthOperand(int index) { return Slot(index); }

void Case::SetIthOperand(int index, RExpression* operand) { Slot(index) = operand; }

void Case::SetCaseExprType(XeDataType type) {
  caseExprDataType_ = type;
  lookup_ = ChooseByEquality(type, []<class T>(std::type_identity<T>) {
    // A variable, since clang 16 leaves out a template whose address alone is returned.
    const Lookup lookup = &Case::EvalLookup<T>;
    return lookup;
  });
  batchLookup_ = ChooseByEquality(type, []<class T>(std::type_identity<T>) {
    const BatchLookup lookup = &Case::EvalBatchLookup<T>;
    return lookup;
  });
}

void Case::UseCharCompareFunc() {
  compareFunc_ = ExecutionUtility::GetCharacterComparisonFunction();
}

void Case::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  SetCaseExprType(XeBoolean);
  resultDataType_ = XeUnknown;
  bool isNullable = false;

  BranchUnion compared;
  if (caseExpr_ != nullptr) {
    const OperandShape shape = BindBranch(caseExpr_, stream, replacement, info);
    if (IsNullConstant(caseExpr_)) RaiseError(kLookupOfNull, {});
    Fold(compared, caseExpr_, shape.length, kComparedDiffer);
    isNullable |= shape.nullable;
  }

  BranchUnion results;
  for (RExpression*& result : resultExprs_) {
    const OperandShape shape = BindBranch(result, stream, replacement, info);
    Fold(results, result, shape.length, kResultsDiffer);
    isNullable |= shape.nullable;
  }
  if (results.type == XeUnknown) RaiseError(kNothingTyped, {});
  const bool hasElse = resultExprs_.size() == whenExprs_.size() + 1;
  if (!hasElse && resultExprs_.size() != whenExprs_.size()) RaiseError(kIncompleteBranches, {});
  for (RExpression*& result : resultExprs_) ConvertBranch(result, results);

  for (RExpression*& when : whenExprs_) {
    const OperandShape shape = BindBranch(when, stream, replacement, info);
    if (caseExpr_ != nullptr) Fold(compared, when, shape.length, kComparedDiffer);
    isNullable |= shape.nullable;
  }
  if (caseExpr_ != nullptr) {
    ConvertBranch(caseExpr_, compared);
    for (RExpression*& when : whenExprs_) ConvertBranch(when, compared);
    SetCaseExprType(compared.type);
    if (SUXeDataTypeUtility::IsXeTextType(compared.type)) UseCharCompareFunc();
  }
  DescribeResult(results, isNullable || !hasElse, info);
}

/// The result that stands where the first WHEN that matches does; ELSE stands behind them all.
template <class Matches>
inline RExprReturn Case::EvalFirst(Matches matches, void* out) {
  RExpression* const* result = resultExprs_.data();
  RExpression* const* const end = result + resultExprs_.size();
  for (RExpression* when : whenExprs_) {
    if (matches(when)) break;
    ++result;
  }
  return result == end ? kUnknown : (*result)->Eval(out);
}

RExprReturn Case::Eval(void* out) {
  if (caseExpr_ != nullptr) return (this->*lookup_)(out);
  AnyValue truth;
  // NULL, and an error status too, is no match: a later WHEN still answers, as callers expect of a
  // list of guards.
  const auto holds = [&](RExpression* when) {
    return when->Eval(&truth) == kTrue && truth.bytes[0] == 1;
  };
  return retCode_ = EvalFirst(holds, out);
}

template <class Matches>
bool Case::EvalBatchFirst(const BatchRows& rows, BatchVector& out, Matches&& matches) {
  BatchBranches branches(rows, GetBatchBuffers());
  for (std::size_t i = 0; i < whenExprs_.size() && branches.HasRows(); ++i) {
    BatchVector truth;
    if (!matches(*whenExprs_[i], branches.GetRows(), truth)) return false;
    const bool isTaken = branches.Split(
        [&](uint32 row) {
          return !truth.IsNull(row) && truth.values[truth.isConstant ? 0 : row] == 1;
        },
        [&](const BatchRows& taken, BatchVector& values) {
          return EvaluateBatch(*resultExprs_[i], taken, values);
        });
    if (!isTaken) return false;
  }
  if (branches.HasRows() && resultExprs_.size() > whenExprs_.size()) {
    BatchVector values;
    if (!EvaluateBatch(*resultExprs_.back(), branches.GetRows(), values)) return false;
    branches.TakeAll(values);
  }
  return branches.Finish(out);
}

bool Case::EvalBatch(const BatchRows& rows, BatchVector& out) {
  if (caseExpr_ != nullptr) return (this->*batchLookup_)(rows, out);
  if (rows.IsDense() && !SUXeDataTypeUtility::IsXeTextType(resultDataType_) &&
      EvalAllBranches(whenExprs_, resultExprs_, rows, GetBatchBuffers(), out)) {
    return true;
  }
  return EvalBatchFirst(rows, out,
                        [](RExpression& when, const BatchRows& wanted, BatchVector& truth) {
                          return EvaluateBatch(when, wanted, truth);
                        });
}

template <class T>
bool Case::EvalBatchLookup(const BatchRows& rows, BatchVector& out) {
  if constexpr (std::is_same_v<T, AnyValue>) {
    return RExpression::EvalBatch(rows, out);
  } else {
    BatchVector value;
    if (!EvaluateBatch(*caseExpr_, rows, value)) return false;
    const auto matches = [&](RExpression& when, const BatchRows& wanted, BatchVector& truth) {
      BatchVector candidate;
      if (!EvaluateBatch(when, wanted, candidate)) return false;
      BatchBuffers& buffers = GetBatchBuffers();
      truth.isConstant = value.isConstant && candidate.isConstant;
      truth.values = buffers.Truths(0);
      MatchVectors<T>(compareFunc_, value, candidate, RowsOf(truth, wanted), buffers,
                      buffers.Truths(0));
      return true;
    };
    return EvalBatchFirst(rows, out, matches);
  }
}

template <class T>
RExprReturn Case::EvalLookup(void* out) {
  T value{};
  // retCode_ keeps the case operand's status, whatever the results do.
  const RExprReturn status = retCode_ = caseExpr_->Eval(&value);
  if (status != kTrue && status != kUnknown) return status;
  T candidate{};
  // A NULL matches a NULL: WHEN NULL is how callers give a NULL a result of its own.
  const auto matches = [&](RExpression* when) {
    return when->Eval(&candidate) == status && (status == kUnknown || AreEqual(value, candidate));
  };
  return EvalFirst(matches, out);
}

template <class T>
bool Case::AreEqual(const T& value, const T& when) const {
  if constexpr (std::is_same_v<T, AnyValue>) {
    // Only here, not while binding: as long as no two values meet the CASE has a result.
    RaiseError(kNoEquality, {SUXeDataTypeUtility::GetXeDataTypeName(caseExprDataType_)});
  } else {
    return EqualValues(compareFunc_, value, when);
  }
}

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
    EqualVectors<T>(compareFunc_, value, compared, RowsOf(both, rows), buffers, truths);
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

Coalesce::~Coalesce() { DeleteAll(valueExprs_); }

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
