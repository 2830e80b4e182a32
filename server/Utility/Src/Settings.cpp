#include "Utility/Settings.h"

#include <utility>

#include "Collation.h"
#include "Utility/XeAssert.h"
#include "Utility/XeIntlDateTimeMgr.h"

namespace sqxer {

namespace {

/// Of the innermost scope, null without one.
thread_local SettingsRef current;

/// Those of the process at the last look.
thread_local SettingsRef ofProcess;

}  // namespace

Settings::Settings(const SUSystemConfig& switches) : switches_(switches.Checked()) {}

SettingsRef Settings::Current() {
  if (current != nullptr) return current;
  const SUSystemConfig& process = SUSystemConfig::GetSystemConfig();
  if (ofProcess == nullptr || ofProcess->switches_ != process) {
    ofProcess = std::make_shared<const Settings>(process);
  }
  return ofProcess;
}

CharComparisonType_t Settings::GetCharComparisonType() const {
  if (!switches_.locale_.empty()) return kCompareLocale;
  return switches_.caseSensitiveCompare_ ? kCompareCodePoints : kCompareIgnoringCase;
}

const UCollator* Settings::GetCollator() const {
  return FindCollator(switches_.locale_, switches_.caseSensitiveCompare_);
}

const CalendarNames& Settings::GetCalendarNames() const {
  return XeIntlDateTimeMgr::GetNames(switches_.locale_);
}

int Settings::GetFirstDayOfWeek() const {
  const int configured = switches_.firstDayOfWeek_;
  return configured != SUSystemConfig::kFirstDayOfLocale ? configured
                                                         : GetCalendarNames().firstDayOfWeek;
}

bool Settings::GetCompatFlag(const char* name) const { return switches_.GetCompatFlag(name); }

SettingsScope::SettingsScope(SettingsRef settings) {
  XE_ASSERT(settings != nullptr);
  outer_ = std::exchange(current, std::move(settings));
}

SettingsScope::~SettingsScope() { current = std::move(outer_); }

}  // namespace sqxer
