#include "SQXERExprFunctionString.h"

#include <array>

#include "SQXERBatchText.h"
#include "SQXERTypedVariant.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer {

namespace {

/// The upper or lower case of one-byte characters.
struct ByteCases {
  /// Where the case has characters of more bytes.
  static constexpr uint16 kWider = 0xFFFF;
  std::array<uint16, 256> cases;

  explicit ByteCases(wchar_t (*map)(wchar_t)) {
    for (std::size_t i = 0; i < cases.size(); ++i) {
      const auto mapped = static_cast<uint32>(map(static_cast<wchar_t>(i)));
      cases[i] = mapped < cases.size() ? static_cast<uint16>(mapped) : kWider;
    }
  }
};

/// Characters whose letters from `first` to `first` + 25 change to those `distance` further,
/// sixteen at a time: reads and writes up to 15 beyond the text. Whether they were all ASCII, what
/// was read beyond the text included.
template <uint8 first, uint8 distance>
bool MapAscii(const ByteText& text, uint8* __restrict out) {
  constexpr uint32 kBlock = 16;
  uint8 all = 0;
  for (uint32 i = 0; i < text.length_; i += kBlock) {
    for (uint32 j = 0; j < kBlock; ++j) {
      const uint8 c = text.buffer_[i + j];
      all |= c;
      const bool isLetter = static_cast<uint8>(c - first) < 26;
      out[i + j] = static_cast<uint8>(c + (isLetter ? distance : 0));
    }
  }
  return all < 0x80;
}

/// A batch of texts in another case; false where a text needs wider characters than it has.
template <class Op, uint8 first, uint8 distance>
bool MapCases(const BatchVector& operand, const BatchRows& rows, const ByteCases& cases,
              BatchBuffers& buffers, BatchVector& out) {
  constexpr std::size_t kWrittenBeyond = 16;
  out = BatchVector();
  out.form = operand.form;
  out.isConstant = operand.isConstant;
  out.validity = operand.validity;
  BatchText* const texts = buffers.Texts();
  out.texts = texts;
  std::size_t characters = 0;
  ForEachText(operand, rows, [&](uint32, const auto& text) { characters += text.length_; });
  buffers.ClearTexts();
  uint8* room = buffers.KeepBytes(characters * WidthOfForm(out.form) + kWrittenBeyond);
  bool isDone = true;
  ForEachText(operand, rows, [&](uint32 row, const auto& text) {
    texts[row] = {room, text.length_};
    if constexpr (std::same_as<std::remove_cvref_t<decltype(text)>, ByteText>) {
      if (!MapAscii<first, distance>(text, room)) {
        for (uint32 i = 0; i < text.length_; ++i) {
          const uint16 mapped = cases.cases[text.buffer_[i]];
          isDone &= mapped != ByteCases::kWider;
          room[i] = static_cast<uint8>(mapped);
        }
      }
    } else {
      Op::Apply(text, reinterpret_cast<wchar_t*>(room));
    }
    room += text.length_ * WidthOfForm(out.form);
  });
  return isDone;
}

}  // namespace

void TextVariantFunction::BindText(const wchar_t* name, XeAListStream* stream,
                                   RExpression*& replacement, MetaDataInfo& info) {
  resultMaxLength_ = BindIthOperand(0, stream, replacement, info).length;
  CheckDataTypeAndThrowError(operand_, {XeCharData, XeLongVarCharData}, name);
}

void Upper::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindText(UpperOp::kName, stream, replacement, info);
  ReplaceByVariant<UpperXeChar, UpperLongVarXeChar>(resultMaxLength_, replacement, info);
}

RExprReturn Upper::Compute(const RefLongVarChar& text, RefLongVarChar& result) {
  result = {text.length_, MakeRoom(text.length_)};
  UpperOp::Apply(text, result.buffer_);
  return kTrue;
}

bool Upper::ComputeBatch(const BatchRows& rows, BatchVector& out) {
  static const ByteCases kCases(&BaseStringUtil::UpperCase);
  BatchVector operand;
  if (!EvaluateBatch(*operand_, rows, operand)) return false;
  return MapCases<UpperOp, 'a', uint8{'A' - 'a' + 256}>(operand, RowsOf(operand, rows), kCases,
                                                        GetBatchBuffers(), out) ||
         RExpression::EvalBatch(rows, out);
}

void Lower::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindText(LowerOp::kName, stream, replacement, info);
  ReplaceByVariant<LowerXeChar, LowerLongVarXeChar>(resultMaxLength_, replacement, info);
}

RExprReturn Lower::Compute(const RefLongVarChar& text, RefLongVarChar& result) {
  result = {text.length_, MakeRoom(text.length_)};
  LowerOp::Apply(text, result.buffer_);
  return kTrue;
}

bool Lower::ComputeBatch(const BatchRows& rows, BatchVector& out) {
  static const ByteCases kCases(&BaseStringUtil::LowerCase);
  BatchVector operand;
  if (!EvaluateBatch(*operand_, rows, operand)) return false;
  return MapCases<LowerOp, 'A', 'a' - 'A'>(operand, RowsOf(operand, rows), kCases,
                                           GetBatchBuffers(), out) ||
         RExpression::EvalBatch(rows, out);
}

void Trim::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindText(L"Trim", stream, replacement, info);
  BindIthOperand(1, stream, replacement, info);
  const bool isFixed = params_[0]->GetResultDataType() == XeCharData;
  MakeLongText(1, L"Trim");
  if (params_.size() > 1) {
    BindIthOperand(2, stream, replacement, info);
    ConvertIthOperand(2, ParameterType::kInt32, L"Trim");
  }
  ReplaceByVariant<TrimXeChar, TrimLongVarXeChar>(resultMaxLength_, replacement, info);
  static_cast<Trim*>(replacement)->isTrimCharFixed_ = isFixed;
}

