#include "Utility/ExecutionParameter.h"

namespace sqxer {

ParameterDataTypeInfo ExecutionParameter::GetParameterDataTypeInfo() const {
  const XeFieldDescriptor& field = *layout_->GetFieldDescriptor(index_);
  return {.type = field.GetDataType(),
          .length = field.GetLength(),
          .scale = field.GetScale(),
          .nullable = field.IsNullable(),
          .narrow = !field.IsUnicode(layout_->IsUnicodeRecord())};
}

uint8* ExecutionParameter::GetDataValuePtr() const {
  return block_ + layout_->GetFieldDescriptor(index_)->GetDataOffset();
}

uint8 ExecutionParameter::GetNullValue() const {
  const uint32 offset = layout_->GetFieldDescriptor(index_)->GetNullOffset();
  return offset == 0 ? 0 : block_[offset];
}

}  // namespace sqxer
