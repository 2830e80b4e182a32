#include "SQXERMomentFormat.h"

#include <algorithm>

#include "SQXEROpsDates.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/EnglishDateNames.h"

namespace sqxer {

struct MomentFormat::Name {
  std::wstring_view text;
  Element element;
  Letters letters = Letters::kNone;
};

/// Of several that a format goes on with the first one is meant: words before numbers, which may be
/// written in small letters too, and longer ones before those that they begin with.
const MomentFormat::Name MomentFormat::kNames[] = {
    {L"A.D.", Element::kEra, Letters::kUpper},
    {L"B.C.", Element::kEra, Letters::kUpper},
    {L"a.d.", Element::kEra, Letters::kLower},
    {L"b.c.", Element::kEra, Letters::kLower},
    {L"AD", Element::kEra, Letters::kUpper},
    {L"BC", Element::kEra, Letters::kUpper},
    {L"ad", Element::kEra, Letters::kLower},
    {L"bc", Element::kEra, Letters::kLower},
    {L"A.M.", Element::kHalfOfDay, Letters::kUpper},
    {L"P.M.", Element::kHalfOfDay, Letters::kUpper},
    {L"a.m.", Element::kHalfOfDay, Letters::kLower},
    {L"p.m.", Element::kHalfOfDay, Letters::kLower},
    {L"AM", Element::kHalfOfDay, Letters::kUpper},
    {L"PM", Element::kHalfOfDay, Letters::kUpper},
    {L"am", Element::kHalfOfDay, Letters::kLower},
    {L"pm", Element::kHalfOfDay, Letters::kLower},
    {L"MONTH", Element::kMonthName, Letters::kUpper},
    {L"Month", Element::kMonthName, Letters::kCapital},
    {L"month", Element::kMonthName, Letters::kLower},
    {L"MON", Element::kMonthShort, Letters::kUpper},
    {L"Mon", Element::kMonthShort, Letters::kCapital},
    {L"mon", Element::kMonthShort, Letters::kLower},
    {L"DAY", Element::kDayName, Letters::kUpper},
    {L"Day", Element::kDayName, Letters::kCapital},
    {L"day", Element::kDayName, Letters::kLower},
    {L"DY", Element::kDayShort, Letters::kUpper},
    {L"Dy", Element::kDayShort, Letters::kCapital},
    {L"dy", Element::kDayShort, Letters::kLower},
    {L"RM", Element::kRomanMonth, Letters::kUpper},
    {L"rm", Element::kRomanMonth, Letters::kLower},
    {L"CC", Element::kCentury},
    {L"DDD", Element::kDayOfYear},
    {L"DD", Element::kDay},
    {L"D", Element::kDayOfWeek},
    {L"FF1", Element::kFraction1},
    {L"FF2", Element::kFraction2},
    {L"FF3", Element::kMillisecond},
    {L"FF4", Element::kFraction4},
    {L"FF5", Element::kFraction5},
    {L"FF6", Element::kMicrosecond},
    {L"HH24", Element::kHour24},
    {L"HH12", Element::kHour12},
    {L"HH", Element::kHour12},
    {L"IDDD", Element::kIsoDayOfYear},
    {L"ID", Element::kIsoDayOfWeek},
    {L"IW", Element::kIsoWeek},
    {L"IYYY", Element::kIsoYear4},
    {L"IYY", Element::kIsoYear3},
    {L"IY", Element::kIsoYear2},
    {L"I", Element::kIsoYear1},
    {L"J", Element::kJulianDay},
    {L"MI", Element::kMinute},
    {L"MM", Element::kMonth},
    {L"MS", Element::kMillisecond},
    {L"OF", Element::kZoneHours},
    {L"Q", Element::kQuarter},
    {L"SSSSS", Element::kSecondOfDay},
    {L"SSSS", Element::kSecondOfDay},
    {L"SS", Element::kSecond},
    {L"TZH", Element::kZoneHours},
    {L"TZM", Element::kZoneMinutes},
    {L"TZ", Element::kZone},
    {L"US", Element::kMicrosecond},
    {L"WW", Element::kWeek},
    {L"W", Element::kWeekOfMonth},
    {L"Y,YYY", Element::kYearWithComma},
    {L"YYYY", Element::kYear4},
    {L"YYY", Element::kYear3},
    {L"YY", Element::kYear2},
    {L"Y", Element::kYear1},
};

namespace {

bool SkipText(std::wstring_view& format, std::wstring_view text) {
  if (!format.starts_with(text)) return false;
  format.remove_prefix(text.size());
  return true;
}

/// Digits, filled up with zeros to a width (0: not filled up).
void AppendNumber(int64 value, std::size_t width, XeString& out) {
  const XeString digits = std::to_wstring(value < 0 ? -value : value);
  if (value < 0) out += L'-';
  // The sign has a place of its own.
  out.append(width - std::min(width, digits.size()), L'0');
  out += digits;
}

void AppendFilled(std::wstring_view text, std::size_t width, XeString& out) {
  out += text;
  out.append(width - std::min(width, text.size()), L' ');
}

/// Of a month or a day.
constexpr std::size_t kLongestName = 9;
constexpr std::wstring_view kRomanMonths[] = {L"I",   L"II",   L"III", L"IV", L"V",  L"VI",
                                              L"VII", L"VIII", L"IX",  L"X",  L"XI", L"XII"};

int DayOfIsoYear(const XeDateTime& moment) {
  return (IsoWeekOp::Apply(moment) - 1) * 7 + IsoDayOfWeekOp::Apply(moment);
}

}  // namespace

void AppendOrdinal(bool isUpper, XeString& text) {
  constexpr const wchar_t* kEndings[] = {L"th", L"st", L"nd", L"rd"};
  constexpr const wchar_t* kUpperEndings[] = {L"TH", L"ST", L"ND", L"RD"};
  const std::size_t size = text.size();
  const bool isTeen = size > 1 && text[size - 2] == L'1';
  const wchar_t last = text[size - 1];
  const std::size_t ending =
      !isTeen && last >= L'1' && last <= L'3' ? static_cast<std::size_t>(last - L'0') : 0;
  text += (isUpper ? kUpperEndings : kEndings)[ending];
}

XeString MomentFormat::WithLetters(std::wstring_view name, Letters letters) {
  XeString changed(name);
  for (wchar_t& c : changed) {
    if (letters == Letters::kUpper) c = BaseStringUtil::UpperCase(c);
    if (letters == Letters::kLower) c = BaseStringUtil::LowerCase(c);
  }
  return changed;
}

MomentFormat::MomentFormat(std::wstring_view format) {
  while (!format.empty()) {
    if (SkipText(format, L"\"")) {
      while (!format.empty() && format.front() != L'"') {
        if (format.front() == L'\\' && format.size() > 1) format.remove_prefix(1);
        AddLiteral(format.front());
        format.remove_prefix(1);
      }
      SkipText(format, L"\"");
    } else if (!ReadElement(format) && !format.empty()) {
      if (format.starts_with(L"\\\"")) format.remove_prefix(1);
      AddLiteral(format.front());
      format.remove_prefix(1);
    }
  }
}

void MomentFormat::AddLiteral(wchar_t character) {
  if (pieces_.empty() || pieces_.back().element != Element::kLiteral)
    pieces_.push_back({.element = Element::kLiteral});
  pieces_.back().literal += character;
}

bool MomentFormat::ReadElement(std::wstring_view& format) {
  Piece piece{.element = Element::kLiteral};
  // TM asks for names of a locale, of which there is one; FX is about reading.
  for (bool isModifier = true; isModifier;) {
    isModifier = SkipText(format, L"FM") || SkipText(format, L"fm") || SkipText(format, L"TM") ||
                 SkipText(format, L"tm");
    if (isModifier) piece.isFilled = false;
    isModifier = isModifier || SkipText(format, L"FX") || SkipText(format, L"fx");
  }
  const auto* const found = std::ranges::find_if(kNames, [&](const Name& name) {
    return format.starts_with(name.text) ||
           (name.letters == Letters::kNone &&
            format.starts_with(WithLetters(name.text, Letters::kLower)));
  });
  if (found == std::end(kNames)) return false;
  format.remove_prefix(found->text.size());
  piece.element = found->element;
  piece.letters = found->letters;
  piece.hasPoints = found->text.find(L'.') != found->text.npos;
  if (format.starts_with(L"TH") || format.starts_with(L"th")) piece.ordinal = format[0];
  if (piece.ordinal != 0 || format.starts_with(L"SP")) format.remove_prefix(2);
  pieces_.push_back(std::move(piece));
  return true;
}

void MomentFormat::Write(const XeDateTime& moment, XeString& out) const {
  for (const Piece& piece : pieces_) {
    if (piece.element == Element::kLiteral) {
      out += piece.literal;
    } else {
      WriteElement(piece, moment, out);
    }
  }
}

void MomentFormat::WriteNumber(const Piece& piece, int64 value, std::size_t width, XeString& out) {
  AppendNumber(value, piece.isFilled ? width : 0, out);
  if (piece.ordinal != 0) AppendOrdinal(piece.ordinal == L'T', out);
}

void MomentFormat::WriteAllDigits(const Piece& piece, int64 value, std::size_t width,
                                  XeString& out) {
  AppendNumber(value, value < 0 ? width - 1 : width, out);
  if (piece.ordinal != 0) AppendOrdinal(piece.ordinal == L'T', out);
}

void MomentFormat::WriteName(const Piece& piece, std::wstring_view text, std::size_t width,
                             XeString& out) {
  AppendFilled(WithLetters(text, piece.letters), piece.isFilled ? width : 0, out);
}

std::wstring_view MomentFormat::RomanMonth(std::size_t month) { return kRomanMonths[month - 1]; }

bool MomentFormat::WriteClock(const Piece& piece, const Clock& clock, XeString& out) {
  const auto number = [&](int64 value, std::size_t width) {
    WriteNumber(piece, value, width, out);
    return true;
  };
  const auto fraction = [&](int64 divisor, std::size_t width) {
    WriteAllDigits(piece, clock.microsecond / divisor, width, out);
    return true;
  };
  switch (piece.element) {
    case Element::kHour12:
      return number(clock.hour % 12 == 0 ? 12 : clock.hour % 12, 2);
    case Element::kHour24:
      return number(clock.hour, 2);
    case Element::kMinute:
      return number(clock.minute, 2);
    case Element::kSecond:
      return number(clock.second, 2);
    case Element::kFraction1:
      return fraction(100'000, 1);
    case Element::kFraction2:
      return fraction(10'000, 2);
    case Element::kMillisecond:
      return fraction(1'000, 3);
    case Element::kFraction4:
      return fraction(100, 4);
    case Element::kFraction5:
      return fraction(10, 5);
    case Element::kMicrosecond:
      return fraction(1, 6);
    case Element::kSecondOfDay:
      return number((clock.hour * 60 + clock.minute) * 60 + clock.second, 0);
    case Element::kHalfOfDay:
      return WriteWord(piece, clock.hour % 24 < 12 ? L"AM" : L"PM", out), true;
    default:
      return false;
  }
}

void MomentFormat::WriteWord(const Piece& piece, std::wstring_view word, XeString& out) {
  for (const wchar_t letter : WithLetters(word, piece.letters)) {
    out += letter;
    if (piece.hasPoints) out += L'.';
  }
}

void MomentFormat::WriteElement(const Piece& piece, const XeDateTime& moment, XeString& out) {
  const Clock clock{moment.GetHour(), moment.GetMinute(), moment.GetSecond(),
                    static_cast<int64>(moment.GetNanosecond() / 1000)};
  if (WriteClock(piece, clock, out)) return;
  const XeDate day = moment.GetDate();
  // 0 is 1 BC.
  const auto spoken = [](int year) { return year > 0 ? year : 1 - year; };
  const int year = spoken(day.GetYear());
  // Of years before the first one the calendar of weeks says -1 for 1 BC.
  const auto isoYear = [&] { return std::abs(IsoYearOp::Apply(moment)); };
  const auto number = [&](int64 value, std::size_t width) {
    WriteNumber(piece, value, width, out);
  };
  const auto name = [&](std::wstring_view text, std::size_t width) {
    WriteName(piece, text, width, out);
  };
  const std::wstring_view month = kEnglishMonthNames[static_cast<std::size_t>(day.GetMonth() - 1)];
  const std::wstring_view weekday =
      kEnglishDayNames[static_cast<std::size_t>(XeCalendar::DayOfWeek(day) - 1)];
  switch (piece.element) {
    case Element::kEra:
      return WriteWord(piece, day.GetYear() <= 0 ? L"BC" : L"AD", out);
    case Element::kYearWithComma:
      AppendNumber(year / 1000, 0, out);
      out += L',';
      return WriteAllDigits(piece, year % 1000, 3, out);
    case Element::kYear4:
      return number(year, 4);
    case Element::kYear3:
      return number(year % 1000, 3);
    case Element::kYear2:
      return number(year % 100, 2);
    case Element::kYear1:
      return number(year % 10, 1);
    case Element::kIsoYear4:
      return number(isoYear(), 4);
    case Element::kIsoYear3:
      return number(isoYear() % 1000, 3);
    case Element::kIsoYear2:
      return number(isoYear() % 100, 2);
    case Element::kIsoYear1:
      return number(isoYear() % 10, 1);
    case Element::kMonthName:
      return name(month, kLongestName);
    case Element::kMonthShort:
      return name(month.substr(0, kEnglishShortName), 0);
    case Element::kMonth:
      return number(day.GetMonth(), 2);
    case Element::kDayName:
      return name(weekday, kLongestName);
    case Element::kDayShort:
      return name(weekday.substr(0, kEnglishShortName), 0);
    case Element::kDayOfYear:
      return number(XeCalendar::DayOfYear(day), 3);
    case Element::kIsoDayOfYear:
      return number(DayOfIsoYear(moment), 3);
    case Element::kDay:
      return number(day.GetDay(), 2);
    case Element::kDayOfWeek:
      return number(XeCalendar::DayOfWeek(day), 0);
    case Element::kIsoDayOfWeek:
      return number(IsoDayOfWeekOp::Apply(moment), 0);
    case Element::kWeekOfMonth:
      return number((day.GetDay() - 1) / 7 + 1, 0);
    case Element::kWeek:
      return number((XeCalendar::DayOfYear(day) - 1) / 7 + 1, 2);
    case Element::kIsoWeek:
      return number(IsoWeekOp::Apply(moment), 2);
    case Element::kCentury:
      return number(SpanOfYearsOp<100>::Apply(moment), 2);
    case Element::kJulianDay:
      return number(JulianOp::DayOf(moment), 0);
    case Element::kQuarter:
      return number((day.GetMonth() - 1) / 3 + 1, 0);
    case Element::kRomanMonth:
      return name(RomanMonth(static_cast<std::size_t>(day.GetMonth())), kLongestRoman);
    // A timestamp is of no zone.
    case Element::kZone:
      return;
    case Element::kZoneHours:
      out += L"+00";
      return;
    case Element::kZoneMinutes:
      out += L"00";
      return;
    default:
      return;
  }
}

}  // namespace sqxer
