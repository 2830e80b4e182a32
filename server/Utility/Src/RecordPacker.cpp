#include "Utility/RecordPacker.h"

#include <algorithm>

#include "Utility/XeAssert.h"

namespace sqxer {

namespace {

/// Texts that have less room than this together are as fast to move with all of it.
constexpr uint64 kLeastTextRoom = 128;
constexpr std::size_t kRecordAlignment = 8;
constexpr uint32 kTextAlignment = 4;

std::size_t AlignUp(std::size_t bytes, std::size_t boundary) {
  return (bytes + boundary - 1) / boundary * boundary;
}

uint32 Load(const uint8* at) {
  uint32 value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

void Store(uint8* at, uint32 value) { std::memcpy(at, &value, sizeof value); }

}  // namespace

RecordPacker::RecordPacker(uint32 recordSize)
    : recordSize_(recordSize), leastBytes_(AlignUp(recordSize, kRecordAlignment)) {}

RecordPacker::RecordPacker(uint32 recordSize, const XeRecordMetaData& layout)
    : RecordPacker(recordSize) {
  FindTexts(layout);
  uint64 room = 0;
  for (const Text& text : texts_) room += text.mostBytes;
  if (room < kLeastTextRoom) {
    texts_.clear();
    return;
  }
  std::ranges::sort(texts_, {}, &Text::recordOffset);
  // The size and the references stand where the first text does in the record.
  uint32 packedOffset = sizeOffset_ = texts_.front().recordOffset;
  packedOffset += sizeof(uint32);
  for (Text& text : texts_) {
    text.reference = packedOffset;
    packedOffset += sizeof(uint32);
  }
  parts_.push_back({0, 0, sizeOffset_});
  for (std::size_t i = 0; i < texts_.size(); ++i) {
    const uint32 next = i + 1 < texts_.size() ? texts_[i + 1].recordOffset : recordSize;
    const uint32 end = texts_[i].recordOffset + kLongVarPrefix + texts_[i].mostBytes;
    // The zero character is not kept.
    const uint32 from = std::min(end + texts_[i].endBytes, next);
    if (from == next) continue;
    parts_.push_back({from, packedOffset, next - from});
    packedOffset += next - from;
  }
  textsOffset_ = static_cast<uint32>(AlignUp(packedOffset, kTextAlignment));
  leastBytes_ = AlignUp(textsOffset_ + kLongVarPrefix * texts_.size(), kRecordAlignment);
}

void RecordPacker::FindTexts(const XeRecordMetaData& layout) {
  for (int i = 0; i < layout.GetFieldCount(); ++i) {
    const XeFieldDescriptor& field = *layout.GetFieldDescriptor(i);
    const XeDataType type = field.GetDataType();
    const bool isText = type == XeVarCharData || type == XeLongVarCharData;
    if (!isText && type != XeVarBinaryData && type != XeLongVarBinaryData) continue;
    const bool isUnicode = field.IsUnicode(layout.IsUnicodeRecord());
    const uint32 shift = isText && isUnicode ? 2 : 0;
    texts_.push_back(
        {field.GetDataOffset(), field.GetNullOffset(), 0,
         XeRecordMetaData::GetByteLength(type, field.GetLength(), isUnicode) - kLongVarPrefix,
         shift, isText ? uint32{1} << shift : 0});
  }
}

uint32 RecordPacker::Text::CountBytes(const uint8* record) const {
  if (nullOffset != 0 && record[nullOffset] != 0) return 0;
  // What stands in a record that nobody has filled is no length.
  return std::min(Load(record + recordOffset), mostBytes >> shift) << shift;
}

std::size_t RecordPacker::GetMostBytes() const {
  std::size_t bytes = leastBytes_;
  for (const Text& text : texts_) bytes += AlignUp(text.mostBytes, kTextAlignment);
  return AlignUp(bytes, kRecordAlignment);
}

std::size_t RecordPacker::CountWholeBytes(const uint8* packed, std::size_t bytes) const {
  if (!IsPacking()) return bytes / leastBytes_ * leastBytes_;
  std::size_t whole = 0;
  while (bytes - whole >= leastBytes_) {
    const std::size_t size = GetPackedBytes(packed + whole);
    if (size > bytes - whole) break;
    whole += size;
  }
  return whole;
}

std::size_t RecordPacker::MeasureParts(const uint8* record) const {
  std::size_t bytes = textsOffset_;
  for (const Text& text : texts_) {
    bytes += kLongVarPrefix + AlignUp(text.CountBytes(record), kTextAlignment);
  }
  return AlignUp(bytes, kRecordAlignment);
}

void RecordPacker::PackParts(const uint8* record, uint8* packed, std::size_t bytes) const {
  // The bytes that fill it up.
  std::memset(packed + bytes - kRecordAlignment, 0, kRecordAlignment);
  for (const Part& part : parts_) {
    CopyRecord(packed + part.packedOffset, record + part.recordOffset, part.bytes);
  }
  Store(packed + sizeOffset_, static_cast<uint32>(bytes));
  uint32 at = textsOffset_;
  for (const Text& text : texts_) {
    const uint32 used = text.CountBytes(record);
    Store(packed + text.reference, at - text.reference);
    Store(packed + at, used >> text.shift);
    at += kLongVarPrefix;
    std::memcpy(packed + at, record + text.recordOffset + kLongVarPrefix, used);
    at = static_cast<uint32>(AlignUp(at + used, kTextAlignment));
  }
}

void RecordPacker::UnpackParts(const uint8* packed, uint8* record) const {
  for (const Part& part : parts_) {
    CopyRecord(record + part.recordOffset, packed + part.packedOffset, part.bytes);
  }
  for (const Text& text : texts_) {
    const uint8* const value = packed + text.reference + Load(packed + text.reference);
    std::memcpy(record + text.recordOffset, value,
                kLongVarPrefix + (std::size_t{Load(value)} << text.shift));
  }
}

void RecordPacker::CopyParts(const uint8* from, uint8* to) const {
  for (const Part& part : parts_) {
    CopyRecord(to + part.recordOffset, from + part.recordOffset, part.bytes);
  }
  for (const Text& text : texts_) {
    const uint32 used = text.CountBytes(from);
    Store(to + text.recordOffset, used >> text.shift);
    std::memcpy(to + text.recordOffset + kLongVarPrefix, from + text.recordOffset + kLongVarPrefix,
                used);
  }
}

void RecordPacker::Clear(uint8* record, uint32 from) const {
  const auto clear = [&](uint32 begin, uint32 end) {
    begin = std::max(begin, from);
    if (begin < end) std::memset(record + begin, 0, end - begin);
  };
  if (!IsPacking()) clear(0, recordSize_);
  for (const Part& part : parts_) clear(part.recordOffset, part.recordOffset + part.bytes);
  for (const Text& text : texts_) clear(text.recordOffset, text.recordOffset + kLongVarPrefix);
}

KeySet RecordPacker::PackKeys(const KeySet& keys) const {
  if (!IsPacking()) return keys;
  KeySet packed;
  for (std::size_t i = 0; i < keys.GetCount(); ++i) {
    const KeyDesc& key = keys.Get(i);
    const uint32 nullOffset = key.GetNullOffset() == 0 ? 0 : FindPacked(key.GetNullOffset());
    const auto text = std::ranges::find(texts_, key.GetDataOffset(), &Text::recordOffset);
    const bool isText = text != texts_.end();
    packed.Add(key.MovedTo(isText ? text->reference : FindPacked(key.GetDataOffset()), nullOffset,
                           isText));
  }
  return packed;
}

uint32 RecordPacker::FindPacked(uint32 recordOffset) const {
  const auto part = std::ranges::find_if(parts_, [=](const Part& one) {
    return recordOffset >= one.recordOffset && recordOffset - one.recordOffset < one.bytes;
  });
  XE_ASSERT(part != parts_.end());
  return part->packedOffset + (recordOffset - part->recordOffset);
}

}  // namespace sqxer
