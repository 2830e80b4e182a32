#include "SQXERExprLogical.h"

#include <chrono>

#include "SQXERBatchLoops.h"
#include "SQXEROpsLogic.h"
#include "SQXERTypedVariant.h"
#include "Utility/Settings.h"

namespace sqxer {
namespace {

constexpr std::span<const TypedVariant> kIsNullVariants =
    kVariants<IsNullXeChar, IsNullLongVarXeChar, IsNullInt32, IsNullUInt32, IsNullFloat64,
              IsNullNumber, IsNullDate, IsNullTime, IsNullDateTime, IsNullInterval, IsNullBoolean>;

void CheckIsTruthValue(RExpression& node, const wchar_t* name) {
  for (int i = 0; i < node.GetOperandCount(); ++i) {
    RExpression::CheckDataTypeAndThrowError(node.GetIthOperand(i), {XeBitData, XeBoolean}, name);
  }
}

void DescribeTruthValue(RExpression& node, bool nullable, MetaDataInfo& info) {
  node.SetResultDataType(XeBoolean);
  info.isNullable_ = nullable;
  info.objectLength_ = 1;
  info.scale_ = 0;
  info.fieldName_ = XeRecordMetaData::exprFieldName_;
}

/// Binds both operands in the caller's own context; the result can be NULL when either can.
void BindConnective(RExpression& node, const wchar_t* name, XeAListStream* stream,
                    RExpression*& replacement, MetaDataInfo& info) {
  bool nullable = info.isNullable_;
  for (int i = 0; i < node.GetOperandCount(); ++i) {
    RExpression* operand = node.GetIthOperand(i);
    if (!node.GetSkipReBindChildren()) {
      BindInPlace(operand, stream, replacement, info);
      node.SetIthOperand(i, operand);
    }
    nullable |= operand->GetBoundShape().nullable;
  }
  replacement = nullptr;
  CheckIsTruthValue(node, name);
  DescribeTruthValue(node, nullable, info);
}

/// A truth value as nodes hand it upward: a byte, or the status of what is unknown.
RExprReturn WriteTruth(Truth truth, void* out) {
  if (truth == Truth::kUnknown) return kUnknown;
  *static_cast<uint8*>(out) = static_cast<uint8>(truth);
  return kTrue;
}

/// Truth values as bytes, one for each row, and as bits.
struct TruthVector {
  const uint8* values;
  const uint64* validity;

