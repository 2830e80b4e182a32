#include "SQXERExprBinaryCompare.h"

namespace sqxer {

void BinaryComparison::Bind(XeAListStream* stream, RExpression*& replacement, MetaDataInfo& info) {
  BindOperands(stream, replacement, info);
  const XeDataType left = left_->GetResultDataType();
  const XeDataType right = right_->GetResultDataType();
  if (left != XeLongVarBinaryData || right != XeLongVarBinaryData) {
    throwExecutionError(59001, L"Binary Logical", left, right);
  }
  resultDataType_ = XeBoolean;
  info.objectLength_ = 1;
  info.fieldName_ = XeRecordMetaData::exprFieldName_;
}

void IsNullLongVarBinary::Bind(XeAListStream* stream, RExpression*& replacement,
                               MetaDataInfo& info) {
  BindOperand(stream, replacement, info);
  CheckDataTypeAndThrowError(only_, {XeLongVarBinaryData}, L"IsNull");
  resultDataType_ = XeBoolean;
  info.isNullable_ = false;
  info.objectLength_ = 1;
  info.scale_ = 0;
}

}  // namespace sqxer
