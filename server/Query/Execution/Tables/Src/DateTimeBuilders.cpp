#include <algorithm>

#include "FixedBuilder.h"
#include "Utility/XeAssert.h"
#include "VectorBuilders.h"

namespace sqxer {
namespace {

constexpr std::size_t kDayCharacters = 10;   // 2012-02-29
constexpr std::size_t kClockCharacters = 8;  // 23:59:59

/// Reads as many digits; false where one is none.
bool ReadDigits(const char* at, int count, int& value) {
  value = 0;
  for (int i = 0; i < count; ++i) {
    const unsigned digit = static_cast<unsigned char>(at[i]) - unsigned{'0'};
    if (digit > 9) return false;
    value = value * 10 + static_cast<int>(digit);
  }
  return true;
}

/// YYYY-MM-DD of a day of the calendar. The year 0 and others are the general reader's.
bool ReadDay(const char* at, XeDate& date) {
  int year, month, day;
  if (!ReadDigits(at, 4, year) || at[4] != '-' || !ReadDigits(at + 5, 2, month) || at[7] != '-' ||
      !ReadDigits(at + 8, 2, day)) {
    return false;
  }
  date = XeDate(year, month, day);
  return year > 0 && date.IsValid();
}

/// HH:MM:SS.
bool ReadClock(const char* at, XeTime& time) {
  int hour, minute, second;
  if (!ReadDigits(at, 2, hour) || at[2] != ':' || !ReadDigits(at + 3, 2, minute) || at[5] != ':' ||
      !ReadDigits(at + 6, 2, second)) {
    return false;
  }
  time = XeTime(hour, minute, second);
  return time.IsValid();
}

class DayBuilder final : public FixedBuilder<DayBuilder, int32> {
 public:
  explicit DayBuilder(const Options& options) : FixedBuilder(options, ColumnForm::kDay32) {}
  bool ReadText(std::string_view text, int32& value) {
    XeDate date;
    if (text.size() != kDayCharacters || !ReadDay(text.data(), date)) {
      if (!HasKind(text, kDateKind) || !ReadValue(text, date)) return false;
    }
    value = ToDay32(date);
    return true;
  }
};

class TimeBuilder final : public FixedBuilder<TimeBuilder, int64> {
 public:
  explicit TimeBuilder(const Options& options) : FixedBuilder(options, ColumnForm::kTime64) {}
  bool ReadText(std::string_view text, int64& value) const {
    XeTime time;
    if (text.size() != kClockCharacters || !ReadClock(text.data(), time)) {
      if (!HasKind(text, kTimeKind) || !ReadValue(text, time)) return false;
    }
    value = ToTime64(time);
    return true;
  }
};

/// Microseconds; from the first value on that has parts of one, date-times as records hold them.
class TimeStampBuilder final : public TypedBuilder<TimeStampBuilder> {
 public:
  explicit TimeStampBuilder(const Options& options) : TypedBuilder(options) {}

  void Reserve(uint64 more) {
    values_.Reserve((rows_ + more) * Width());
    reserved_ = std::max(reserved_, rows_ + more);
  }

  Outcome TakeText(std::string_view text) {
    XeDateTime value;
    if (!ReadCommon(text, value)) {
      if (IsInferred() && (ClassifyText(text) & kTimeStampKind) == 0) return Outcome::kUnreadable;
      if (!ReadValue(text, value)) return Outcome::kUnreadable;
    }
    if (!isGeneral_ && TryTimeStamp64(value, values_.As<int64>()[rows_])) return Outcome::kTaken;
    TurnGeneral();
    values_.As<XeDateTime>()[rows_] = value;
    return Outcome::kTaken;
  }

  void TakeNull() {
    if (isGeneral_) {
      values_.As<XeDateTime>()[rows_] = XeDateTime();
    } else {
      values_.As<int64>()[rows_] = 0;
    }
  }

 private:
  std::size_t Width() const { return isGeneral_ ? sizeof(XeDateTime) : sizeof(int64); }

  /// YYYY-MM-DD HH:MM:SS, with a T for the blank too.
  static bool ReadCommon(std::string_view text, XeDateTime& value) {
    XeDate date;
    XeTime time;
    if (text.size() != kDayCharacters + 1 + kClockCharacters) return false;
    const char between = text[kDayCharacters];
    if ((between != ' ' && between != 'T') || !ReadDay(text.data(), date) ||
        !ReadClock(text.data() + kDayCharacters + 1, time)) {
      return false;
    }
    value = XeDateTime(date.GetYear(), date.GetMonth(), date.GetDay(), time.GetHour(),
                       time.GetMinute(), time.GetSecond());
    return true;
  }

  void TurnGeneral() {
    if (isGeneral_) return;
    ColumnBuffer general;
    general.Reserve(std::max(reserved_, rows_ + 1) * sizeof(XeDateTime));
    for (uint64 row = 0; row < rows_; ++row) {
      general.As<XeDateTime>()[row] = FromTimeStamp64(values_.As<int64>()[row]);
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
