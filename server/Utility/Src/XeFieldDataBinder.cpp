#include "Utility/XeFieldDataBinder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <cwchar>
#include <utility>

#include "Utility/ErrorMessage.h"
#include "Utility/NumberText.h"
#include "Utility/XeAssert.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeInterval.h"

namespace sqxer {

namespace {

/// Bytes of one character or byte of a type whose values have a length before them; 0 for others.
uint32 BytesPerUnit(XeDataType type, bool unicode) {
  switch (type) {
    case XeVarCharData:
    case XeLongVarCharData:
      return unicode ? sizeof(wchar_t) : 1;
    case XeVarBinaryData:
    case XeLongVarBinaryData:
      return 1;
    default:
      return 0;
  }
}

}  // namespace

/// The conversions, one instantiation for each pair of forms.
struct FieldConversion {
  /// Where the stored characters start and how many they are, without what the target drops.
  template <class Character>
  struct Source {
    const uint8* characters;
    uint32 count;

    wchar_t At(uint32 i) const {
      if constexpr (sizeof(Character) == 1) {
        return characters[i];
      } else {
        wchar_t c;
        std::memcpy(&c, characters + std::size_t{i} * sizeof c, sizeof c);
        return c;
      }
    }
  };

  template <class Character, bool SourceVaries, bool TargetVaries>
  static Source<Character> Measure(const XeFieldConverter& converter, const uint8* source) {
    if constexpr (SourceVaries) {
      Source<Character> text{source + kLongVarPrefix, 0};
      std::memcpy(&text.count, source, sizeof text.count);
      return text;
    } else {
      Source<Character> text{source, 0};
      while (text.count < converter.sourceLength_ && text.At(text.count) != 0) ++text.count;
      if constexpr (TargetVaries) {
        while (text.count > 0 && text.At(text.count - 1) == L' ') --text.count;
      }
      return text;
    }
  }

  template <class Character, bool SourceVaries, bool TargetVaries>
  static void Convert(const XeFieldConverter& converter, const uint8* source, uint8 sourceNull,
                      uint8* target) {
    const Source<Character> text =
        sourceNull ? Source<Character>{source, 0}
                   : Measure<Character, SourceVaries, TargetVaries>(converter, source);
    uint32 length = std::min(text.count, converter.targetLength_);
    auto put = [out = target + (TargetVaries ? kLongVarPrefix : 0)](uint32 i, wchar_t c) {
      std::memcpy(out + std::size_t{i} * sizeof c, &c, sizeof c);
    };
    for (uint32 i = 0; i < length; ++i) put(i, text.At(i));
    if constexpr (TargetVaries) {
      std::memcpy(target, &length, sizeof length);
    } else {
      for (; length < converter.targetLength_; ++length) put(length, L' ');
    }
    put(length, L'\0');
  }

  template <class Character>
  static XeFieldConverter::ConvertFunction Choose(bool sourceVaries, bool targetVaries) {
    if (sourceVaries) {
      return targetVaries ? &Convert<Character, true, true> : &Convert<Character, true, false>;
    }
    return targetVaries ? &Convert<Character, false, true> : &Convert<Character, false, false>;
  }
};

XeFieldConverter::XeFieldConverter(XeDataType sourceType, uint32 sourceLength, bool narrowSource,
                                   XeDataType targetType, uint32 targetLength)
    : sourceLength_(sourceLength), targetLength_(targetLength) {
  XE_ASSERT(SUXeDataTypeUtility::IsXeTextType(sourceType));
  XE_ASSERT(SUXeDataTypeUtility::IsXeTextType(targetType));
  const bool sourceVaries = sourceType != XeCharData;
  const bool targetVaries = targetType != XeCharData;
  convert_ = narrowSource ? FieldConversion::Choose<char>(sourceVaries, targetVaries)
                          : FieldConversion::Choose<wchar_t>(sourceVaries, targetVaries);
}

void XeFieldConverter::Convert(const uint8* source, uint8 sourceNull, uint8* target) const {
  convert_(*this, source, sourceNull, target);
}

/// The moves, one instantiation for each pair of forms.
struct FieldMove {
  using Function = XeFieldDataBinder::MoveFunction;

