#include <thread>

#include "FunctionTesting.h"
#include "SQXERExprIn.h"
#include "SQXERExprLike.h"
#include "SQXERExprLogicalCompare.h"
#include "Utility/Settings.h"

namespace sqxer::test {
namespace {

RExpression* C(int32 value) { return new ConstantInt32(value); }

SettingsRef With(const std::string& assignments) {
  SUSystemConfig switches;
  for (const std::string& one : Split(assignments)) {
    const std::vector<std::string> parts = Split(one, '=');
    switches.Set(parts[0], parts[1]);
  }
  return std::make_shared<const Settings>(switches);
}

/// Trees over constants whose results depend on the settings that they were bound under.
struct SettingsTrees {
  SettingsTrees()
      : monday(Bound(
            new CalendarExtract(Arg(XeDateTime(2012, 1, 2)), XeDateTime::extractWeekOfTheYear))),
        fiscal(Bound(new FiscalExtract(Arg(XeDateTime(2012, 7, 2)),
                                       XeDateTime::extractFiscalQuarterOfTheYear))),
        name(Bound(
            new CalendarExtract(Arg(XeDateTime(2012, 1, 2)), XeDateTime::extractNameOfTheMonth))),
        less(Bound(new LT(T(L"\u00E4a"), T(L"b")))),
        in(Bound(new In(T(L"A"), {T(L"a")}, {}, false))),
        like(Bound(new Like(T(L"ABC"), T(L"a%")))),
        place(Bound(Function<Position>(T(L"B"), T(L"abc")))),
        part(Bound(Function<SubString>(T(L"abcdef"), C(-2), C(2)))) {}

  std::string Outcomes() {
    std::string all = std::to_string(*EvalAs<int32>(*monday)) + " " +
                      std::to_string(*EvalAs<int32>(*fiscal)) + " " +
                      BaseStringUtil::StringToUtf8(*EvalText(*name));
    for (const auto* tree : {&less, &in, &like})
      all += " " + std::to_string(*EvalAs<uint8>(**tree));
    all += " " + std::to_string(*EvalAs<int32>(*place));
    return all + " " + BaseStringUtil::StringToUtf8(*EvalText(*part)) + ".";
  }

  using Tree = decltype(Bound(nullptr));
  Tree monday, fiscal, name, less, in, like, place, part;
};

TEST(Settings, StayWithTheTreesThatWereBoundUnderThem) {
  const std::pair<std::string, std::string> kOutcomes[] = {
      {"Locale=de_DE|LongMonthNames=off|SubstringCompliance=on|FiscalYearStartMonth=7",
       "2 1 Jan        1 0 0 0 ef."},
      {"Locale=sv_SE|CaseSensitiveCompare=off", "2 3 januari   0 1 1 2 ."},
      {"FirstDayOfWeek=1", "1 3 January   0 0 0 0 ."}};
  std::vector<std::unique_ptr<SettingsTrees>> trees;
  for (const auto& [switches, outcome] : kOutcomes) {
    const SettingsScope scope(With(switches));
    trees.push_back(std::make_unique<SettingsTrees>());
  }
  // Neither other settings of the thread nor those of the process reach what is bound.
  ConfigScope config;
  config->locale_ = "sv_SE";
  config->fiscalYearStartMonth_ = 4;
  config->caseSensitiveCompare_ = false;
  const SettingsScope scope(With("Locale=ja_JP|FirstDayOfWeek=5"));
  for (std::size_t i = 0; i < trees.size(); ++i) {
    EXPECT_EQ(trees[i]->Outcomes(), kOutcomes[i].second) << kOutcomes[i].first;
  }
}

// Not by EvalAs, which counts what the whole process allocates.
template <class Value>
Value Evaluate(RExpression& tree) {
  Value value{};
  EXPECT_EQ(tree.Eval(&value), kTrue);
  return value;
}

TEST(Settings, OfThreadsSideBySide) {
  const auto run = [](const std::string& switches, uint8 expected, int* faults) {
    const SettingsScope scope(With(switches));
    for (int i = 0; i < 200; ++i) {
      const auto less = Bound(new LT(T(L"\u00E4a"), T(L"b")));
      const auto name = Bound(
          new CalendarExtract(Arg(XeDateTime(2012, 3, 2)), XeDateTime::extractNameOfTheMonth));
      const wchar_t* const march = expected != 0 ? L"M\u00E4rz" : L"mars";
      for (int row = 0; row < 50; ++row) {
        *faults += Evaluate<uint8>(*less) != expected;
        *faults += !XeString(Evaluate<wchar_t*>(*name)).starts_with(march);
      }
    }
  };
  int german = 0;
  int swedish = 0;
  std::thread other(run, "Locale=de_DE", uint8{1}, &german);
  run("Locale=sv_SE", 0, &swedish);
  other.join();
  EXPECT_EQ(german, 0);
  EXPECT_EQ(swedish, 0);
}

}  // namespace
}  // namespace sqxer::test
