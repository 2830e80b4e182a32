#include <gtest/gtest.h>
#include <unicode/uclean.h>

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

#include "Utility/CollationKeyMaker.h"
#include "Utility/Settings.h"
#include "Utility/XeIntlDateTimeMgr.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

// The memory of ICU, of which only so many blocks are left.

constexpr int kUnlimited = std::numeric_limits<int>::max();
std::atomic<int> blocksLeft{kUnlimited};

bool Take() { return blocksLeft == kUnlimited || (blocksLeft > 0 && blocksLeft-- > 0); }
void* Allocate(const void*, std::size_t bytes) { return Take() ? std::malloc(bytes) : nullptr; }
void* Reallocate(const void*, void* block, std::size_t bytes) {
  return Take() ? std::realloc(block, bytes) : nullptr;
}
void Free(const void*, void* block) { std::free(block); }

Settings WithLocale(const char* locale) {
  SUSystemConfig switches;
  switches.locale_ = locale;
  return Settings(switches);
}

/// Performs the action with ever more blocks until it goes through, and returns its result. Up to
/// then it must throw std::bad_alloc and nothing else.
template <class Action>
auto WithEverMoreMemory(int& refusals, Action&& action) {
  for (int blocks = 0;; ++blocks) {
    try {
      blocksLeft = blocks;
      const auto result = action();
      blocksLeft = kUnlimited;
      return result;
    } catch (const std::bad_alloc&) {
      blocksLeft = kUnlimited;
      ++refusals;
    } catch (...) {
      blocksLeft = kUnlimited;
      throw;
    }
  }
}

TEST(ExhaustedIcu, IsTheOrdinaryErrorAndNeverAnotherAnswer) {
  UErrorCode status = U_ZERO_ERROR;
  u_setMemoryFunctions(nullptr, &Allocate, &Reallocate, &Free, &status);
  ASSERT_TRUE(U_SUCCESS(status));
  // What ICU sets up once for all locales it does not set up again after a failure.
  const Settings french = WithLocale("fr_FR");
  EXPECT_EQ(french.GetCalendarNames().longMonths[0], L"janvier");
  const SettingsScope scope(std::make_shared<const Settings>(french));
  EXPECT_EQ(ExecutionUtility::GetCharacterComparisonFunction()(nullptr, AsRef(L"a"), AsRef(L"b")),
            -1);
  CollationKeyMaker warm;
  warm.GetKeyLength(1);

  int refusals = 0;
  const auto name = [] { return WithLocale("sv_SE").GetCalendarNames().longMonths[0]; };
  EXPECT_EQ(WithEverMoreMemory(refusals, name), L"januari");
  EXPECT_GT(refusals, 10);

  refusals = 0;
  const Settings danish = WithLocale("da_DK");
  const UCollator* const collator =
      WithEverMoreMemory(refusals, [&] { return danish.GetCollator(); });
  EXPECT_GT(refusals, 3);
  const SettingsScope inner(std::make_shared<const Settings>(danish));
  const CharCompareFunc_t compare = ExecutionUtility::GetCharacterComparisonFunction();
  EXPECT_EQ(danish.GetCollator(), collator);
  EXPECT_EQ(compare(nullptr, AsRef(L"z"), AsRef(L"aa")), -1);

  // Texts that the collation needs memory for.
  std::wstring accents;
  for (int i = 0; i < 400; ++i) accents += i % 2 == 0 ? L"\u0301" : L"\u0323";
  const std::wstring a = L"a" + accents + L"x";
  const std::wstring b = L"a" + accents + L"y";
  EXPECT_EQ(WithEverMoreMemory(refusals, [&] { return compare(nullptr, AsRef(a), AsRef(b)); }), -1);
  CollationKeyMaker keys;
  const auto keyOf = [&](const std::wstring& text) {
    const RefLongVarBinary key = keys.MakeKey(AsRef(text));
    return std::string(reinterpret_cast<const char*>(key.buffer_), key.length_);
  };
  const std::string keyOfA = WithEverMoreMemory(refusals, [&] { return keyOf(a); });
  EXPECT_EQ(keyOfA, keyOf(a));
  EXPECT_LT(keyOfA, keyOf(b));
}

}  // namespace
}  // namespace sqxer
