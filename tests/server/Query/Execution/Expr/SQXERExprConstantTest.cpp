#include <gtest/gtest.h>

#include <limits>

#include "SQXERExprConstant.h"
#include "support/Asserts.h"
#include "support/BoundaryValues.h"
#include "support/TestRecord.h"

namespace sqxer::test {
namespace {

template <class Node, class Value>
void ExpectConstants(XeDataType type, uint32 length, RExprType kind = kConstantExpression) {
  TestRecord record({});
  for (const Value& value : BoundaryValues<Value>()) {
    MetaDataInfo info;
    info.isNullable_ = true;
    const auto constant = record.BindOperand(new Node(value), &info);
    EXPECT_EQ(constant->GetExpressionType(), kind);
    EXPECT_EQ(constant->GetResultDataType(), type);
    EXPECT_EQ(info.objectLength_, length);
    EXPECT_FALSE(info.isNullable_);
    EXPECT_EQ(info.fieldName_, XeRecordMetaData::constantFieldName_);
    EXPECT_EQ(info.aliasName_, XeRecordMetaData::constantFieldName_);
    const auto read = EvalAs<Value>(*constant);
    ASSERT_TRUE(read);
    EXPECT_TRUE(*read == value || (value != value && *read != *read));
  }
}

TEST(Constant, ValuesOfFixedTypes) {
  ExpectConstants<ConstantInt32, int32>(XeInt4Data, 4);
  ExpectConstants<ConstantUInt32, uint32>(XeUInt4Data, 4);
  ExpectConstants<ConstantFloat64, float64>(XeDoubleData, 8);
  ExpectConstants<ConstantNumber, VelmarNumber>(XeNumericData, sizeof(VelmarNumber),
                                                kConstantNumberExpression);
  ExpectConstants<ConstantBoolean, bool>(XeBoolean, 1);
  ExpectConstants<ConstantDate, XeDate>(XeDateData, 6);
  ExpectConstants<ConstantTime, XeTime>(XeTimeData, 12);
  ExpectConstants<ConstantDateTime, XeDateTime>(XeDateTimeData, 16);
}

TEST(Constant, Texts) {
  TestRecord record({});
  for (const uint32 longest : {5u, 127u, 128u, 200u}) {
    for (const XeString& text : BoundaryTexts(longest)) {
      MetaDataInfo info;
      const auto fixed = record.BindOperand(new ConstantXeChar(text), &info);
      EXPECT_EQ(info.objectLength_, text.size());
      EXPECT_EQ(fixed->GetResultDataType(), XeCharData);
      EXPECT_EQ(EvalText(*fixed), text);
      // One more than the text for the zero character.
      EXPECT_EQ(dynamic_cast<ConstantXeChar&>(*fixed).IsOnHeap(), text.size() >= 128);

      const auto varying = record.BindOperand(new ConstantLongVarXeChar(text), &info);
      EXPECT_EQ(info.objectLength_, text.size());
      EXPECT_EQ(varying->GetResultDataType(), XeLongVarCharData);
      const auto value = EvalAs<RefLongVarChar>(*varying);
      ASSERT_TRUE(value);
      EXPECT_EQ(XeString(value->buffer_, value->length_), text);
      EXPECT_EQ(value->buffer_[value->length_], L'\0');
    }
  }
}

TEST(Constant, Null) {
  TestRecord record({});
  MetaDataInfo info;
  const auto null = record.BindOperand(new ConstantNull, &info);
  EXPECT_TRUE(info.isNullable_);
  EXPECT_EQ(info.objectLength_, 1u);
  EXPECT_EQ(info.fieldName_, L"(Constant Null)");
  EXPECT_EQ(info.aliasName_, L"(Constant Null)");
  EXPECT_EQ(null->GetResultDataType(), XeBoolean);
  EXPECT_EQ(null->GetExpressionType(), kConstantNullExpression);
  uint8 out = 7;
  EXPECT_EQ(null->Eval(&out), kUnknown);
  EXPECT_EQ(out, 7);
}

TEST(Constant, ABitIsNoLiteral) {
  TestRecord record({});
  ExpectError(59003, {SUXeDataTypeUtility::GetXeDataTypeName(XeBitData)},
              [&] { record.Bind(new ConstantBit(uint8{1})); });
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
      {L"12", 12, 12u, 12.0, 12},
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
  EXPECT_EQ((ReadAs<ConstantNumber, VelmarNumber>(L"-12.50")),
            VelmarNumber::stringAsNumber(L"-12.5", 5));
  EXPECT_EQ((ReadAs<ConstantNumber, VelmarNumber>(L"abc")), VelmarNumber::zero);
}

TEST(Constant, HasNoOperands) {
  ConstantInt32 constant(1);
  ExpectBroken([&] { constant.GetIthOperand(0); });
  ExpectBroken([&] { constant.SetIthOperand(0, nullptr); });
  ExpectBroken([&] { constant.Constant::Eval(nullptr); });
}

}  // namespace
}  // namespace sqxer::test
