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

constexpr int kIncompleteBranches = 59023;
constexpr int kLookupOfNull = 59032;

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

}  // namespace sqxer
