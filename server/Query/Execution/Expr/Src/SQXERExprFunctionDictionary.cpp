#include "SQXERExprFunctionDictionary.h"

#include <cstring>

namespace sqxer {

DictLookup::DictLookup(RExpression* key, const ExpressionVector& params,
                       DravoNativeDictionaryRef dictionary, DravoNativeTableRef table)
    : ValueFunction(key, params),
      dictionary_(std::move(dictionary)),
      nativeTable_(std::move(table)) {}

DictLookup::EvalFunction DictLookup::ChooseEval(XeDataType resultType) {
  switch (resultType) {
    case XeCharData:
      return &DictLookup::EvalFixed;
    case XeVarCharData:
    case XeLongVarCharData:
      return &DictLookup::EvalVarying;
    default:
      return &DictLookup::EvalOther;
  }
}

void DictLookup::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  if (dictionary_ == nullptr) XeLogicError("a lookup without a dictionary is bound");
  BindIthOperand(0, stream, replacement, info);
  CheckDataTypeAndThrowError(operand_, {XeInt4Data, XeUInt4Data}, L"DictLookup");
  const XeFieldDescriptor& value =
      *dictionary_->GetFieldDescriptorByColumnType(DravoNativeDictionary::kValue);
  const XeDataType type = value.GetDataType();
  // Bytes, and not the characters that other texts tell: callers size their buffers by what the
  // dictionary stores.
  SetResult(type, info, XeRecordMetaData::GetByteLength(type, value.GetLength(), true));
  info.isNullable_ = value.GetNullOffset() != 0;
  arrayReader_ = dictionary_->MakeArrayReader(0);
  evaluate_ = ChooseEval(type);
}

const uint8* DictLookup::FindValue() {
  retCode_ = operand_->Eval(&dictKey_);
  if (retCode_ != kTrue) return nullptr;
  bool isNull = false;
  const uint8* const pVal = arrayReader_->Get(dictKey_, isNull);
  if (isNull) {
    retCode_ = kUnknown;
    return nullptr;
  }
  XE_ASSERT(pVal);
  return pVal;
}

RExprReturn DictLookup::EvalFixed(void* out) {
  if (const uint8* const value = FindValue()) *static_cast<const uint8**>(out) = value;
  return retCode_;
}

RExprReturn DictLookup::EvalVarying(void* out) {
  const uint8* const value = FindValue();
  if (value == nullptr) return retCode_;
  RefLongVarChar& text = *static_cast<RefLongVarChar*>(out);
  std::memcpy(&text.length_, value, sizeof text.length_);
  text.buffer_ = const_cast<wchar_t*>(reinterpret_cast<const wchar_t*>(value + kLongVarPrefix));
  return kTrue;
}

RExprReturn DictLookup::EvalOther(void*) { XeLogicError("DictLookup of values that are no texts"); }

}  // namespace sqxer
