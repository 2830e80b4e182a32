#pragma once

#include <array>
#include <string_view>

namespace sqxer {

/// English names: what formats read, and what is written without a locale. Short names are the
/// first letters of these.
inline constexpr std::array<std::wstring_view, 12> kEnglishMonthNames = {
    L"January", L"February", L"March",     L"April",   L"May",      L"June",
    L"July",    L"August",   L"September", L"October", L"November", L"December"};
inline constexpr std::array<std::wstring_view, 7> kEnglishDayNames = {
    L"Sunday", L"Monday", L"Tuesday", L"Wednesday", L"Thursday", L"Friday", L"Saturday"};
inline constexpr std::size_t kEnglishShortName = 3;

}  // namespace sqxer
