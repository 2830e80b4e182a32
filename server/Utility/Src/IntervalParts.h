#pragma once

#include <cmath>

#include "Utility/XeInterval.h"

namespace sqxer {

/// An interval that is read part by part. Each addition is false where a part leaves its type.
class IntervalParts {
 public:
  /// A number as it stands in a text: the whole part, and the fraction with the same sign.
  struct Number {
    int64 whole = 0;
    float64 fraction = 0;
  };

  bool AddYears(const Number& number, int years) {
    return AddTo(years_, number.whole, years) &&
           AddTo(months_, static_cast<int64>(std::rint(number.fraction * years * 12)), 1);
  }
  bool AddMonths(const Number& number) {
    return AddTo(months_, number.whole, 1) && AddDayFraction(number.fraction, 30);
  }
  bool AddDays(const Number& number, int days) {
    return AddTo(days_, number.whole, days) && (days == 1 ? AddFraction(number.fraction, kPerDay)
                                                          : AddDayFraction(number.fraction, days));
  }
  /// Of a unit that has so many microseconds.
  bool AddTime(const Number& number, int64 unit) {
    return AddMicroseconds(number.whole, unit) && AddFraction(number.fraction, unit);
  }
  void SetMicroseconds(int64 value) { microseconds_ = value; }
  /// False where a part has no negation.
  bool Negate() {
    if (years_ == INT32_MIN || months_ == INT32_MIN || days_ == INT32_MIN ||
        microseconds_ == INT64_MIN) {
      return false;
    }
    years_ = -years_;
    months_ = -months_;
    days_ = -days_;
    microseconds_ = -microseconds_;
    return true;
  }
  bool Get(XeInterval& out) const {
    const int64 months = int64{years_} * 12 + months_;
    if (months < INT32_MIN || months > INT32_MAX) return false;
    out = {static_cast<int32>(months), days_, microseconds_};
    return true;
  }

  static constexpr int64 kPerSecond = 1'000'000;
  static constexpr int64 kPerMinute = 60 * kPerSecond;
  static constexpr int64 kPerHour = 60 * kPerMinute;
  static constexpr int64 kPerDay = 24 * kPerHour;

 private:
  static bool AddTo(int32& part, int64 count, int32 unit) {
    int64 product;
    int64 sum;
    if (__builtin_mul_overflow(count, int64{unit}, &product) ||
        __builtin_add_overflow(product, int64{part}, &sum) || sum < INT32_MIN || sum > INT32_MAX) {
      return false;
    }
    part = static_cast<int32>(sum);
    return true;
  }
  bool AddMicroseconds(int64 count, int64 unit) {
    int64 product;
    return !__builtin_mul_overflow(count, unit, &product) &&
           !__builtin_add_overflow(microseconds_, product, &microseconds_);
  }
  /// The fraction of a unit that has so many microseconds.
  bool AddFraction(float64 fraction, int64 unit) {
    const float64 scaled = fraction * static_cast<float64>(unit);
    auto whole = static_cast<int64>(scaled);
    const float64 rest = scaled - static_cast<float64>(whole);
    // A half stays where it is.
    if (rest > 0.5) ++whole;
    if (rest < -0.5) --whole;
    return AddMicroseconds(whole, 1);
  }
  /// The fraction of a unit that has so many days, whose own fraction goes on into the time.
  bool AddDayFraction(float64 fraction, int days) {
    const float64 scaled = fraction * days;
    const auto whole = static_cast<int32>(scaled);
    return AddTo(days_, whole, 1) && AddFraction(scaled - whole, kPerDay);
  }

  int32 years_ = 0;
  int32 months_ = 0;
  int32 days_ = 0;
  int64 microseconds_ = 0;
};

/// ISO 8601 with its P in front; see ReadInterval.
IntervalReading ReadIsoInterval(std::string_view text, IntervalParts& out);

}  // namespace sqxer
