#pragma once

#include <memory>

#include "Utility/ExecutionUtility.h"
#include "Utility/Export.h"
#include "Utility/SUSystemConfig.h"

struct UCollator;

namespace sqxer {

struct CalendarNames;
class Settings;

/// Settings are shared by whatever was made under them.
using SettingsRef = std::shared_ptr<const Settings>;

/// The switches under which trees, keys and sorters are made, as they stood at one moment. They
/// never change, so any number of threads may share them.
///
/// What is built or bound takes over what it needs of the current settings of its thread (see
/// SettingsScope) and keeps it: later changes of any switch do not reach it, and threads with
/// different settings work side by side.
class XEUTILITY_API Settings {
 public:
  /// Error 58041 (value, name, accepted values) for a field that holds what
  /// SUSystemConfig::Set refuses.
  explicit Settings(const SUSystemConfig& switches);

  /// The settings of the innermost SettingsScope of this thread; without one, those of the process
  /// (SUSystemConfig::GetSystemConfig) as it stands now, with the constructor's error.
  static SettingsRef Current();

  const SUSystemConfig& GetSwitches() const { return switches_; }
  /// How texts compare by the switches Locale and CaseSensitiveCompare.
  CharComparisonType_t GetCharComparisonType() const;
  /// The collation of the switch Locale, that of the root without one; case counts as configured.
  /// Any thread may compare by it until the process ends. std::bad_alloc where memory does not do.
  const UCollator* GetCollator() const;
  /// What the calendar says in that locale; without one it speaks English. Stays until the process
  /// ends. std::bad_alloc where memory does not do.
  const CalendarNames& GetCalendarNames() const;
  /// 1 (Sunday) to 7: the switch FirstDayOfWeek, or what the locale says.
  int GetFirstDayOfWeek() const;
  /// A compatibility flag by its name; false for a name that is none.
  bool GetCompatFlag(const char* name) const;

 private:
  SUSystemConfig switches_;
};

/// Makes settings the current ones of this thread, from construction to destruction. Scopes nest.
/// A thread that works for a session opens one with the session's settings while it builds, binds
/// and runs; what was bound under one scope may be evaluated under any other.
class XEUTILITY_API SettingsScope {
 public:
  explicit SettingsScope(SettingsRef settings);
  ~SettingsScope();
  SettingsScope(const SettingsScope&) = delete;
  SettingsScope& operator=(const SettingsScope&) = delete;

 private:
  const SettingsRef settings_;
  const SettingsRef* outer_;
};

}  // namespace sqxer
