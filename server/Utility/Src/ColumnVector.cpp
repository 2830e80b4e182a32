#include "Utility/ColumnVector.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

#include "Utility/TrimmedText.h"
#include "Utility/XeCalendar.h"

namespace sqxer {
namespace {

constexpr int64 kNanosecondsPerSecond = 1'000'000'000;
constexpr int64 kMicrosecondsPerDay = 86'400'000'000;
constexpr int64 kSecondsPerMinute = 60;
constexpr int64 kMinutesPerHour = 60;
constexpr int64 kNanosecondsPerMicrosecond = 1000;
constexpr uint64 kMostBoundedEntries = 4096;

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

/// The least and the greatest of values, and whether all of them are in order with themselves, as a
/// NaN is not: in lanes, which a compiler takes all at once.
template <class T>
class Bounds {
 public:
  explicit Bounds(T value) {
    std::ranges::fill(least_, value);
    std::ranges::fill(greatest_, value);
    std::ranges::fill(isOrdered_, 1);
  }

  void Add(const T* values, uint64 count) {
    const T* const end = values + count;
    for (; end - values >= kLanes; values += kLanes) {
      for (int lane = 0; lane < kLanes; ++lane) AddTo(lane, values[lane]);
    }
    for (; values != end; ++values) AddTo(0, *values);
  }

  T GetLeast() const { return std::ranges::min(least_); }
  T GetGreatest() const { return std::ranges::max(greatest_); }
  bool AreOrdered() const { return std::ranges::find(isOrdered_, 0) == std::end(isOrdered_); }

 private:
  static constexpr int kLanes = 32 / sizeof(T);

  void AddTo(int lane, T value) {
    least_[lane] = value < least_[lane] ? value : least_[lane];
    greatest_[lane] = greatest_[lane] < value ? value : greatest_[lane];
    if constexpr (std::is_floating_point_v<T>) isOrdered_[lane] &= value == value;
  }

  T least_[kLanes];
  T greatest_[kLanes];
  std::conditional_t<sizeof(T) == 8, int64, int32> isOrdered_[kLanes];
};

template <class T, class Bound>
bool FindBounds(const ColumnVector& vector, uint64 first, uint64 end, Bound& least,
                Bound& greatest) {
  constexpr uint64 kWordRows = 64;
  const T* const values = reinterpret_cast<const T*>(vector.values);
  uint64 known = first;
  while (known < end && vector.IsNull(known)) ++known;
  if (known == end) {
    least = greatest = 0;
    return false;
  }
  Bounds<T> bounds(values[known]);
  if (vector.validity == nullptr) {
    bounds.Add(values + first, end - first);
  } else {
    for (uint64 row = first; row < end; row += kWordRows) {
      const uint64 count = std::min(end - row, kWordRows);
      uint64 nulls = ~vector.validity[row / kWordRows];
      if (nulls == 0) {
        bounds.Add(values + row, count);
        continue;
      }
      // What stands at a NULL may be anything, so a value known before is put there.
      T filled[kWordRows];
      std::copy_n(values + row, count, filled);
      for (; nulls != 0; nulls &= nulls - 1) filled[std::countr_zero(nulls)] = values[known];
      bounds.Add(filled, count);
    }
  }
  least = bounds.GetLeast();
  greatest = bounds.GetGreatest();
  return bounds.AreOrdered();
}

TrimmedText TextAt(const ColumnVector& texts, uint64 entry) {
  const uint64 start = texts.GetOffset(entry);
  return TrimmedText::Of(texts.values + start,
                         static_cast<uint32>(texts.GetOffset(entry + 1) - start));
}

/// Calls `use` with the rows that have a value.
template <class Use>
void ForEachValue(const ColumnVector& vector, uint64 first, uint64 end, Use&& use) {
  for (uint64 row = first; row < end; ++row) {
    if (vector.validity == nullptr || !vector.IsNull(row)) use(row);
  }
}

/// The least and the greatest of some texts, and the first places that have them.
class TextBounds {
 public:
  [[gnu::always_inline]] void Add(const TrimmedText& text, uint64 place) {
    if (!isAny_) {
      least_ = greatest_ = text;
      places_ = {place, place};
      isAny_ = true;
    } else if (text.prefix <= least_.prefix && text.Compare(least_) < 0) {
      least_ = text;
      places_.least = place;
    } else if (text.prefix >= greatest_.prefix && text.Compare(greatest_) > 0) {
      greatest_ = text;
      places_.greatest = place;
    }
  }

