#pragma once

#include <cstring>
#include <vector>

#include "Utility/CopyRecord.h"
#include "Utility/Export.h"
#include "Utility/KeySet.h"
#include "Utility/XeRecordMetaData.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// How records are kept that wait, are sorted or are written to a file: texts and binaries of
/// varying length take what they hold, not what their field is declared for. One long value in a
/// column does not make every record as long.
///
///   record   [null bytes, fixed values][text ........][fixed values][text ........]
///   packed   [null bytes, fixed values][size][ref][ref][fixed values][text][text]
///
/// The bytes in front of the first text stand where they stand in the record. A reference is the
/// distance from itself to the length and characters of its text. Records without such fields, or
/// with so little room for them that moving it costs nothing, are kept as they are: their packed
/// form is the record, filled up to a multiple of 8 bytes. Of a NULL text nothing is kept.
class XEUTILITY_API RecordPacker {
 public:
  /// Records of so many bytes are kept as they are.
  explicit RecordPacker(uint32 recordSize = 0);
  /// `recordSize`: bytes of a record, of which the layout may describe a part.
  RecordPacker(uint32 recordSize, const XeRecordMetaData& layout);

  /// Whether the packed form is another one than the record's.
  bool IsPacking() const { return !texts_.empty(); }
  uint32 GetRecordSize() const { return recordSize_; }
  /// Bytes of the smallest packed record: of every one, unless IsPacking.
  std::size_t GetLeastBytes() const { return leastBytes_; }
  /// Bytes of the largest one.
  std::size_t GetMostBytes() const;

  /// Bytes that a record takes in packed form, a multiple of 8.
  std::size_t Measure(const uint8* record) const {
    return IsPacking() ? MeasureParts(record) : leastBytes_;
  }
  /// The same of a packed record.
  std::size_t GetPackedBytes(const uint8* packed) const {
    if (!IsPacking()) return leastBytes_;
    uint32 size;
    std::memcpy(&size, packed + sizeOffset_, sizeof size);
    return size;
  }
  /// How many of the leading bytes of some are whole packed records that follow one another.
  std::size_t CountWholeBytes(const uint8* packed, std::size_t bytes) const;

  /// `bytes`: what Measure gave.
  void Pack(const uint8* record, uint8* packed, std::size_t bytes) const {
    if (IsPacking()) {
      PackParts(record, packed, bytes);
    } else {
      // The bytes that fill it up; most records need none.
      if (bytes != recordSize_) std::memset(packed + recordSize_, 0, bytes - recordSize_);
      CopyRecord(packed, record, recordSize_);
    }
  }
  /// Restores a record, in which a NULL text is empty. What stands behind a text stays as it was.
  void Unpack(const uint8* packed, uint8* record) const {
    if (IsPacking()) {
      UnpackParts(packed, record);
    } else {
      CopyRecord(record, packed, recordSize_);
    }
  }
  /// Copies a record as Unpack does.
  void Copy(const uint8* from, uint8* to) const {
    if (IsPacking()) {
      CopyParts(from, to);
    } else {
      CopyRecord(to, from, recordSize_);
    }
  }
  /// Makes what lies from an offset on, which is not within a text, zeros and empty texts.
  void Clear(uint8* record, uint32 from = 0) const;

  /// Keys of records, as keys of packed records.
  KeySet PackKeys(const KeySet& keys) const;

 private:
  struct Part {
    uint32 recordOffset;
    uint32 packedOffset;
    uint32 bytes;
  };
  struct Text {
    uint32 recordOffset;
    /// 0: never NULL.
    uint32 nullOffset;
    /// Where its reference stands in a packed record.
    uint32 reference;
    /// Bytes that its characters may take.
    uint32 mostBytes;
    /// A character takes 1 << shift bytes.
    uint32 shift;
    /// Of the room for a zero character behind it, which binaries have not.
    uint32 endBytes;

    uint32 CountBytes(const uint8* record) const;
  };

  void FindTexts(const XeRecordMetaData& layout);
  std::size_t MeasureParts(const uint8* record) const;
  void PackParts(const uint8* record, uint8* packed, std::size_t bytes) const;
  void UnpackParts(const uint8* packed, uint8* record) const;
  void CopyParts(const uint8* from, uint8* to) const;
  uint32 FindPacked(uint32 recordOffset) const;

  uint32 recordSize_;
  /// Where the size of a packed record stands in it.
  uint32 sizeOffset_ = 0;
  std::size_t leastBytes_;
  /// The end of references and fixed values, where the texts begin.
  uint32 textsOffset_ = 0;
  std::vector<Part> parts_;
  std::vector<Text> texts_;
};

}  // namespace sqxer
