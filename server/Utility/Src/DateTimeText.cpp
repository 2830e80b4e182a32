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

void AppendNumber(XeString& text, uint32 value, int digits) {
  wchar_t buffer[10];
  for (int i = digits; i-- > 0; value /= 10) buffer[i] = static_cast<wchar_t>(L'0' + value % 10);
  text.append(buffer, static_cast<std::size_t>(digits));
}

void AppendDate(XeString& text, int year, int month, int day) {
  if (year < 0) text += L'-';
  const auto magnitude = static_cast<uint32>(year < 0 ? -year : year);
  AppendNumber(text, magnitude, magnitude > 9999 ? 5 : 4);
  text += L'-';
  AppendNumber(text, static_cast<uint32>(month), 2);
  text += L'-';
  AppendNumber(text, static_cast<uint32>(day), 2);
}

void AppendTime(XeString& text, int hour, int minute, int second, uint32 nanosecond) {
  AppendNumber(text, static_cast<uint32>(hour), 2);
  text += L':';
  AppendNumber(text, static_cast<uint32>(minute), 2);
  text += L':';
  AppendNumber(text, static_cast<uint32>(second), 2);
  if (nanosecond == 0) return;
  text += L'.';
  AppendNumber(text, nanosecond, 9);
  while (text.back() == L'0') text.pop_back();
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

XeString DateText(const XeDate& value) {
  XeString text;
  AppendDate(text, value.GetYear(), value.GetMonth(), value.GetDay());
  return text;
}

XeString TimeText(const XeTime& value) {
  XeString text;
  AppendTime(text, value.GetHour(), value.GetMinute(), value.GetSecond(), value.GetNanosecond());
  return text;
}

XeString DateTimeText(const XeDateTime& value) {
  XeString text;
  text.reserve(30);
  AppendDate(text, value.GetYear(), value.GetMonth(), value.GetDay());
  text += L' ';
  AppendTime(text, value.GetHour(), value.GetMinute(), value.GetSecond(), value.GetNanosecond());
  return text;
}

}  // namespace sqxer
