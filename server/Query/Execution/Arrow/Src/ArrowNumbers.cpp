#include <bit>
#include <cmath>
#include <limits>

#include "ArrowColumn.h"
#include "ArrowDecimal.h"

namespace sqxer {
namespace {

/// Digits behind the point that 64 bits can have.
constexpr int kMostScale64 = 18;

constexpr auto kNeverRefused = [](uint64) {};

float32 WidenHalf(uint16 half) {
  constexpr int kFractionBits = 10;
  constexpr uint32 kMostExponent = 31;
  constexpr int kLeastExponent = -24;
  const float32 sign = half >> 15 != 0 ? -1.0F : 1.0F;
  const uint32 exponent = half >> kFractionBits & kMostExponent;
  const uint32 fraction = half & 0x3FF;
  if (exponent == kMostExponent) {
    return fraction != 0 ? std::numeric_limits<float32>::quiet_NaN()
                         : sign * std::numeric_limits<float32>::infinity();
  }
  if (exponent == 0) return sign * std::ldexp(static_cast<float32>(fraction), kLeastExponent);
  return sign * std::ldexp(static_cast<float32>(fraction | 1 << kFractionBits),
                           static_cast<int>(exponent) - 1 + kLeastExponent);
}

/// Whether all values that are not NULL satisfy a condition.
template <class Value, class Condition>
bool AllValues(const ArrowView& view, Condition&& condition) {
  bool all = true;
  for (uint64 row = 0; row < view.rows; ++row) all &= condition(view.Get<Value>(1, row));
  for (uint64 row = 0; !all && row < view.rows; ++row) {
    if (!condition(view.Get<Value>(1, row)) && !view.IsNull(row)) return false;
  }
  return true;
}

ColumnVector ReadUInt64(const ArrowView& view, const ArrowReading& reading) {
  const auto isSigned = [](uint64 value) { return static_cast<int64>(value) >= 0; };
  if (AllValues<uint64>(view, isSigned)) {
    return ShareArrowValues(view, reading, ColumnForm::kDecimal64);
  }
  return ConvertArrowValues<uint64, int128>(
      view, reading, ColumnForm::kDecimal128,
      [](uint64 value, int128& out) {
        out = value;
        return true;
      },
      kNeverRefused);
}

/// The coefficients of decimals of a width, and whether they have 128 bits.
struct Coefficient256 {
  uint64 words[4];
  bool TryGet(int128& value) const {
    value = static_cast<int128>(words[1]) << 64 | words[0];
    const uint64 sign = value < 0 ? ~uint64{0} : 0;
    return words[2] == sign && words[3] == sign;
  }
};
template <class Whole>
struct Coefficient {
  Whole whole;
  bool TryGet(int128& value) const {
    value = whole;
    return true;
  }
};

template <class Stored>
ColumnVector ReadDecimals(const ArrowView& view, const ArrowReading& reading) {
  const int scale = view.field->scale;
  const auto try64 = [](const Stored& stored, int64& out) {
    int128 value;
    const bool fits = stored.TryGet(value);
    out = static_cast<int64>(value);
    return fits && out == value;
  };
  const auto fits64 = [&](const Stored& stored) {
    int64 out;
    return try64(stored, out);
  };
  if (scale >= 0 && scale <= kMostScale64 && AllValues<Stored>(view, fits64)) {
    ColumnVector vector = ConvertArrowValues<Stored, int64>(view, reading, ColumnForm::kDecimal64,
                                                            try64, kNeverRefused);
    vector.scale = static_cast<int16>(scale);
    return vector;
  }
  const auto try128 = [](const Stored& stored, int128& out) {
    const bool fits = stored.TryGet(out) && HasDecimalDigits(out);
    if (!fits) out = 0;
    return fits;
  };
  const auto fits128 = [&](const Stored& stored) {
    int128 out;
    return try128(stored, out);
  };
  const auto refuse = [&](uint64 row) {
    RefuseArrowValue(view, reading, row, L"NUMERIC", L"it has more than 38 digits");
  };
  if (scale >= 0 && scale <= kDecimalDigits) {
    if (sizeof(Stored) == sizeof(int128) && AllValues<Stored>(view, fits128)) {
      return ShareArrowValues(view, reading, ColumnForm::kDecimal128, scale);
    }
    ColumnVector vector =
        ConvertArrowValues<Stored, int128>(view, reading, ColumnForm::kDecimal128, try128, refuse);
    vector.scale = static_cast<int16>(scale);
    return vector;
  }
  return ConvertArrowValues<Stored, VelmarNumber>(
      view, reading, ColumnForm::kNumber,
      [&](const Stored& stored, VelmarNumber& number) {
        int128 value;
        const bool fits = try128(stored, value);
        number = VelmarNumber::FromParts(ToNumberParts(value, -scale));
        return fits;
      },
      refuse);
}

ColumnVector ReadDecimals(const ArrowView& view, const ArrowReading& reading) {
  const int scale = view.field->scale;
  switch (view.field->width) {
    case 4:
      return ReadDecimals<Coefficient<int32>>(view, reading);
    case 8:
      return scale >= 0 && scale <= kMostScale64
                 ? ShareArrowValues(view, reading, ColumnForm::kDecimal64, scale)
                 : ReadDecimals<Coefficient<int64>>(view, reading);
    case 16:
      return ReadDecimals<Coefficient<int128>>(view, reading);
    default:
      return ReadDecimals<Coefficient256>(view, reading);
  }
}

}  // namespace

ColumnVector ReadArrowNumbers(const ArrowView& view, const ArrowReading& reading) {
  switch (view.field->kind) {
    case ArrowKind::kInt8:
      return ShareArrowValues(view, reading, ColumnForm::kInt8);
    case ArrowKind::kUInt8:
      return ShareArrowValues(view, reading, ColumnForm::kUInt8);
    case ArrowKind::kInt16:
      return ShareArrowValues(view, reading, ColumnForm::kInt16);
    case ArrowKind::kUInt16:
      return ShareArrowValues(view, reading, ColumnForm::kUInt16);
    case ArrowKind::kInt32:
      return ShareArrowValues(view, reading, ColumnForm::kInt32);
    case ArrowKind::kUInt32:
      return ShareArrowValues(view, reading, ColumnForm::kUInt32);
    case ArrowKind::kUInt64:
      return ReadUInt64(view, reading);
    case ArrowKind::kFloat16:
      return ConvertArrowValues<uint16, float32>(
          view, reading, ColumnForm::kFloat32,
          [](uint16 half, float32& value) {
            value = WidenHalf(half);
            return true;
          },
          kNeverRefused);
    case ArrowKind::kFloat32:
      return ShareArrowValues(view, reading, ColumnForm::kFloat32);
    case ArrowKind::kFloat64:
      return ShareArrowValues(view, reading, ColumnForm::kFloat64);
    case ArrowKind::kDecimal:
      return ReadDecimals(view, reading);
    default:
      // 64-bit integers, durations among them.
      return ShareArrowValues(view, reading, ColumnForm::kDecimal64);
  }
}

}  // namespace sqxer
