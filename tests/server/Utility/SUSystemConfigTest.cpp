#include <gtest/gtest.h>

#include <map>
#include <string>

#include "Utility/ErrorMessage.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer {
namespace {

std::string ErrorOfSet(SUSystemConfig& config, const std::string& name, const std::string& value) {
  try {
    config.Set(name, value);
  } catch (const ErrorMessage& message) {
    return std::to_string(message.GetCode()) + ": " + message.what();
  }
  return "accepted";
}

TEST(SUSystemConfig, ShowsDefaultsThatItTakesItself) {
  const std::map<std::string, std::string> expected = {{"IntegerMathAsDouble", "off"},
                                                       {"IntegerDivideAsDouble", "off"},
                                                       {"IntegerAggregates", "wide"},
                                                       {"CaseSensitiveCompare", "on"},
                                                       {"Locale", ""},
                                                       {"LongMonthNames", "on"},
                                                       {"LongDayNames", "on"},
                                                       {"FirstDayOfWeek", "1"},
                                                       {"FiscalYearStartMonth", "1"},
                                                       {"GroupMemory", "256MiB"},
                                                       {"JsonErrors", "error"},
                                                       {"SubstringCompliance", "off"},
                                                       {"TempDirectory", ""}};
  std::map<std::string, std::string> shown;
  SUSystemConfig config;
  for (const SUSystemConfig::Switch& entry : SUSystemConfig::Switches()) {
    shown[entry.name] = entry.defaultText;
    EXPECT_EQ(ErrorOfSet(config, entry.name, entry.defaultText), "accepted") << entry.name;
    EXPECT_FALSE(std::string(entry.description).empty() || std::string(entry.values).empty());
  }
  EXPECT_EQ(shown, expected);
  EXPECT_EQ(config.groupMemory_, uint64{256} << 20);
}

TEST(SUSystemConfig, SetsEachSwitchAndNoOther) {
  SUSystemConfig config;
  const auto set = [&](const char* name, const char* value) {
    EXPECT_EQ(ErrorOfSet(config, name, value), "accepted") << name << '=' << value;
  };
  for (const char* on : {"on", "TRUE", "1"}) {
    config.integerMathAsDouble_ = false;
    set("integermathasdouble", on);
    EXPECT_TRUE(config.integerMathAsDouble_) << on;
  }
  for (const char* off : {"off", "False", "0"}) {
    config.caseSensitiveCompare_ = true;
    set("CaseSensitiveCompare", off);
    EXPECT_FALSE(config.caseSensitiveCompare_) << off;
  }
  EXPECT_FALSE(config.integerDivideAsDouble_);
  set("IntegerDivideAsDouble", "on");
  EXPECT_TRUE(config.integerDivideAsDouble_);
  EXPECT_TRUE(config.longMonthNames_ && config.longDayNames_);
  set("LongMonthNames", "off");
  EXPECT_TRUE(!config.longMonthNames_ && config.longDayNames_);
  set("LongDayNames", "off");
  EXPECT_FALSE(config.longDayNames_);
  set("IntegerAggregates", "Native");
  EXPECT_FALSE(config.wideIntegerAggregates_);
  set("FirstDayOfWeek", "7");
  EXPECT_EQ(config.firstDayOfWeek_, 7);
  set("FiscalYearStartMonth", "12");
  EXPECT_EQ(config.fiscalYearStartMonth_, 12);
  set("JsonErrors", "null");
  EXPECT_EQ(config.jsonErrors_, SUSystemConfig::JsonErrors::kNull);
  set("TempDirectory", "/Var/Tmp");
  EXPECT_EQ(config.tempDirectory_, "/Var/Tmp");
  for (const auto& [given, kept] :
       std::map<std::string, std::string>{{"sv_SE", "sv_SE"},
                                          {"sv-SE", "sv_SE"},
                                          {"de@collation=phonebook", "de@collation=phonebook"},
                                          {"en", "en"},
                                          {"", ""}}) {
    set("Locale", given.c_str());
    EXPECT_EQ(config.locale_, kept);
  }
  for (const auto& [size, bytes] :
       std::map<std::string, uint64>{{"1", 1},
                                     {"64KiB", 65536},
                                     {"1gib", uint64{1} << 30},
                                     {"2TiB", uint64{1} << 41},
                                     {"18446744073709551615", UINT64_MAX}}) {
    set("GroupMemory", size.c_str());
    EXPECT_EQ(config.groupMemory_, bytes) << size;
  }
}

TEST(SUSystemConfig, RefusesWithWholeSentencesAndKeepsTheValue) {
  SUSystemConfig config;
  const std::string size = "a size above 0 such as 256MiB, 64KiB, 1GiB or a number of bytes";
  const struct {
    const char* name;
    const char* value;
    std::string error;
  } kCases[] = {
      {"GroupMemroy", "1",
       "58040: there is no switch of this name (--help-switches lists them all): \"GroupMemroy\""},
      {"longdaynames", "yes", "58041: the switch \"LongDayNames\" takes on or off, not \"yes\""},
      {"GroupMemory", "0", "58041: the switch \"GroupMemory\" takes " + size + ", not \"0\""},
      {"GroupMemory", "12MB", "58041: the switch \"GroupMemory\" takes " + size + ", not \"12MB\""},
      {"GroupMemory", "-1", "58041: the switch \"GroupMemory\" takes " + size + ", not \"-1\""},
      {"GroupMemory", "16777216TiB",
       "58041: the switch \"GroupMemory\" takes " + size + ", not \"16777216TiB\""},
      {"FirstDayOfWeek", "8",
       "58041: the switch \"FirstDayOfWeek\" takes a number from 1 (Sunday) to 7 (Saturday), not "
       "\"8\""},
      {"FiscalYearStartMonth", "1x",
       "58041: the switch \"FiscalYearStartMonth\" takes a number from 1 (January) to 12 "
       "(December), not \"1x\""},
      {"Locale", "xx_YY",
       "58041: the switch \"Locale\" takes an ICU locale such as sv_SE, or nothing, not \"xx_YY\""},
      {"IntegerAggregates", "",
       "58041: the switch \"IntegerAggregates\" takes wide or native, not \"\""},
      {"JsonErrors", "on", "58041: the switch \"JsonErrors\" takes error or null, not \"on\""},
  };
  for (const auto& c : kCases) EXPECT_EQ(ErrorOfSet(config, c.name, c.value), c.error);
  EXPECT_NE(ErrorOfSet(config, "Locale", std::string(400, 'a')), "accepted");
  EXPECT_EQ(config.groupMemory_, uint64{256} << 20);
  EXPECT_EQ(config.locale_, "");
}

TEST(SUCompatFlag, ReadsTheSubstringSwitch) {
  SUSystemConfig& config = SUSystemConfig::GetSystemConfig();
  const SUSystemConfig before = config;
  for (bool on : {true, false}) {
    config.substringCompliance_ = on;
    EXPECT_EQ(SUCompatFlag::GetBool("ZEPH_SUBSTRING_VELMAR_COMPLIANCE"), on);
    EXPECT_FALSE(SUCompatFlag::GetBool("ZEPH_OTHER"));
  }
  config = before;
}

}  // namespace
}  // namespace sqxer
