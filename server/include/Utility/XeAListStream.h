#pragma once

#include "Utility/Export.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {

/// A stream of records: their layout, and the buffer that holds the current one. Owns neither; both
/// must outlive every tree bound to them, and the buffer must not move.
///
/// This class is the input of expressions: the engine puts the records into the buffer, and the
/// stream has none of its own to read. A table that a node reads by itself (a mapping, a
/// dictionary) derives from it: Prepare, then any number of times BeginRead, ReadRecord until
/// false, EndRead.
class XEUTILITY_API XeAListStream {
 public:
  XeAListStream(const XeRecordMetaData* layout, uint8* record) : layout_(layout), record_(record) {}
  XeAListStream(const XeAListStream&) = delete;
  XeAListStream& operator=(const XeAListStream&) = delete;
  virtual ~XeAListStream();

  const XeRecordMetaData* GetRecordMetaData() const { return layout_; }
  /// The record that every row is read from.
  uint8* GetRecordBuffer() const { return record_; }

  /// Called once or more by each new owner, before reading: what can be done beforehand, such as
  /// opening a file.
  virtual void Prepare() {}
  /// Starts before the first record, also after a reading that an error ended.
  virtual void BeginRead() {}
  /// Puts the next record into the buffer; false when there is none left.
  virtual bool ReadRecord() { return false; }
  /// The records are not needed any more. Not called when an error ends the reading.
  virtual void EndRead() {}

 private:
  const XeRecordMetaData* layout_;
  uint8* record_;
};

}  // namespace sqxer
