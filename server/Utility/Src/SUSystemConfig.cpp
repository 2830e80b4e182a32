#include "Utility/SUSystemConfig.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "Collation.h"
#include "Utility/BaseStringUtil.h"
#include "Utility/DateTimeMetaData.h"
#include "Utility/ErrorMessage.h"
#include "Utility/Settings.h"
#include "Utility/StatementBudget.h"

namespace sqxer {

namespace {

/// One switch: what it is, how its value reads, and how a text sets it (false: not accepted).
struct SwitchRow {
  const char* name;
  const char* values;
  const char* description;
  std::string (*show)(const SUSystemConfig&);
  bool (*set)(SUSystemConfig&, const std::string&);
};

bool IsMatch(std::string_view a, std::string_view b) {
  return BaseStringUtil::IsCaseInsensitiveMatch(Wide(a), Wide(b));
}

std::optional<uint64> ReadNumber(std::string_view text, std::string_view& rest) {
  uint64 number;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  rest = text.substr(static_cast<std::size_t>(end - text.data()));
  return number;
}

constexpr const char* kOnOff = "on or off";

template <auto Member>
std::string ShowBool(const SUSystemConfig& config) {
  return config.*Member ? "on" : "off";
}

template <auto Member>
bool SetBool(SUSystemConfig& config, const std::string& value) {
  const auto isValue = [&](const char* text) { return IsMatch(value, text); };
  const bool on = std::ranges::any_of(std::to_array({"on", "true", "1"}), isValue);
  if (!on && std::ranges::none_of(std::to_array({"off", "false", "0"}), isValue)) return false;
  config.*Member = on;
  return true;
}

template <auto Member, int Least, int Most>
bool SetNumber(SUSystemConfig& config, const std::string& value) {
  std::string_view rest;
  const auto number = ReadNumber(value, rest);
  if (!number || !rest.empty() || *number < Least || *number > Most) return false;
  config.*Member = static_cast<int>(*number);
  return true;
}

template <auto Member>
std::string ShowNumber(const SUSystemConfig& config) {
  return std::to_string(config.*Member);
}

template <auto Member>
std::string ShowText(const SUSystemConfig& config) {
  return config.*Member;
}

struct SizeUnit {
  const char* name;
  int shift;
};
constexpr SizeUnit kSizeUnits[] = {{"TiB", 40}, {"GiB", 30}, {"MiB", 20}, {"KiB", 10}, {"", 0}};

constexpr const char* kSize = "a size above 0 such as 256MiB, 64KiB, 1GiB or a number of bytes";

template <auto Member>
std::string ShowSize(const SUSystemConfig& config) {
  return SUSystemConfig::TextOfSize(config.*Member);
}

bool ReadSize(const std::string& value, uint64& bytes) {
  std::string_view rest;
  const auto number = ReadNumber(value, rest);
  if (!number) return false;
  for (const SizeUnit& unit : kSizeUnits) {
    if (!IsMatch(rest, unit.name)) continue;
    if (*number > std::numeric_limits<uint64>::max() >> unit.shift) return false;
    bytes = *number << unit.shift;
    return true;
  }
  return false;
}

template <auto Member>
bool SetSize(SUSystemConfig& config, const std::string& value) {
  uint64 bytes;
  if (!ReadSize(value, bytes) || bytes == 0) return false;
  config.*Member = bytes;
  return true;
}

constexpr const char* kSizeOrNone =
    "a size such as 256MiB, 64KiB, 1GiB or a number of bytes, or 0 for any";

template <auto Member>
bool SetSizeOrNone(SUSystemConfig& config, const std::string& value) {
  return ReadSize(value, config.*Member);
}

std::string ShowMemoryLimit(const SUSystemConfig& config) {
  if (config.memoryLimit_ != 0) return SUSystemConfig::TextOfSize(config.memoryLimit_);
  return std::to_string(config.memoryShare_) + "%";
}

bool SetMemoryLimit(SUSystemConfig& config, const std::string& value) {
  std::string_view rest;
  const auto share = ReadNumber(value, rest);
  if (!share || rest != "%") return SetSize<&SUSystemConfig::memoryLimit_>(config, value);
  if (*share < 1 || *share > 100) return false;
  config.memoryLimit_ = 0;
  config.memoryShare_ = static_cast<int>(*share);
  return true;
}

/// A word as a template argument.
struct Word {
  char text[10] = {};
  template <std::size_t length>
  consteval Word(const char (&word)[length]) {
    std::copy_n(word, length, text);
  }
};

/// A switch with two values that have a word each.
template <auto Member, auto first, Word firstWord, auto other, Word otherWord>
struct Either {
  static std::string Show(const SUSystemConfig& config) {
    return config.*Member == first ? firstWord.text : otherWord.text;
  }
  static bool Set(SUSystemConfig& config, const std::string& value) {
    const bool isFirst = IsMatch(value, firstWord.text);
    if (!isFirst && !IsMatch(value, otherWord.text)) return false;
    config.*Member = isFirst ? first : other;
    return true;
  }
};
using IntegerAggregates =
    Either<&SUSystemConfig::wideIntegerAggregates_, true, "wide", false, "native">;
using JsonErrors = Either<&SUSystemConfig::jsonErrors_, SUSystemConfig::JsonErrors::kError, "error",
                          SUSystemConfig::JsonErrors::kNull, "null">;
using Evaluation = Either<&SUSystemConfig::batchEvaluation_, true, "batches", false, "rows">;
using ConditionOrder = Either<&SUSystemConfig::conditionsByCost_, true, "cost", false, "written">;

bool SetLocale(SUSystemConfig& config, const std::string& value) {
  const auto locale = value.empty() ? value : FindLocale(value);
  if (!locale) return false;
  config.locale_ = *locale;
  return true;
}

constexpr const char* kLocaleDay = "locale";

std::string ShowFirstDayOfWeek(const SUSystemConfig& config) {
  const bool isDay = config.firstDayOfWeek_ != SUSystemConfig::kFirstDayOfLocale;
  return isDay ? std::to_string(config.firstDayOfWeek_) : kLocaleDay;
}

bool SetFirstDayOfWeek(SUSystemConfig& config, const std::string& value) {
  if (!IsMatch(value, kLocaleDay)) {
    return SetNumber<&SUSystemConfig::firstDayOfWeek_, 1, 7>(config, value);
  }
  config.firstDayOfWeek_ = SUSystemConfig::kFirstDayOfLocale;
  return true;
}

bool SetNow(SUSystemConfig& config, const std::string& value) {
  XeDateTime moment;
  if (!value.empty() && !DateTimeMetaData().TryConvert(Wide(value), moment)) return false;
  config.now_ = value;
  return true;
}

bool SetTempDirectory(SUSystemConfig& config, const std::string& value) {
  config.tempDirectory_ = value;
  return true;
}

const SwitchRow kSwitches[] = {
    {"IntegerMathAsDouble", kOnOff,
     "Compute + - * of integers, and what ABS, CEIL, FLOOR, MOD, POW, SQRT and SQUARE make of "
     "them, in "
     "double precision; / follows IntegerDivideAsDouble alone.",
     ShowBool<&SUSystemConfig::integerMathAsDouble_>,
     SetBool<&SUSystemConfig::integerMathAsDouble_>},
    {"IntegerDivideAsDouble", kOnOff, "Compute / of integers in double precision: 7 / 2 is 3.5.",
     ShowBool<&SUSystemConfig::integerDivideAsDouble_>,
     SetBool<&SUSystemConfig::integerDivideAsDouble_>},
    {"IntegerAggregates", "wide or native",
     "SUM and AVG of integers: wide neither overflow nor truncate, native stay in 32 bits.",
     IntegerAggregates::Show, IntegerAggregates::Set},
    {"CaseSensitiveCompare", kOnOff, "Whether texts that differ in letter case alone differ.",
     ShowBool<&SUSystemConfig::caseSensitiveCompare_>,
     SetBool<&SUSystemConfig::caseSensitiveCompare_>},
    {"Locale", "an ICU locale such as sv_SE, or nothing",
     "Whose collation orders texts; nothing orders them by code point.",
     ShowText<&SUSystemConfig::locale_>, SetLocale},
    {"LongMonthNames", kOnOff, "Months by their long names (January) or short ones (Jan).",
     ShowBool<&SUSystemConfig::longMonthNames_>, SetBool<&SUSystemConfig::longMonthNames_>},
    {"LongDayNames", kOnOff, "Days by their long names (Sunday) or short ones (Sun).",
     ShowBool<&SUSystemConfig::longDayNames_>, SetBool<&SUSystemConfig::longDayNames_>},
    {"FirstDayOfWeek", "a number from 1 (Sunday) to 7 (Saturday), or locale",
     "The day on which weeks start; locale is that of Locale, Sunday without one.",
     ShowFirstDayOfWeek, SetFirstDayOfWeek},
    {"FiscalYearStartMonth", "a number from 1 (January) to 12 (December)",
     "The month with which fiscal years start.", ShowNumber<&SUSystemConfig::fiscalYearStartMonth_>,
     SetNumber<&SUSystemConfig::fiscalYearStartMonth_, 1, 12>},
    {"GroupMemory", kSize,
     "Memory that the groups of GROUP BY may take before they are sorted on disk.",
     ShowSize<&SUSystemConfig::groupMemory_>, SetSize<&SUSystemConfig::groupMemory_>},
    {"JoinMemory", kSize,
     "Memory that the table may take in which a join looks up the keys of one side. Where it would "
     "take more, it is made part by part, and both sides are gone through for each part, of which "
     "there are 64 at most; where a side is a file of which the rows would take more, both sides "
     "go "
     "to temporary files. The result is the same.",
     ShowSize<&SUSystemConfig::joinMemory_>, SetSize<&SUSystemConfig::joinMemory_>},
    {"TableMemory", kSize,
     "How much of a table of CSV or JSON lines is read into memory, in bytes of its file or of the "
     "text that a pipe or a packed file gives. Of a larger one a statement that reads its rows "
     "once "
     "keeps none.",
     ShowSize<&SUSystemConfig::tableMemory_>, SetSize<&SUSystemConfig::tableMemory_>},
    {"MemoryLimit", "a size above 0 such as 4GiB, or a share of the machine's memory such as 80%",
     "How much memory a statement may take, with the tables and results that the session keeps. "
     "Groups, joins, sorts and medians go to temporary files or to several passes before that; "
     "what cannot is an error. A machine's memory is that of its control group where that is less.",
     ShowMemoryLimit, SetMemoryLimit},
    {"TempLimit", kSizeOrNone, "How many bytes of temporary files a statement may hold at once.",
     ShowSize<&SUSystemConfig::tempLimit_>, SetSizeOrNone<&SUSystemConfig::tempLimit_>},
    {"StatementLength", kSize, "How long the text of a statement may be, in bytes.",
     ShowSize<&SUSystemConfig::statementLength_>, SetSize<&SUSystemConfig::statementLength_>},
    {"UnpackRatio", "a whole number above 0",
     "How many bytes may come of one byte of a packed file. The first 64 MiB are not asked.",
     ShowNumber<&SUSystemConfig::unpackRatio_>,
     SetNumber<&SUSystemConfig::unpackRatio_, 1, std::numeric_limits<int>::max()>},
    {"JsonErrors", "error or null", "What text that is no JSON gives: an error, or NULL.",
     JsonErrors::Show, JsonErrors::Set},
    {"SubstringCompliance", kOnOff,
     "Look up substrings as older callers do (ZEPH_SUBSTRING_VELMAR_COMPLIANCE).",
     ShowBool<&SUSystemConfig::substringCompliance_>,
     SetBool<&SUSystemConfig::substringCompliance_>},
    {"LengthKeepsBlanks", kOnOff,
     "LENGTH counts the blanks at the end of a text (ZEPH_DISABLE_RIGHTTRIM_ON_LENGTH_FOR_VARCHAR, "
     "ZEPH_DISABLE_RIGHTTRIM_FOR_VARCHAR).",
     ShowBool<&SUSystemConfig::lengthKeepsBlanks_>, SetBool<&SUSystemConfig::lengthKeepsBlanks_>},
    {"Evaluation", "batches or rows",
     "Evaluate some 2,000 rows at once, straight from the columns, or one after the other. Results "
     "and errors are the same; of several errors another may be told where groups outgrow "
     "GroupMemory.",
     Evaluation::Show, Evaluation::Set},
    {"ConditionOrder", "cost or written",
     "In batches, evaluate first what decides most rows in its time, where no operand of AND or OR "
     "can fail, or always in the written order. Results and errors are the same.",
     ConditionOrder::Show, ConditionOrder::Set},
    {"StatementTimeout", "a number of milliseconds, 0 for any time",
     "How long a statement may take, the reading of its tables included.",
     ShowNumber<&SUSystemConfig::statementTimeout_>,
     SetNumber<&SUSystemConfig::statementTimeout_, 0, std::numeric_limits<int>::max()>},
    {"Now", "a timestamp of UTC, or nothing",
     "What NOW(), CURRENT_DATE and their like give; nothing is the clock, which is read once for "
     "each statement.",
     ShowText<&SUSystemConfig::now_>, SetNow},
    {"TempDirectory", "a folder, or nothing",
     "Where sorting keeps temporary files; nothing is the system's folder. What is wrong with a "
     "folder shows when something has to go there.",
     ShowText<&SUSystemConfig::tempDirectory_>, SetTempDirectory},
};

}  // namespace

SUSystemConfig& SUSystemConfig::GetSystemConfig() {
  static SUSystemConfig config;
  return config;
}

const std::vector<SUSystemConfig::Switch>& SUSystemConfig::Switches() {
  static const std::vector<std::string> defaults = [] {
    std::vector<std::string> texts;
    for (const SwitchRow& row : kSwitches) texts.push_back(row.show(SUSystemConfig()));
    return texts;
  }();
  static const std::vector<Switch> switches = [] {
    std::vector<Switch> all;
    for (const SwitchRow& row : kSwitches) {
      all.push_back({row.name, defaults[all.size()].c_str(), row.values, row.description});
    }
    return all;
  }();
  return switches;
}

void SUSystemConfig::Set(const std::string& name, const std::string& value) {
  for (const SwitchRow& row : kSwitches) {
    if (!IsMatch(name, row.name)) continue;
    if (row.set(*this, value)) return;
    SUGThrow(ErrorMessage(58041, {Wide(value), Wide(row.name), Wide(row.values)}));
  }
  SUGThrow(ErrorMessage(58040, {Wide(name)}));
}

std::string SUSystemConfig::Get(const std::string& name) const {
  for (const SwitchRow& row : kSwitches) {
    if (IsMatch(name, row.name)) return row.show(*this);
  }
  SUGThrow(ErrorMessage(58040, {Wide(name)}));
}

SUSystemConfig SUSystemConfig::Checked() const {
  SUSystemConfig checked;
  for (const SwitchRow& row : kSwitches) checked.Set(row.name, row.show(*this));
  return checked;
}

bool SUSystemConfig::GetCompatFlag(std::string_view name) const {
  if (name == "ZEPH_SUBSTRING_VELMAR_COMPLIANCE") return substringCompliance_;
  return lengthKeepsBlanks_ && (name == "ZEPH_DISABLE_RIGHTTRIM_ON_LENGTH_FOR_VARCHAR" ||
                                name == "ZEPH_DISABLE_RIGHTTRIM_FOR_VARCHAR");
}

uint64 SUSystemConfig::GetMemoryLimit() const {
  if (memoryLimit_ != 0) return std::min(memoryLimit_, StatementBudget::kNoLimit);
  const uint64 machine = GetMachineMemory();
  if (machine == 0) return StatementBudget::kNoLimit;
  return machine / 100 * static_cast<uint64>(memoryShare_);
}

uint64 SUSystemConfig::GetTempLimit() const {
  return tempLimit_ == 0 ? StatementBudget::kNoLimit : tempLimit_;
}

std::string SUSystemConfig::TextOfSize(uint64 bytes) {
  if (bytes == 0) return "0";
  const auto* unit = std::ranges::find_if(kSizeUnits, [&](const SizeUnit& candidate) {
    return bytes % (uint64{1} << candidate.shift) == 0;
  });
  return std::to_string(bytes >> unit->shift) + unit->name;
}

bool SUCompatFlag::GetBool(const char* name) { return Settings::Current()->GetCompatFlag(name); }

}  // namespace sqxer
