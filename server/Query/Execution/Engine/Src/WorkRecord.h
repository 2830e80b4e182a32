#pragma once

#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "Catalog.h"
#include "Utility/RecordPacker.h"
#include "Utility/XeAListStream.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {

/// Bytes at an address that does not change, aligned to 16 and zero at first.
class RecordBuffer {
 public:
  explicit RecordBuffer(std::size_t bytes)
      : bytes_(static_cast<uint8*>(::operator new(bytes, kAlignment))) {
    std::memset(bytes_.get(), 0, bytes);
  }
  uint8* Get() const { return bytes_.get(); }

 private:
  static constexpr std::align_val_t kAlignment{16};
  struct Free {
    void operator()(uint8* bytes) const { ::operator delete(bytes, kAlignment); }
  };
  std::unique_ptr<uint8, Free> bytes_;
};

/// A record that trees are bound to: its layout, and the one buffer that holds the current row.
class WorkRecord {
 public:
  /// Error 59173 when the record would be too large.
  explicit WorkRecord(const std::vector<ColumnInfo>& fields)
      : layout_(Describe(fields)),
        packer_(layout_.GetBinaryRecordSize(), layout_),
        buffer_(layout_.GetBinaryRecordSize()),
        stream_(&layout_, buffer_.Get()) {}
  WorkRecord(const WorkRecord&) = delete;
  WorkRecord& operator=(const WorkRecord&) = delete;

  XeRecordMetaData& GetLayout() { return layout_; }
  const XeRecordMetaData& GetLayout() const { return layout_; }
  const XeFieldDescriptor& GetField(std::size_t position) const {
    return *layout_.GetFieldDescriptor(static_cast<int>(position));
  }
  XeAListStream* GetStream() { return &stream_; }
  /// How the record is copied, cleared and kept.
  const RecordPacker& GetPacker() const { return packer_; }
  uint8* GetData() const { return buffer_.Get(); }
  uint32 GetSize() const { return layout_.GetBinaryRecordSize(); }

 private:
  static XeRecordMetaData Describe(const std::vector<ColumnInfo>& fields) {
    XeRecordMetaData layout;
    for (const ColumnInfo& field : fields) {
      layout.AddField(field.type, field.length, field.nullable, field.name, field.scale);
    }
    layout.GenerateAlignedFieldOffset();
    return layout;
  }

  XeRecordMetaData layout_;
  RecordPacker packer_;
  RecordBuffer buffer_;
  XeAListStream stream_;
};

}  // namespace sqxer
