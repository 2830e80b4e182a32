#include "Utility/DateTimeMetaData.h"

#include <array>
#include <limits>
#include <utility>

#include "DateTimeReading.h"
#include "TextBlanks.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/EnglishDateNames.h"
#include "Utility/ErrorMessage.h"
#include "Utility/SUXeDataTypeUtility.h"
#include "Utility/XeAssert.h"
#include "Utility/XeCalendar.h"
#include "Utility/XeIntlDateTimeMgr.h"

namespace sqxer {

namespace {

constexpr std::array<std::wstring_view, 2> kHalfNames = {L"AM", L"PM"};

struct Element {
  std::wstring_view spelling;
  EnDateTimeFormatType type;
  bool isNumber;
};

/// Of two spellings with the same beginning the longer one stands first.
constexpr Element kElements[] = {
    {L"YYYY", IntYear4Type, true},
    {L"YY", IntYear2Type, true},
    {L"MONTH", CharLongMonthType, false},
    {L"MON", CharShortMonthType, false},
    {L"MM", IntMonthType, true},
    {L"MI", IntMinuteType, true},
    {L"MS", IntMilliSecondType, true},
    {L"DDD", IntDayOfYearType, true},
    {L"DD", IntMonthDayType, true},
    {L"DAY", CharLongDOWType, false},
    {L"DY", CharShortDOWType, false},
    {L"WW", IntWeekOfYearType, true},
    {L"AM", CharAmPmType, false},
    {L"PM", CharAmPmType, false},
    {L"HH24", IntHourType, true},
    {L"HH12", IntHourType, true},
    {L"HH", IntHourType, true},
    {L"SS", IntSecondType, true},
    {L"NS", IntNanoSecondType, true},
    {L"FF", IntFractionalSecondType, true},
    {L"US", IntFractionalSecondType, true},
};

bool StartsWith(std::wstring_view text, std::wstring_view start) {
  return text.size() >= start.size() &&
         BaseStringUtil::IsCaseInsensitiveMatch(text.substr(0, start.size()), start);
}

const Element* FindElement(std::wstring_view format) {
  for (const Element& element : kElements) {
    if (StartsWith(format, element.spelling)) return &element;
  }
  return nullptr;
}

bool IsNumber(int type) {
  for (const Element& element : kElements) {
    if (element.type == type) return element.isNumber;
  }
  return false;
}

bool IsAsciiLetterOrDigit(wchar_t c) {
  return (c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z');
}

/// What the elements of a text have said so far. An element that comes twice must say the same.
class Fields {
 public:
  enum Field {
    kYear,
    kMonth,
    kDay,
    kDayOfYear,
    kWeek,
    kWeekday,
    kHalf,
    kHour,
    kMinute,
    kSecond,
    kNanosecond,
    kFields
  };

  explicit Fields(int firstDayOfWeek) : firstDayOfWeek_(firstDayOfWeek) { values_.fill(kUnsaid); }

  bool Say(Field field, int value) {
    if (values_[field] == kUnsaid) values_[field] = value;
    return values_[field] == value;
  }

  /// The day and time of day that the fields name; false when they contradict each other or the
  /// calendar.
  bool Resolve(DateTimeReading& out) const {
    out.hasDate = AnyOf(kYear, kWeekday);
    out.hasTime = AnyOf(kHalf, kNanosecond);
    return (!out.hasDate || ResolveDate(out.date)) && (!out.hasTime || ResolveTime(out.time));
  }

 private:
  static constexpr int kUnsaid = std::numeric_limits<int>::min();

  bool Has(Field field) const { return values_[field] != kUnsaid; }
  int Get(Field field, int otherwise) const { return Has(field) ? values_[field] : otherwise; }
  bool Agrees(Field field, int value) const { return Get(field, value) == value; }
  bool AnyOf(Field first, Field last) const {
    for (int field = first; field <= last; ++field) {
      if (Has(static_cast<Field>(field))) return true;
    }
    return false;
  }

  bool ResolveDate(XeDate& date) const {
    date = XeDate(Get(kYear, 1900), Get(kMonth, 1), Get(kDay, 1));
    if (!date.IsValid()) return false;
    if (Has(kDayOfYear)) {
      if (!MoveToDayOfYear(date, Get(kDayOfYear, 1))) return false;
    } else if (Has(kWeek) && !Has(kMonth) && !Has(kDay)) {
      if (!MoveToWeek(date, firstDayOfWeek_)) return false;
    }
    return Agrees(kMonth, date.GetMonth()) && Agrees(kDay, date.GetDay()) &&
           Agrees(kWeekday, XeCalendar::DayOfWeek(date)) &&
           Agrees(kWeek, XeCalendar::WeekOfYear(date, firstDayOfWeek_));
  }

  static bool MoveToDayOfYear(XeDate& date, int dayOfYear) {
    if (dayOfYear < 1 || dayOfYear > (XeCalendar::IsLeapYear(date.GetYear()) ? 366 : 365)) {
      return false;
    }
    date = XeCalendar::AddDays(XeDate(date.GetYear(), 1, 1), dayOfYear - 1);
    return true;
  }

  /// The named day of the week, or else the week's first day within the year.
  bool MoveToWeek(XeDate& date, int firstDayOfWeek) const {
    const int daysBefore = (XeCalendar::DayOfWeek(date) - firstDayOfWeek + 7) % 7;
    int dayOfYear = (Get(kWeek, 1) - 1) * 7 - daysBefore + 1;
    if (Has(kWeekday)) {
      dayOfYear += (Get(kWeekday, 1) - firstDayOfWeek + 7) % 7;
    } else if (dayOfYear < 1 && dayOfYear > -6) {
      dayOfYear = 1;
    }
    return MoveToDayOfYear(date, dayOfYear);
  }

  bool ResolveTime(XeTime& time) const {
    int hour = Get(kHour, Has(kHalf) ? 12 : 0);
    if (Has(kHalf)) {
      if (hour < 1 || hour > 12) return false;
      hour = hour % 12 + 12 * Get(kHalf, 0);
    }
    time = XeTime(hour, Get(kMinute, 0), Get(kSecond, 0), static_cast<uint32>(Get(kNanosecond, 0)));
    return time.IsValid();
  }

  const int firstDayOfWeek_;
  std::array<int, kFields> values_;
};

bool SayNumber(DateTimeCursor& cursor, bool exact, int mostDigits, Fields& fields,
               Fields::Field field, int unit = 1) {
  int value;
  return cursor.ReadNumber(exact ? mostDigits : 1, mostDigits, value) &&
         fields.Say(field, value * unit);
}

/// Says which of the names comes next, counted from `first`.
template <std::size_t N>
bool SayName(DateTimeCursor& cursor, const std::array<std::wstring_view, N>& names,
             std::size_t length, Fields& fields, Fields::Field field, int first) {
  for (std::size_t i = 0; i < N; ++i) {
    const std::wstring_view name = names[i].substr(0, length);
    if (!StartsWith(cursor.GetRest(), name)) continue;
    cursor.Skip(name.size());
    return fields.Say(field, static_cast<int>(i) + first);
  }
  return false;
}

bool SayElement(DateTimeCursor& cursor, int element, bool exact, Fields& fields) {
  constexpr std::size_t kWhole = std::wstring_view::npos;
  int value;
  switch (element) {
    case IntYear2Type:
      return cursor.ReadNumber(2, 2, value) &&
             fields.Say(Fields::kYear, value + (value < 69 ? 2000 : 1900));
    case IntYear4Type:
      return cursor.ReadYear(value) && fields.Say(Fields::kYear, value);
    case IntMonthType:
      return SayNumber(cursor, exact, 2, fields, Fields::kMonth);
    case CharShortMonthType:
      return SayName(cursor, kEnglishMonthNames, kEnglishShortName, fields, Fields::kMonth, 1);
    case CharLongMonthType:
      return SayName(cursor, kEnglishMonthNames, kWhole, fields, Fields::kMonth, 1);
    case IntDayOfYearType:
      return SayNumber(cursor, exact, 3, fields, Fields::kDayOfYear);
    case IntWeekOfYearType:
      return SayNumber(cursor, exact, 2, fields, Fields::kWeek);
    case IntMonthDayType:
      return SayNumber(cursor, exact, 2, fields, Fields::kDay);
    case CharShortDOWType:
      return SayName(cursor, kEnglishDayNames, kEnglishShortName, fields, Fields::kWeekday, 1);
    case CharLongDOWType:
      return SayName(cursor, kEnglishDayNames, kWhole, fields, Fields::kWeekday, 1);
    case CharAmPmType:
      return SayName(cursor, kHalfNames, kWhole, fields, Fields::kHalf, 0);
    case IntHourType:
      return SayNumber(cursor, exact, 2, fields, Fields::kHour);
    case IntMinuteType:
      return SayNumber(cursor, exact, 2, fields, Fields::kMinute);
    case IntSecondType:
      return SayNumber(cursor, exact, 2, fields, Fields::kSecond);
    case IntMilliSecondType:
      return SayNumber(cursor, exact, 3, fields, Fields::kNanosecond, 1'000'000);
    case IntNanoSecondType:
      return SayNumber(cursor, exact, 9, fields, Fields::kNanosecond);
    case IntFractionalSecondType:
      return cursor.ReadFraction(exact, value) && fields.Say(Fields::kNanosecond, value);
    default:
      XeLogicError("unknown element of a date format");
  }
}

/// A blank of the format stands for one or more blanks of the text.
bool AcceptLiteral(DateTimeCursor& cursor, wchar_t literal) {
  if (!cursor.Accept(literal)) return false;
  if (literal == L' ') {
    while (cursor.Accept(L' ')) continue;
  }
  return true;
}

template <class Value>
void ConvertOrThrow(const DateTimeMetaData& format, const XeString& text, XeDataType type,
                    Value& out) {
  if (format.TryConvert(text, out)) return;
  SUGThrow(ErrorMessage(59172, {text, SUXeDataTypeUtility::GetXeDataTypeName(type)}));
}

}  // namespace

void DateTimeMetaData::SetDateTimeFormat(const XeString& format) {
  std::vector<Step> steps;
  const std::wstring_view text = format;
  const auto refuse = [&](std::size_t index) {
    SUGThrow(ErrorMessage(59170, {format, std::to_wstring(index + 1)}));
  };
  for (std::size_t i = 0; i < text.size();) {
    if (text[i] == L'"') {
      const std::size_t close = text.find(L'"', i + 1);
      if (close == std::wstring_view::npos) refuse(i);
      for (wchar_t c : text.substr(i + 1, close - i - 1)) steps.push_back({-1, c, false});
      i = close + 1;
    } else if (const Element* element = FindElement(text.substr(i))) {
      if (element->isNumber && !steps.empty() && steps.back().element >= 0) {
        steps.back().exact = IsNumber(steps.back().element);
      }
      steps.push_back({element->type, L'\0', false});
      i += element->spelling.size();
    } else {
      if (IsAsciiLetterOrDigit(text[i])) refuse(i);
      steps.push_back({-1, text[i], false});
      ++i;
    }
  }
  const int firstDayOfWeek = XeIntlDateTimeMgr::GetFirstDayOfWeek();
  steps_ = std::move(steps);
  format_ = format;
  firstDayOfWeek_ = firstDayOfWeek;
}

bool DateTimeMetaData::Read(std::wstring_view text, DateTimeReading& out) const {
  text = TrimBlanks(text);
  if (steps_.empty()) return ReadIsoDateTime(text, out);
  DateTimeCursor cursor(text);
  Fields fields(firstDayOfWeek_);
  for (const Step& step : steps_) {
    const bool read = step.element < 0 ? AcceptLiteral(cursor, step.literal)
                                       : SayElement(cursor, step.element, step.exact, fields);
    if (!read) return false;
  }
  return cursor.AtEnd() && fields.Resolve(out);
}

bool DateTimeMetaData::TryConvert(std::wstring_view text, XeDate& out) const {
  DateTimeReading reading;
  if (!Read(text, reading) || !reading.hasDate) return false;
  out = reading.date;
  return true;
}

bool DateTimeMetaData::TryConvert(std::wstring_view text, XeTime& out) const {
  DateTimeReading reading;
  if (!Read(text, reading) || !reading.hasTime) return false;
  out = reading.time;
  return true;
}

bool DateTimeMetaData::TryConvert(std::wstring_view text, XeDateTime& out) const {
  DateTimeReading reading;
  if (!Read(text, reading) || (!reading.hasDate && !reading.hasTime)) return false;
  out = reading.time;
  if (reading.hasDate) {
    out.SetYear(reading.date.GetYear());
    out.SetMonth(reading.date.GetMonth());
    out.SetDay(reading.date.GetDay());
  }
  return true;
}

void DateTimeMetaData::Convert(const XeString& text, XeDate& out) const {
  ConvertOrThrow(*this, text, XeDateData, out);
}

void DateTimeMetaData::Convert(const XeString& text, XeTime& out) const {
  ConvertOrThrow(*this, text, XeTimeData, out);
}

void DateTimeMetaData::Convert(const XeString& text, XeDateTime& out) const {
  ConvertOrThrow(*this, text, XeDateTimeData, out);
}

}  // namespace sqxer
