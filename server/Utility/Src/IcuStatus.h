#pragma once

#include <unicode/uloc.h>

#include <new>
#include <string>

namespace sqxer {

/// Turns ICU's report of exhausted memory into the error that it is everywhere else.
inline void ThrowIfOutOfMemory(UErrorCode status) {
  if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
}

/// Throws it as well when ICU gave the data of another language than that of a locale it knows:
/// data that memory does not do for is data that it does not find, and it then falls back without a
/// word.
inline void RequireLocale(const std::string& known, const char* given) {
  const auto languageOf = [](const char* locale) {
    char language[ULOC_LANG_CAPACITY] = {};
    UErrorCode status = U_ZERO_ERROR;
    uloc_getLanguage(locale, language, ULOC_LANG_CAPACITY, &status);
    ThrowIfOutOfMemory(status);
    return std::string(language);
  };
  if (given == nullptr || languageOf(known.c_str()) != languageOf(given)) throw std::bad_alloc();
}

}  // namespace sqxer