  struct FixedText {
    static std::wstring_view Get(const XeFieldDataBinder& binder, const void* value) {
      const wchar_t* const characters = *static_cast<wchar_t* const*>(value);
      return {characters, wcsnlen(characters, binder.sourceLength_)};
    }
  };
  struct VaryingText {
    static std::wstring_view Get(const XeFieldDataBinder&, const void* value) {
      const auto& text = *static_cast<const RefLongVarChar*>(value);
      return {text.buffer_, text.length_};
    }
  };

  /// One byte that is 0 or 1, or one that is shown as true or false.
  enum class Bit : uint8 {};
  enum class Boolean : uint8 {};

  static NumberReading ReadValue(std::wstring_view text, Bit& out) {
    uint8 byte = 0;
    const NumberReading reading = ReadValue(text, byte);
    if (reading != NumberReading::kRead) return reading;
    if (byte > 1) return NumberReading::kOutOfRange;
    out = Bit{byte};
    return reading;
  }
  template <std::integral Integer>
  static NumberReading ReadValue(std::wstring_view text, Integer& out) {
    int64 wide;
    const NumberReading reading = ReadNumber(text, wide);
    if (reading != NumberReading::kRead) return reading;
    if (!std::in_range<Integer>(wide)) return NumberReading::kOutOfRange;
    out = static_cast<Integer>(wide);
    return reading;
  }
  static NumberReading ReadValue(std::wstring_view text, float32& out) {
    return ReadNumber(text, out);
  }
  static NumberReading ReadValue(std::wstring_view text, float64& out) {
    return ReadNumber(text, out);
  }
  static NumberReading ReadValue(std::wstring_view text, VelmarNumber& out) {
    return ReadNumber(text, out);
  }
  static NumberReading ReadValue(std::wstring_view text, XeInterval& out) {
    switch (ReadInterval(text, out)) {
      case IntervalReading::kRead:
        return NumberReading::kRead;
      case IntervalReading::kOutOfRange:
        return NumberReading::kOutOfRange;
      case IntervalReading::kUnreadable:
        break;
    }
    return NumberReading::kUnreadable;
  }
  template <class Value>
  static NumberReading ReadValue(std::wstring_view text, Value& out) {
    const DateTimeMetaData& format = std::is_same_v<Value, XeDateTime>
                                         ? SUDataConvert::GetDefaultDateTimeMetaData()
                                         : SUDataConvert::GetDefaultDateMetaData();
    return format.TryConvert(text, out) ? NumberReading::kRead : NumberReading::kUnreadable;
  }

  static uint32 WriteValue(Bit value, wchar_t* out) {
    return WriteText(int64{static_cast<uint8>(value)}, out);
  }
  static uint32 WriteValue(Boolean value, wchar_t* out) {
    const std::wstring_view word = value == Boolean{0} ? L"false" : L"true";
    std::ranges::copy(word, out);
    return static_cast<uint32>(word.size());
  }
  template <class Value>
  static uint32 WriteValue(const Value& value, wchar_t* out) {
    if constexpr (std::is_integral_v<Value>) {
      return WriteText(int64{value}, out);
    } else {
      return WriteText(value, out);
    }
  }

  template <class Text, class Value>
  static bool Read(const XeFieldDataBinder& binder, const void* value, void* field) {
    const std::wstring_view text = Text::Get(binder, value);
    const NumberReading reading = ReadValue(text, *static_cast<Value*>(field));
    if (reading == NumberReading::kUnreadable && !binder.isQuiet_) {
      SUGThrow(ErrorMessage(
          59172, {XeString(text), SUXeDataTypeUtility::GetXeDataTypeName(binder.targetType_)}));
    }
    return reading == NumberReading::kRead;
  }