  TruthVector(const BatchVector& vector, uint8* room) {
    static constexpr uint64 kNoValues[kMostBatchWords] = {};
    values = vector.values;
    validity = vector.validity;
    if (!vector.isConstant) return;
    validity = vector.IsNull(0) ? kNoValues : nullptr;
    std::fill_n(room, kMostBatchRows, vector.IsNull(0) ? uint8{0} : vector.values[0]);
    values = room;
  }
  uint64 GetValidity(uint32 word) const {
    return validity == nullptr ? ~uint64{0} : validity[word];
  }
};

uint64 CountNanoseconds() {
  return static_cast<uint64>(std::chrono::steady_clock::now().time_since_epoch().count());
}

/// Writes the wanted rows that a connective does not decide by `truth` to `undecided`, and returns
/// how many there are.
uint32 SelectUndecided(const TruthVector& truth, bool deciding, const BatchRows& rows,
                       uint16* undecided) {
  uint32 count = 0;
  rows.ForEach([&](uint32 row) {
    const bool isValue =
        truth.validity == nullptr || (truth.validity[row / 64] >> row % 64 & 1) != 0;
    undecided[count] = static_cast<uint16>(row);
    count += !(isValue && (truth.values[row] != 0) == deciding);
  });
  return count;
}

/// A connective over batches. The operand that comes second is evaluated for the rows that the
/// first one does not decide; for all of them where that is free.
template <LogicOp Op>
bool EvalConnective(RExpression& left, RExpression& right, OperandOrder& order,
                    const BatchRows& rows, BatchBuffers& buffers, BatchVector& out) {
  constexpr bool deciding = Op::Decides(Truth::kTrue);
  const bool isRightFirst = order.IsRightFirst(left, right);
  RExpression& second = isRightFirst ? left : right;
  const bool isMeasured = order.IsMeasured();
  uint64 start = isMeasured ? CountNanoseconds() : 0;
  const auto record = [&](bool isRight, uint32 decided) {
    if (!isMeasured) return;
    const uint64 now = CountNanoseconds();
    order.Record(isRight, now - start, decided);
    start = now;
  };
  BatchVector a;
  if (!EvaluateBatch(isRightFirst ? right : left, rows, a)) return false;
  if (a.isConstant && !a.IsNull(0) && (a.values[0] != 0) == deciding) {
    record(isRightFirst, rows.GetWanted());
    out = a;
    return true;
  }
  const TruthVector x(a, buffers.Truths(0));
  BatchRows wanted = rows;
  if (second.GetBatchCost() != BatchCost::kFree) {
    wanted.selected = buffers.Rows();
    wanted.selectedCount = SelectUndecided(x, deciding, rows, buffers.Rows());
    record(isRightFirst, rows.GetWanted() - wanted.selectedCount);
    if (wanted.selectedCount == 0) {
      out = a;
      return true;
    }
  }
  BatchVector b;
  if (!EvaluateBatch(second, wanted, b)) return false;
  const TruthVector y(b, buffers.Truths(1));
  if (isMeasured) {
    const uint32 undecided = SelectUndecided(y, deciding, wanted, buffers.OtherRows());
    record(!isRightFirst, wanted.GetWanted() - undecided);
  }
  uint8* const values = buffers.Values<uint8>();
  out = BatchVector();
  out.form = ColumnForm::kUInt8;
  out.values = values;
  // Right wherever the result is known: the operand that is not is then the other one's slave.
  MapPairs(x.values, false, y.values, false, values, rows,
           [](uint8 p, uint8 q) { return (deciding ? p | q : p & q) & 1; });
  if (x.validity == nullptr && y.validity == nullptr) return true;
  uint64* const validity = buffers.Validity();
  for (uint32 word = 0; word * 64 < rows.count; ++word) {
    const uint64 flip = deciding ? 0 : ~uint64{0};
    const uint64 p = x.GetValidity(word);
    const uint64 q = y.GetValidity(word);
    validity[word] = (p & q) | (p & (PackTruths(x.values + word * std::size_t{64}) ^ flip)) |
                     (q & (PackTruths(y.values + word * std::size_t{64}) ^ flip));
  }
  out.validity = validity;
  return true;
}

}  // namespace

void OperandOrder::UseCurrentSettings() {
  byCost_ = Settings::Current()->GetSwitches().conditionsByCost_;
}

bool OperandOrder::IsRightFirst(RExpression& left, RExpression& right) {
  isMeasured_ = false;
  if (!byCost_ || left.GetBatchCost() != BatchCost::kSafe) return false;
  const BatchCost cost = right.GetBatchCost();
  if (cost != BatchCost::kSafe) return cost == BatchCost::kFree;
  // The first batch pays for what is made once.
  constexpr uint32 kFirst = 1;
  constexpr uint32 kLast = 4;
  constexpr uint32 kEvery = 64;
  isMeasured_ = (batches_ >= kFirst && batches_ <= kLast) || batches_ % kEvery == kEvery - 1;
  ++batches_;
  return right_.nanoseconds * left_.decided < left_.nanoseconds * right_.decided;
}

void OperandOrder::Record(bool isRight, uint64 nanoseconds, uint32 decided) {
  // The rows to come are more like the last ones than like the first.
  constexpr float64 kWeight = 0.5;
  Past& past = isRight ? right_ : left_;
  past.nanoseconds = past.nanoseconds * kWeight + static_cast<float64>(nanoseconds);
  past.decided = past.decided * kWeight + decided;
}

bool IsNull::EvalNulls(const BatchRows& rows, BatchVector& out) {
  BatchVector operand;
  if (!EvaluateBatch(*only_, rows, operand)) return false;
  uint8* const values = GetBatchBuffers().Values<uint8>();
  out = BatchVector();
  out.form = ColumnForm::kUInt8;
  out.values = values;
  out.isConstant = operand.isConstant || operand.validity == nullptr;
  RowsOf(out, rows).ForEach([&](uint32 row) { values[row] = operand.IsNull(row); });
  return true;
}

bool LogicalAnd::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return EvalConnective<AndOp>(*left_, *right_, order_, rows, GetBatchBuffers(), out);
}

