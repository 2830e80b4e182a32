#pragma once

#include <memory>
#include <vector>

#include "Utility/Export.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// One field of a record layout. Shared between the layout and the nodes bound to it through
/// XeFieldDescriptorRef, whose count is atomic. Offsets are set by the layout.
class XEUTILITY_API XeFieldDescriptor {
 public:
  /// `length` counts characters for text types and bytes otherwise; `codePage` 0 is the server's
  /// own; `occurrence` is reserved (0).
  XeFieldDescriptor(int position, XeDataType type, uint32 length, bool nullable, int16 scale,
                    int codePage, XeString name, XeString alias,
                    SUXeDataTypeUtility::ColumnUnicodeProperty unicode =
                        SUXeDataTypeUtility::kAcceptRecordDefault,
                    uint32 occurrence = 0);

  int GetPosition() const { return position_; }
  XeDataType GetDataType() const { return type_; }
  uint32 GetLength() const { return length_; }
  bool IsNullable() const { return nullable_; }
  int16 GetScale() const { return scale_; }
  int GetCodePage() const { return codePage_; }
  const XeString& GetFieldName() const { return name_; }
  const XeString& GetAliasName() const { return alias_; }
  SUXeDataTypeUtility::ColumnUnicodeProperty GetUnicodeProperty() const { return unicode_; }
  /// Whether the field's text takes four bytes a character (true) or one, in a record of the given
  /// rule.
  bool IsUnicode(bool unicodeRecord) const;

  /// Byte offset of the value in the record.
  uint32 GetDataOffset() const { return dataOffset_; }
  /// Byte offset of the null indicator; 0 means that the field is not nullable.
  uint32 GetNullOffset() const { return nullOffset_; }
  void SetOffsets(uint32 dataOffset, uint32 nullOffset) {
    dataOffset_ = dataOffset;
    nullOffset_ = nullOffset;
    hasOffsets_ = true;
  }
  bool HasOffsets() const { return hasOffsets_; }

  /// The length of a value of the type as MetaDataInfo::objectLength_ counts it: the width of a
  /// fixed type, else `length` itself. Numeric, decimal and money: sizeof(VelmarNumber).
  static uint32 GetObjectLength(XeDataType type, uint32 length);
  /// The number of characters needed to print any value of the type (binary in hexadecimal).
  static uint32 GetTextLength(XeDataType type, uint32 length, int16 scale);

 private:
  int position_;
  XeDataType type_;
  uint32 length_;
  bool nullable_;
  int16 scale_;
  int codePage_;
  XeString name_;
  XeString alias_;
  SUXeDataTypeUtility::ColumnUnicodeProperty unicode_;
  uint32 occurrence_;
  uint32 dataOffset_ = 0;
  uint32 nullOffset_ = 0;
  bool hasOffsets_ = false;
};

using XeFieldDescriptorRef = std::shared_ptr<XeFieldDescriptor>;

/// The layout of a flat byte record.
///
/// Build it with SetFieldCount, one DescribleField per position, then GenerateAlignedFieldOffset.
/// The generated layout is: byte 0 unused (so that 0 can mean "no null indicator"); one indicator
/// byte per nullable field in field order, so that the indicators of neighbouring nullable fields
/// are adjacent; one spare byte, because an aggregate of four results clears four indicator bytes
/// from that of its second result on; then the values, each at its alignment boundary. Text fields
/// have room for one more character than declared: readers put a zero character behind the last
/// one. A record buffer must start at an address aligned to 16 and hold GetBinaryRecordSize()
/// bytes.
class XEUTILITY_API XeRecordMetaData {
 public:
  /// The name given to computed values, and the one given to constants.
  static const XeString exprFieldName_;
  static const XeString constantFieldName_;
  /// The text that stands for NULL in diagnostics.
  static const XeString s_kNullString;

  explicit XeRecordMetaData(bool unicodeRecord = true);

  void SetFieldCount(int count);
  int GetFieldCount() const { return static_cast<int>(fields_.size()); }

  /// Describes the field at `position` (an existing position, else error 46030).
  void DescribleField(int position, XeDataType type, uint32 length, bool nullable, int16 scale,
                      int codePage, const XeString& name, const XeString& alias,
                      SUXeDataTypeUtility::ColumnUnicodeProperty unicode =
                          SUXeDataTypeUtility::kAcceptRecordDefault,
                      uint32 occurrence = 0);
  /// Appends a field with the usual defaults.
  void AddField(XeDataType type, uint32 length, bool nullable, const XeString& name,
                int16 scale = 0, const XeString& alias = {});
  /// Puts a descriptor with offsets of the caller's own at its position (for records laid out
  /// elsewhere); the record size grows to cover its value.
  void SetFieldDescriptor(int position, XeFieldDescriptorRef field);

  /// The descriptor at a position. Error 46030 (position, field count) outside the layout.
  const XeFieldDescriptorRef& GetFieldDescriptor(int position) const;
  /// The same for those who read or write the field: one that has no offsets yet is a broken
  /// invariant.
  const XeFieldDescriptor& GetPlacedField(int position) const;

  /// Lays out the described fields. Error 59173 (bytes) when the record would not fit 32 bits.
  void GenerateAlignedFieldOffset();
  /// Bytes of one record, a multiple of 8, so that records can follow one another in a buffer.
  uint32 GetBinaryRecordSize() const { return recordSize_; }
  /// Whether text takes four bytes a character (true) or one.
  bool IsUnicodeRecord() const { return unicodeRecord_; }

  /// Bytes that a stored value of the type may take at most, the length prefix of varying types
  /// included, the terminator's room not. Error 59173 when that does not fit 32 bits.
  static uint32 GetByteLength(XeDataType type, uint32 length, bool unicodeRecord);
  /// The alignment of a stored value: that of its C++ type, 4 for texts and for the length of
  /// varying binaries, 1 for fixed binaries.
  static uint32 GetAlignmentBoundary(XeDataType type);

 private:
  /// GetByteLength plus the terminator's room, under the field's own unicode property.
  uint64 GetStoredSize(const XeFieldDescriptor& field) const;

  bool unicodeRecord_;
  uint32 recordSize_ = 0;
  std::vector<XeFieldDescriptorRef> fields_;
};

}  // namespace sqxer
