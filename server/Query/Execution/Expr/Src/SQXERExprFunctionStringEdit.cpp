#include "SQXERExprFunctionStringEdit.h"

#include "SQXERExprFunctionSearch.h"
#include "SQXERMadeText.h"
#include "Utility/Settings.h"

namespace sqxer {
namespace {

/// What REPEAT makes room for when it is bound. Declared lengths grow by four with each REPEAT of
/// another one, whatever their texts come to; longer texts take more room when they come.
constexpr uint32 kMostReserved = uint32{1} << 16;

/// The room for a result that is `longest` characters long at most, made of a text of a declared
/// length.
uint32 RoomFor(uint64 longest, uint32 textLength) {
  return static_cast<uint32>(std::min(longest, std::max<uint64>(kMostCharacters, textLength)));
}

/// The least length of the texts that an operand can give and that can be found in another one: the
/// length of a constant, which may be 0.
uint32 LeastLength(RExpression& text) {
  RefLongVarChar value{};
  const bool isKnown =
      text.GetExpressionType() == kConstantExpression && text.Eval(&value) == kTrue;
  return isKnown ? value.length_ : 1;
}

}  // namespace

void Replace::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  isCaseSensitive_ = Settings::Current()->GetSwitches().caseSensitiveCompare_;
  const OperandShape text = BindTextOperand(0, L"Replace", stream, replacement, info);
  BindTextOperand(1, L"Replace", stream, replacement, info);
  const OperandShape to = BindTextOperand(2, L"Replace", stream, replacement, info);
  const uint64 longest = ReplaceOp::LongestResult(text.length, LeastLength(*params_[0]), to.length);
  resultAllocationSize_ = static_cast<int32>(RoomFor(longest, text.length));
  result_.Reserve(static_cast<std::size_t>(resultAllocationSize_));
  SetResult(XeLongVarCharData, info, static_cast<uint32>(resultAllocationSize_));
}

RExprReturn Replace::Eval(void* result) {
  if (EvalOperands(&varCharOperand_, &varCharFromSubString_, &varCharToSubString_) != kTrue) {
    return retCode_;
  }
  const auto find = [this](const RefLongVarChar& text, const RefLongVarChar& pattern) {
    return ConfiguredCharComparison::FindString(text.buffer_, text.length_, pattern.buffer_,
                                                pattern.length_, isCaseSensitive_);
  };
  auto* const out = static_cast<RefLongVarChar*>(result);
  out->buffer_ = result_.data();
  out->length_ = ReplaceOp::Apply(varCharOperand_, varCharFromSubString_, varCharToSubString_, find,
                                  out->buffer_, static_cast<uint32>(resultAllocationSize_));
  XE_ASSERT(static_cast<int32>(out->length_) <= resultAllocationSize_);
  return kTrue;
}

bool Replace::EvalBatch(const BatchRows& rows, BatchVector& out) {
  if (!isCaseSensitive_) return RExpression::EvalBatch(rows, out);
  BatchVector operand;
  BatchVector from;
  BatchVector to;
  if (!EvaluateBatch(*operand_, rows, operand) || !EvaluateBatch(*params_[0], rows, from) ||
      !EvaluateBatch(*params_[1], rows, to)) {
    return false;
  }
  ByteTexts texts(operand);
  ByteTexts wanted(from);
  ByteTexts replacements(to);
  if (!texts.IsSure() || !wanted.IsSure() || !replacements.IsSure()) {
    return RExpression::EvalBatch(rows, out);
  }
  out = BatchVector();
  BatchBuffers& buffers = GetBatchBuffers();
  IntersectValidity(operand, from, to, rows, buffers.Validity(), out);
  BatchText* const results = buffers.Texts();
  out.form = ColumnForm::kText8;
  out.texts = results;
  buffers.ClearTexts();
  RowsOfAll(out, rows).ForEach([&](uint32 row) {
    if (out.IsNull(row)) return;
    const ByteText text = *texts.Get(row);
    const ByteText what = *wanted.Get(row);
    const ByteText with = *replacements.Get(row);
    const uint64 longest = ReplaceOp::LongestResult(text.length_, what.length_, with.length_);
    const auto room = static_cast<uint32>(resultAllocationSize_);
    uint8* const result = buffers.KeepBytes(std::min<uint64>(longest, room));
    results[row] = {result, ReplaceOp::Apply(text, what, with, &FindBytes, result, room)};
  });
  return true;
}

