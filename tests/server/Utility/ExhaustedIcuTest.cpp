#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unicode/uclean.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
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

enum Outcome { kRight = 10, kOtherAnswer, kOutOfMemory, kOtherError };

/// Performs the action in a process of its own, with so many blocks: the process's exit status,
/// or its signal as a negative number.
int OutcomeWith(int blocks, bool (*isRight)()) {
  const pid_t child = fork();
  if (child == 0) {
    blocksLeft = blocks;
    int outcome = kOtherError;
    try {
      outcome = isRight() ? kRight : kOtherAnswer;
    } catch (const std::bad_alloc&) {
      outcome = kOutOfMemory;
    } catch (const ErrorMessage&) {
    }
    _exit(outcome);
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

/// Ever more blocks until the action goes through.
void ExpectRightOrOutOfMemory(bool (*isRight)()) {
  int refusals = 0;
  for (int blocks = 0;; blocks += 1 + blocks / 16) {
    ASSERT_LT(blocks, 5000);
    const int outcome = OutcomeWith(blocks, isRight);
    if (outcome == kRight) break;
    refusals += outcome == kOutOfMemory;
    // ICU 72 reads through a null pointer of its own where a table of date symbols has no memory;
    // what it reports is to be the ordinary error.
    ASSERT_NE(outcome, kOtherAnswer) << blocks;
    ASSERT_NE(outcome, kOtherError) << blocks;
    ASSERT_NE(outcome, -SIGABRT) << blocks;
  }
  EXPECT_GT(refusals, 0);
}

// Of locales that no other test has ICU read.

bool FindsFinnishNames() {
  return WithLocale("fi_FI").GetCalendarNames().longMonths[0] == L"tammikuu";
}

bool FindsEstonianOrder() {
  const SettingsScope scope(std::make_shared<const Settings>(WithLocale("et_EE")));
  const CharCompareFunc_t compare = ExecutionUtility::GetCharacterComparisonFunction();
  return compare(nullptr, AsRef(L"z"), AsRef(L"t")) == -1;
}

/// Texts that the collation takes memory for.
std::wstring Accented(wchar_t accent) {
  std::wstring text = {L'a', accent};
  for (int i = 0; i < 400; ++i) text += i % 2 == 0 ? L"\u0301" : L"\u0323";
  return text;
}

bool ComparesLongTexts() {
  return ExecutionUtility::GetCharacterComparisonFunction()(nullptr, AsRef(Accented(L'\u0301')),
                                                            AsRef(Accented(L'\u0300'))) == -1;
}

bool MakesLongKeys() {
  CollationKeyMaker keys;
  const auto keyOf = [&](const std::wstring& text) {
    const RefLongVarBinary key = keys.MakeKey(AsRef(text));
    return std::string(reinterpret_cast<const char*>(key.buffer_), key.length_);
  };
  return keyOf(Accented(L'\u0301')) < keyOf(Accented(L'\u0300'));
}

TEST(ExhaustedIcu, IsTheOrdinaryErrorAndNeverAnotherAnswer) {
  UErrorCode status = U_ZERO_ERROR;
  u_setMemoryFunctions(nullptr, &Allocate, &Reallocate, &Free, &status);
  ASSERT_TRUE(U_SUCCESS(status));
  // What ICU sets up once for all locales it does not set up again after a failure.
  const SettingsScope scope(std::make_shared<const Settings>(WithLocale("fr_FR")));
  ASSERT_EQ(XeIntlDateTimeMgr::GetLongMonthName(1), L"janvier");
  ASSERT_TRUE(MakesLongKeys());
  ExpectRightOrOutOfMemory(&FindsFinnishNames);
  ExpectRightOrOutOfMemory(&FindsEstonianOrder);
  ExpectRightOrOutOfMemory(&ComparesLongTexts);
  ExpectRightOrOutOfMemory(&MakesLongKeys);
}

}  // namespace
}  // namespace sqxer
