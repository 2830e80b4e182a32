#include "Utility/XeIntlDateTimeMgr.h"

#include <unicode/ucal.h>
#include <unicode/udat.h>
#include <unicode/uloc.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <map>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "EnglishDateNames.h"
#include "Utility/SUSystemConfig.h"
#include "Utility/XeAssert.h"

namespace sqxer {

namespace {

/// What one locale says.
struct LocaleNames {
  std::array<XeString, 12> longMonths;
  std::array<XeString, 12> shortMonths;
  std::array<XeString, 7> longDays;
  std::array<XeString, 7> shortDays;
  int firstDayOfWeek = 1;
  uint32 longest = 0;

  void Measure() {
    const auto measure = [this](std::span<const XeString> names) {
      for (const XeString& name : names) {
        longest = std::max(longest, static_cast<uint32>(name.size()));
      }
    };
    measure(longMonths);
    measure(shortMonths);
    measure(longDays);
    measure(shortDays);
  }
};

template <std::size_t N>
void PutEnglishNames(const std::array<std::wstring_view, N>& names, std::array<XeString, N>& whole,
                     std::array<XeString, N>& shortened) {
  std::ranges::copy(names, whole.begin());
  std::ranges::transform(names, shortened.begin(), [](std::wstring_view name) {
    return XeString(name.substr(0, kEnglishShortName));
  });
}

LocaleNames EnglishNames() {
  LocaleNames names;
  PutEnglishNames(kEnglishMonthNames, names.longMonths, names.shortMonths);
  PutEnglishNames(kEnglishDayNames, names.longDays, names.shortDays);
  return names;
}

/// The configuration takes known locales only, for which none of these calls fails.
void RequireSuccess(UErrorCode status) {
  if (U_FAILURE(status)) XeLogicError("no calendar of the configured locale");
}

XeString ReadSymbol(const UDateFormat* format, UDateFormatSymbolType type, int32_t index) {
  UErrorCode status = U_ZERO_ERROR;
  const int32_t length = udat_getSymbols(format, type, index, nullptr, 0, &status);
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

LocaleNames ReadNames(const std::string& locale) {
  // Some locales count by another calendar by themselves, with months of other names.
  char gregorian[ULOC_FULLNAME_CAPACITY + ULOC_KEYWORD_AND_VALUES_CAPACITY] = {};
  locale.copy(gregorian, ULOC_FULLNAME_CAPACITY);
  UErrorCode status = U_ZERO_ERROR;
  uloc_setKeywordValue("calendar", "gregorian", gregorian, sizeof gregorian, &status);
  RequireSuccess(status);

  LocaleNames names;
  constexpr UChar kZone[] = u"UTC";
  UDateFormat* const format =
      udat_open(UDAT_SHORT, UDAT_SHORT, gregorian, kZone, -1, nullptr, 0, &status);
  RequireSuccess(status);
  ReadSymbols(format, UDAT_STANDALONE_MONTHS, 0, names.longMonths);
  ReadSymbols(format, UDAT_STANDALONE_SHORT_MONTHS, 0, names.shortMonths);
  ReadSymbols(format, UDAT_STANDALONE_WEEKDAYS, 1, names.longDays);
  ReadSymbols(format, UDAT_STANDALONE_SHORT_WEEKDAYS, 1, names.shortDays);
  udat_close(format);

  UCalendar* const calendar = ucal_open(kZone, -1, gregorian, UCAL_GREGORIAN, &status);
  RequireSuccess(status);
  names.firstDayOfWeek = ucal_getAttribute(calendar, UCAL_FIRST_DAY_OF_WEEK);
  ucal_close(calendar);
  return names;
}

/// Read by evaluations on any thread; none is ever destroyed, so one in use outlives a change of
/// the configuration.
std::atomic<const LocaleNames*> currentNames{nullptr};

struct KnownLocales {
  std::mutex mutex;
  std::map<std::string, LocaleNames> names;
};

const LocaleNames* FindNames(const std::string& locale) {
  static auto* const known = new KnownLocales;
  const std::lock_guard lock(known->mutex);
  auto place = known->names.find(locale);
  if (place == known->names.end()) {
    LocaleNames names = locale.empty() ? EnglishNames() : ReadNames(locale);
    names.Measure();
    place = known->names.emplace(locale, std::move(names)).first;
  }
  return &place->second;
}

const LocaleNames& Current() {
  const LocaleNames* names = currentNames.load(std::memory_order_acquire);
  if (names == nullptr) [[unlikely]] {
    XeIntlDateTimeMgr::UseConfiguredLocale();
    names = currentNames.load(std::memory_order_acquire);
  }
  return *names;
}

template <std::size_t N>
const XeString& Name(const std::array<XeString, N>& names, int number) {
  if (number < 1 || number > static_cast<int>(N)) XeLogicError("number of a month or day");
  return names[static_cast<std::size_t>(number) - 1];
}

}  // namespace

void XeIntlDateTimeMgr::UseConfiguredLocale() {
  currentNames.store(FindNames(SUSystemConfig::GetSystemConfig().locale_),
                     std::memory_order_release);
}

int XeIntlDateTimeMgr::GetFirstDayOfWeek() {
  const int configured = SUSystemConfig::GetSystemConfig().firstDayOfWeek_;
  return configured != SUSystemConfig::kFirstDayOfLocale ? configured : Current().firstDayOfWeek;
}

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
