#include <algorithm>
#include <array>

#include "DigitWord.h"
#include "FixedBuilder.h"
#include "Utility/XeAssert.h"
#include "Utility/XeCalendar.h"
#include "VectorBuilders.h"

namespace sqxer {
namespace {

constexpr std::size_t kDayCharacters = 10;   // 2012-02-29
constexpr std::size_t kClockCharacters = 8;  // 23:59:59

constexpr int64 kSecondsPerDay = 86'400;
constexpr int64 kMicrosecondsPerSecond = 1'000'000;
constexpr int64 kNanosecondsPerSecond = 1'000'000'000;

/// Eight characters of a notation: 0 stands for any digit, all else for itself.
class Shape {
 public:
  consteval explicit Shape(const char (&pattern)[sizeof(uint64) + 1]) {
    for (std::size_t i = 0; i < sizeof(uint64); ++i) {
      const uint64 most = pattern[i] == '0' ? 9 : 0;
      pattern_ |= static_cast<uint64>(pattern[i]) << 8 * i;
      room_ |= (0x7F - most) << 8 * i;
    }
  }
  /// Turns the characters of a word into the values of their digits, 0 for the others; true if it
  /// has the shape.
  bool Read(uint64& word) const {
    word ^= pattern_;
    return (((word + room_) | word) & kHighBits) == 0;
  }

 private:
  uint64 pattern_ = 0;
  /// How much the value of each byte may grow below 128.
  uint64 room_ = 0;
};

int ByteOf(uint64 word, int place) { return static_cast<int>(word >> 8 * place & 0xFF); }

/// Reads YYYY-MM-DD, with the months of the calendar at hand that it has met.
class DayReader {
 public:
  /// Of kDayCharacters: false for what is no day of the calendar. The year 0 and others are the
  /// general reader's.
  bool Read(const char* text, int32& day) {
    constexpr Shape kYearAndMonth("0000-00-");
    constexpr Shape kMonthAndDay("00-00-00");
    constexpr std::size_t kCentury = 2;
    uint64 front = LoadWord(text);
    uint64 back = LoadWord(text + kCentury);
    if (!kYearAndMonth.Read(front) || !kMonthAndDay.Read(back)) return false;
    front = JoinPairs(front);
    back = JoinPairs(back);
    const int year = ByteOf(front, 0) * 100 + ByteOf(back, 0);
    const int monthOfYear = ByteOf(back, 3);
    const int dayOfMonth = ByteOf(back, 6);
    if (monthOfYear > kMonthsPerYear) return false;
    const uint32 key = static_cast<uint32>(year) * kKeysPerYear + static_cast<uint32>(monthOfYear);
    Month& month = months_[key % kMonths];
    if (month.key != key) [[unlikely]]
      month = Find(key, year, monthOfYear);
    day = month.dayBefore + dayOfMonth;
    return dayOfMonth > 0 && dayOfMonth <= month.days;
  }

 private:
  static constexpr int kMonthsPerYear = 12;
  static constexpr uint32 kKeysPerYear = 16;
  /// 64 years in a row have places of their own.
  static constexpr std::size_t kMonths = 64 * kKeysPerYear;

  struct Month {
    /// No month has 0.
    uint32 key = 0;
    /// As of ToDay32.
    int32 dayBefore = 0;
    int32 days = 0;
  };

  static Month Find(uint32 key, int year, int month) {
    if (year == 0 || month == 0) return {key, 0, 0};
    return {key, ToDay32(XeDate(year, month, 1)) - 1, XeCalendar::DaysInMonth(year, month)};
  }

  std::array<Month, kMonths> months_;
};

/// HH:MM:SS as seconds.
bool ReadClock(const char* text, int32& seconds) {
  constexpr Shape kClock("00:00:00");
  uint64 word = LoadWord(text);
  if (!kClock.Read(word)) return false;
  word = JoinPairs(word);
  const int hour = ByteOf(word, 0);
  const int minute = ByteOf(word, 3);
  const int second = ByteOf(word, 6);
  seconds = (hour * 60 + minute) * 60 + second;
  return hour < 24 && minute < 60 && second < 60;
}

class DayBuilder final : public FixedBuilder<DayBuilder, int32> {
 public:
  static constexpr bool kTakesQuoted = true;
  explicit DayBuilder(const Options& options) : FixedBuilder(options, ColumnForm::kDay32) {}
  bool ReadText(std::string_view text, int32& value) {
    if (text.size() == kDayCharacters && days_.Read(text.data(), value)) return true;
    XeDate date;
    if (!HasKind(text, kDateKind) || !ReadValue(text, date)) return false;
    value = ToDay32(date);
    return true;
  }

