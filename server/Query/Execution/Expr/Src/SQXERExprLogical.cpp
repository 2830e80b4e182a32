#include "SQXERExprLogical.h"

#include "SQXERBatchLoops.h"
#include "SQXEROpsLogic.h"
#include "SQXERTypedVariant.h"

namespace sqxer {
namespace {

constexpr std::span<const TypedVariant> kIsNullVariants =
    kVariants<IsNullXeChar, IsNullLongVarXeChar, IsNullInt32, IsNullUInt32, IsNullFloat64,
              IsNullNumber, IsNullDate, IsNullTime, IsNullDateTime, IsNullBoolean>;

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

/// A connective over batches. The right operand is evaluated for the rows that the left one does
/// not decide; for all of them where that is free.
template <LogicOp Op>
bool EvalConnective(RExpression& left, RExpression& right, const BatchRows& rows,
                    BatchBuffers& buffers, BatchVector& out) {
  constexpr bool deciding = Op::Decides(Truth::kTrue);
  BatchVector a;
  if (!EvaluateBatch(left, rows, a)) return false;
  if (a.isConstant && !a.IsNull(0) && (a.values[0] != 0) == deciding) {
    out = a;
    return true;
  }
  const TruthVector x(a, buffers.Truths(0));
  BatchRows wanted = rows;
  if (right.GetBatchCost() != BatchCost::kFree) {
    uint16* const undecided = buffers.Rows();
    uint32 count = 0;
    rows.ForEach([&](uint32 row) {
      const bool isValue = x.validity == nullptr || (x.validity[row / 64] >> row % 64 & 1) != 0;
      undecided[count] = static_cast<uint16>(row);
      count += !(isValue && (x.values[row] != 0) == deciding);
    });
    if (count == 0) {
      out = a;
      return true;
    }
    wanted.selected = undecided;
    wanted.selectedCount = count;
  }
  BatchVector b;
  if (!EvaluateBatch(right, wanted, b)) return false;
  const TruthVector y(b, buffers.Truths(1));
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
  return EvalConnective<AndOp>(*left_, *right_, rows, GetBatchBuffers(), out);
}

bool LogicalOr::EvalBatch(const BatchRows& rows, BatchVector& out) {
  return EvalConnective<OrOp>(*left_, *right_, rows, GetBatchBuffers(), out);
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
