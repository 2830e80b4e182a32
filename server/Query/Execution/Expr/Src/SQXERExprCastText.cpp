#include "SQXERExprCastText.h"

#include <algorithm>
#include <limits>

#include "SQXERBatchCast.h"

namespace sqxer {

bool TextToTruth::Apply(std::wstring_view text, bool& out) {
  static constexpr std::wstring_view kTrueWords[] = {L"true", L"t", L"yes", L"y", L"on", L"1"};
  static constexpr std::wstring_view kFalseWords[] = {L"false", L"f", L"no", L"n", L"off", L"0"};
  const std::size_t start = text.find_first_not_of(L' ');
  if (start == text.npos) return false;
  text = text.substr(start, text.find_last_not_of(L' ') - start + 1);
  const auto isText = [&](std::wstring_view word) {
    return std::ranges::equal(word, text, {}, {}, [](wchar_t c) {
      return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
    });
  };
  const bool isTrue = std::ranges::any_of(kTrueWords, isText);
  if (!isTrue && std::ranges::none_of(kFalseWords, isText)) return false;
  out = isTrue;
  return true;
}

CastToChar::CastToChar(RExpression* operand, XeDataType to, int precision, int scale)
    : Cast(operand, to, precision, scale), userPrecision_(precision) {}

void CastToChar::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  static constexpr OperandForm kForms[] = {
      {XeCharData, &Move},      {XeLongVarCharData, &Move}, {XeInt4Data, &Move},
      {XeUInt4Data, &Move},     {XeDoubleData, &Move},      {XeNumericData, &Move},
      {XeDateData, &Move},      {XeTimeData, &Move},        {XeDateTimeData, &Move},
      {XeTimeStampData, &Move}, {XeIntervalData, &Move}};
  XE_ASSERT(userPrecision_ >= 1);
  const auto length = static_cast<uint32>(userPrecision_);
  // Refuses what no record could take.
  XeRecordMetaData::GetByteLength(XeCharData, length + 1, true);
  BindTyped(stream, replacement, info, kForms);
  // A fixed text in any case; a long one is made of it by the conversion above.
  resultDataType_ = XeCharData;
  info.objectLength_ = resultLength_ = length;

  const uint32 needed = XeFieldDescriptor::GetTextLength(operandDataType_, operandLength_,
                                                         static_cast<int16>(scale_));
  precision_ = static_cast<int>(std::min<uint32>(needed, std::numeric_limits<int>::max()));
  // The value's text goes straight to its place. The blanks behind the longest one and the zero
  // character never change.
  binder_ = XeFieldDataBinder(operandDataType_, operandLength_, XeCharData,
                              static_cast<uint32>(std::min(userPrecision_, precision_)));
  finalResult_.Reserve(length + 1);
  std::fill_n(finalResult_.data(), length, L' ');
  finalResult_.data()[length] = 0;
  castValue_ = finalResult_.data();
}

RExprReturn CastToChar::Eval(void* out) {
  if (EvalOperand() == kTrue) *static_cast<wchar_t**>(out) = finalResult_.data();
  return retCode_;
}

void CastToBoolean::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  static constexpr OperandForm kForms[] = {{XeCharData, &ReadFixed},
                                           {XeLongVarCharData, &ReadLong},
                                           FormOf<CastToItself<uint8>>(XeBoolean)};
  BindTyped(stream, replacement, info, kForms);
}

RExprReturn CastToBoolean::Eval(void* out) {
  if (EvalOperand() == kTrue) *static_cast<uint8*>(out) = *static_cast<const uint8*>(castValue_);
  return retCode_;
}

bool CastToBoolean::ReadFixed(Cast& cast) {
  auto& self = static_cast<CastToBoolean&>(cast);
  const auto* text = *static_cast<const wchar_t* const*>(self.operandValue_);
  self.Read({text, wcsnlen(text, self.operandLength_)});
  return true;
}

bool CastToBoolean::ReadLong(Cast& cast) {
  auto& self = static_cast<CastToBoolean&>(cast);
  const auto& text = *static_cast<const RefLongVarChar*>(self.operandValue_);
  self.Read({text.buffer_, text.length_});
  return true;
}

void CastToBoolean::Read(std::wstring_view text) {
  bool value = false;
  if (!TextToTruth::Apply(text, value))
    RaiseError(59172, {XeString(text), SUXeDataTypeUtility::GetXeDataTypeName(XeBoolean)});
  *static_cast<uint8*>(castValue_) = value;
}

CastToBinary::CastToBinary(RExpression* operand, XeDataType to, int precision, int scale)
    : Cast(operand, to, precision, scale), userPrecision_(precision) {}

template <class Source>
bool CastToBinary::KeepBytes(Cast& cast) {
  auto& self = static_cast<CastToBinary&>(cast);
  const uint8* bytes;
  uint32 count;
  if constexpr (std::is_same_v<Source, RefLongVarBinary>) {
    const auto& value = *static_cast<const RefLongVarBinary*>(self.operandValue_);
    bytes = value.buffer_;
    count = value.length_;
  } else {
    bytes = *static_cast<uint8* const*>(self.operandValue_);
    count = self.operandLength_;
  }
  count = std::min(count, self.resultLength_);
  std::copy_n(bytes, count, self.tempResults_.begin());
  std::fill(self.tempResults_.begin() + count, self.tempResults_.end(), uint8{0});
  self.refLongVarBinary_ = {count, self.tempResults_.data()};
  return true;
}

void CastToBinary::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  if (toDataType_ == XeBitData) {
    BindBit(stream, replacement, info);
  } else {
    BindBytes(stream, replacement, info);
  }
}

void CastToBinary::BindBit(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  static constexpr OperandForm kForms[] = {
      {XeCharData, &Move},
      {XeLongVarCharData, &Move},
      FormOf<CastToBit<int32>>(XeInt4Data),
      FormOf<CastToBit<uint32>>(XeUInt4Data),
      FormOf<CastToBit<float64>>(XeDoubleData),
      FormOf<CastToBit<VelmarNumber>>(XeNumericData),
      FormOf<CastToItself<uint8>>(XeBitData),
      FormOf<CastToItself<uint8>>(XeBoolean),
  };
  BindTyped(stream, replacement, info, kForms);
  write_ = [](const CastToBinary& cast, void* out) {
    *static_cast<uint8*>(out) = *static_cast<const uint8*>(cast.castValue_);
  };
}

void CastToBinary::BindBytes(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  static constexpr OperandForm kForms[] = {
      {XeBinaryData, &KeepBytes<uint8*>},
      {XeLongVarBinaryData, &KeepBytes<RefLongVarBinary>},
  };
  BindTyped(stream, replacement, info, kForms);
  resultLength_ = userPrecision_ > 0 ? static_cast<uint32>(userPrecision_) : operandLength_;
  info.objectLength_ = resultLength_;
  tempResults_.resize(resultLength_);
  if (toDataType_ == XeBinaryData) {
    write_ = [](const CastToBinary& cast, void* out) {
      *static_cast<uint8**>(out) = cast.refLongVarBinary_.buffer_;
    };
  } else {
    write_ = [](const CastToBinary& cast, void* out) {
      *static_cast<RefLongVarBinary*>(out) = cast.refLongVarBinary_;
    };
  }
}

RExprReturn CastToBinary::Eval(void* out) {
  if (EvalOperand() == kTrue) write_(*this, out);
  return retCode_;
}

void CastToBinary::RaiseOutOfRange() const { RaiseError(59185, {ValueText()}); }

}  // namespace sqxer
