#pragma once

#include "Utility/XeRecordMetaData.h"

namespace sqxer {

/// What binding reads of the input stream: the record layout, and the buffer that holds the current
/// record. Owns neither; both must outlive every tree bound to them, and the buffer must not move.
class XeAListStream {
 public:
  XeAListStream(const XeRecordMetaData* layout, uint8* record) : layout_(layout), record_(record) {}

  const XeRecordMetaData* GetRecordMetaData() const { return layout_; }
  /// The record that every row is read from.
  uint8* GetRecordBuffer() const { return record_; }

 private:
  const XeRecordMetaData* layout_;
  uint8* record_;
};

}  // namespace sqxer
