#include "Utility/SUDataConvert.h"

#include <algorithm>
#include <cstring>

#include "Utility/VelmarNumber.h"

namespace sqxer {

namespace {

constexpr uint8 kConverted = 0;
constexpr uint8 kCut = 1;

struct Widen {
  template <class To, class From>
  static To Apply(From value) {
    return static_cast<To>(value);
  }
};

struct NumberToDouble {
  template <class To>
  static float64 Apply(const VelmarNumber& value) {
    return value.asDouble();
  }
};

struct ToDateTime {
  template <class To, class From>
  static XeDateTime Apply(const From& value) {
    return XeDateTime(value);
  }
};

/// One value of fixed width; either place may be unaligned, and both may be the same.
template <class Op, class From, class To>
void ConvertValue(const uint8* source, uint8* destination, uint8& result, unsigned long& produced) {
  From from;
  std::memcpy(&from, source, sizeof from);
  const To to = Op::template Apply<To>(from);
  std::memcpy(destination, &to, sizeof to);
  result = kConverted;
  produced = sizeof to;
}

template <class Character>
Character At(const uint8* characters, uint32 index) {
  Character c;
  std::memcpy(&c, characters + std::size_t{index} * sizeof c, sizeof c);
  return c;
}

template <class Character>
void Put(uint8* characters, uint32 index, Character c) {
  std::memcpy(characters + std::size_t{index} * sizeof c, &c, sizeof c);
}

/// Characters of a fixed text, which ends at its first zero character if it has one.
template <class Character>
uint32 CountFixed(const uint8* characters, uint32 length) {
  uint32 count = 0;
  while (count < length && At<Character>(characters, count) != 0) ++count;
  return count;
}

/// Stores `count` characters as a varying text of at most `most`. The characters move before the
/// count is written: they may stand where it goes.
template <class Character>
void StoreVarying(const uint8* characters, uint32 count, uint8* destination, uint32 most,
                  uint8& result, unsigned long& produced) {
  const uint32 stored = std::min(count, most);
  const std::size_t bytes = std::size_t{stored} * sizeof(Character);
  std::memmove(destination + kLongVarPrefix, characters, bytes);
  std::memcpy(destination, &stored, sizeof stored);
  result = stored < count ? kCut : kConverted;
  produced = kLongVarPrefix + bytes;
}

template <class Character>
void ConvertFixedToVarying(const DataConvertParams& params, const uint8* source, uint32 length,
                           uint8* destination, uint32 most, uint8& result,
                           unsigned long& produced) {
  uint32 count = CountFixed<Character>(source, length);
  if (!params.bAvoidRtrimToVarChar) {
    while (count > 0 && At<Character>(source, count - 1) == Character{' '}) --count;
  }
  StoreVarying<Character>(source, count, destination, most, result, produced);
}

}  // namespace

#define SQXER_CONVERT_VALUE(name, Op, From, To)                                   \
  void SUDataConvert::name(DataConvertParams, const uint8* source, uint32, uint8, \
                           uint8* destination, uint32, uint8& result,             \
                           unsigned long& producedLength) {                       \
    ConvertValue<Op, From, To>(source, destination, result, producedLength);      \
  }
SQXER_CONVERT_VALUE(ConvertInt8ToInt32, Widen, int8, int32)
SQXER_CONVERT_VALUE(ConvertUnsignedInt8ToInt32, Widen, uint8, int32)
SQXER_CONVERT_VALUE(ConvertInt16ToInt32, Widen, int16, int32)
SQXER_CONVERT_VALUE(ConvertUnsignedInt16ToInt32, Widen, uint16, int32)
SQXER_CONVERT_VALUE(ConvertInt8ToFloat64, Widen, int8, float64)
SQXER_CONVERT_VALUE(ConvertUnsignedInt8ToFloat64, Widen, uint8, float64)
SQXER_CONVERT_VALUE(ConvertInt16ToFloat64, Widen, int16, float64)
SQXER_CONVERT_VALUE(ConvertUnsignedInt16ToFloat64, Widen, uint16, float64)
SQXER_CONVERT_VALUE(ConvertInt32ToFloat64, Widen, int32, float64)
SQXER_CONVERT_VALUE(ConvertUnsignedInt32ToFloat64, Widen, uint32, float64)
SQXER_CONVERT_VALUE(ConvertFloat32ToFloat64, Widen, float32, float64)
SQXER_CONVERT_VALUE(ConvertNumericToFloat64, NumberToDouble, VelmarNumber, float64)
SQXER_CONVERT_VALUE(ConvertDateToDateTime, ToDateTime, XeDate, XeDateTime)
SQXER_CONVERT_VALUE(ConvertTimeToDateTime, ToDateTime, XeTime, XeDateTime)
SQXER_CONVERT_VALUE(ConvertTimeStampToDateTime, ToDateTime, XeDateTime, XeDateTime)
#undef SQXER_CONVERT_VALUE

void SUDataConvert::ConvertCharToVarChar(DataConvertParams params, const uint8* source,
                                         uint32 sourceLength, uint8, uint8* destination,
                                         uint32 destinationLength, uint8& result,
                                         unsigned long& producedLength) {
  ConvertFixedToVarying<char>(params, source, sourceLength, destination, destinationLength, result,
                              producedLength);
}

void SUDataConvert::ConvertXeCharToVarXeChar(DataConvertParams params, const uint8* source,
                                             uint32 sourceLength, uint8, uint8* destination,
                                             uint32 destinationLength, uint8& result,
                                             unsigned long& producedLength) {
  ConvertFixedToVarying<wchar_t>(params, source, sourceLength, destination, destinationLength,
                                 result, producedLength);
}

void SUDataConvert::ConvertLongVarXeCharToVarXeChar(DataConvertParams, const uint8* source, uint32,
                                                    uint8, uint8* destination,
                                                    uint32 destinationLength, uint8& result,
                                                    unsigned long& producedLength) {
  const auto count = At<uint32>(source, 0);
  StoreVarying<wchar_t>(source + kLongVarPrefix, count, destination, destinationLength, result,
                        producedLength);
}

void SUDataConvert::ConvertXeCharToXeChar(DataConvertParams params, const uint8* source,
                                          uint32 sourceLength, uint8, uint8* destination,
                                          uint32 destinationLength, uint8& result,
                                          unsigned long& producedLength) {
  const uint32 count = CountFixed<wchar_t>(source, sourceLength);
  uint32 written = std::min(count, destinationLength);
  std::memmove(destination, source, std::size_t{written} * sizeof(wchar_t));
  result = written < count ? kCut : kConverted;
  if (!params.bAvoidPaddingToChar) {
    for (; written < destinationLength; ++written) Put(destination, written, L' ');
  }
  if (written < destinationLength) Put(destination, written, L'\0');
  producedLength = std::size_t{written} * sizeof(wchar_t);
}

const DateTimeMetaData& SUDataConvert::GetDefaultDateMetaData() {
  static const DateTimeMetaData iso;
  return iso;
}

const DateTimeMetaData& SUDataConvert::GetDefaultDateTimeMetaData() {
  static const DateTimeMetaData iso;
  return iso;
}

}  // namespace sqxer
