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

RExpression* Field(const wchar_t* name) { return new Extract(XeString(name), false); }

/// A tree over a field of every type, alone and under each operator that takes it.
std::vector<RExpression*> OperatorsOver(const wchar_t* name, XeDataType type) {
  std::vector<RExpression*> trees = {Field(name), new IsNull(Field(name))};
  if (type == XeBoolean) {
    trees.push_back(new LogicalNot(Field(name)));
    trees.push_back(new LogicalAnd(Field(name), new LogicalOr(Field(name), Field(name))));
    return trees;
  }
  trees.push_back(new EQ(Field(name), Field(name)));
  trees.push_back(new LE(Field(name), Field(name)));
  trees.push_back(new Between(Field(name), Field(name), Field(name)));
  if (SUXeDataTypeUtility::IsXeTextType(type)) {
    trees.push_back(new Concat(Field(name), new Concat(Field(name), Field(L"text"))));
    trees.push_back(new LT(Field(name), Field(L"fixed")));
  } else if (SUXeDataTypeUtility::IsXeNumericType(type)) {
    trees.push_back(new UnaryMinus(Field(name)));
    trees.push_back(new Add(Field(name), Field(L"double")));
    trees.push_back(new Subtract(Field(name), Field(name)));
    trees.push_back(new Multiply(Field(name), new ConstantNumber(VelmarNumber(1.5))));
    trees.push_back(new Divide(Field(name), Field(name), true));
  } else {
    trees.push_back(new GT(Field(name), Field(L"datetime")));
  }
  return trees;
}

TEST(RowPath, EvaluationTakesNoMemory) {
  const TestField fields[] = {
      {XeInt1Data, 0, true, L"int1"},      {XeUInt2Data, 0, true, L"uint2"},
      {XeInt4Data, 0, true, L"int4"},      {XeUInt4Data, 0, true, L"uint4"},
      {XeFloatData, 0, true, L"float"},    {XeDoubleData, 0, true, L"double"},
      {XeNumericData, 0, true, L"number"}, {XeCharData, 6, true, L"fixed"},
      {XeVarCharData, 9, true, L"text"},   {XeDateData, 0, true, L"date"},
      {XeTimeData, 0, true, L"time"},      {XeDateTimeData, 0, true, L"datetime"},
      {XeBoolean, 0, true, L"boolean"},
  };
  TestRecord record{std::span(fields)};
  for (int i = 0; i < 7; ++i) record.SetNumber(i, 3);
  record.SetText(7, L"wren").SetText(8, L"sparrow");
  record.Set(9, XeDate(2012, 1, 31)).Set(10, XeTime(12, 0, 0)).Set(11, XeDateTime(2012, 1, 31));
  record.Set(12, uint8{1});

  for (const TestField& field : fields) {
    for (RExpression* unbound : OperatorsOver(field.name.c_str(), field.type)) {
      const std::unique_ptr<RExpression> tree = record.Bind(unbound);
      SCOPED_TRACE(testing::Message() << DescribeTree(*tree).c_str());
      alignas(16) uint8 out[64];
      tree->Eval(out);
      const std::size_t before = AllocationCount();
      const std::size_t blocks = MemoryGateway::BlocksInUse();
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
