#pragma once

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "Utility/KeySet.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer {

/// Puts the configuration back as it was.
class ConfigScope {
 public:
  ~ConfigScope() { SUSystemConfig::GetSystemConfig() = saved_; }
  SUSystemConfig* operator->() { return &SUSystemConfig::GetSystemConfig(); }

 private:
  const SUSystemConfig saved_ = SUSystemConfig::GetSystemConfig();
};

/// A text as nodes exchange it.
inline RefLongVarChar AsRef(std::wstring_view text) {
  return {static_cast<uint32>(text.size()), const_cast<wchar_t*>(text.data())};
}

/// A zeroed record of a layout, aligned as record buffers are.
class TestRecord {
 public:
  explicit TestRecord(const XeRecordMetaData& layout)
      : layout_(&layout), units_((layout.GetBinaryRecordSize() + 15) / 16) {}

  uint8* bytes() { return units_.data()->bytes; }
  const uint8* bytes() const { return units_.data()->bytes; }
  uint8* at(int field) { return bytes() + layout_->GetFieldDescriptor(field)->GetDataOffset(); }

  void SetNull(int field) { bytes()[layout_->GetFieldDescriptor(field)->GetNullOffset()] = 1; }
  template <class T>
  void Set(int field, const T& value) {
    std::memcpy(at(field), &value, sizeof value);
  }
  void Set(int field, const std::wstring& text) {
    SetCounted(field, layout_->GetFieldDescriptor(field)->GetDataType() != XeCharData, text.data(),
               text.size(), sizeof(wchar_t));
  }
  void Set(int field, const std::string& binary) {
    SetCounted(field, layout_->GetFieldDescriptor(field)->GetDataType() != XeBinaryData,
               binary.data(), binary.size(), 1);
  }

 private:
  struct alignas(16) Unit {
    uint8 bytes[16] = {};
  };

  void SetCounted(int field, bool counted, const void* values, std::size_t count,
                  std::size_t width) {
    const auto length = static_cast<uint32>(count);
    if (counted) std::memcpy(at(field), &length, sizeof length);
    if (count != 0) {
      std::memcpy(at(field) + (counted ? sizeof length : 0), values, count * width);
    }
  }

  const XeRecordMetaData* layout_;
  std::vector<Unit> units_;
};

}  // namespace sqxer
