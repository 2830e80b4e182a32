#pragma once

#include "Utility/Export.h"
#include "Utility/XeRecordMetaData.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// Type information of a query parameter.
struct ParameterDataTypeInfo {
  XeDataType type;
  /// Characters for text types, bytes otherwise.
  uint32 length;
  int16 scale;
  bool nullable;
  /// Text in one byte a character (true) or four.
  bool narrow;
};

/// One parameter of a query: a record with a value per parameter, and the index of this one. Refers
/// to the record and its layout, which must outlive every tree that reads the parameter.
class XEUTILITY_API ExecutionParameter {
 public:
  ExecutionParameter(const XeRecordMetaData* layout, uint8* block, int index)
      : layout_(layout), block_(block), index_(index) {}

  ParameterDataTypeInfo GetParameterDataTypeInfo() const;
  uint8* GetDataValuePtr() const;
  /// Non-zero when the parameter's value is NULL.
  uint8 GetNullValue() const;
  int GetIndex() const { return index_; }
  /// Its field of the layout.
  const XeFieldDescriptorRef& GetFieldDescriptor() const {
    return layout_->GetFieldDescriptor(index_);
  }

 private:
  const XeRecordMetaData* layout_;
  uint8* block_;
  int index_;
};

}  // namespace sqxer
