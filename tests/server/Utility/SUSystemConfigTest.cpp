#include <gtest/gtest.h>

#include "Utility/Settings.h"
#include "UtilityTesting.h"

namespace sqxer {
namespace {

std::map<std::string, std::string> Values(const SUSystemConfig& config) {
  const auto text = [](auto value) { return std::to_string(value); };
  return {{"IntegerMathAsDouble", text(config.integerMathAsDouble_)},
          {"IntegerDivideAsDouble", text(config.integerDivideAsDouble_)},
          {"IntegerAggregates", text(config.wideIntegerAggregates_)},
          {"CaseSensitiveCompare", text(config.caseSensitiveCompare_)},
          {"Locale", config.locale_},
          {"LongMonthNames", text(config.longMonthNames_)},
          {"LongDayNames", text(config.longDayNames_)},
          {"FirstDayOfWeek", text(config.firstDayOfWeek_)},
          {"FiscalYearStartMonth", text(config.fiscalYearStartMonth_)},
          {"GroupMemory", text(config.groupMemory_)},
          {"JoinMemory", text(config.joinMemory_)},
          {"TableMemory", text(config.tableMemory_)},
          {"MemoryLimit", text(config.memoryLimit_) + "/" + text(config.memoryShare_)},
          {"TempLimit", text(config.tempLimit_)},
          {"StatementLength", text(config.statementLength_)},
          {"UnpackRatio", text(config.unpackRatio_)},
          {"StatementTimeout", text(config.statementTimeout_)},
          {"JsonErrors", text(static_cast<int>(config.jsonErrors_))},
          {"SubstringCompliance", text(config.substringCompliance_)},
          {"LengthKeepsBlanks", text(config.lengthKeepsBlanks_)},
          {"Evaluation", text(config.batchEvaluation_)},
          {"ConditionOrder", text(config.conditionsByCost_)},
          {"Now", config.now_},
          {"TempDirectory", config.tempDirectory_}};
}

TEST(SUSystemConfig, TakesItsOwnDefaults) {
  EXPECT_EQ(SUSystemConfig::Switches().size(), Values({}).size());
  for (const SUSystemConfig::Switch& entry : SUSystemConfig::Switches()) {
    SUSystemConfig config;
    EXPECT_EQ(ErrorOf([&] { config.Set(entry.name, entry.defaultText); }), "accepted");
    EXPECT_EQ(Values(config), Values({})) << entry.name;
  }
}

TEST(SUSystemConfig, SetsEachSwitchAndNoOther) {
  for (const std::string& one :
       Split("IntegerMathAsDouble on 1|IntegerMathAsDouble TRUE 1|IntegerDivideAsDouble 1 1|"
             "CaseSensitiveCompare off 0|LongMonthNames False 0|LongDayNames 0 0|"
             "SubstringCompliance On 1|IntegerAggregates Native 0|FirstDayOfWeek 7 7|"
             "FiscalYearStartMonth 12 12|JsonErrors null 1|Evaluation Rows 0|ConditionOrder "
             "written 0|TableMemory 1MiB "
             "1048576|TempDirectory "
             "/Var/Tmp /Var/Tmp|"
             "Now 2012-01-31T10:00 2012-01-31T10:00|"
             "Locale sv_SE sv_SE|Locale sv-SE sv_SE|"
             "Locale de@collation=phonebook de@collation=phonebook|GroupMemory 1 1|"
             "GroupMemory 64KiB 65536|GroupMemory 1gib 1073741824|GroupMemory 2TiB 2199023255552|"
             "MemoryLimit 64MiB 67108864/80|MemoryLimit 5% 0/5|TempLimit 1KiB 1024|TempLimit 0 0|"
             "StatementLength 2KiB 2048|UnpackRatio 7 7|"
             "GroupMemory 18446744073709551615 18446744073709551615")) {
    const auto parts = Split(one, ' ');
    std::map<std::string, std::string> expected = Values({});
    expected[parts[0]] = parts[2];
    SUSystemConfig config;
    EXPECT_EQ(ErrorOf([&] { config.Set(parts[0], parts[1]); }), "accepted") << one;
    EXPECT_EQ(Values(config), expected) << one;
  }
}

TEST(SUSystemConfig, RefusesWithWholeSentencesAndKeepsTheValue) {
  const std::string size = "=a size above 0 such as 256MiB, 64KiB, 1GiB or a number of bytes|";
  SUSystemConfig config;
  for (const std::string& one :
       Split("LongDayNames=yes=on or off|GroupMemory=0" + size + "GroupMemory=12MB" + size +
             "GroupMemory=-1" + size + "GroupMemory=16777216TiB" + size +
             "Locale=xx_YY=an ICU locale such as sv_SE, or nothing|"
             "IntegerAggregates==wide or native|"
             "FirstDayOfWeek=0=a number from 1 (Sunday) to 7 (Saturday), or locale|"
             "JsonErrors=on=error or null|"
             "Now=yesterday=a timestamp of UTC, or nothing|"
             "FiscalYearStartMonth=1x=a number from 1 (January) to 12 (December)")) {
    const auto parts = Split(one, '=');
    EXPECT_EQ(
        ErrorOf([&] { config.Set(parts[0], parts[1]); }),
        "58041: the switch \"" + parts[0] + "\" takes " + parts[2] + ", not \"" + parts[1] + "\"");
  }
  EXPECT_EQ(ErrorOf([&] { config.Set("GroupMemroy", "1"); }).substr(0, 38),
            "58040: there is no switch of this name");
  EXPECT_EQ(ErrorOf([&] { config.Set("longdaynames", "on"); }), "accepted");
  EXPECT_EQ(Values(config), Values({}));
}

TEST(SUCompatFlag, ReadsTheSwitchOfEachFlag) {
  ConfigScope config;
  const auto flags = [] {
    std::string text;
    for (const char* name :
         {"ZEPH_SUBSTRING_VELMAR_COMPLIANCE", "ZEPH_DISABLE_RIGHTTRIM_ON_LENGTH_FOR_VARCHAR",
          "ZEPH_DISABLE_RIGHTTRIM_FOR_VARCHAR", "ZEPH_OTHER"})
      text += SUCompatFlag::GetBool(name) ? '1' : '0';
    return text;
  };
  EXPECT_EQ(flags(), "0000");
  config->Set("SubstringCompliance", "on");
  EXPECT_EQ(flags(), "1000");
  config->Set("LengthKeepsBlanks", "on");
  EXPECT_EQ(flags(), "1110");
}

TEST(Settings, RefuseInFieldsWhatIsRefusedByName) {
  const auto error = [](auto change) {
    SUSystemConfig config;
    change(config);
    return ErrorOf([&] { Settings settings(config); });
  };
  EXPECT_EQ(
      error([](auto& config) { config.firstDayOfWeek_ = 9; }),
      "58041: the switch \"FirstDayOfWeek\" takes a number from 1 (Sunday) to 7 (Saturday), or "
      "locale, not \"9\"");
  EXPECT_EQ(error([](auto& config) { config.fiscalYearStartMonth_ = 13; }),
            "58041: the switch \"FiscalYearStartMonth\" takes a number from 1 (January) to 12 "
            "(December), not \"13\"");
  for (const int month : {0, -1}) {
    const auto change = [&](auto& config) { config.fiscalYearStartMonth_ = month; };
    EXPECT_EQ(error(change).substr(0, 6), "58041:");
  }
  EXPECT_EQ(error([](auto& config) { config.groupMemory_ = 0; }).substr(0, 6), "58041:");
  EXPECT_EQ(error([](auto& config) { config.locale_ = "xx_YY"; }).substr(0, 6), "58041:");
  EXPECT_EQ(error([](auto&) {}), "accepted");
}

TEST(Settings, ScopesNestAndStandBeforeTheProcess) {
  ConfigScope config;
  const auto withMonth = [](int month) {
    SUSystemConfig switches;
    switches.fiscalYearStartMonth_ = month;
    return std::make_shared<const Settings>(switches);
  };
  const auto current = [] { return Settings::Current()->GetSwitches().fiscalYearStartMonth_; };
  config->fiscalYearStartMonth_ = 4;
  EXPECT_EQ(current(), 4);
  {
    const SettingsScope outer(withMonth(5));
    EXPECT_EQ(current(), 5);
    {
      const SettingsScope inner(withMonth(6));
      EXPECT_EQ(current(), 6);
    }
    EXPECT_EQ(current(), 5);
  }
  config->fiscalYearStartMonth_ = 7;
  EXPECT_EQ(current(), 7);
}

}  // namespace
}  // namespace sqxer
