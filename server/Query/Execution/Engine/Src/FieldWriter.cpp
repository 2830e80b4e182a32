#include "FieldWriter.h"

#include <algorithm>
#include <cwchar>
#include <typeinfo>

#include "EngineError.h"
#include "Utility/FixedWidths.h"
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

/// Whether the tree, not bound yet, is a column of the record: not a value in a document.
bool IsColumn(const RExpression& tree) { return typeid(tree) == typeid(Extract); }

[[noreturn]] void ThrowBadStatus(RExprReturn status) {
  ThrowEngineError(kBadStatus, {std::to_wstring(status)});
}

}  // namespace

FieldWriter::FieldWriter(PlanExpression expression, WorkRecord& source, WorkRecord& target,
                         std::size_t position)
    : write_(ChooseWrite(expression.result.type)),
      tree_(std::move(expression.tree)),
      column_(std::move(expression.result)) {
  const bool isColumn = IsColumn(*tree_);
  tree_ = BindRoot(std::move(tree_), expression.position, source);
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
  if (isColumn) CopyColumn(*static_cast<Extract&>(*tree_).GetFieldDescriptor(), source, field);
}

void FieldWriter::CopyColumn(const XeFieldDescriptor& column, const WorkRecord& source,
                             const XeFieldDescriptor& field) {
  source_ = source.GetData() + column.GetDataOffset();
  sourceNull_ = source.GetData() + column.GetNullOffset();
  const XeDataType type = field.GetDataType();
  if (write_ == &WriteVarying<RefLongVarChar>) {
    if (FormOf(column.GetDataType()) == FormOf(type)) write_ = &CopyVaryingText;
  } else if (column.GetDataType() != type) {
    // The reader widens the value, or gives another form of it.
  } else if (write_ == &WriteFixedText) {
    write_ = &CopyFixedText;
  } else if (write_ == &WriteFixed) {
    WithFixedWidth(XeRecordMetaData::GetByteLength(type, 0, true),
                   [this](auto width) { write_ = &CopyFixed<width>; });
  }
}

template <std::size_t width>
RExprReturn FieldWriter::CopyFixed(FieldWriter& writer) {
  if (*writer.sourceNull_ != 0) return kUnknown;
  std::memcpy(writer.value_, writer.source_, width);
  return kTrue;
}

RExprReturn FieldWriter::CopyFixedText(FieldWriter& writer) {
  if (*writer.sourceNull_ != 0) return kUnknown;
  writer.PutFixedText(reinterpret_cast<const wchar_t*>(writer.source_));
  return kTrue;
}

RExprReturn FieldWriter::CopyVaryingText(FieldWriter& writer) {
  if (*writer.sourceNull_ != 0) return kUnknown;
  uint32 length;
  std::memcpy(&length, writer.source_, sizeof length);
  writer.CheckLength(length);
  std::memcpy(writer.value_, writer.source_, kLongVarPrefix + length * sizeof(wchar_t));
  return kTrue;
}

void FieldWriter::PutFixedText(const wchar_t* text) {
  // A computed text may end before its declared length, at a zero character.
  const std::size_t count = wcsnlen(text, length_);
  wchar_t* const target = reinterpret_cast<wchar_t*>(value_);
  std::wmemmove(target, text, count);
  target[count] = 0;
}

void FieldWriter::CheckLength(uint32 length) const {
  if (length > length_) ThrowEngineError(kResultTooLong, {column_.name, std::to_wstring(length_)});
}

RExprReturn FieldWriter::WriteFixed(FieldWriter& writer) {
  return writer.tree_->Eval(writer.value_);
}

RExprReturn FieldWriter::WriteFixedText(FieldWriter& writer) {
  const wchar_t* text = nullptr;
  const RExprReturn status = writer.tree_->Eval(&text);
  if (status == kTrue) writer.PutFixedText(text);
  return status;
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
  writer.CheckLength(value.length_);
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

std::vector<FieldWriter> BindAll(std::vector<PlanExpression>& expressions, WorkRecord& source,
                                 WorkRecord& target) {
  std::vector<FieldWriter> writers;
  for (PlanExpression& expression : expressions) {
    writers.emplace_back(std::move(expression), source, target, writers.size());
  }
  return writers;
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