 private:
  DayReader days_;
};

class TimeBuilder final : public FixedBuilder<TimeBuilder, int64> {
 public:
  static constexpr bool kTakesQuoted = true;
  explicit TimeBuilder(const Options& options) : FixedBuilder(options, ColumnForm::kTime64) {}
  bool ReadText(std::string_view text, int64& value) const {
    int32 seconds;
    if (text.size() == kClockCharacters && ReadClock(text.data(), seconds)) {
      value = seconds * kNanosecondsPerSecond;
      return true;
    }
    XeTime time;
    if (!HasKind(text, kTimeKind) || !ReadValue(text, time)) return false;
    value = ToTime64(time);
    return true;
  }
};

/// Microseconds; from the first value on that has parts of one, date-times as records hold them.
class TimeStampBuilder final : public TypedBuilder<TimeStampBuilder> {
 public:
  static constexpr bool kTakesQuoted = true;
  explicit TimeStampBuilder(const Options& options) : TypedBuilder(options) {}

  void Reserve(uint64 more) {
    values_.Reserve((rows_ + more) * Width());
    reserved_ = std::max(reserved_, rows_ + more);
  }

  Outcome TakeText(std::string_view text, uint64 row) {
    int64 microseconds;
    XeDateTime value;
    bool isWhole = ReadCommon(text, microseconds);
    if (!isWhole) {
      if (IsInferred() && (ClassifyText(text) & kTimeStampKind) == 0) return Outcome::kUnreadable;
      if (!ReadValue(text, value)) return Outcome::kUnreadable;
      isWhole = !isGeneral_ && TryTimeStamp64(value, microseconds);
    } else if (isGeneral_) {
      value = FromTimeStamp64(microseconds);
    }
    if (!isGeneral_ && isWhole) {
      values_.As<int64>()[row] = microseconds;
      return Outcome::kTaken;
    }
    TurnGeneral(row);
    values_.As<XeDateTime>()[row] = value;
    return Outcome::kTaken;
  }

  void TakeNull(uint64 row) {
    if (isGeneral_) {
      values_.As<XeDateTime>()[row] = XeDateTime();
    } else {
      values_.As<int64>()[row] = 0;
    }
  }

 private:
  std::size_t Width() const { return isGeneral_ ? sizeof(XeDateTime) : sizeof(int64); }

  /// YYYY-MM-DD HH:MM:SS, with a T for the blank too.
  bool ReadCommon(std::string_view text, int64& microseconds) {
    int32 day, seconds;
    if (text.size() != kDayCharacters + 1 + kClockCharacters) return false;
    const char between = text[kDayCharacters];
    if ((between != ' ' && between != 'T') || !days_.Read(text.data(), day) ||
        !ReadClock(text.data() + kDayCharacters + 1, seconds)) {
      return false;
    }
    microseconds = (day * kSecondsPerDay + seconds) * kMicrosecondsPerSecond;
    return true;
  }

  /// Turns the values before a row.
  void TurnGeneral(uint64 row) {
    if (isGeneral_) return;
    ColumnBuffer general;
    general.Reserve(std::max(reserved_, row + 1) * sizeof(XeDateTime));
    for (uint64 before = 0; before < row; ++before) {
      general.As<XeDateTime>()[before] = FromTimeStamp64(values_.As<int64>()[before]);
    }
    values_ = std::move(general);
    isGeneral_ = true;
    ForgetBlocks();
  }

  ColumnVector ShowValues() const override {
    ColumnVector vector;
    vector.form = isGeneral_ ? ColumnForm::kDateTime : ColumnForm::kTimeStamp64;
    vector.values = values_.GetData();
    vector.rows = rows_;
    return vector;
  }
  ColumnVector TakeValues() override {
    Reserve(1);
    auto kept = std::make_shared<KeptBuffers>();
    values_.Shrink(rows_ * Width());
    ColumnVector vector = ShowValues();
    kept->values = std::move(values_);
    vector.values = kept->values.GetData();
    vector.owner = std::move(kept);
    return vector;
  }

  DayReader days_;
  ColumnBuffer values_;
  uint64 reserved_ = 0;
  bool isGeneral_ = false;
};

}  // namespace

std::unique_ptr<VectorBuilder> MakeDateTimeBuilder(XeDataType type,
                                                   const VectorBuilder::Options& options) {
  switch (type) {
    case XeDateData:
      return std::make_unique<DayBuilder>(options);
    case XeTimeData:
      return std::make_unique<TimeBuilder>(options);
    case XeTimeStampData:
      return std::make_unique<TimeStampBuilder>(options);
    default:
      XeLogicError("a column type that no file has");
  }
}

}  // namespace sqxer
