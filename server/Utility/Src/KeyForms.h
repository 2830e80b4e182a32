#pragma once

#include <bit>
#include <cmath>
#include <concepts>
#include <cstring>
#include <cwchar>

#include "CharacterOrder.h"
#include "Utility/ExecutionUtility.h"
#include "Utility/HashMix.h"
#include "Utility/VelmarNumber.h"
#include "Utility/XeDateTime.h"
#include "Utility/XeInterval.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// How the stored values of one form are read, compared, hashed and mapped to an ascending 64-bit
/// prefix. With kPrefixExact equal prefixes mean equal values, and no prefix is all zeros or all
/// ones: those two are left to NULL.
template <class Form>
concept KeyForm = requires(const Form form, const uint8* at, uint32 length,
                           const typename Form::Value& v) {
  { Form::Load(at, length) } -> std::same_as<typename Form::Value>;
  { form.Compare(v, v) } -> std::same_as<int>;
  { form.Prefix(v) } -> std::same_as<uint64>;
  { form.Hash(v) } -> std::same_as<uint64>;
  { Form::kPrefixExact } -> std::convertible_to<bool>;
};

template <class T>
struct PlainForm {
  using Value = T;
  static T Load(const uint8* at, uint32) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
  }
};

inline constexpr uint64 kSignBit = uint64{1} << 63;

template <std::integral T>
requires(sizeof(T) <= 4) struct IntegerForm : PlainForm<T> {
  static constexpr bool kPrefixExact = true;
  static int Compare(T a, T b) { return (a > b) - (a < b); }
  static uint64 Prefix(T v) { return static_cast<uint64>(static_cast<int64>(v)) ^ kSignBit; }
  static uint64 Hash(T v) { return MixHash(kHashSeed, Prefix(v)); }
};

template <std::floating_point T>
struct FloatForm : PlainForm<T> {
  static constexpr bool kPrefixExact = true;
  static int Compare(T a, T b) {
    if (a < b) return -1;
    if (a > b) return 1;
    return a == b ? 0 : std::isnan(a) - std::isnan(b);
  }
  static uint64 Prefix(T v) {
    // Adding zero turns -0.0 into 0.0. The codes beyond those of the infinities are free but for
    // the one NaN.
    const float64 value = static_cast<float64>(v) + 0.0;
    if (std::isnan(value)) return 0xFFF8000000000000u;
    const auto bits = std::bit_cast<uint64>(value);
    return bits & kSignBit ? ~bits : bits | kSignBit;
  }
  static uint64 Hash(T v) { return MixHash(kHashSeed, Prefix(v)); }
};

struct NumberForm : PlainForm<VelmarNumber> {
  static constexpr bool kPrefixExact = false;
  static int Compare(const VelmarNumber& a, const VelmarNumber& b) {
    return VelmarNumber::compare(a, b);
  }
  static uint64 Prefix(const VelmarNumber& v) { return FloatForm<float64>::Prefix(v.asDouble()); }
  static uint64 Hash(const VelmarNumber& v) { return v.hash(); }
};

/// Packs fields, the most significant first, into a prefix. A field too large for its bits fills
/// them and all bits below, which keeps the order where the prefix no longer decides.
class PrefixPacker {
 public:
  PrefixPacker& Add(uint32 value, int bits) {
    room_ -= bits;
    if (full_) return *this;
    if (value >> bits != 0) {
      full_ = true;
      prefix_ |= room_ + bits == 64 ? ~uint64{0} : (uint64{1} << (room_ + bits)) - 1;
    } else {
      prefix_ |= uint64{value} << room_;
    }
    return *this;
  }
  uint64 Get() const { return prefix_; }

 private:
  uint64 prefix_ = 0;
  int room_ = 64;
  bool full_ = false;
};

/// A year with the order of unsigned numbers.
inline uint32 BiasedYear(int year) { return static_cast<uint32>(year + 0x8000); }

struct DateForm : PlainForm<XeDate> {
  static constexpr bool kPrefixExact = true;
  static int Compare(const XeDate& a, const XeDate& b) { return XeDate::Compare(a, b); }
  static uint64 Prefix(const XeDate& v) {
    return (uint64{BiasedYear(v.GetYear())} << 32 | static_cast<uint64>(v.GetMonth()) << 16 |
            static_cast<uint64>(v.GetDay())) +
           1;
  }
  static uint64 Hash(const XeDate& v) { return MixHash(kHashSeed, Prefix(v)); }
};

