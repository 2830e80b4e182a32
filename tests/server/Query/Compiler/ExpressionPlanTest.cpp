#include <gtest/gtest.h>

#include "PlanTesting.h"
#include "Utility/SUSystemConfig.h"

namespace sqxer::testing {
namespace {

struct Case {
  const char* expression;
  const char* tree;
};

void ExpectOutputs(std::initializer_list<Case> cases) {
  for (const Case& c : cases) EXPECT_EQ(Output(c.expression), c.tree) << c.expression;
}

TEST(ExpressionPlan, LiteralsTakeTheTypeThatTheirPartnerNeeds) {
  ExpectOutputs({
      {"i + 2", "AddInt32(ExtractInt32 i, ConstantInt32 2)"},
      {"d * 2", "MultiplyFloat64(ExtractFloat64 d, ConstantFloat64 2)"},
      {"d > 0.5", "GTFloat64(ExtractFloat64 d, ConstantFloat64 0.5)"},
      {"n - 2", "SubtractNumber(ExtractNumber n, ConstantNumber 2)"},
      {"f < 1", "LTFloat64(ExtractFloat64 f, ConstantFloat64 1)"},
      {"u > 3", "GTUInt32(ExtractUInt32 u, ConstantUInt32 3)"},
      {"u > 3000000000", "GTUInt32(ExtractUInt32 u, ConstantUInt32 3000000000)"},
      {"i = '12'", "EQInt32(ExtractInt32 i, ConstantInt32 12)"},
      {"i = ' 1.5 '", "EQNumber(ConvertInt32toNumber(ExtractInt32 i), ConstantNumber 1.5)"},
      {"d = 'nan'", "EQFloat64(ExtractFloat64 d, ConstantFloat64 nan)"},
      {"'7' + i", "AddInt32(ConstantInt32 7, ExtractInt32 i)"},
      {"dt = '2020-01-31'", "EQDate(ExtractDate dt, ConstantDate 2020-01-31)"},
      {"dt = '2020-01-31 00:00'", "EQDate(ExtractDate dt, ConstantDate 2020-01-31)"},
      {"dt < '2020-01-31 10:00'",
       "LTDateTime(ConvertXeDatetoXeDateTime(ExtractDate dt), ConstantDateTime 2020-01-31 "
       "10:00:00)"},
      {"ts > DATE '2020-01-31'",
       "GTDateTime(ExtractDateTime ts, ConstantDateTime 2020-01-31 00:00:00)"},
      {"'10:00' = tm", "EQTime(ConstantTime 10:00:00, ExtractTime tm)"},
      {"s = 'x'", "EQLongVarXeChar(ExtractLongVarXeChar s, ConstantLongVarXeChar 'x')"},
      {"c = 'x'", "EQXeChar(ExtractXeChar c, ConstantXeChar 'x')"},
      {"s || 5", "ConcatLongVarXeChar(ExtractLongVarXeChar s, ConstantLongVarXeChar '5')"},
      {"i BETWEEN 1 AND '9'", "BetweenInt32(ExtractInt32 i, ConstantInt32 1, ConstantInt32 9)"},
      {"d BETWEEN 1 AND 2.5",
       "BetweenFloat64(ExtractFloat64 d, ConstantFloat64 1, ConstantFloat64 2.5)"},
      {"ts BETWEEN '2020-01-01' AND '2020-01-02'",
       "BetweenDateTime(ExtractDateTime ts, ConstantDateTime 2020-01-01 00:00:00, "
       "ConstantDateTime 2020-01-02 00:00:00)"},
      {"i = NULL", "EQInt32(ExtractInt32 i, ConstantNull NULL)"},
      {"c = NULL", "EQXeChar(ExtractXeChar c, ConstantNull NULL)"},
      {"NULL + d", "AddFloat64(ConstantNull NULL, ExtractFloat64 d)"},
      {"NULL || s", "ConcatLongVarXeChar(ConstantNull NULL, ExtractLongVarXeChar s)"},
      {"b OR NULL", "LogicalOr(ExtractBoolean b, ConstantNull NULL)"},
      {"b AND 'true'", "LogicalAnd(ExtractBoolean b, ConstantBoolean true)"},
  });
}

TEST(ExpressionPlan, ConstantsAreComputedOnce) {
  ExpectOutputs({
      {"1 + 2 * 3", "ConstantInt32 7"},
      {"7 / 2", "ConstantInt32 3"},
      {"7 / 2.0", "ConstantNumber 3.5"},
      {"-(-(-7))", "ConstantInt32 -7"},
      {"-2147483648", "ConstantInt32 -2147483648"},
      {"- /* sign */ ( 5 )", "ConstantInt32 -5"},
      {"2147483648", "ConstantNumber 2147483648"},
      {".5", "ConstantNumber 0.5"},
      {"1e2", "ConstantFloat64 100"},
      {"TIMESTAMP '2020-01-31 10:00:00.5'", "ConstantDateTime 2020-01-31 10:00:00.5"},
      {"UINT4 '4000000000'", "ConstantUInt32 4000000000"},
      {"'a' || 1.50 || TRUE || DATE '2020-01-31'", "ConstantLongVarXeChar 'a1.5true2020-01-31'"},
      {"NULL", "ConstantNull NULL"},
      {"NULL = NULL", "ConstantNull NULL"},
      {"NULL IS NULL", "ConstantBoolean true"},
      // An error is left for the row that meets it.
      {"1 / 0", "DivideInt32(ConstantInt32 1, ConstantInt32 0)"},
      {"i + 2147483647 * 2",
       "AddInt32(ExtractInt32 i, MultiplyInt32(ConstantInt32 2147483647, ConstantInt32 2))"},
      {"i * (2 + 3) > 10 - 4",
       "GTInt32(MultiplyInt32(ExtractInt32 i, ConstantInt32 5), ConstantInt32 6)"},
  });
}

TEST(ExpressionPlan, SignedAndUnsignedMeetAsDecimals) {
  ExpectOutputs({
      {"u > -1", "GTNumber(ConvertUInt32toNumber(ExtractUInt32 u), ConstantNumber -1)"},
      {"u = i",
       "EQNumber(ConvertUInt32toNumber(ExtractUInt32 u), ConvertInt32toNumber(ExtractInt32 i))"},
      {"i + u",
       "AddNumber(ConvertInt32toNumber(ExtractInt32 i), ConvertUInt32toNumber(ExtractUInt32 u))"},
      {"i = UINT4 '5'", "EQInt32(ExtractInt32 i, ConstantInt32 5)"},
      {"-u", "UnaryMinusNumber(ConvertUInt32toNumber(ExtractUInt32 u))"},
      {"u BETWEEN -1 AND i",
       "BetweenNumber(ConvertUInt32toNumber(ExtractUInt32 u), ConstantNumber -1, "
       "ConvertInt32toNumber(ExtractInt32 i))"},
      {"d > u", "GTFloat64(ExtractFloat64 d, ConvertUInt32toFloat64(ExtractUInt32 u))"},
      {"u2 - 5", "SubtractInt32(ExtractInt32 u2, ConstantInt32 5)"},
      {"u - 5", "SubtractUInt32(ExtractUInt32 u, ConstantUInt32 5)"},
  });
}

TEST(ExpressionPlan, TruthValuesAndBits) {
  ExpectOutputs({
      {"b = TRUE", "EQInt32(ConvertBittoInt32(ExtractBoolean b), ConstantInt32 1)"},
      {"b <> 'f'", "NEInt32(ConvertBittoInt32(ExtractBoolean b), ConstantInt32 0)"},
      {"bit = TRUE", "EQInt32(ConvertBittoInt32(ExtractBit bit), ConstantInt32 1)"},
      {"b > (i = 1)",
       "GTInt32(ConvertBittoInt32(ExtractBoolean b), "
       "ConvertBittoInt32(EQInt32(ExtractInt32 i, ConstantInt32 1)))"},
      {"bit + bit",
       "AddInt32(ConvertBittoInt32(ExtractBit bit), ConvertBittoInt32(ExtractBit bit))"},
      {"bit IS NULL", "IsNullInt32(ConvertBittoInt32(ExtractBit bit))"},
      {"bit AND NOT b", "LogicalAnd(ExtractBit bit, LogicalNot(ExtractBoolean b))"},
      {"b IS TRUE", "LogicalAnd(ExtractBoolean b, LogicalNot(IsNullBoolean(ExtractBoolean b)))"},
      {"b IS NOT FALSE",
       "LogicalNot(LogicalAnd(LogicalNot(ExtractBoolean b), "
       "LogicalNot(IsNullBoolean(ExtractBoolean b))))"},
      {"b IS UNKNOWN", "IsNullBoolean(ExtractBoolean b)"},
      {"i NOT BETWEEN 1 AND 2",
       "LogicalNot(BetweenInt32(ExtractInt32 i, ConstantInt32 1, ConstantInt32 2))"},
      {"b OR b OR b OR b",
       "LogicalOr(LogicalOr(ExtractBoolean b, ExtractBoolean b), "
       "LogicalOr(ExtractBoolean b, ExtractBoolean b))"},
  });
}

TEST(ExpressionPlan, NarrowColumnsKeepTheirWidthOnlyAsWholeResults) {
  ExpectOutputs({
      {"i1", "ExtractInt8 i1"},
      {"+u2", "ExtractUInt16 u2"},
      {"f", "ExtractFloat32 f"},
      {"-i1", "UnaryMinusInt32(ExtractInt32 i1)"},
      {"i1 = u2", "EQInt32(ExtractInt32 i1, ExtractInt32 u2)"},
      {"c || s",
       "ConcatLongVarXeChar(ConvertXeChartoLongVarXeChar(ExtractXeChar c), "
       "ExtractLongVarXeChar s)"},
      {"c || c", "ConcatXeChar(ExtractXeChar c, ExtractXeChar c)"},
  });
}

TEST(ExpressionPlan, SwitchesComputeIntegersAsDoubles) {
  SUSystemConfig& config = SUSystemConfig::GetSystemConfig();
  const SUSystemConfig before = config;
  config.integerMathAsDouble_ = true;
  ExpectOutputs({
      {"i + 2", "AddFloat64(ConvertInt32toFloat64(ExtractInt32 i), ConstantFloat64 2)"},
      {"u * j",
       "MultiplyFloat64(ConvertUInt32toFloat64(ExtractUInt32 u), "
       "ConvertInt32toFloat64(ExtractInt32 j))"},
      {"i / 2", "DivideInt32(ExtractInt32 i, ConstantInt32 2)"},
  });
  config = before;
  config.integerDivideAsDouble_ = true;
  ExpectOutputs({
      {"i / 2", "DivideFloat64(ConvertInt32toFloat64(ExtractInt32 i), ConstantFloat64 2)"},
      {"7 / 2", "ConstantFloat64 3.5"},
      {"u / i",
       "DivideFloat64(ConvertUInt32toFloat64(ExtractUInt32 u), "
       "ConvertInt32toFloat64(ExtractInt32 i))"},
      {"i + 2", "AddInt32(ExtractInt32 i, ConstantInt32 2)"},
  });
  config = before;
}

}  // namespace
}  // namespace sqxer::testing
