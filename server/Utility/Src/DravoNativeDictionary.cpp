#include "Utility/DravoNativeDictionary.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "Utility/ErrorMessage.h"
#include "Utility/XeFieldDataBinder.h"

namespace sqxer {
namespace {

using ReadKeyFunction = uint32 (*)(const uint8* stored);

template <class Stored>
uint32 ReadKey(const uint8* stored) {
  Stored key;
  std::memcpy(&key, stored, sizeof key);
  return static_cast<uint32>(key);
}

[[noreturn]] void ThrowTypeNotSupported(XeDataType type) {
  SUGThrow(ErrorMessage(59001, {L"DictLookup", SUXeDataTypeUtility::GetXeDataTypeName(type)}));
}

ReadKeyFunction ChooseReadKey(XeDataType type) {
  switch (type) {
    case XeInt1Data:
      return &ReadKey<int8>;
    case XeUInt1Data:
      return &ReadKey<uint8>;
    case XeInt2Data:
      return &ReadKey<int16>;
    case XeUInt2Data:
      return &ReadKey<uint16>;
    case XeInt4Data:
      return &ReadKey<int32>;
    case XeUInt4Data:
      return &ReadKey<uint32>;
    default:
      ThrowTypeNotSupported(type);
  }
}

bool IsNull(const XeFieldDescriptor& field, const uint8* record) {
  return field.GetNullOffset() != 0 && record[field.GetNullOffset()] != 0;
}

/// The characters that room is needed for: those of the value, or those of every fixed text.
uint32 CountCharacters(const XeFieldDescriptor& field, const uint8* stored) {
  if (field.GetDataType() == XeCharData) return field.GetLength();
  uint32 length;
  std::memcpy(&length, stored, sizeof length);
  return std::min(length, field.GetLength());
}

}  // namespace

DravoNativeTable::DravoNativeTable(XeAListStream& source) {
  source.Prepare();
  source.BeginRead();
  const XeRecordMetaData& layout = *source.GetRecordMetaData();
  const XeFieldDescriptor& key = *layout.GetFieldDescriptor(0);
  const XeFieldDescriptor& value = *layout.GetFieldDescriptor(1);
  const ReadKeyFunction readKey = ChooseReadKey(key.GetDataType());
  const XeDataType type = value.GetDataType();
  if (!SUXeDataTypeUtility::IsXeTextType(type)) ThrowTypeNotSupported(type);
  layout_.AddField(XeUInt4Data, sizeof(uint32), false, key.GetFieldName());
  layout_.AddField(type, value.GetLength(), true, value.GetFieldName());
  layout_.GenerateAlignedFieldOffset();

  const XeFieldConverter converter(
      type, value.GetLength(), !value.IsUnicode(layout.IsUnicodeRecord()), type, value.GetLength());
  const std::size_t prefix = type == XeCharData ? 0 : kLongVarPrefix;
  while (source.ReadRecord()) {
    const uint8* const record = source.GetRecordBuffer();
    if (IsNull(key, record)) continue;
    keys_.push_back(readKey(record + key.GetDataOffset()));
    if (IsNull(value, record)) {
      offsets_.push_back(kNullValue);
      continue;
    }
    const uint8* const stored = record + value.GetDataOffset();
    const std::size_t offset = values_.size();
    const std::size_t characters = std::size_t{CountCharacters(value, stored)} + 1;
    values_.resize(offset + prefix + characters * sizeof(wchar_t));
    converter.Convert(stored, 0, values_.data() + offset);
    offsets_.push_back(offset);
  }
  source.EndRead();
}

DravoNativeDictionary::DravoNativeDictionary(DravoNativeTableRef table) : table_(std::move(table)) {
  const uint64 rows = table_->GetRowCount();
  // At least two slots: one of them stays empty and ends every search.
  slots_.resize(std::bit_ceil(std::max<uint64>(2 * rows, 2)));
  shift_ = 64 - std::countr_zero(slots_.size());
  for (uint64 row = 0; row < rows; ++row) {
    const uint32 key = table_->GetKey(row);
    uint64 at = DictionaryAsArrayReader::FirstSlot(key, shift_);
    while (slots_[at].offset != DictionarySlot::kEmpty && slots_[at].key != key) {
      at = (at + 1) & (slots_.size() - 1);
    }
    if (slots_[at].offset == DictionarySlot::kEmpty)
      slots_[at] = {key, table_->GetValueOffset(row)};
  }
}

Heap<DictionaryAsArrayReader> DravoNativeDictionary::MakeArrayReader(uint32 firstKey) const {
  return Heap<DictionaryAsArrayReader>(new DictionaryAsArrayReader(
      slots_.data(), slots_.size() - 1, shift_, table_->GetValues(), firstKey));
}

}  // namespace sqxer