  bool IsAny() const { return isAny_; }
  const TrimmedText& GetLeast() const { return least_; }
  const TrimmedText& GetGreatest() const { return greatest_; }
  const ColumnBounds<uint64>& GetPlaces() const { return places_; }

 private:
  TrimmedText least_;
  TrimmedText greatest_;
  ColumnBounds<uint64> places_ = {0, 0};
  bool isAny_ = false;
};

/// Of texts of which some rows share one: each is looked at once. False when there is none.
template <class Code>
bool FindCodedBounds(const ColumnVector& vector, uint64 first, uint64 end,
                     ColumnBounds<uint64>& rows) {
  enum Mark : uint8 { kUsed = 1, kLeast = 2, kGreatest = 4 };
  const ColumnVector& entries = *vector.dictionary;
  const Code* const codes = reinterpret_cast<const Code*>(vector.values);
  std::array<uint8, kMostBoundedEntries> marks;
  std::fill_n(marks.begin(), entries.rows, 0);
  ForEachValue(vector, first, end, [&](uint64 row) { marks[codes[row]] = kUsed; });
  TextBounds bounds;
  for (uint64 entry = 0; entry < entries.rows; ++entry) {
    if (marks[entry] != 0) bounds.Add(TextAt(entries, entry), entry);
  }
  if (!bounds.IsAny()) return false;
  // Several entries can differ in the blanks that end them.
  for (uint64 entry = 0; entry < entries.rows; ++entry) {
    if (marks[entry] == 0) continue;
    const TrimmedText text = TextAt(entries, entry);
    if (text.Compare(bounds.GetLeast()) == 0) marks[entry] |= kLeast;
    if (text.Compare(bounds.GetGreatest()) == 0) marks[entry] |= kGreatest;
  }
  const auto findFirst = [&](Mark mark) {
    uint64 row = first;
    while (vector.IsNull(row) || (marks[codes[row]] & mark) == 0) ++row;
    return row;
  };
  rows = {findFirst(kLeast), findFirst(kGreatest)};
  return true;
}

/// False when there is no text, or looking at all of them would take long.
bool FindTextBounds(const ColumnVector& vector, uint64 first, uint64 end,
                    ColumnBounds<uint16>& bounds) {
  ColumnBounds<uint64> rows{};
  if (vector.dictionary) {
    if (vector.dictionary->rows > kMostBoundedEntries) return false;
    const bool isAny = vector.codeWidth == 1   ? FindCodedBounds<uint8>(vector, first, end, rows)
                       : vector.codeWidth == 2 ? FindCodedBounds<uint16>(vector, first, end, rows)
                                               : FindCodedBounds<uint32>(vector, first, end, rows);
    if (!isAny) return false;
  } else {
    TextBounds texts;
    ForEachValue(vector, first, end, [&](uint64 row) { texts.Add(TextAt(vector, row), row); });
    if (!texts.IsAny()) return false;
    rows = texts.GetPlaces();
  }
  bounds = {static_cast<uint16>(rows.least - first), static_cast<uint16>(rows.greatest - first)};
  return true;
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
  block.rows = static_cast<uint32>(end - first);
  block.nulls = static_cast<uint32>(end - first - CountValues(vector, first, end));
  block.endsInBlank = textEndsInBlank;
  if (first == end) return block;
  if (vector.form == ColumnForm::kText8) {
    block.texts = {0, 0};
    block.hasBounds = FindTextBounds(vector, first, end, block.texts);
  }
  if (vector.dictionary) return block;
  if (vector.form == ColumnForm::kDecimal128) {
    block.wide = {0, 0};
    block.hasBounds = FindBounds<int128>(vector, first, end, block.wide.least, block.wide.greatest);
    return block;
  }
  WithNumberType(vector.form, [&]<class T>(std::type_identity<T>) {
    const auto find = [&](auto& least, auto& greatest) {
      block.hasBounds = FindBounds<T>(vector, first, end, least, greatest);
    };
    if constexpr (std::floating_point<T>) {
      block.real = {0, 0};
      find(block.real.least, block.real.greatest);
    } else {
      find(block.whole.least, block.whole.greatest);
    }
  });
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
