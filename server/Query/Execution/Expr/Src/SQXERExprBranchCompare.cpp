#include "SQXERExprBranchCompare.h"

#include "SQXERBatchBranches.h"
#include "SQXERBatchEquality.h"
#include "SQXERBranchTypes.h"
#include "SQXEROpsAggregate.h"
#include "SQXEROpsCompare.h"

namespace sqxer {
namespace {

/// A value of a batch as rows compare it. Fixed texts come as long ones; `operand` says whose room
/// a converted text may take.
template <class T>
auto ReadComparable(const BatchVector& vector, uint32 row, BatchBuffers& buffers, int operand) {
  if constexpr (requires(const T& value) { AsText(value); }) {
    return buffers.Widen(vector, row, operand);
  } else {
    return ReadBatchValue<T>(vector, row);
  }
}

}  // namespace

// GREATEST and LEAST

ExtremeOfValues::ExtremeOfValues(std::vector<RExpression*> values, bool isGreatest)
    : Conditional(OperandCount(values.size())),
      values_(std::move(values)),
      isGreatest_(isGreatest) {}

ExtremeOfValues::~ExtremeOfValues() {
  for (RExpression* value : values_) delete value;
}

RExpression*& ExtremeOfValues::Slot(int index) {
  const auto at = static_cast<std::size_t>(index);
  if (at >= values_.size()) XeLogicError("operand index of an extreme of values");
  return values_[at];
}

void ExtremeOfValues::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  BranchUnion branches;
  bool isNullable = true;
  for (RExpression*& value : values_) {
    const OperandShape shape = BindBranch(value, stream, replacement, info);
    Fold(branches, value, shape.length, kResultsDiffer);
    isNullable &= shape.nullable;
  }
  if (branches.type == XeUnknown) RaiseError(kNothingTyped, {});
  if (!HasEquality(branches.type)) {
    throwExecutionError(kTypeNotSupported, isGreatest_ ? L"Greatest" : L"Least", branches.type,
                        XeUnknown);
  }
  for (RExpression*& value : values_) ConvertBranch(value, branches);
  DescribeResult(branches, isNullable, info);
  if (SUXeDataTypeUtility::IsXeTextType(resultDataType_)) {
    compareFunc_ = ExecutionUtility::GetCharacterComparisonFunction();
  }
  evaluate_ = ChooseByEquality(resultDataType_, []<class T>(std::type_identity<T>) {
    const Evaluation evaluate = &ExtremeOfValues::EvalTyped<T>;
    return evaluate;
  });
  evaluateBatch_ = ChooseByEquality(resultDataType_, []<class T>(std::type_identity<T>) {
    const BatchEvaluation evaluate = &ExtremeOfValues::EvalBatchTyped<T>;
    return evaluate;
  });
}

template <class T>
bool ExtremeOfValues::IsBetter(const T& value, const T& best) const {
  if constexpr (std::is_same_v<T, AnyValue>) {
    return false;
  } else {
    const T& less = isGreatest_ ? best : value;
    const T& more = isGreatest_ ? value : best;
    if constexpr (std::is_same_v<T, float64>) {
      return SortsBefore(less, more);
    } else if constexpr (requires { AsText(value); }) {
      return CompareText<LessThanOp>(compareFunc_, AsText(less), AsText(more));
    } else {
      return LessThanOp::Apply(less, more);
    }
  }
}

template <class T>
RExprReturn ExtremeOfValues::EvalTyped(void* out) {
  T best{};
  bool isFound = false;
  for (RExpression* operand : values_) {
    T value{};
    retCode_ = operand->Eval(&value);
    if (retCode_ == kUnknown) continue;
    if (retCode_ != kTrue) return retCode_;
    if (!isFound || IsBetter(value, best)) best = value;
    isFound = true;
  }
  if (isFound) *static_cast<T*>(out) = best;
  return retCode_ = isFound ? kTrue : kUnknown;
}

bool ExtremeOfValues::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return values_.size() > UINT8_MAX ? RExpression::EvalBatch(rows, out)
                                    : (this->*evaluateBatch_)(rows, out);
}

template <class T>
bool ExtremeOfValues::MergeNumbers(std::vector<BatchVector>& vectors, const BatchRows& rows,
                                   BatchVector& out) {
  BatchBuffers& buffers = GetBatchBuffers();
  T* const values = buffers.Values<T>();
  uint64* const words = buffers.Validity();
  const bool areMergeable = std::ranges::all_of(vectors, [&](const BatchVector& one) {
    return one.form == vectors[0].form && one.scale == vectors[0].scale && !one.isConstant;
  });
  if (!areMergeable) return false;
  const auto wordAt = [](const BatchVector& vector, uint32 word) {
    return vector.validity == nullptr ? ~uint64{0} : vector.validity[word];
  };
  out = vectors[0];
  out.block = nullptr;
  for (std::size_t i = 1; i < vectors.size(); ++i) {
    const BatchVector& next = vectors[i];
    const T* const best = out.As<T>();
    const T* const others = next.As<T>();
    const bool areAllValid = out.validity == nullptr && next.validity == nullptr;
    if (areAllValid) {
      MapPairs(best, false, others, false, values, rows,
               [this](T a, T b) { return IsBetter(b, a) ? b : a; });
    } else {
      rows.ForEach([&](uint32 row) {
        const bool takesOther =
            !next.IsNull(row) && (out.IsNull(row) || IsBetter(others[row], best[row]));
        values[row] = takesOther ? others[row] : best[row];
      });
      for (uint32 word = 0; word < (rows.count + 63) / 64; ++word) {
        words[word] = wordAt(out, word) | wordAt(next, word);
      }
      out.validity = words;
    }
    out.values = reinterpret_cast<const uint8*>(values);
  }
  return true;
}

