#include "Utility/ColumnVector.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "Utility/XeCalendar.h"

namespace sqxer {
namespace {

constexpr int64 kNanosecondsPerSecond = 1'000'000'000;
constexpr int64 kMicrosecondsPerDay = 86'400'000'000;
constexpr int64 kSecondsPerMinute = 60;
constexpr int64 kMinutesPerHour = 60;
constexpr int64 kNanosecondsPerMicrosecond = 1000;

uint64 CountValues(const ColumnVector& vector, uint64 first, uint64 end) {
  if (vector.validity == nullptr) return end - first;
  uint64 count = 0;
  for (uint64 row = first; row < end;) {
    const uint64 bits = std::min(end - row, 64 - row % 64);
    const uint64 mask = bits == 64 ? ~uint64{0} : ((uint64{1} << bits) - 1) << row % 64;
    count += static_cast<uint64>(std::popcount(vector.validity[row / 64] & mask));
    row += bits;
  }
  return count;
}

template <class T, class Bound>
bool FindBounds(const ColumnVector& vector, uint64 first, uint64 end, Bound& least,
                Bound& greatest) {
  const T* const values = reinterpret_cast<const T*>(vector.values);
  T low = T(), high = T();
  bool known = false, isOrdered = true;
  if (vector.validity == nullptr) {
    low = high = values[first];
    known = true;
    for (uint64 row = first; row < end; ++row) {
      low = std::min(low, values[row]);
      high = std::max(high, values[row]);
      if constexpr (std::is_floating_point_v<T>) isOrdered &= values[row] == values[row];
    }
  } else {
    for (uint64 row = first; row < end; ++row) {
      if (vector.IsNull(row)) continue;
      if (!known) low = high = values[row];
      known = true;
      low = std::min(low, values[row]);
      high = std::max(high, values[row]);
      if constexpr (std::is_floating_point_v<T>) isOrdered &= values[row] == values[row];
    }
  }
  least = low;
  greatest = high;
  return known && isOrdered;
}

}  // namespace

uint64 ColumnVector::GetBytes() const {
  uint64 bytes = validity == nullptr ? 0 : (rows + 7) / 8;
  if (dictionary) return bytes + rows * codeWidth + dictionary->GetBytes();
  const uint64 width = WidthOfForm(form);
  if (!IsTextForm(form)) return bytes + rows * width;
  return bytes + (rows + 1) * offsetWidth + GetOffset(rows) * width;
}

ColumnBlock DescribeBlock(const ColumnVector& vector, uint64 first, uint64 end,
                          bool textEndsInBlank) {
  ColumnBlock block;
  block.nulls = static_cast<uint32>(end - first - CountValues(vector, first, end));
  block.endsInBlank = textEndsInBlank;
  if (vector.dictionary || first == end) return block;
  const auto whole = [&]<class T>(T) {
    block.hasBounds = FindBounds<T>(vector, first, end, block.whole.least, block.whole.greatest);
  };
  const auto real = [&]<class T>(T) {
    block.real = {0, 0};
    block.hasBounds = FindBounds<T>(vector, first, end, block.real.least, block.real.greatest);
  };
  switch (vector.form) {
    case ColumnForm::kInt8:
      whole(int8{});
      break;
    case ColumnForm::kUInt8:
      whole(uint8{});
      break;
    case ColumnForm::kInt16:
      whole(int16{});
      break;
    case ColumnForm::kUInt16:
      whole(uint16{});
      break;
    case ColumnForm::kInt32:
    case ColumnForm::kDay32:
      whole(int32{});
      break;
    case ColumnForm::kUInt32:
      whole(uint32{});
      break;
    case ColumnForm::kTime64:
    case ColumnForm::kTimeStamp64:
    case ColumnForm::kDecimal64:
      whole(int64{});
      break;
    case ColumnForm::kFloat32:
      real(float32{});
      break;
    case ColumnForm::kFloat64:
      real(float64{});
      break;
    case ColumnForm::kDateTime:
    case ColumnForm::kNumber:
    case ColumnForm::kText8:
    case ColumnForm::kText32:
      break;
  }
  return block;
}

int32 ToDay32(const XeDate& date) { return static_cast<int32>(XeCalendar::DayNumber(date)); }
XeDate FromDay32(int32 day) { return XeCalendar::FromDayNumber(day); }

int64 ToTime64(const XeTime& time) {
  const int64 minutes = time.GetHour() * kMinutesPerHour + time.GetMinute();
  return (minutes * kSecondsPerMinute + time.GetSecond()) * kNanosecondsPerSecond +
         time.GetNanosecond();
}

XeTime FromTime64(int64 nanoseconds) {
  const int64 seconds = nanoseconds / kNanosecondsPerSecond;
  const int64 minutes = seconds / kSecondsPerMinute;
  return XeTime(static_cast<int>(minutes / kMinutesPerHour),
                static_cast<int>(minutes % kMinutesPerHour),
                static_cast<int>(seconds % kSecondsPerMinute),
                static_cast<uint32>(nanoseconds % kNanosecondsPerSecond));
}

bool TryTimeStamp64(const XeDateTime& value, int64& microseconds) {
  if (value.GetNanosecond() % kNanosecondsPerMicrosecond != 0) return false;
  microseconds = XeCalendar::DayNumber(value.GetDate()) * kMicrosecondsPerDay +
                 ToTime64(value.GetTime()) / kNanosecondsPerMicrosecond;
  return true;
}

XeDateTime FromTimeStamp64(int64 microseconds) {
  int64 day = microseconds / kMicrosecondsPerDay;
  int64 rest = microseconds % kMicrosecondsPerDay;
  if (rest < 0) {
    --day;
    rest += kMicrosecondsPerDay;
  }
  const XeTime time = FromTime64(rest * kNanosecondsPerMicrosecond);
  const XeDate date = XeCalendar::FromDayNumber(day);
  return XeDateTime(date.GetYear(), date.GetMonth(), date.GetDay(), time.GetHour(),
                    time.GetMinute(), time.GetSecond(), time.GetNanosecond());
}

}  // namespace sqxer
