#pragma once

#include <string>
#include <vector>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// The switches of the server's system configuration. Process-wide; read when trees are built and
/// bound, never per row, so a change takes effect with the next query. Not to be changed while
/// other threads bind.
class XEUTILITY_API SUSystemConfig {
 public:
  enum class JsonErrors { kError, kNull };
  /// The first day of the week is the one that locale_ has, Sunday without a locale.
  static constexpr int kFirstDayOfLocale = 0;

  bool integerMathAsDouble_ = false;
  bool integerDivideAsDouble_ = false;
  /// False: aggregates keep the library's 32-bit variants.
  bool wideIntegerAggregates_ = true;
  bool caseSensitiveCompare_ = true;
  /// ICU name such as sv_SE; empty is code-point order and English names.
  std::string locale_;
  bool longMonthNames_ = true;
  bool longDayNames_ = true;
  /// 1 is Sunday. To be read through XeIntlDateTimeMgr.
  int firstDayOfWeek_ = kFirstDayOfLocale;
  int fiscalYearStartMonth_ = 1;
  uint64 groupMemory_ = uint64{256} << 20;
  JsonErrors jsonErrors_ = JsonErrors::kError;
  bool substringCompliance_ = false;
  /// Where sorters spill; empty is the system's folder.
  std::string tempDirectory_;

  static SUSystemConfig& GetSystemConfig();

  /// One switch as --help-switches shows it. The default is the value of a new SUSystemConfig.
  struct Switch {
    const char* name;
    const char* defaultText;
    const char* values;
    const char* description;
  };
  static const std::vector<Switch>& Switches();
  /// Sets a switch by name (letter case ignored, as in all values but the folder). Switches take
  /// on, off, true, false, 1 or 0; sizes are bytes or a whole number of KiB, MiB, GiB or TiB. Error
  /// 58040 (name) for an unknown switch, 58041 (value, name, accepted values) for a value it does
  /// not take; the switch then keeps its value.
  void Set(const std::string& name, const std::string& value);
};

/// Compatibility flags, kept apart from the switches because older callers read them by name.
class XEUTILITY_API SUCompatFlag {
 public:
  /// "ZEPH_SUBSTRING_VELMAR_COMPLIANCE": the substringCompliance_ switch. Any other name is false.
  static bool GetBool(const char* name);
};

}  // namespace sqxer