template <class T>
bool ExtremeOfValues::EvalBatchTyped(const BatchRows& rows, BatchVector& out) {
  if constexpr (std::is_same_v<T, AnyValue>) {
    return RExpression::EvalBatch(rows, out);
  } else {
    BatchBuffers& buffers = GetBatchBuffers();
    std::vector<BatchVector> vectors(values_.size());
    for (std::size_t i = 0; i < vectors.size(); ++i) {
      if (!EvaluateBatch(*values_[i], rows, vectors[i])) return false;
    }
    if constexpr (std::is_arithmetic_v<T>) {
      if (MergeNumbers<T>(vectors, rows, out)) return true;
    } else if constexpr (std::is_same_v<T, VelmarNumber>) {
      if (vectors[0].form == ColumnForm::kDecimal64 && MergeNumbers<int64>(vectors, rows, out))
        return true;
    } else if constexpr (std::is_same_v<T, XeDate>) {
      if (vectors[0].form == ColumnForm::kDay32 && MergeNumbers<int32>(vectors, rows, out))
        return true;
    }
    // The operand that each row takes.
    constexpr uint8 kNone = UINT8_MAX;
    uint8* const winners = buffers.Truths(0);
    rows.ForEach([&](uint32 row) {
      uint8 winner = kNone;
      for (std::size_t i = 0; i < vectors.size(); ++i) {
        if (vectors[i].IsNull(row)) continue;
        if (winner == kNone || IsBetter(ReadComparable<T>(vectors[i], row, buffers, 0),
                                        ReadComparable<T>(vectors[winner], row, buffers, 1))) {
          winner = static_cast<uint8>(i);
        }
      }
      winners[row] = winner;
    });
    BatchBranches branches(rows, buffers);
    for (std::size_t i = 0; i < vectors.size() && branches.HasRows(); ++i) {
      branches.Take(vectors[i], [&](uint32 row) { return winners[row] == i; });
    }
    return branches.Finish(out);
  }
}

// IS DISTINCT FROM

IsDistinct::IsDistinct(RExpression* left, RExpression* right)
    : Conditional(2), left_(left), right_(right) {}

IsDistinct::~IsDistinct() {
  delete left_;
  delete right_;
}

RExpression*& IsDistinct::Slot(int index) {
  if (index != 0 && index != 1) XeLogicError("operand index of IS DISTINCT FROM");
  return index == 0 ? left_ : right_;
}

void IsDistinct::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindPair(left_, right_, stream, replacement, info);
  const XeDataType compared = resultDataType_;
  if (!HasEquality(compared)) {
    RaiseError(kNoEquality, {SUXeDataTypeUtility::GetXeDataTypeName(compared)});
  }
  if (SUXeDataTypeUtility::IsXeTextType(compared)) {
    compareFunc_ = ExecutionUtility::GetCharacterComparisonFunction();
  }
  evaluate_ = ChooseByEquality(compared, []<class T>(std::type_identity<T>) {
    const Evaluation evaluate = &IsDistinct::EvalTyped<T>;
    return evaluate;
  });
  compareBatch_ = ChooseByEquality(compared, []<class T>(std::type_identity<T>) {
    const BatchEvaluation compare = &IsDistinct::CompareBatch<T>;
    return compare;
  });
  resultDataType_ = XeBoolean;
  info.objectLength_ = XeFieldDescriptor::GetObjectLength(XeBoolean, 0);
  info.isNullable_ = false;
}

template <class T>
RExprReturn IsDistinct::EvalTyped(void* out) {
  T a{};
  T b{};
  const RExprReturn left = left_->Eval(&a);
  if (left != kTrue && left != kUnknown) return retCode_ = left;
  const RExprReturn right = right_->Eval(&b);
  if (right != kTrue && right != kUnknown) return retCode_ = right;
  bool isDistinct = left != right;
  if constexpr (!std::is_same_v<T, AnyValue>) {
    if (left == kTrue && right == kTrue) isDistinct = !EqualValues(compareFunc_, a, b);
  }
  *static_cast<uint8*>(out) = isDistinct;
  return retCode_ = kTrue;
}

bool IsDistinct::EvalBatch(const BatchRows& rows, BatchVector& out) {
  BatchVector a;
  BatchVector b;
  if (!EvaluateBatch(*left_, rows, a) || !EvaluateBatch(*right_, rows, b)) return false;
  out = BatchVector();
  out.form = ColumnForm::kUInt8;
  out.isConstant = a.isConstant && b.isConstant;
  out.values = GetBatchBuffers().Truths(1);
  (this->*compareBatch_)(a, b, RowsOf(out, rows));
  return true;
}

template <class T>
void IsDistinct::CompareBatch(const BatchVector& a, const BatchVector& b, const BatchRows& rows) {
  if constexpr (!std::is_same_v<T, AnyValue>) {
    uint8* const truths = GetBatchBuffers().Truths(0);
    MatchVectors<T>(compareFunc_, a, b, rows, GetBatchBuffers(), truths);
    MapValues(truths, GetBatchBuffers().Truths(1), rows,
              [](uint8 isSame) { return static_cast<uint8>(isSame ^ 1); });
  }
}

}  // namespace sqxer
