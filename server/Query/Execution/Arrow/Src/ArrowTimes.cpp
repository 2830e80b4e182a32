#include <algorithm>

#include "ArrowColumn.h"
#include "Utility/DateTimeMetaData.h"
#include "Utility/XeCalendar.h"

namespace sqxer {
namespace {

constexpr int64 kSecondsPerDay = 86'400;
constexpr int64 kNanosecondsPerSecond = 1'000'000'000;
constexpr int64 kMicrosecondsPerSecond = 1'000'000;
constexpr int64 kMillisecondsPerDay = kSecondsPerDay * 1'000;
constexpr int64 kNanosecondsPerMicrosecond = 1'000;

/// The first day that dates can be, and the last.
ColumnBounds<int64> DaysOfDates() {
  return {ToDay32(XeDate(kMinYear, 1, 1)), ToDay32(XeDate(kMaxYear, 12, 31))};
}

ColumnBounds<int64> UnitsOfDates(int64 perDay) {
  const ColumnBounds<int64> days = DaysOfDates();
  return {days.least * perDay, (days.greatest + 1) * perDay - 1};
}

/// Refuses values beyond what the type can be, which nobody looks for afterwards. The bounds of the
/// blocks are what it takes to know, so the vector keeps them.
void CheckBounds(const ArrowView& view, const ArrowReading& reading, ColumnBounds<int64> limits,
                 const XeString& type, const XeString& unit, ColumnVector& vector) {
  for (uint64 first = 0; first < vector.rows; first += kColumnBlockRows) {
    const uint64 end = std::min(first + kColumnBlockRows, vector.rows);
    const ColumnBlock block = DescribeBlock(vector, first, end, false);
    vector.blocks.push_back(block);
    if (!block.hasBounds ||
        (block.whole.least >= limits.least && block.whole.greatest <= limits.greatest)) {
      continue;
    }
    for (uint64 row = first; row < end; ++row) {
      const int64 value = vector.form == ColumnForm::kDay32
                              ? reinterpret_cast<const int32*>(vector.values)[row]
                              : reinterpret_cast<const int64*>(vector.values)[row];
      if ((value >= limits.least && value <= limits.greatest) || view.IsNull(row)) continue;
      RefuseArrowValue(view, reading, row, type, std::to_wstring(value) + L" " + unit);
    }
  }
}

/// A vector of other units than the array has.
template <class From, class To, class Convert>
ColumnVector ConvertUnits(const ArrowView& view, const ArrowReading& reading, ColumnForm form,
                          ColumnBounds<int64> limits, const XeString& type, const XeString& unit,
                          Convert&& convert) {
  return ConvertArrowValues<From, To>(
      view, reading, form,
      [&](From value, To& out) {
        const bool fits = value >= limits.least && value <= limits.greatest;
        return convert(fits ? value : 0, out) && fits;
      },
      [&](uint64 row) {
        RefuseArrowValue(view, reading, row, type,
                         std::to_wstring(view.Get<From>(1, row)) + L" " + unit);
      });
}

XeString NameOfUnit(int64 perSecond) {
  return perSecond == 1           ? L"seconds"
         : perSecond == 1'000     ? L"milliseconds"
         : perSecond == 1'000'000 ? L"microseconds"
                                  : L"nanoseconds";
}

ColumnVector ReadTimes(const ArrowView& view, const ArrowReading& reading) {
  const int64 perSecond = view.field->perSecond;
  const ColumnBounds<int64> limits{0, kSecondsPerDay * perSecond - 1};
  const XeString unit = NameOfUnit(perSecond);
  if (perSecond == kNanosecondsPerSecond) {
    ColumnVector vector = ShareArrowValues(view, reading, ColumnForm::kTime64);
    CheckBounds(view, reading, limits, L"TIME", unit, vector);
    return vector;
  }
  const auto convert = [factor = kNanosecondsPerSecond / perSecond](int64 value, int64& out) {
    out = value * factor;
    return true;
  };
  return view.field->kind == ArrowKind::kTime32
             ? ConvertUnits<int32, int64>(view, reading, ColumnForm::kTime64, limits, L"TIME", unit,
                                          convert)
             : ConvertUnits<int64, int64>(view, reading, ColumnForm::kTime64, limits, L"TIME", unit,
                                          convert);
}

/// Nanoseconds reach from 1677 to 2262, so each is a date-time.
ColumnVector ReadNanoseconds(const ArrowView& view, const ArrowReading& reading) {
  const auto floorOf = [](int64 value) {
    return value / kNanosecondsPerMicrosecond - (value % kNanosecondsPerMicrosecond < 0 ? 1 : 0);
  };
  bool isWhole = true;
  ColumnVector vector = ConvertArrowValues<int64, int64>(
      view, reading, ColumnForm::kTimeStamp64,
      [&](int64 value, int64& out) {
        out = floorOf(value);
        return value % kNanosecondsPerMicrosecond == 0;
      },
      [&](uint64) { isWhole = false; });
  if (isWhole) return vector;
  return ConvertArrowValues<int64, XeDateTime>(
      view, reading, ColumnForm::kDateTime,
      [&](int64 value, XeDateTime& out) {
        out = FromTimeStamp64(floorOf(value));
        // Of the least value the product of its microseconds would be beyond 64 bits.
        const int64 rest = value % kNanosecondsPerMicrosecond;
        out.SetNanosecond(out.GetNanosecond() +
                          static_cast<uint32>(rest < 0 ? rest + kNanosecondsPerMicrosecond : rest));
        return true;
      },
      [](uint64) {});
}

ColumnVector ReadTimeStamps(const ArrowView& view, const ArrowReading& reading) {
  const int64 perSecond = view.field->perSecond;
  if (perSecond == kNanosecondsPerSecond) return ReadNanoseconds(view, reading);
  const ColumnBounds<int64> limits = UnitsOfDates(kSecondsPerDay * perSecond);
  const XeString unit = NameOfUnit(perSecond) + L" since 1970";
  if (perSecond == kMicrosecondsPerSecond) {
    ColumnVector vector = ShareArrowValues(view, reading, ColumnForm::kTimeStamp64);
    CheckBounds(view, reading, limits, L"TIMESTAMP", unit, vector);
    return vector;
  }
  return ConvertUnits<int64, int64>(
      view, reading, ColumnForm::kTimeStamp64, limits, L"TIMESTAMP", unit,
      [factor = kMicrosecondsPerSecond / perSecond](int64 value, int64& out) {
        out = value * factor;
        return true;
      });
}

}  // namespace

ColumnVector ReadArrowTimes(const ArrowView& view, const ArrowReading& reading) {
  switch (view.field->kind) {
    case ArrowKind::kDate32: {
      ColumnVector vector = ShareArrowValues(view, reading, ColumnForm::kDay32);
      CheckBounds(view, reading, DaysOfDates(), L"DATE", L"days since 1970", vector);
      return vector;
    }
    case ArrowKind::kDate64:
      return ConvertUnits<int64, int32>(view, reading, ColumnForm::kDay32,
                                        UnitsOfDates(kMillisecondsPerDay), L"DATE",
                                        L"milliseconds since 1970", [](int64 value, int32& out) {
                                          out = static_cast<int32>(value / kMillisecondsPerDay);
                                          return value % kMillisecondsPerDay == 0;
                                        });
    case ArrowKind::kTimeStamp:
      return ReadTimeStamps(view, reading);
    default:
      return ReadTimes(view, reading);
  }
}

}  // namespace sqxer
