#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Utility/Export.h"
#include "Utility/XeTypes.h"

namespace sqxer {

/// The switches of the server's system configuration, as plain values. What is built or bound takes
/// them over as Settings; the process-wide object is no more than what threads without settings of
/// their own start from. That one is not to be changed while such threads build or bind.
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
  /// 1 is Sunday. To be read through Settings.
  int firstDayOfWeek_ = kFirstDayOfLocale;
  int fiscalYearStartMonth_ = 1;
  uint64 groupMemory_ = uint64{256} << 20;
  uint64 joinMemory_ = uint64{256} << 20;
  /// How much text of a table's files is read before rows are no longer kept.
  uint64 tableMemory_ = uint64{64} << 20;
  /// What a statement may take of memory: bytes, or where these are 0 percent of the machine's.
  uint64 memoryLimit_ = 0;
  int memoryShare_ = 80;
  /// What it may take of temporary files, in bytes; 0 is any number.
  uint64 tempLimit_ = 0;
  /// Bytes that a statement's text may have.
  uint64 statementLength_ = uint64{16} << 20;
  /// How many bytes may come of one of a packed file.
  int unpackRatio_ = 10000;
  /// Milliseconds; 0 is any time.
  int statementTimeout_ = 0;
  JsonErrors jsonErrors_ = JsonErrors::kError;
  bool substringCompliance_ = false;
  bool lengthKeepsBlanks_ = false;
  /// False: rows are evaluated one by one.
  bool batchEvaluation_ = true;
  bool conditionsByCost_ = true;
  /// What statements take for the moment that it is, in UTC; empty is the clock.
  std::string now_;
  /// Where sorters spill; empty is the system's folder.
  std::string tempDirectory_;

  static SUSystemConfig& GetSystemConfig();
  bool operator==(const SUSystemConfig&) const = default;

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
  /// The value of a switch as Set takes it. Error 58040.
  std::string Get(const std::string& name) const;
  /// A copy whose fields were set by name: what Set refuses is refused in a field as well (58041).
  SUSystemConfig Checked() const;
  /// See SUCompatFlag.
  bool GetCompatFlag(std::string_view name) const;
  /// What the switch MemoryLimit gives in bytes; StatementBudget::kNoLimit where it cannot be told.
  uint64 GetMemoryLimit() const;
  /// The same of TempLimit.
  uint64 GetTempLimit() const;
  /// Bytes as sizes are shown: 64MiB.
  static std::string TextOfSize(uint64 bytes);
};

/// Compatibility flags: switches under the names by which older callers read them.
class XEUTILITY_API SUCompatFlag {
 public:
  /// A flag of the thread's current settings. "ZEPH_SUBSTRING_VELMAR_COMPLIANCE" is the switch
  /// SubstringCompliance; "ZEPH_DISABLE_RIGHTTRIM_ON_LENGTH_FOR_VARCHAR" and
  /// "ZEPH_DISABLE_RIGHTTRIM_FOR_VARCHAR" are LengthKeepsBlanks. Any other name is false.
  static bool GetBool(const char* name);
};

}  // namespace sqxer
