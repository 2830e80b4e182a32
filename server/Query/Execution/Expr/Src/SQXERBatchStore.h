#pragma once

#include "SQXERBatchLoops.h"
#include "SQXEROpsAggregate.h"
#include "Utility/XeRecordMetaData.h"

namespace sqxer {

/// Calls use(std::type_identity<T>) with the type of the stored values of a data type that has one
/// in batches, texts apart; false for the other data types.
template <class Use>
bool WithStoredType(XeDataType type, Use&& use) {
  switch (type) {
    case XeUInt1Data:
    case XeBoolean:
      return use(std::type_identity<uint8>()), true;
    case XeInt2Data:
      return use(std::type_identity<int16>()), true;
    case XeInt4Data:
      return use(std::type_identity<int32>()), true;
    case XeUInt4Data:
      return use(std::type_identity<uint32>()), true;
    case XeFloatData:
      return use(std::type_identity<float32>()), true;
    case XeDoubleData:
      return use(std::type_identity<float64>()), true;
    case XeNumericData:
      return use(std::type_identity<VelmarNumber>()), true;
    case XeDateData:
      return use(std::type_identity<XeDate>()), true;
    case XeTimeData:
      return use(std::type_identity<XeTime>()), true;
    case XeDateTimeData:
    case XeTimeStampData:
      return use(std::type_identity<XeDateTime>()), true;
    default:
      return false;
  }
}

/// Writes a text as records have it, four bytes a character, where it finds room. A fixed text of a
/// column is filled with blanks up to `length`; one that was computed ends at a zero character.
inline void StoreBatchText(const BatchVector& vector, uint32 row, bool isFixed, uint32 length,
                           uint8* target) {
  const BatchText text = vector.GetText(row);
  uint8* const characters = isFixed ? target : target + kLongVarPrefix;
  const auto put = [&](uint32 at, wchar_t character) {
    StoreValue(characters + at * sizeof(wchar_t), character);
  };
  if (!isFixed) StoreValue(target, text.length);
  if (vector.form == ColumnForm::kText8) {
    for (uint32 i = 0; i < text.length; ++i) put(i, static_cast<wchar_t>(text.characters[i]));
  } else {
    std::memcpy(characters, text.characters, text.length * sizeof(wchar_t));
  }
  if (!isFixed) return;
  if (vector.texts != nullptr && text.length < length) return put(text.length, L'\0');
  for (uint32 i = text.length; i < length; ++i) put(i, L' ');
}

}  // namespace sqxer
