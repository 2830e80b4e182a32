#include "SQXERExprExtractJson.h"

#include "Utility/BaseStringUtil.h"

namespace sqxer {

namespace {

/// The length that every value of a document is described with.
constexpr uint32 kDescribedLength = 255;

}  // namespace

ExtractJson::ExtractJson(int fieldIndex, XeString path, XeDataType resultType,
                         JSonValuesHolderRef valueHolder)
    : Extract(fieldIndex),
      m_path(std::move(path)),
      m_valueHolder(std::move(valueHolder)),
      m_jsonPath(m_path) {
  XE_ASSERT(!m_valueHolder.isNull());
  resultDataType_ = resultType;
  m_pathHandle = m_valueHolder->AddCollectionPath(m_jsonPath);
}

void ExtractJson::Bind(XeAListStream*, RExpression*& replacement, MetaDataInfo& info) {
  replacement = nullptr;
  info.fieldName_ = m_path;
  info.isNullable_ = true;
  info.objectLength_ = kDescribedLength;

  XeDataType type = m_valueHolder->ResolveDataType(m_pathHandle);
  if (type == XeUnknown) type = XeVarCharData;
  fieldDescriptor_ = std::make_shared<XeFieldDescriptor>(fieldIndex_, type, kDescribedLength, true,
                                                         0, 0, m_path, XeString());
  resultDataType_ = type == XeObjectData ? XeVarCharData : type;
  read_ = resultDataType_ == XeInt4Data      ? &ReadInt32
          : resultDataType_ == XeDoubleData  ? &ReadFloat64
          : resultDataType_ == XeVarCharData ? &ReadText
                                             : &ReadOther;
  if (isRootNode_) replacement = this;
}

RExprReturn ExtractJson::Eval(void* out) {
  if (m_valueHolder.isNull()) return kUnknown;
  return AtSourcePosition([&] {
    m_valuePtr = &m_valueHolder->Resolve(m_pathHandle);
    if (m_valuePtr->IsNull() || m_valuePtr->GetDataType() == XeUnknown) return kUnknown;
    read_(*this, out);
    return kTrue;
  });
}

void ExtractJson::ReadInt32(ExtractJson& node, void* out) {
  *static_cast<int32*>(out) = node.m_valuePtr->asInt32();
}

void ExtractJson::ReadFloat64(ExtractJson& node, void* out) {
  *static_cast<float64*>(out) = node.m_valuePtr->asDouble();
}

void ExtractJson::ReadText(ExtractJson& node, void* out) {
  const uint32 length = BaseStringUtil::StdStringToString(node.m_valuePtr->asXeNString(),
                                                          JSon::kTextCodePage, node.m_currValue);
  *static_cast<RefLongVarChar*>(out) = {length,
                                        reinterpret_cast<wchar_t*>(node.m_currValue.data())};
}

void ExtractJson::ReadOther(ExtractJson&, void*) {
  XeLogicError("a JSON value of a type that expressions do not read");
}

}  // namespace sqxer
