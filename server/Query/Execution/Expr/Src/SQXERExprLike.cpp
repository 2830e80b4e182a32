#include "SQXERExprLike.h"

#include <algorithm>
#include <cwchar>

#include "SQXERBatchLoops.h"
#include "SQXERExprConvert.h"
#include "SQXEROperandBinding.h"

namespace sqxer {
namespace {

/// Whether a text operand gives the same value for every row.
bool IsConstantText(RExpression& operand) {
  const RExprType kind = operand.GetExpressionType();
  return kind == kConstantExpression || kind == kParamExpression;
}

}  // namespace

Like::Like(RExpression* value, RExpression* pattern, RExpression* escape) try
    : RExpression(escape == nullptr ? 2 : 3),
      firstOp_(value),
      secondOp_(pattern),
      escapeOp_(escape) {
} catch (...) {
  // They have been taken over.
  delete value;
  delete pattern;
  delete escape;
}

Like::~Like() {
  delete firstOp_;
  delete secondOp_;
  delete escapeOp_;
}

RExpression*& Like::Slot(int index) {
  switch (index) {
    case 0:
      return firstOp_;
    case 1:
      return secondOp_;
    case 2:
      return escapeOp_;
    default:
      XeLogicError("LIKE has a value, a pattern and an escape");
  }
}

RExpression* Like::GetIthOperand(int index) { return Slot(index); }

void Like::SetIthOperand(int index, RExpression* operand) { Slot(index) = operand; }

void Like::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  const auto bind = [&](RExpression*& operand) {
    const OperandShape shape =
        BindOperand(operand, stream, replacement, tempMetaDataInfo_, info, skipReBindChildren_);
    info.isNullable_ |= shape.nullable;
    return shape.length;
  };
  const uint32 valueLength = bind(firstOp_);
  patternLength_ = static_cast<int32>(bind(secondOp_));
  patternValue_.Reserve((static_cast<std::size_t>(patternLength_) + 1) * sizeof(wchar_t));
  if (escapeOp_ != nullptr && bind(escapeOp_) != 1) RaiseError(59025, {});
  resultDataType_ = XeBoolean;
  info.objectLength_ = 1;
  info.fieldName_ = XeRecordMetaData::exprFieldName_;

  CheckDataTypeAndThrowError(firstOp_, {XeCharData, XeVarCharData, XeLongVarCharData}, L"Like");
  CheckDataTypeAndThrowError(secondOp_, {XeCharData, XeLongVarCharData}, L"Like");
  if (escapeOp_ != nullptr) {
    CheckDataTypeAndThrowError(escapeOp_, {XeCharData, XeLongVarCharData}, L"Like Escape");
  }
  if (firstOp_->GetResultDataType() == XeCharData) {
    firstOp_ = new ConvertXeChartoLongVarXeChar(firstOp_, XeLongVarCharData, valueLength);
  }

  isPatternFixedText_ = secondOp_->GetResultDataType() == XeCharData;
  isEscapeFixedText_ = escapeOp_ != nullptr && escapeOp_->GetResultDataType() == XeCharData;
  isPatternConstant_ =
      IsConstantText(*secondOp_) && (escapeOp_ == nullptr || IsConstantText(*escapeOp_));
  isPatternRead_ = false;
  likePattern.UseCurrentSettings();
}

RExprReturn Like::Eval(void* out) {
  retCode_ = firstOp_->Eval(&target_);
  if (retCode_ != kTrue) return retCode_;
  if (!isPatternRead_) {
    retCode_ = ReadPattern();
    if (retCode_ != kTrue) return retCode_;
    // Not at bind: a pattern that is wrong is an error of the row that needs it.
    isPatternRead_ = isPatternConstant_;
  }
  *static_cast<uint8*>(out) = likePattern == target_;
  return kTrue;
}

BatchCost Like::GetBatchCost() {
  return isPatternRead_ ? BatchCost::kSafe | CostOfAll(*firstOp_) : BatchCost::kDear;
}

bool Like::EvalBatch(const BatchRows& rows, BatchVector& out) {
  if (!isPatternConstant_) return RExpression::EvalBatch(rows, out);
  BatchVector texts;
  if (!EvaluateBatch(*firstOp_, rows, texts)) return false;
  if (!isPatternRead_) {
    if (ReadPattern() != kTrue) return RExpression::EvalBatch(rows, out);
    isPatternRead_ = true;
  }
  const bool areBytes = texts.form == ColumnForm::kText8;
  if (areBytes && !likePattern.TakesBytes()) return RExpression::EvalBatch(rows, out);
  uint8* const values = GetBatchBuffers().Values<uint8>();
  out = BatchVector();
  out.form = ColumnForm::kUInt8;
  out.values = values;
  out.isConstant = texts.isConstant;
  out.validity = texts.validity;
  const BatchRows wanted = RowsOf(texts, rows);
  if (areBytes && texts.offsets != nullptr && rows.IsDense() && likePattern.LooksInside()) {
    const auto match = [&](const auto* offsets) {
      likePattern.MatchSideBySide(texts.values, offsets, rows.count, values);
    };
    texts.offsetWidth == 4 ? match(reinterpret_cast<const uint32*>(texts.offsets))
                           : match(reinterpret_cast<const uint64*>(texts.offsets));
  } else if (const auto beginning = likePattern.GetBeginning(); areBytes && beginning) {
    ForEachTextOf<uint8>(texts, wanted, [&](uint32 row, const uint8* text, uint32 length) {
      values[row] = beginning->Matches(text, length);
    });
  } else if (areBytes) {
    ForEachTextOf<uint8>(texts, wanted, [&](uint32 row, const uint8* text, uint32 length) {
      values[row] = likePattern.MatchesBytes(text, length);
    });
  } else {
    ForEachTextOf<wchar_t>(texts, wanted, [&](uint32 row, const wchar_t* text, uint32 length) {
      values[row] = likePattern == RefLongVarChar{length, const_cast<wchar_t*>(text)};
    });
  }
  return true;
}

RExprReturn Like::ReadPattern() {
  if (isPatternFixedText_) {
    const RExprReturn status = secondOp_->Eval(&pattern_);
    if (status != kTrue) return status;
  } else {
    RefLongVarChar temp{};
    const RExprReturn status = secondOp_->Eval(&temp);
    if (status != kTrue) return status;
    XE_ASSERT(static_cast<int32>(temp.length_) <= patternLength_);
    pattern_ = reinterpret_cast<wchar_t*>(patternValue_.data());
    std::copy_n(temp.buffer_, temp.length_, pattern_);
    pattern_[temp.length_] = 0;
  }

  // Callers write '\%' without an ESCAPE and rely on it.
  wchar_t escape = L'\\';
  if (escapeOp_ != nullptr) {
    RefLongVarChar escapeTemp{};
    const RExprReturn status =
        isEscapeFixedText_ ? escapeOp_->Eval(&escape_) : escapeOp_->Eval(&escapeTemp);
    if (status != kTrue) return status;
    if (!isEscapeFixedText_) {
      XE_ASSERT(escapeTemp.length_ == 1);
      escape_ = escapeTemp.buffer_;
    }
    escape = *escape_;
  }
  AtSourcePosition([&] { likePattern.SetMetaPattern(pattern_, escape); });
  return kTrue;
}

}  // namespace sqxer