bool LogicalOr::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return EvalConnective<OrOp>(*left_, *right_, order_, rows, GetBatchBuffers(), out);
}

bool LogicalNot::EvalBatch(const BatchRows& rows, BatchVector& out) {
  if (!EvaluateBatch(*only_, rows, out)) return false;
  uint8* const values = GetBatchBuffers().Values<uint8>();
  MapValues(out.values, values, RowsOf(out, rows), [](uint8 value) { return value != 1; });
  out.values = values;
  out.block = nullptr;
  return true;
}

void IsNull::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindOperand(stream, replacement, info);
  const XeDataType type = only_->GetResultDataType();
  const TypedVariant* variant = FindVariant(kIsNullVariants, type);
  if (variant == nullptr) throwExecutionError(kTypeNotComparable, L"IsNull", type, XeUnknown);
  DescribeTruthValue(*this, false, info);
  ReplaceBy(*this, variant->make(), XeBoolean, replacement);
}

void LogicalAnd::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindConnective(*this, L"Logical And", stream, replacement, info);
  order_.UseCurrentSettings();
}

RExprReturn LogicalAnd::Eval(void* out) {
  const auto truth = [](RExprReturn status, const void* value) {
    if (status == kUnknown) return Truth::kUnknown;
    return *static_cast<const uint8*>(value) == 0 ? Truth::kFalse : Truth::kTrue;
  };
  retCode_ = left_->Eval(out);
  if (retCode_ != kTrue && retCode_ != kUnknown) return retCode_;
  const Truth left = truth(retCode_, out);
  if (AndOp::Decides(left)) return kTrue;
  retCode1_ = right_->Eval(&value1_);
  if (retCode1_ != kTrue && retCode1_ != kUnknown) return retCode1_;
  return WriteTruth(AndOp::Apply(left, truth(retCode1_, &value1_)), out);
}

void LogicalOr::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindConnective(*this, L"Logical Or", stream, replacement, info);
  order_.UseCurrentSettings();
}

RExprReturn LogicalOr::Eval(void* out) {
  // Unlike AND, every status but kUnknown counts as FALSE: filters rely on a TRUE of one side even
  // when the other has come to its end.
  const auto truth = [](RExprReturn status, const void* value) {
    if (status == kUnknown) return Truth::kUnknown;
    return status == kTrue && *static_cast<const uint8*>(value) == 1 ? Truth::kTrue : Truth::kFalse;
  };
  retCode_ = left_->Eval(out);
  const Truth left = truth(retCode_, out);
  if (OrOp::Decides(left)) return kTrue;
  retCode1_ = right_->Eval(&value1_);
  return WriteTruth(OrOp::Apply(left, truth(retCode1_, &value1_)), out);
}

void LogicalNot::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  UnaryOperator::Bind(stream, replacement, info);
  // An operand of another type would write past the one byte that this node is given.
  CheckIsTruthValue(*this, L"Logical Not");
  DescribeTruthValue(*this, info.isNullable_, info);
}

RExprReturn LogicalNot::Eval(void* out) {
  retCode_ = only_->Eval(out);
  if (retCode_ == kTrue) {
    uint8& value = *static_cast<uint8*>(out);
    value = static_cast<uint8>(NotOp::Apply(value == 1 ? Truth::kTrue : Truth::kFalse));
  }
  return retCode_;
}

}  // namespace sqxer