void Insert::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  const OperandShape text = BindTextOperand(0, L"Insert", stream, replacement, info);
  for (const int number : {1, 2}) {
    BindIthOperand(number, stream, replacement, info);
    ConvertIthOperand(number, ParameterType::kInt32FromDouble, L"Insert");
  }
  const OperandShape inserted = BindTextOperand(3, L"Insert", stream, replacement, info);
  const uint32 length = text.length + inserted.length;
  result_.Reserve(length);
  SetResult(XeLongVarCharData, info, length);
}

RExprReturn Insert::Eval(void* out) {
  if (EvalOperands(&varCharOperand_, &start_, &length_, &varCharNewString_) != kTrue) {
    return retCode_;
  }
  // Grows only for texts longer than they were declared.
  result_.Reserve(std::size_t{varCharOperand_.length_} + varCharNewString_.length_);
  const uint32 length =
      InsertOp::Apply(varCharOperand_, start_, length_, varCharNewString_, result_.data());
  *static_cast<RefLongVarChar*>(out) = {length, result_.data()};
  return kTrue;
}

void Space::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindIthOperand(0, stream, replacement, info);
  ConvertIthOperand(0, ParameterType::kInt32FromDouble, L"Space");
  std::wmemset(spaceBuffer_.data(), L' ', SpaceOp::kMost);
  SetResult(XeLongVarCharData, info, LimitLength(0, SpaceOp::kMost));
}

RExprReturn Space::Eval(void* out) {
  if (EvalOperands(&spaceCount_) == kTrue) {
    *static_cast<RefLongVarChar*>(out) = {SpaceOp::Apply(spaceCount_), spaceBuffer_.data()};
  }
  return retCode_;
}

void Repeat::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  const OperandShape text = BindTextOperand(0, L"Repeat", stream, replacement, info);
  BindIthOperand(1, stream, replacement, info);
  ConvertIthOperand(1, ParameterType::kInt32, L"Repeat");
  const uint64 longest = RepeatOp::LongestResult(text.length);
  repeatBufferSize_ = static_cast<uint32>(std::min<uint64>(longest, UINT32_MAX));
  // No record could hold a result beyond it.
  XeRecordMetaData::GetByteLength(XeLongVarCharData, repeatBufferSize_, true);
  repeatBuffer_.Reserve(std::min(repeatBufferSize_, kMostReserved));
  SetResult(XeLongVarCharData, info, repeatBufferSize_);
}

RExprReturn Repeat::Eval(void* out) {
  retCode_ = repeatCountOperandRetCode_ = EvalParams(&repeatCount_);
  if (retCode_ == kTrue) retCode_ = operand_->Eval(&varCharOperand_);
  if (retCode_ != kTrue) return retCode_;
  const uint32 length =
      RepeatOp::CountCharacters(varCharOperand_.length_, repeatCount_, repeatBufferSize_);
  repeatBuffer_.Reserve(length);
  RepeatOp::Apply(varCharOperand_, length, repeatBuffer_.data());
  *static_cast<RefLongVarChar*>(out) = {length, repeatBuffer_.data()};
  return kTrue;
}

void Char::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindIthOperand(0, stream, replacement, info);
  ConvertIthOperand(0, ParameterType::kInt32, L"Char");
  SetResult(XeCharData, info, 1);
}

RExprReturn Char::Eval(void* out) {
  if (EvalOperands(&charCode_) == kTrue) {
    result_[0] = CharOp::Apply(charCode_);
    *static_cast<wchar_t**>(out) = result_;
  }
  return retCode_;
}

}  // namespace sqxer
