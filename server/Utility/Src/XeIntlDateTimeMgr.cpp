#include "Utility/XeIntlDateTimeMgr.h"

#include <unicode/ucal.h>
#include <unicode/udat.h>
#include <unicode/uloc.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "IcuStatus.h"
#include "Utility/EnglishDateNames.h"
#include "Utility/Settings.h"
#include "Utility/XeAssert.h"

namespace sqxer {

namespace {

uint32 LengthOfLongest(const CalendarNames& names) {
  uint32 longest = 0;
  const auto measure = [&longest](std::span<const XeString> some) {
    for (const XeString& name : some) {
      longest = std::max(longest, static_cast<uint32>(name.size()));
    }
  };
  measure(names.longMonths);
  measure(names.shortMonths);
  measure(names.longDays);
  measure(names.shortDays);
  return longest;
}

template <std::size_t N>
void PutEnglishNames(const std::array<std::wstring_view, N>& names, std::array<XeString, N>& whole,
                     std::array<XeString, N>& shortened) {
  std::ranges::copy(names, whole.begin());
  std::ranges::transform(names, shortened.begin(), [](std::wstring_view name) {
    return XeString(name.substr(0, kEnglishShortName));
  });
}

CalendarNames EnglishNames() {
  CalendarNames names;
  PutEnglishNames(kEnglishMonthNames, names.longMonths, names.shortMonths);
  PutEnglishNames(kEnglishDayNames, names.longDays, names.shortDays);
  return names;
}

/// Settings take known locales only, for which none of these calls fails while there is memory.
void RequireSuccess(UErrorCode status) {
  ThrowIfOutOfMemory(status);
  if (U_FAILURE(status)) XeLogicError("no calendar of the configured locale");
}

XeString ReadSymbol(const UDateFormat* format, UDateFormatSymbolType type, int32_t index) {
  UErrorCode status = U_ZERO_ERROR;
  const int32_t length = udat_getSymbols(format, type, index, nullptr, 0, &status);
  ThrowIfOutOfMemory(status);
  // No name is empty, unless memory did not do for it.
  if (length <= 0) throw std::bad_alloc();
  status = U_ZERO_ERROR;
  std::vector<UChar> units(static_cast<std::size_t>(length) + 1);
  udat_getSymbols(format, type, index, units.data(), length + 1, &status);
  RequireSuccess(status);
  XeString text;
  for (int32_t i = 0; i < length;) {
    UChar32 c;
    U16_NEXT(units.data(), i, length, c);
    text += static_cast<wchar_t>(c);
  }
  return text;
}

/// `first`: the index of the first name, which for days is 1.
void ReadSymbols(const UDateFormat* format, UDateFormatSymbolType type, int32_t first,
                 std::span<XeString> names) {
  for (XeString& name : names) name = ReadSymbol(format, type, first++);
}

CalendarNames ReadNames(const std::string& locale) {
  // Some locales count by another calendar by themselves, with months of other names.
  char gregorian[ULOC_FULLNAME_CAPACITY + ULOC_KEYWORD_AND_VALUES_CAPACITY] = {};
  locale.copy(gregorian, ULOC_FULLNAME_CAPACITY);
  UErrorCode status = U_ZERO_ERROR;
  uloc_setKeywordValue("calendar", "gregorian", gregorian, sizeof gregorian, &status);
  RequireSuccess(status);

  CalendarNames names;
  constexpr UChar kZone[] = u"UTC";
  const icu::LocalUDateFormatPointer format(
      udat_open(UDAT_SHORT, UDAT_SHORT, gregorian, kZone, -1, nullptr, 0, &status));
  RequireSuccess(status);
  const UDateFormat* const formats = format.getAlias();
  RequireLocale(locale, udat_getLocaleByType(formats, ULOC_VALID_LOCALE, &status));
  ReadSymbols(formats, UDAT_STANDALONE_MONTHS, 0, names.longMonths);
  ReadSymbols(formats, UDAT_STANDALONE_SHORT_MONTHS, 0, names.shortMonths);
  ReadSymbols(formats, UDAT_STANDALONE_WEEKDAYS, 1, names.longDays);
  ReadSymbols(formats, UDAT_STANDALONE_SHORT_WEEKDAYS, 1, names.shortDays);

  const icu::LocalUCalendarPointer calendar(
      ucal_open(kZone, -1, gregorian, UCAL_GREGORIAN, &status));
  RequireSuccess(status);
  RequireLocale(locale, ucal_getLocaleByType(calendar.getAlias(), ULOC_VALID_LOCALE, &status));
  names.firstDayOfWeek = ucal_getAttribute(calendar.getAlias(), UCAL_FIRST_DAY_OF_WEEK);
  return names;
}

struct KnownLocales {
  std::mutex mutex;
  std::map<std::string, CalendarNames> names;
};

const CalendarNames& Current() { return Settings::Current()->GetCalendarNames(); }

template <std::size_t N>
const XeString& Name(const std::array<XeString, N>& names, int number) {
  if (number < 1 || number > static_cast<int>(N)) XeLogicError("number of a month or day");
  return names[static_cast<std::size_t>(number) - 1];
}

}  // namespace

const CalendarNames& XeIntlDateTimeMgr::GetNames(const std::string& locale) {
  static auto* const known = new KnownLocales;
  const std::lock_guard lock(known->mutex);
  auto place = known->names.find(locale);
  if (place == known->names.end()) {
    CalendarNames names = locale.empty() ? EnglishNames() : ReadNames(locale);
    names.longest = LengthOfLongest(names);
    place = known->names.emplace(locale, std::move(names)).first;
  }
  return place->second;
}

int XeIntlDateTimeMgr::GetFirstDayOfWeek() { return Settings::Current()->GetFirstDayOfWeek(); }

uint32 XeIntlDateTimeMgr::GetMaxDayMonthNameLength() { return Current().longest; }

const XeString& XeIntlDateTimeMgr::GetLongMonthName(int month) {
  return Name(Current().longMonths, month);
}

const XeString& XeIntlDateTimeMgr::GetShortMonthName(int month) {
  return Name(Current().shortMonths, month);
}

const XeString& XeIntlDateTimeMgr::GetLongDayName(int dayOfWeek) {
  return Name(Current().longDays, dayOfWeek);
}

const XeString& XeIntlDateTimeMgr::GetShortDayName(int dayOfWeek) {
  return Name(Current().shortDays, dayOfWeek);
}

}  // namespace sqxer