RExprReturn Trim::Compute(const RefLongVarChar& text, RefLongVarChar& result) {
  const bool hasStyle = params_.size() > 1;
  if ((hasStyle ? EvalParams(&trimChar_, &trimStyle_) : EvalParams(&trimChar_)) != kTrue) {
    return retCode_;
  }
  if (trimChar_.length_ > 1) RaiseError(59029, {});
  if (trimStyle_ > TrimOp::kEnd) RaiseError(59006, {});
  if (trimChar_.length_ != 0) {
    result = Keep(TrimOp::Apply(text, trimChar_.buffer_[0], trimStyle_));
  } else {
    result = Keep(isTrimCharFixed_ ? TrimOp::Apply(text, L' ', trimStyle_) : text);
  }
  return kTrue;
}

bool Trim::ComputeBatch(const BatchRows& rows, BatchVector& out) {
  BatchVector operand;
  BatchVector trimmed;
  BatchVector styles;
  if (!EvaluateBatch(*operand_, rows, operand) || !EvaluateBatch(*params_[0], rows, trimmed)) {
    return false;
  }
  const bool hasStyle = params_.size() > 1;
  if (hasStyle && !EvaluateBatch(*params_[1], rows, styles)) return false;
  out = BatchVector();
  BatchBuffers& buffers = GetBatchBuffers();
  IntersectValidity(operand, trimmed, hasStyle ? styles : trimmed, rows, buffers.Validity(), out);
  BatchText* const texts = buffers.Texts();
  out.form = operand.form;
  out.texts = texts;
  bool isDone = true;
  ForEachText(operand, RowsOfAll(out, rows), [&](uint32 row, const auto& text) {
    if (trimmed.IsNull(row) || (hasStyle && styles.IsNull(row))) return;
    const BatchText character = trimmed.GetText(row);
    const int32 style = hasStyle ? ReadBatchValue<int32>(styles, row) : TrimOp::kBoth;
    isDone &= character.length <= 1 && style <= TrimOp::kEnd;
    if (character.length != 0) {
      const wchar_t wanted = trimmed.form == ColumnForm::kText8 ? wchar_t{*character.characters}
                                                                : *AsWideText(character).buffer_;
      texts[row] = AsBatchText(TrimOp::Apply(text, wanted, style));
    } else {
      texts[row] = AsBatchText(isTrimCharFixed_ ? TrimOp::Apply(text, L' ', style) : text);
    }
  });
  return isDone;
}

SubString::SubString(RExpression* operand, const ExpressionVector& params)
    : TextVariantFunction(operand, params),
      countsAsOlderCallers_(SUCompatFlag::GetBool("ZEPH_SUBSTRING_VELMAR_COMPLIANCE")) {}

void SubString::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindText(L"SubString", stream, replacement, info);
  const int lastNumber = HasTokens() ? kTokens : HasCount() ? kFor : kFrom;
  for (int i = kFrom; i <= lastNumber; ++i) {
    BindIthOperand(i, stream, replacement, info);
    ReBindAsCastToInt4(i, stream);
  }
  if (HasTokens()) BindTextOperand(kDelimiter, L"SubString", stream, replacement, info);
  ReplaceByVariant<SubStringXeChar, SubStringLongVarXeChar>(
      HasCount() ? LimitLength(kFor, resultMaxLength_) : resultMaxLength_, replacement, info);
}

RExprReturn SubString::EvalPositions(const RefLongVarChar& text) {
  if (HasTokens()) return EvalParams(&from_, &for_, &numLeadingTokens_, &delimiter_);
  if (HasCount()) return EvalParams(&from_, &for_);
  for_ = static_cast<int32>(text.length_);
  return EvalParams(&from_);
}

RExprReturn SubString::Compute(const RefLongVarChar& text, RefLongVarChar& result) {
  if (EvalPositions(text) != kTrue) return retCode_;
  // Without a count, the length of the text is one like any other: callers rely on the error for an
  // empty text, which has no position to start from.
  RequireCount(for_, 1, L"SubString");
  if (!HasTokens()) {
    result = Keep(Cut(text, from_, for_));
    return kTrue;
  }
  RequireCount(numLeadingTokens_, 0, L"SubString");
  result = Keep(Cut(LeadingTokensOp::Apply(text, numLeadingTokens_, delimiter_), from_, for_));
  return kTrue;
}

bool SubString::ComputeBatch(const BatchRows& rows, BatchVector& out) {
  BatchVector operand;
  BatchVector from;
  BatchVector counts;
  if (!EvaluateBatch(*operand_, rows, operand) || !EvaluateBatch(*params_[kFrom - 1], rows, from) ||
      (HasCount() && !EvaluateBatch(*params_[kFor - 1], rows, counts))) {
    return false;
  }
  out = BatchVector();
  BatchBuffers& buffers = GetBatchBuffers();
  IntersectValidity(operand, from, HasCount() ? counts : from, rows, buffers.Validity(), out);
  // Parts stay where their texts are.
  BatchText* const texts = buffers.Texts();
  out.form = operand.form;
  out.texts = texts;
  bool isDone = true;
  ForEachText(operand, RowsOfAll(out, rows), [&](uint32 row, const auto& text) {
    if (from.IsNull(row) || (HasCount() && counts.IsNull(row))) return;
    const int32 count =
        HasCount() ? ReadBatchValue<int32>(counts, row) : static_cast<int32>(text.length_);
    isDone &= count >= 1;
    texts[row] = AsBatchText(Cut(text, ReadBatchValue<int32>(from, row), std::max(count, 0)));
  });
  return isDone;
}

}  // namespace sqxer
