#include "SQXERExprFunctionCanonical.h"

#include <algorithm>
#include <cwchar>

#include "SQXERTypedVariant.h"
#include "Utility/XeFieldDataBinder.h"

namespace sqxer {
namespace {

constexpr const wchar_t* kCanonical = L"Canonical";

std::wstring_view WithoutPadding(std::wstring_view text) {
  while (text.ends_with(L' ')) text.remove_suffix(1);
  return text;
}

/// Reads a text field of the mapping's records.
class MappedTextReader {
 public:
  /// A fixed text keeps its padding for a fixed operand, whose width it then fills.
  MappedTextReader(const XeRecordMetaData& layout, int position, XeDataType operandType)
      : field_(*layout.GetFieldDescriptor(position)),
        isFixed_(CheckType(field_) == XeCharData && operandType == XeCharData),
        converter_(field_.GetDataType(), field_.GetLength(),
                   !field_.IsUnicode(layout.IsUnicodeRecord()),
                   isFixed_ ? XeCharData : XeLongVarCharData, field_.GetLength()),
        stored_(kLongVarPrefix + (std::size_t{field_.GetLength()} + 1) * sizeof(wchar_t)) {}

  bool IsNull(const uint8* record) const {
    return field_.GetNullOffset() != 0 && record[field_.GetNullOffset()] != 0;
  }
  XeString Read(const uint8* record) {
    converter_.Convert(record + field_.GetDataOffset(), 0, stored_.data());
    uint32 length = field_.GetLength();
    if (!isFixed_) std::memcpy(&length, stored_.data(), sizeof length);
    const uint8* const first = stored_.data() + (isFixed_ ? 0 : kLongVarPrefix);
    return XeString(reinterpret_cast<const wchar_t*>(first), length);
  }

 private:
  static XeDataType CheckType(const XeFieldDescriptor& field) {
    const XeDataType type = field.GetDataType();
    if (!SUXeDataTypeUtility::IsXeTextType(type)) {
      RExpression::throwExecutionError(kTypeNotSupported, kCanonical, type, XeUnknown);
    }
    return type;
  }

  const XeFieldDescriptor& field_;
  bool isFixed_;
  XeFieldConverter converter_;
  std::vector<uint8> stored_;
};

}  // namespace

Canonical::Canonical(RExpression* operand, Heap<XeAListStream> mapStream)
    : StringValueFunction(operand), pCanonicalMapListStream_(std::move(mapStream)) {
  XE_ASSERT(pCanonicalMapListStream_.Get());
  pCanonicalMapListStream_->Prepare();
}

void Canonical::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  const OperandShape text = BindIthOperand(0, stream, replacement, info);
  const XeDataType type = operand_->GetResultDataType();
  if (type != XeCharData && type != XeLongVarCharData) {
    throwExecutionError(kTypeNotSupported, kCanonical, type, XeUnknown);
  }
  SetResult(type, info, text.length);
  const int length = static_cast<int>(text.length);
  Canonical* variant;
  if (type == XeCharData) {
    variant = new CanonicalXeChar(nullptr, length, std::move(pCanonicalMapListStream_));
  } else {
    variant = new CanonicalLongVarXeChar(nullptr, length, std::move(pCanonicalMapListStream_));
  }
  ReplaceBy(*this, variant, type, replacement);
}

void Canonical::RetrieveTypoMap() {
  AtSourcePosition([this] {
    XeAListStream& stream = *pCanonicalMapListStream_;
    stream.BeginRead();
    const XeRecordMetaData& layout = *stream.GetRecordMetaData();
    MappedTextReader misspelt(layout, 0, resultDataType_);
    MappedTextReader canonical(layout, 1, resultDataType_);
    std::size_t longest = 0;
    while (stream.ReadRecord()) {
      const uint8* const record = stream.GetRecordBuffer();
      if (misspelt.IsNull(record) || canonical.IsNull(record)) continue;
      XeString key = misspelt.Read(record);
      if (resultDataType_ == XeCharData) key.resize(WithoutPadding(key).size());
      const auto entry = m_typoCorrectionMap.try_emplace(std::move(key), canonical.Read(record));
      longest = std::max(longest, entry.first->second.size());
    }
    stream.EndRead();
    result_.Reserve(longest);
  });
  bFirstRowEvaluated_ = true;
}

CanonicalXeChar::CanonicalXeChar(RExpression* operand, int declaredLength,
                                 Heap<XeAListStream> mapStream)
    : Canonical(operand, std::move(mapStream)), resultMaxLength_(declaredLength) {
  resultDataType_ = XeCharData;
  result_.Reserve(static_cast<std::size_t>(declaredLength) + 1);
}

RExprReturn CanonicalXeChar::Eval(void* out) {
  if (!bFirstRowEvaluated_) RetrieveTypoMap();
  retCode_ = operand_->Eval(&charOperand_);
  if (retCode_ != kTrue) return retCode_;
  const auto width = static_cast<std::size_t>(resultMaxLength_);
  const std::wstring_view text(charOperand_, wcsnlen(charOperand_, width));
  wchar_t* const result = result_.data();
  if (const XeString* canonical = FindCanonical(WithoutPadding(text))) {
    // What follows a shorter text is neither blanked nor cleared: the servers that share a mapping
    // have always returned it so, and stored results are compared with theirs. An empty one thus
    // repeats the row before.
    std::wmemcpy(result, canonical->data(), std::min(canonical->size(), width));
  } else {
    // With its zero character where it has one before its width; nothing behind that is read.
    std::wmemcpy(result, charOperand_, std::min(text.size() + 1, width));
  }
  result[width] = L'\0';
  *static_cast<wchar_t**>(out) = result;
  return kTrue;
}

CanonicalLongVarXeChar::CanonicalLongVarXeChar(RExpression* operand, int declaredLength,
                                               Heap<XeAListStream> mapStream)
    : Canonical(operand, std::move(mapStream)) {
  resultDataType_ = XeLongVarCharData;
  result_.Reserve(static_cast<std::size_t>(declaredLength));
}

RExprReturn CanonicalLongVarXeChar::Eval(void* out) {
  if (!bFirstRowEvaluated_) RetrieveTypoMap();
  retCode_ = operand_->Eval(&varCharOperand_);
  if (retCode_ != kTrue) return retCode_;
  std::wstring_view text(varCharOperand_.buffer_, varCharOperand_.length_);
  if (const XeString* canonical = FindCanonical(text)) text = *canonical;
  // Grows only for an operand longer than it was declared.
  result_.Reserve(text.size());
  if (!text.empty()) std::wmemcpy(result_.data(), text.data(), text.size());
  *static_cast<RefLongVarChar*>(out) = {static_cast<uint32>(text.size()), result_.data()};
  return kTrue;
}

}  // namespace sqxer
