#include "Utility/Settings.h"

#include <mutex>
#include <utility>

#include "Collation.h"
#include "Utility/XeAssert.h"
#include "Utility/XeIntlDateTimeMgr.h"

namespace sqxer {

namespace {

/// Of the innermost scope, null without one. What a thread has to destroy at its end takes memory
/// when it is first touched, and ends the process where there is none.
thread_local const SettingsRef* current = nullptr;

/// Those of the process at the last look.
struct OfProcess {
  std::mutex mutex;
  SettingsRef settings;
};
OfProcess& GetOfProcess() {
  // Never destroyed: threads may ask until the process ends.
  static OfProcess* const known = new OfProcess;
  return *known;
}

}  // namespace

Settings::Settings(const SUSystemConfig& switches) : switches_(switches.Checked()) {}

SettingsRef Settings::Current() {
  if (current != nullptr) return *current;
  const SUSystemConfig& process = SUSystemConfig::GetSystemConfig();
  OfProcess& known = GetOfProcess();
  const std::lock_guard lock(known.mutex);
  if (known.settings == nullptr || known.settings->switches_ != process) {
    known.settings = std::make_shared<const Settings>(process);
  }
  return known.settings;
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

SettingsScope::SettingsScope(SettingsRef settings) : settings_(std::move(settings)) {
  XE_ASSERT(settings_ != nullptr);
  outer_ = std::exchange(current, &settings_);
}

SettingsScope::~SettingsScope() { current = outer_; }

}  // namespace sqxer
