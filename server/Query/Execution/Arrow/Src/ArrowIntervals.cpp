#include "ArrowColumn.h"

namespace sqxer {
namespace {

constexpr int64 kNanosecondsPerMicrosecond = 1'000;

/// As the second buffer has it: days and milliseconds.
struct DayTime {
  int32 days;
  int32 milliseconds;
};

}  // namespace

ColumnVector ReadArrowIntervals(const ArrowView& view, const ArrowReading& reading) {
  constexpr ColumnForm kForm = ColumnForm::kInterval;
  const auto never = [](uint64) {};
  switch (view.field->kind) {
    case ArrowKind::kMonths:
      return ConvertArrowValues<int32, XeInterval>(
          view, reading, kForm,
          [](int32 months, XeInterval& out) {
            out = {months, 0, 0};
            return true;
          },
          never);
    case ArrowKind::kDayTime:
      return ConvertArrowValues<DayTime, XeInterval>(
          view, reading, kForm,
          [](const DayTime& value, XeInterval& out) {
            out = {0, value.days, int64{value.milliseconds} * 1'000};
            return true;
          },
          never);
    default:
      return ConvertArrowValues<ArrowInterval, XeInterval>(
          view, reading, kForm,
          [](const ArrowInterval& value, XeInterval& out) {
            out = {value.months, value.days, value.nanoseconds / kNanosecondsPerMicrosecond};
            return value.nanoseconds % kNanosecondsPerMicrosecond == 0;
          },
          [&](uint64 row) {
            const auto value = view.Get<ArrowInterval>(1, row);
            RefuseArrowValue(view, reading, row, L"INTERVAL",
                             std::to_wstring(value.nanoseconds) + L" nanoseconds");
          });
  }
}

}  // namespace sqxer
