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
    case XeIntervalData:
      return use(std::type_identity<XeInterval>()), true;
    default:
      return false;
  }
}

/// Writes a row's text, of that type of characters, as records have it, four bytes a character, to
/// any address with room for it. A fixed text of a column is filled with blanks up to `length`; one
/// that was computed ends at a zero character if it is shorter.
template <class Character, bool isFixed>
void StoreBatchText(const BatchVector& vector, uint32 row, uint32 length, uint8* target) {
  const BatchText text = vector.GetText(row);
  const auto* const from = reinterpret_cast<const Character*>(text.characters);
  uint8* const characters = isFixed ? target : target + kLongVarPrefix;
  const auto put = [characters](uint32 at, wchar_t character) {
    StoreValue(characters + at * sizeof(wchar_t), character);
  };
  if constexpr (sizeof(Character) == sizeof(wchar_t)) {
    std::memcpy(characters, from, text.length * sizeof(wchar_t));
  } else {
    for (uint32 i = 0; i < text.length; ++i) put(i, static_cast<wchar_t>(from[i]));
  }
  if constexpr (!isFixed) {
    StoreValue(target, text.length);
  } else if (vector.texts != nullptr) {
    if (text.length < length) put(text.length, L'\0');
  } else {
    for (uint32 i = text.length; i < length; ++i) put(i, L' ');
  }
}

/// Calls use(store) with what writes the values of a vector as records have values of a data type:
/// store(row, target), for rows that are not NULL and a type that batches know. `length`:
/// characters of a fixed text.
template <class Use>
void WithBatchStore(const BatchVector& vector, XeDataType type, uint32 length, Use&& use) {
  const auto texts = [&]<class Character>(std::type_identity<Character>) {
    if (type == XeCharData) {
      use([&vector, length](uint32 row, uint8* target) {
        StoreBatchText<Character, true>(vector, row, length, target);
      });
    } else {
      use([&vector](uint32 row, uint8* target) {
        StoreBatchText<Character, false>(vector, row, 0, target);
      });
    }
  };
  if (vector.form == ColumnForm::kText8) return texts(std::type_identity<uint8>());
  if (vector.form == ColumnForm::kText32) return texts(std::type_identity<wchar_t>());
  WithStoredType(type, [&]<class T>(std::type_identity<T>) {
    use([&vector](uint32 row, uint8* target) {
      const T value = ReadBatchValue<T>(vector, row);
      std::memcpy(target, static_cast<const void*>(&value), sizeof value);
    });
  });
}

}  // namespace sqxer