struct TimeForm : PlainForm<XeTime> {
  static constexpr bool kPrefixExact = false;
  static int Compare(const XeTime& a, const XeTime& b) { return XeTime::Compare(a, b); }
  static uint64 Prefix(const XeTime& v) {
    return PrefixPacker()
        .Add(static_cast<uint32>(v.GetHour()), 11)
        .Add(static_cast<uint32>(v.GetMinute()), 11)
        .Add(static_cast<uint32>(v.GetSecond()), 11)
        .Add(v.GetNanosecond(), 31)
        .Get();
  }
  static uint64 Hash(const XeTime& v) {
    const auto fields = static_cast<uint64>(v.GetHour()) << 32 |
                        static_cast<uint64>(v.GetMinute()) << 16 |
                        static_cast<uint64>(v.GetSecond());
    return MixHash(MixHash(kHashSeed, fields), v.GetNanosecond());
  }
};

struct DateTimeForm : PlainForm<XeDateTime> {
  static constexpr bool kPrefixExact = false;
  static int Compare(const XeDateTime& a, const XeDateTime& b) { return XeDateTime::Compare(a, b); }
  static uint64 Prefix(const XeDateTime& v) {
    // A nanosecond takes 30 bits, 22 of them find room.
    return PrefixPacker()
        .Add(BiasedYear(v.GetYear()), 16)
        .Add(static_cast<uint32>(v.GetMonth()), 4)
        .Add(static_cast<uint32>(v.GetDay()), 5)
        .Add(static_cast<uint32>(v.GetHour()), 5)
        .Add(static_cast<uint32>(v.GetMinute()), 6)
        .Add(static_cast<uint32>(v.GetSecond()), 6)
        .Add(v.GetNanosecond() >> 8, 22)
        .Get();
  }
  static uint64 Hash(const XeDateTime& v) {
    return MixHash(DateForm::Hash(v.GetDate()), TimeForm::Hash(v.GetTime()));
  }
};

struct IntervalForm : PlainForm<XeInterval> {
  static constexpr bool kPrefixExact = false;
  static int Compare(const XeInterval& a, const XeInterval& b) { return XeInterval::Compare(a, b); }
  static uint64 Prefix(const XeInterval& v) {
    // A span has less than 74 bits.
    return static_cast<uint64>(static_cast<int64>(v.GetSpan() >> 10)) ^ kSignBit;
  }
  static uint64 Hash(const XeInterval& v) {
    const auto span = static_cast<uint128>(v.GetSpan());
    return MixHash(MixHash(kHashSeed, static_cast<uint64>(span >> 64)), static_cast<uint64>(span));
  }
};

/// A fixed text: it ends at its first zero character or at the declared length.
struct FixedText {
  using Value = RefLongVarChar;
  static RefLongVarChar Load(const uint8* at, uint32 length) {
    auto* characters = const_cast<wchar_t*>(reinterpret_cast<const wchar_t*>(at));
    return {static_cast<uint32>(wcsnlen(characters, length)), characters};
  }
};

/// A counted text.
struct VaryingText {
  using Value = RefLongVarChar;
  static RefLongVarChar Load(const uint8* at, uint32) {
    uint32 length;
    std::memcpy(&length, at, sizeof length);
    return {length, const_cast<wchar_t*>(reinterpret_cast<const wchar_t*>(at + kLongVarPrefix))};
  }
};

template <class Storage, class Order>
struct TextForm : Storage, Order {
  static constexpr bool kPrefixExact = false;
};

struct FixedBytes {
  using Value = RefLongVarBinary;
  static RefLongVarBinary Load(const uint8* at, uint32 length) {
    return {length, const_cast<uint8*>(at)};
  }
};

struct VaryingBytes {
  using Value = RefLongVarBinary;
  static RefLongVarBinary Load(const uint8* at, uint32) {
    uint32 length;
    std::memcpy(&length, at, sizeof length);
    return {length, const_cast<uint8*>(at + kLongVarPrefix)};
  }
};

/// See CompareBinaries.
template <class Storage>
struct BinaryForm : Storage {
  static constexpr bool kPrefixExact = false;
  static int Compare(const RefLongVarBinary& a, const RefLongVarBinary& b) {
    return CompareBinaries(a, b);
  }
  static uint64 Prefix(const RefLongVarBinary& v) { return Eight(v, 0); }
  static uint64 Hash(const RefLongVarBinary& v) {
    uint64 hash = kHashSeed;
    for (uint32 from = 0; from < v.length_; from += 8) hash = MixHash(hash, Eight(v, from));
    return MixHash(hash, v.length_);
  }

 private:
  /// Up to eight bytes from a position on, big end first, zero beyond the end.
  static uint64 Eight(const RefLongVarBinary& v, uint32 from) {
    uint64 bytes = 0;
    const uint32 left = v.length_ - from;
    std::memcpy(&bytes, v.buffer_ + from, left < 8 ? left : 8);
    if constexpr (std::endian::native == std::endian::little) bytes = __builtin_bswap64(bytes);
    return bytes;
  }
};

}  // namespace sqxer
