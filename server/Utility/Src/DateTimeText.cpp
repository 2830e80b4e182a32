#include <array>

#include "DateTimeReading.h"
#include "Utility/DateTimeMetaData.h"

namespace sqxer {

namespace {

bool ReadIsoDate(DateTimeCursor& cursor, DateTimeReading& out) {
  int year, month, day;
  if (!cursor.ReadYear(year) || !cursor.Accept(L'-') || !cursor.ReadNumber(2, 2, month) ||
      !cursor.Accept(L'-') || !cursor.ReadNumber(2, 2, day)) {
    return false;
  }
  out.date = XeDate(year, month, day);
  out.hasDate = true;
  return out.date.IsValid();
}

bool ReadIsoTime(DateTimeCursor& cursor, DateTimeReading& out) {
  int hour, minute, second = 0, nanosecond = 0;
  if (!cursor.ReadNumber(2, 2, hour) || !cursor.Accept(L':') || !cursor.ReadNumber(2, 2, minute)) {
    return false;
  }
  if (cursor.Accept(L':')) {
    if (!cursor.ReadNumber(2, 2, second)) return false;
    if (cursor.Accept(L'.') && !cursor.ReadFraction(false, nanosecond)) return false;
  }
  out.time = XeTime(hour, minute, second, static_cast<uint32>(nanosecond));
  out.hasTime = true;
  return out.time.IsValid();
}

wchar_t* PutNumber(wchar_t* out, uint32 value, int digits) {
  for (int i = digits; i-- > 0; value /= 10) out[i] = static_cast<wchar_t>(L'0' + value % 10);
  return out + digits;
}

wchar_t* PutDate(wchar_t* out, int year, int month, int day) {
  if (year < 0) *out++ = L'-';
  const auto magnitude = static_cast<uint32>(year < 0 ? -year : year);
  out = PutNumber(out, magnitude, magnitude > 9999 ? 5 : 4);
  *out++ = L'-';
  out = PutNumber(out, static_cast<uint32>(month), 2);
  *out++ = L'-';
  return PutNumber(out, static_cast<uint32>(day), 2);
}

wchar_t* PutTime(wchar_t* out, int hour, int minute, int second, uint32 nanosecond) {
  out = PutNumber(out, static_cast<uint32>(hour), 2);
  *out++ = L':';
  out = PutNumber(out, static_cast<uint32>(minute), 2);
  *out++ = L':';
  out = PutNumber(out, static_cast<uint32>(second), 2);
  if (nanosecond == 0) return out;
  *out++ = L'.';
  out = PutNumber(out, nanosecond, 9);
  while (out[-1] == L'0') --out;
  return out;
}

template <class Value>
XeString TextOf(const Value& value) {
  std::array<wchar_t, kMostDateTimeText> text;
  return XeString(text.data(), WriteText(value, text.data()));
}

}  // namespace

bool ReadIsoDateTime(std::wstring_view text, DateTimeReading& out) {
  DateTimeCursor cursor(text);
  // A time has its colon where a date still has digits of the year.
  if (text.size() > 2 && text[2] == L':') return ReadIsoTime(cursor, out) && cursor.AtEnd();
  if (!ReadIsoDate(cursor, out)) return false;
  if (cursor.AtEnd()) return true;
  return (cursor.Accept(L' ') || cursor.Accept(L'T')) && ReadIsoTime(cursor, out) && cursor.AtEnd();
}

uint32 WriteText(const XeDate& value, wchar_t* out) {
  const wchar_t* end = PutDate(out, value.GetYear(), value.GetMonth(), value.GetDay());
  return static_cast<uint32>(end - out);
}

uint32 WriteText(const XeTime& value, wchar_t* out) {
  const wchar_t* end =
      PutTime(out, value.GetHour(), value.GetMinute(), value.GetSecond(), value.GetNanosecond());
  return static_cast<uint32>(end - out);
}

uint32 WriteText(const XeDateTime& value, wchar_t* out) {
  const uint32 day = WriteText(value.GetDate(), out);
  out[day] = L' ';
  return day + 1 + WriteText(value.GetTime(), out + day + 1);
}

XeString DateText(const XeDate& value) { return TextOf(value); }

XeString TimeText(const XeTime& value) { return TextOf(value); }

XeString DateTimeText(const XeDateTime& value) { return TextOf(value); }

}  // namespace sqxer
