#include <gtest/gtest.h>

#include "PlanTesting.h"

namespace sqxer::testing {
namespace {

TEST(ExpressionPlan, LiteralsTakeTheirPartnersTypeAndMixedSignsMeetAsDecimals) {
  ExpectResults(Output, R"(
i + 2 => AddInt32(i:Int32, 2:Int32) ;; d * 2 => MultiplyFloat64(d:Float64, 2:Float64)
n - 2 => SubtractNumber(n:Number, 2:Number) ;; f < 1.5 => LTFloat64(f:Float64, 1.5:Float64)
u > 3000000000 => GTUInt32(u:UInt32, 3000000000:UInt32) ;; i = '12' => EQInt32(i:Int32, 12:Int32)
i = ' 1.5 ' => EQNumber(ConvertInt32toNumber(i:Int32), 1.5:Number)
d = 'nan' => EQFloat64(d:Float64, NaN:Float64) ;; '7' + i => AddInt32(7:Int32, i:Int32)
dt = '2020-01-31' => EQDate(dt:Date, 2020-01-31:Date) ;; c = 'x' => EQXeChar(c:XeChar, 'x':XeChar)
dt = '2020-01-31 00:00' => EQDate(dt:Date, 2020-01-31:Date)
ts > DATE '2020-01-31' => GTDateTime(ts:DateTime, 2020-01-31 00:00:00:DateTime)
'10:00' = tm => EQTime(10:00:00:Time, tm:Time) ;; i = NULL => EQInt32(i:Int32, NULL:TypedNull)
s = 'x' => EQLongVarXeChar(s:LongVarXeChar, 'x':LongVarXeChar)
s || 5 => ConcatLongVarXeChar(s:LongVarXeChar, '5':LongVarXeChar)
i BETWEEN 1 AND '9' => BetweenInt32(i:Int32, 1:Int32, 9:Int32)
d BETWEEN 1 AND 2.5 => BetweenFloat64(d:Float64, 1:Float64, 2.5:Float64)
b AND 'true' => LogicalAnd(b:Boolean, true:Boolean)
NULL || s => ConcatLongVarXeChar(NULL:TypedNull, s:LongVarXeChar)
dt < '2020-01-31 10:00'
  LTDateTime(ConvertXeDatetoXeDateTime(dt:Date), 2020-01-31 10:00:00:DateTime)
u > -1 => GTNumber(ConvertUInt32toNumber(u:UInt32), -1:Number)
i + u => AddNumber(ConvertInt32toNumber(i:Int32), ConvertUInt32toNumber(u:UInt32))
i = UINT4 '5' => EQNumber(ConvertInt32toNumber(i:Int32), 5:Number)
u2 - 5 => SubtractInt32(u2:Int32, 5:Int32)
-u => UnaryMinusNumber(ConvertUInt32toNumber(u:UInt32))
d > u => GTFloat64(d:Float64, ConvertUInt32toFloat64(u:UInt32))
u - 5 => SubtractUInt32(u:UInt32, 5:UInt32)
u BETWEEN -1 AND i
  BetweenNumber(ConvertUInt32toNumber(u:UInt32), -1:Number, ConvertInt32toNumber(i:Int32))
)");
}

// An error is left for the row that meets it.
TEST(ExpressionPlan, ConstantsAreComputedOnce) {
  ExpectResults(Output, R"(
1 + 2 * 3 => 7:Int32 ;; 7 / 2.0 => 3.5:Number ;; 1e2 => 100:Float64 ;; - /* x */ ( 5 ) => -5:Int32
-2147483648 => -2147483648:Int32 ;; 2147483648 => 2147483648:Number ;; UINT4 '4' => 4:UInt32
'a' || 1.50 || TRUE || DATE '2020-01-31' => 'a1.5true2020-01-31':LongVarXeChar
NULL = NULL => NULL:TypedNull ;; NULL IS NULL => true:Boolean
1 / 0 => DivideInt32(1:Int32, 0:Int32)
i * (2 + 3) > 10 - 4 => GTInt32(MultiplyInt32(i:Int32, 5:Int32), 6:Int32)
i + 2147483647 * 2 => AddInt32(i:Int32, MultiplyInt32(2147483647:Int32, 2:Int32))
)");
}

TEST(ExpressionPlan, TruthValuesBitsAndNarrowColumns) {
  ExpectResults(Output, R"(
b = TRUE => EQInt32(ConvertBittoInt32(b:Boolean), 1:Int32) ;; i1 => i1:Int8 ;; +u2 => u2:UInt16
b <> 'f' => NEInt32(ConvertBittoInt32(b:Boolean), 0:Int32) ;; f => f:Float32
bit + bit => AddInt32(ConvertBittoInt32(bit:Bit), ConvertBittoInt32(bit:Bit))
bit IS NULL => IsNullInt32(ConvertBittoInt32(bit:Bit)) ;; b IS UNKNOWN => IsNullBoolean(b:Boolean)
bit AND NOT b => LogicalAnd(bit:Bit, LogicalNot(b:Boolean)) ;; -i1 => UnaryMinusInt32(i1:Int32)
b IS FALSE => LogicalAnd(LogicalNot(b:Boolean), LogicalNot(IsNullBoolean(b:Boolean)))
b IS NOT TRUE => LogicalNot(LogicalAnd(b:Boolean, LogicalNot(IsNullBoolean(b:Boolean))))
i NOT BETWEEN 1 AND 2 => LogicalNot(BetweenInt32(i:Int32, 1:Int32, 2:Int32))
i1 = u2 => EQInt32(i1:Int32, u2:Int32) ;; c || c => ConcatXeChar(c:XeChar, c:XeChar)
c || s => ConcatLongVarXeChar(ConvertXeChartoLongVarXeChar(c:XeChar), s:LongVarXeChar)
)");
}

}  // namespace
}  // namespace sqxer::testing
