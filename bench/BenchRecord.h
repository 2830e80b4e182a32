#pragma once

#include <cstring>
#include <memory>

#include "SQXERExprExtract.h"
#include "SQXERExpression.h"

namespace sqxer::bench {

/// A record layout with an aligned buffer that stays where it is, for binding trees to.
class BenchRecord {
 public:
  void Add(XeDataType type, uint32 length, bool nullable, const wchar_t* name) {
    layout_.AddField(type, length, nullable, name);
    layout_.GenerateAlignedFieldOffset();
  }

  template <class T>
  void Set(int position, const T& value) {
    std::memcpy(bytes_ + layout_.GetFieldDescriptor(position)->GetDataOffset(), &value,
                sizeof value);
  }
  /// A varying text, stored.
  void SetText(int position, const wchar_t* text) {
    uint8* target = bytes_ + layout_.GetFieldDescriptor(position)->GetDataOffset();
    const uint32 length = static_cast<uint32>(std::wcslen(text));
    std::memcpy(target, &length, sizeof length);
    std::memcpy(target + kLongVarPrefix, text, length * sizeof(wchar_t));
  }
  void SetNull(int position, bool isNull) {
    bytes_[layout_.GetFieldDescriptor(position)->GetNullOffset()] = isNull;
  }

  std::unique_ptr<RExpression> Bind(RExpression* root) {
    XeAListStream stream(&layout_, bytes_);
    MetaDataInfo info;
    return BindTree(std::unique_ptr<RExpression>(root), &stream, info);
  }

  XeRecordMetaData& layout() { return layout_; }
  uint8* bytes() { return bytes_; }

 private:
  XeRecordMetaData layout_;
  alignas(64) uint8 bytes_[2048] = {};
};

inline RExpression* Field(const wchar_t* name) { return new Extract(XeString(name), false); }

}  // namespace sqxer::bench
