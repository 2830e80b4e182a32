#include "FieldWriter.h"

#include <algorithm>
#include <cwchar>

#include "EngineError.h"
#include "Utility/SUXeDataTypeUtility.h"

namespace sqxer {
namespace {

std::unique_ptr<RExpression> BindRoot(std::unique_ptr<RExpression> tree, int position,
                                      WorkRecord& source) {
  MetaDataInfo info;
  try {
    return BindTree(std::move(tree), source.GetStream(), info);
  } catch (ErrorMessage& error) {
    error.SetSourcePosition(position);
    throw;
  }
}

/// The types that share a form of value share a number here.
XeDataType FormOf(XeDataType type) {
  switch (type) {
    case XeVarCharData:
      return XeLongVarCharData;
    case XeVarBinaryData:
      return XeLongVarBinaryData;
    case XeTimeStampData:
      return XeDateTimeData;
    default:
      return type;
  }
}

[[noreturn]] void ThrowBadStatus(RExprReturn status) {
  ThrowEngineError(kBadStatus, {std::to_wstring(status)});
}

}  // namespace

FieldWriter::FieldWriter(PlanExpression expression, WorkRecord& source, WorkRecord& target,
                         std::size_t position)
    : write_(ChooseWrite(expression.result.type)),
      tree_(BindRoot(std::move(expression.tree), expression.position, source)),
      column_(std::move(expression.result)) {
  const XeFieldDescriptor& field = target.GetField(position);
  value_ = target.GetData() + field.GetDataOffset();
  null_ = target.GetData() + field.GetNullOffset();
  length_ = field.GetLength();
  nullable_ = field.IsNullable();
  // The NULL constant has no type of its own, and never a value.
  const bool isNull = tree_->GetExpressionType() == kConstantNullExpression;
  if (!isNull && FormOf(tree_->GetResultDataType()) != FormOf(field.GetDataType())) {
    ThrowEngineError(
        kResultType,
        {column_.name, SUXeDataTypeUtility::GetXeDataTypeName(tree_->GetResultDataType())});
  }
}

RExprReturn FieldWriter::WriteFixed(FieldWriter& writer) {
  return writer.tree_->Eval(writer.value_);
}

RExprReturn FieldWriter::WriteFixedText(FieldWriter& writer) {
  const wchar_t* text = nullptr;
  const RExprReturn status = writer.tree_->Eval(&text);
  if (status != kTrue) return status;
  // A computed text may end before its declared length, at a zero character.
  const std::size_t count = wcsnlen(text, writer.length_);
  wchar_t* const target = reinterpret_cast<wchar_t*>(writer.value_);
  std::wmemmove(target, text, count);
  target[count] = 0;
  return kTrue;
}

RExprReturn FieldWriter::WriteFixedBinary(FieldWriter& writer) {
  const uint8* bytes = nullptr;
  const RExprReturn status = writer.tree_->Eval(&bytes);
  if (status == kTrue) std::memmove(writer.value_, bytes, writer.length_);
  return status;
}

template <class Value>
RExprReturn FieldWriter::WriteVarying(FieldWriter& writer) {
  Value value{};
  const RExprReturn status = writer.tree_->Eval(&value);
  if (status != kTrue) return status;
  if (value.length_ > writer.length_) {
    ThrowEngineError(kResultTooLong, {writer.column_.name, std::to_wstring(writer.length_)});
  }
  std::memcpy(writer.value_, &value.length_, sizeof value.length_);
  std::memmove(writer.value_ + kLongVarPrefix, value.buffer_,
               value.length_ * sizeof(*value.buffer_));
  return kTrue;
}

FieldWriter::WriteFunction FieldWriter::ChooseWrite(XeDataType type) {
  switch (type) {
    case XeCharData:
      return &WriteFixedText;
    case XeVarCharData:
    case XeLongVarCharData:
      return &WriteVarying<RefLongVarChar>;
    case XeBinaryData:
      return &WriteFixedBinary;
    case XeVarBinaryData:
    case XeLongVarBinaryData:
      return &WriteVarying<RefLongVarBinary>;
    default:
      return &WriteFixed;
  }
}

void FieldWriter::WriteNull(RExprReturn status) {
  if (status != kUnknown) ThrowBadStatus(status);
  if (!nullable_) ThrowEngineError(kUnexpectedNull, {column_.name});
  *null_ = 1;
}

std::vector<ColumnInfo> ResultsOf(const std::vector<PlanExpression>& expressions) {
  std::vector<ColumnInfo> fields;
  for (const PlanExpression& expression : expressions) fields.push_back(expression.result);
  return fields;
}

void BindAll(std::vector<PlanExpression>& expressions, WorkRecord& source, WorkRecord& target,
             std::vector<FieldWriter>& writers) {
  for (PlanExpression& expression : expressions) {
    writers.emplace_back(std::move(expression), source, target, writers.size());
  }
}

RowFilter::RowFilter(std::unique_ptr<RExpression> tree, WorkRecord& source)
    : tree_(BindRoot(std::move(tree), ErrorMessage::kNoPosition, source)) {}

bool RowFilter::Passes() {
  alignas(16) uint8 truth = 0;
  const RExprReturn status = tree_->Eval(&truth);
  if (status == kTrue) return truth != 0;
  if (status != kUnknown) ThrowBadStatus(status);
  return false;
}

}  // namespace sqxer