  template <bool TargetVaries>
  static void Store(const XeFieldDataBinder& binder, std::wstring_view text, void* field) {
    text = text.substr(0, binder.targetLength_);
    auto* characters = static_cast<wchar_t*>(field);
    if constexpr (TargetVaries) {
      // The characters start where the count ends, which is as wide as one of them.
      *static_cast<uint32*>(field) = static_cast<uint32>(text.size());
      std::ranges::copy(text, characters + kLongVarPrefix / sizeof(wchar_t));
    } else {
      std::fill_n(std::ranges::copy(text, characters).out, binder.targetLength_ - text.size(),
                  L' ');
    }
  }

  template <class Text, bool TargetVaries>
  static bool Copy(const XeFieldDataBinder& binder, const void* value, void* field) {
    Store<TargetVaries>(binder, Text::Get(binder, value), field);
    return true;
  }

  template <class Value, bool TargetVaries>
  static bool Write(const XeFieldDataBinder& binder, const void* value, void* field) {
    static_assert(kMostIntervalText >= kMostNumberText && kMostNumberText >= kMostDateTimeText);
    std::array<wchar_t, kMostIntervalText> text;
    const uint32 length = WriteValue(*static_cast<const Value*>(value), text.data());
    Store<TargetVaries>(binder, {text.data(), length}, field);
    return true;
  }

  template <class From, class To>
  static bool Assign(const XeFieldDataBinder&, const void* value, void* field) {
    *static_cast<To*>(field) = *static_cast<const From*>(value);
    return true;
  }

  template <class Text>
  static Function ChooseFromText(XeDataType target) {
    switch (target) {
      case XeBitData:
        return &Read<Text, Bit>;
      case XeCharData:
        return &Copy<Text, false>;
      case XeVarCharData:
      case XeLongVarCharData:
        return &Copy<Text, true>;
      case XeInt1Data:
        return &Read<Text, int8>;
      case XeUInt1Data:
        return &Read<Text, uint8>;
      case XeInt2Data:
        return &Read<Text, int16>;
      case XeUInt2Data:
        return &Read<Text, uint16>;
      case XeInt4Data:
        return &Read<Text, int32>;
      case XeUInt4Data:
        return &Read<Text, uint32>;
      case XeFloatData:
        return &Read<Text, float32>;
      case XeDoubleData:
        return &Read<Text, float64>;
      case XeMoneyData:
      case XeNumericData:
      case XeDecimalData:
        return &Read<Text, VelmarNumber>;
      case XeDateData:
        return &Read<Text, XeDate>;
      case XeTimeData:
        return &Read<Text, XeTime>;
      case XeDateTimeData:
      case XeTimeStampData:
        return &Read<Text, XeDateTime>;
      case XeIntervalData:
        return &Read<Text, XeInterval>;
      default:
        return nullptr;
    }
  }

  template <class Value>
  static Function ChooseToText(XeDataType target) {
    if (!SUXeDataTypeUtility::IsXeTextType(target)) return nullptr;
    return target == XeCharData ? &Write<Value, false> : &Write<Value, true>;
  }

  template <class Value>
  static Function ChooseFromDay(XeDataType target) {
    constexpr bool kHasDate = !std::is_same_v<Value, XeTime>;
    constexpr bool kHasTime = !std::is_same_v<Value, XeDate>;
    if constexpr (kHasDate) {
      if (target == XeDateData) return &Assign<Value, XeDate>;
    }
    if constexpr (kHasTime) {
      if (target == XeTimeData) return &Assign<Value, XeTime>;
    }
    if (target == XeDateTimeData || target == XeTimeStampData) return &Assign<Value, XeDateTime>;
    return ChooseToText<Value>(target);
  }

