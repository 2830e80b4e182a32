#include <gtest/gtest.h>

#include "SQXERExprArithmetic.h"
#include "SQXERExprConstant.h"
#include "SQXERExprLogical.h"
#include "SQXERExprParam.h"
#include "support/Asserts.h"
#include "support/TestRecord.h"

namespace sqxer::test {
namespace {

/// A block of one parameter.
struct Block {
  explicit Block(XeDataType type, uint32 length = 0, bool unicode = true)
      : values({{type, length}}, unicode) {}
  std::unique_ptr<Param> Make() {
    return std::make_unique<Param>(ExecutionParameter(&values.layout(), values.buffer(), 0));
  }
  TestRecord values;
};

TEST(Param, NumbersArePromoted) {
  const struct {
    XeDataType declared, result;
    float64 value;
  } kCases[] = {
      {XeInt1Data, XeInt4Data, -128},        {XeUInt1Data, XeInt4Data, 255},
      {XeInt2Data, XeInt4Data, -32768},      {XeUInt2Data, XeInt4Data, 65535},
      {XeInt4Data, XeInt4Data, -2147483648}, {XeUInt4Data, XeUInt4Data, 4294967295},
      {XeFloatData, XeDoubleData, -0.5},     {XeDoubleData, XeDoubleData, 1e300},
      {XeNumericData, XeNumericData, 12.25}, {XeBoolean, XeBoolean, 1},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(SUXeDataTypeUtility::GetXeDataTypeName(c.declared).c_str());
    Block block(c.declared);
    block.values.SetNumber(0, c.value);
    const auto param = block.Make();
    EXPECT_EQ(param->GetParamDataType(), c.declared);
    ASSERT_EQ(param->GetResultDataType(), c.result);
    float64 read = 0;
    switch (c.result) {
      case XeInt4Data:
        read = *EvalAs<int32>(*param);
        break;
      case XeUInt4Data:
        read = *EvalAs<uint32>(*param);
        break;
      case XeDoubleData:
        read = *EvalAs<float64>(*param);
        break;
      case XeNumericData:
        read = EvalAs<VelmarNumber>(*param)->asDouble();
        break;
      default:
        read = *EvalAs<uint8>(*param);
    }
    EXPECT_EQ(read, c.value);
    // No indicator is looked at: a NULL is put into the tree as a constant.
    block.values.SetNull(0);
    alignas(16) uint8 out[32];
    EXPECT_EQ(param->Eval(out), kTrue);
  }
}

TEST(Param, DatesAndTimesAreDateTimes) {
  Block date(XeDateData), time(XeTimeData), stamp(XeTimeStampData);
  date.values.Set(0, XeDate(2012, 2, 29));
  time.values.Set(0, XeTime(23, 59, 58, 5));
  stamp.values.Set(0, XeDateTime(2012, 2, 29, 1, 2, 3, 4));
  EXPECT_EQ(EvalAs<XeDateTime>(*date.Make()), XeDateTime(2012, 2, 29));
  EXPECT_EQ(EvalAs<XeDateTime>(*time.Make()), XeDateTime(1900, 1, 1, 23, 59, 58, 5));
  EXPECT_EQ(EvalAs<XeDateTime>(*stamp.Make()), XeDateTime(2012, 2, 29, 1, 2, 3, 4));
}

TEST(Param, TextsAreConvertedOnce) {
  for (const uint32 length : {3u, 200u}) {
    for (const XeDataType type : {XeCharData, XeVarCharData, XeLongVarCharData}) {
      Block block(type, length);
      block.values.SetText(0, L"ab ");
      const auto param = block.Make();
      EXPECT_EQ(param->GetResultDataType(), type == XeCharData ? XeCharData : XeLongVarCharData);
      block.values.SetText(0, L"xyz");
      XeString expected = L"ab ";
      if (type == XeCharData) expected.resize(length, L' ');
      EXPECT_EQ(EvalText(*param), expected);
    }
  }
  Block narrow(XeVarCharData, 4, false);
  const uint32 count = 2;
  std::memcpy(narrow.values.data(0), &count, sizeof(count));
  std::memcpy(narrow.values.data(0) + kLongVarPrefix, "hi", 2);
  EXPECT_EQ(EvalText(*narrow.Make()), L"hi");
}

TEST(Param, Binaries) {
  Block fixed(XeBinaryData, 4), varying(XeVarBinaryData, 4);
  fixed.values.SetText(0, L"\x01\x02");
  varying.values.SetText(0, L"\x01\x02");
  EXPECT_EQ(EvalAs<uint8*>(*fixed.Make()), fixed.values.data(0));
  const auto value = EvalAs<RefLongVarBinary>(*varying.Make());
  ASSERT_TRUE(value);
  EXPECT_EQ(value->length_, 2u);
  EXPECT_EQ(value->buffer_, varying.values.data(0) + kLongVarPrefix);
}

TEST(Param, BindLeavesTheContextAlone) {
  Block block(XeInt4Data);
  MetaDataInfo info;
  info.objectLength_ = 99;
  info.fieldName_ = L"kept";
  const auto param = block.Make();
  RExpression* replacement = param.get();
  param->Bind(nullptr, replacement, info);
  EXPECT_EQ(replacement, nullptr);
  EXPECT_EQ(info.objectLength_, 99u);
  EXPECT_EQ(info.fieldName_, L"kept");
  EXPECT_EQ(param->GetExpressionType(), kParamExpression);
}

TEST(Param, TextsKeepTheirOwnLengthWhereTheyAreNotCompared) {
  for (const XeDataType type : {XeCharData, XeVarCharData}) {
    Block block(type, 3);
    block.values.SetText(0, L"cde");
    for (const bool isLong : {false, true}) {
      const auto text = [&](const wchar_t* t) -> RExpression* {
        if (isLong) return new ConstantLongVarXeChar(t);
        return new ConstantXeChar(t);
      };
      TestRecord record({});
      MetaDataInfo info;
      const auto concat = record.Bind(new Concat(text(L"ab"), block.Make().release()), &info);
      EXPECT_EQ(EvalText(*concat), L"abcde");
      EXPECT_EQ(info.objectLength_, 5u);
      const auto between =
          record.Bind(new Between(text(L"cdd"), text(L"a"), block.Make().release()));
      EXPECT_EQ(EvalAs<uint8>(*between), 1);
    }
  }
}

TEST(Param, BrokenInvariants) {
  Block bit(XeBitData);
  const auto param = bit.Make();
  uint8 out = 0;
  ExpectBroken([&] { param->Eval(&out); });
  ExpectBroken([&] { param->GetParamNumber(); });
  ExpectBroken([&] { param->SetDataPointer(&out); });
}

}  // namespace
}  // namespace sqxer::test
