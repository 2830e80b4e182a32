// No evaluation takes memory, once a first row has filled the buffers that are kept between rows.
#include "AllocationCount.h"
#include "SQXERExprArithmetic.h"
#include "SQXERExprConstant.h"
#include "SQXERExprConvert.h"
#include "SQXERExprExtract.h"
#include "SQXERExprLogical.h"
#include "Utility/XeMemory.h"
#include "support/TestRecord.h"

namespace sqxer::test {
namespace {

constexpr XeDataType kTypes[] = {
    XeInt1Data, XeUInt2Data,   XeInt4Data, XeUInt4Data, XeFloatData,    XeDoubleData, XeNumericData,
    XeCharData, XeVarCharData, XeDateData, XeTimeData,  XeDateTimeData, XeBoolean};
constexpr int kFixed = 7, kVarying = 8, kDouble = 5, kDateTime = 11;

/// Each operator over the columns of a type that takes it.
std::vector<RExpression*> OperatorsOver(int column, XeDataType type) {
  const auto f = [](int of) -> RExpression* { return new Extract(of); };
  const auto c = [&] { return f(column); };
  if (type == XeBoolean) {
    return {c(), new IsNull(c()), new LogicalNot(c()),
            new LogicalAnd(c(), new LogicalOr(c(), c()))};
  }
  std::vector<RExpression*> trees = {c(), new IsNull(c()), new EQ(c(), c()), new LE(c(), c()),
                                     new Between(c(), c(), c())};
  const auto add = [&](auto... more) { (trees.push_back(more), ...); };
  if (SUXeDataTypeUtility::IsXeTextType(type)) {
    add(new Concat(c(), new Concat(c(), f(kVarying))), new LT(c(), f(kFixed)));
  } else if (SUXeDataTypeUtility::IsXeNumericType(type)) {
    add(new UnaryMinus(c()), new Add(c(), f(kDouble)), new Subtract(c(), c()),
        new Multiply(c(), new ConstantNumber(VelmarNumber(1.5))), new Divide(c(), c(), true));
  } else {
    add(new GT(c(), f(kDateTime)));
  }
  return trees;
}

TEST(RowPath, EvaluationTakesNoMemory) {
  std::vector<TestField> fields;
  for (const XeDataType type : kTypes) fields.push_back({type, type == XeVarCharData ? 9u : 0});
  fields[kFixed].length = 6;
  TestRecord record{std::span<const TestField>(fields)};
  for (int i = 0; i < 13; ++i) record.SetNumber(i, 1);
  record.SetText(kFixed, L"wren").SetText(kVarying, L"sparrow");
  record.Set(9, XeDate(2012, 1, 31)).Set(10, XeTime(12, 0, 0)).Set(11, XeDateTime(2012, 1, 31));
  for (int column = 0; column < 13; ++column) {
    for (RExpression* unbound : OperatorsOver(column, kTypes[column])) {
      const auto tree = record.Bind(unbound);
      SCOPED_TRACE(DescribeTree(*tree).c_str());
      alignas(16) uint8 out[64];
      tree->Eval(out);
      const std::size_t before = AllocationCount(), blocks = MemoryGateway::BlocksInUse();
      for (int row = 0; row < 100; ++row) {
        for (int i = 0; i < 13; ++i) record.SetNull(i, row % 7 == 0);
        tree->Eval(out);
      }
      EXPECT_EQ(AllocationCount(), before);
      EXPECT_EQ(MemoryGateway::BlocksInUse(), blocks);
    }
  }
}

}  // namespace
}  // namespace sqxer::test