  static Function Choose(XeDataType source, XeDataType target) {
    switch (source) {
      case XeCharData:
        return ChooseFromText<FixedText>(target);
      case XeVarCharData:
      case XeLongVarCharData:
        return ChooseFromText<VaryingText>(target);
      case XeBitData:
        return ChooseToText<Bit>(target);
      case XeBoolean:
        return ChooseToText<Boolean>(target);
      case XeInt1Data:
        return ChooseToText<int8>(target);
      case XeUInt1Data:
        return ChooseToText<uint8>(target);
      case XeInt2Data:
        return ChooseToText<int16>(target);
      case XeUInt2Data:
        return ChooseToText<uint16>(target);
      case XeInt4Data:
        return ChooseToText<int32>(target);
      case XeUInt4Data:
        return ChooseToText<uint32>(target);
      case XeFloatData:
        return ChooseToText<float32>(target);
      case XeDoubleData:
        return ChooseToText<float64>(target);
      case XeMoneyData:
      case XeNumericData:
      case XeDecimalData:
        return ChooseToText<VelmarNumber>(target);
      case XeDateData:
        return ChooseFromDay<XeDate>(target);
      case XeTimeData:
        return ChooseFromDay<XeTime>(target);
      case XeDateTimeData:
      case XeTimeStampData:
        return ChooseFromDay<XeDateTime>(target);
      case XeIntervalData:
        if (target == XeIntervalData) return &Assign<XeInterval, XeInterval>;
        return ChooseToText<XeInterval>(target);
      default:
        return nullptr;
    }
  }
};

XeFieldDataBinder::XeFieldDataBinder(XeDataType sourceType, uint32 sourceLength,
                                     XeDataType targetType, uint32 targetLength)
    : move_(FieldMove::Choose(sourceType, targetType)),
      targetType_(targetType),
      sourceLength_(sourceLength),
      targetLength_(targetLength) {
  XE_ASSERT(move_ != nullptr);
}

bool XeFieldDataBinder::CanMove(XeDataType source, XeDataType target) {
  return FieldMove::Choose(source, target) != nullptr;
}

XeFieldDataBinder::XeFieldDataBinder(const XeRecordMetaData& input, const UInt16Vector& columns,
                                     const XeRecordMetaData& row, int firstField) {
  for (const uint16 column : columns) {
    const XeFieldDescriptor& source = *input.GetFieldDescriptor(column);
    const XeFieldDescriptor& target = *row.GetFieldDescriptor(firstField++);
    XE_ASSERT(target.GetDataType() == source.GetDataType());
    XE_ASSERT(target.IsNullable() || !source.IsNullable());
    const bool unicode = source.IsUnicode(input.IsUnicodeRecord());
    columnMoves_.push_back(
        {source.GetDataOffset(), source.GetNullOffset(), target.GetDataOffset(),
         target.GetNullOffset(),
         XeRecordMetaData::GetByteLength(source.GetDataType(), source.GetLength(), unicode),
         BytesPerUnit(source.GetDataType(), unicode)});
  }
}

XeFieldDataBinder::XeFieldDataBinder(const XeRecordMetaData& input, const UInt16Vector& columns,
                                     const XeRecordMetaData& row, int rowIdField, int firstField)
    : XeFieldDataBinder(input, columns, row, firstField) {
  rowIdOffset_ = row.GetFieldDescriptor(rowIdField)->GetDataOffset();
}

void XeFieldDataBinder::MoveInputDataToFieldDataBinder(const uint8* record, uint32 rowId,
                                                       uint8* row) const {
  std::memcpy(row + rowIdOffset_, &rowId, sizeof rowId);
  MoveColumns(record, row);
}

void XeFieldDataBinder::MoveColumns(const uint8* record, uint8* row) const {
  for (const ColumnMove& move : columnMoves_) {
    const bool isNull = move.sourceNullOffset != 0 && record[move.sourceNullOffset] != 0;
    row[move.targetNullOffset] = isNull ? 1 : 0;
    if (isNull) continue;
    const uint8* const value = record + move.sourceOffset;
    std::size_t size = move.size;
    if (move.unit != 0) {
      uint32 length;
      std::memcpy(&length, value, sizeof length);
      size = std::min(size, kLongVarPrefix + std::size_t{length} * move.unit);
    }
    std::memcpy(row + move.targetOffset, value, size);
  }
}

void XeFieldDataBinder::SetInputPlace(std::size_t index, uint32 offset, uint32 nullOffset) {
  XE_ASSERT(index < columnMoves_.size());
  columnMoves_[index].sourceOffset = offset;
  columnMoves_[index].sourceNullOffset = nullOffset;
}

}  // namespace sqxer
