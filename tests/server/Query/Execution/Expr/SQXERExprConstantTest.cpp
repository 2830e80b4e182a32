#include <gtest/gtest.h>

#include "SQXERExprConstant.h"
#include "support/Asserts.h"
#include "support/BoundaryValues.h"
#include "support/TestRecord.h"

namespace sqxer::test {
namespace {

template <class Node, class Value>
void ExpectConstants(XeDataType type) {
  for (const Value& value : BoundaryValues<Value>()) {
    TestRecord record({});
    const MetaDataInfo& info = record.info;
    const auto constant = record.BindOperand(new Node(value));
    EXPECT_EQ(constant->GetResultDataType(), type);
    EXPECT_EQ(info.objectLength_, XeFieldDescriptor::GetObjectLength(type, 0));
    EXPECT_FALSE(info.isNullable_);
    EXPECT_EQ(info.fieldName_, XeRecordMetaData::constantFieldName_);
    const auto read = EvalAs<Value>(*constant);
    EXPECT_TRUE(value != value ? *read != *read : read == value);
  }
}

TEST(Constant, ValuesOfFixedTypes) {
  ExpectConstants<ConstantInt32, int32>(XeInt4Data);
  ExpectConstants<ConstantUInt32, uint32>(XeUInt4Data);
  ExpectConstants<ConstantFloat64, float64>(XeDoubleData);
  ExpectConstants<ConstantNumber, VelmarNumber>(XeNumericData);
  ExpectConstants<ConstantBoolean, bool>(XeBoolean);
  ExpectConstants<ConstantDate, XeDate>(XeDateData);
  ExpectConstants<ConstantTime, XeTime>(XeTimeData);
  ExpectConstants<ConstantDateTime, XeDateTime>(XeDateTimeData);
  ExpectError(59003, {SUXeDataTypeUtility::GetXeDataTypeName(XeBitData)},
              [&] { TestRecord({}).Bind(new ConstantBit(uint8{1})); });
}

TEST(Constant, TextsAndNull) {
  TestRecord record({});
  for (const uint32 longest : {5u, 127u, 128u}) {
    for (const XeString& text : BoundaryTexts(longest)) {
      for (const bool fixed : {true, false}) {
        const auto node =
            record.BindOperand(fixed ? static_cast<RExpression*>(new ConstantXeChar(text))
                                     : new ConstantLongVarXeChar(text));
        EXPECT_EQ(record.info.objectLength_, text.size());
        EXPECT_EQ(EvalText(*node), text);
        EXPECT_TRUE(fixed || EvalAs<RefLongVarChar>(*node)->buffer_[text.size()] == L'\0');
      }
    }
  }
  const auto null = record.BindOperand(new ConstantNull);
  EXPECT_TRUE(record.info.isNullable_);
  EXPECT_EQ(record.info.objectLength_, 1u);
  EXPECT_EQ(record.info.fieldName_, L"(Constant Null)");
  EXPECT_EQ(null->GetResultDataType(), XeBoolean);
  EXPECT_EQ(EvalAs<uint8>(*null), std::nullopt);
}

/// What a text reads as: nothing when the scan fails.
template <class Node, class Value>
std::optional<Value> ReadAs(const wchar_t* text) {
  bool success = false;
  Node node(XeString(text), &success);
  const auto value = EvalAs<Value>(node);
  EXPECT_TRUE(success || value == Value{});
  return success ? value : std::nullopt;
}

TEST(ConstantFromText, ReadsANumberAtTheBeginning) {
  const struct {
    const wchar_t* text;
    std::optional<int32> int4;
    std::optional<uint32> uint4;
    std::optional<float64> real;
    std::optional<uint8> byte;
  } kCases[] = {
      {L"12abc", 12, 12u, 12.0, 12},
      {L"  -1", -1, 4294967295u, -1.0, 255},
      {L"2147483647", 2147483647, 2147483647u, 2147483647.0, 255},
      {L"1.5e3", 1, 1u, 1500.0, 1},
      {L"256", 256, 256u, 256.0, 0},
      {L"", 0, 0u, 0.0, 0},
      {L"   ", 0, 0u, 0.0, 0},
      {L"abc", {}, {}, {}, {}},
      {L".5", {}, {}, 0.5, {}},
      {L"'1'", {}, {}, {}, {}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ((ReadAs<ConstantInt32, int32>(c.text)), c.int4);
    EXPECT_EQ((ReadAs<ConstantUInt32, uint32>(c.text)), c.uint4);
    EXPECT_EQ((ReadAs<ConstantFloat64, float64>(c.text)), c.real);
    EXPECT_EQ((ReadAs<ConstantBit, uint8>(c.text)), c.byte);
    EXPECT_EQ((ReadAs<ConstantBoolean, uint8>(c.text)), c.byte);
  }
  // A decimal always reads.
  EXPECT_EQ((ReadAs<ConstantNumber, VelmarNumber>(L"-12.50")), VelmarNumber(-12.5));
  EXPECT_EQ((ReadAs<ConstantNumber, VelmarNumber>(L"abc")), VelmarNumber::zero);
}

}  // namespace
}  // namespace sqxer::test
