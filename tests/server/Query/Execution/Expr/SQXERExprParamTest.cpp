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
struct Block : TestRecord {
  explicit Block(XeDataType type, uint32 length = 0, bool unicode = true)
      : TestRecord({{type, length}}, unicode) {}
  std::unique_ptr<Param> Make() {
    return std::make_unique<Param>(ExecutionParameter(&layout(), buffer(), 0));
  }
};

TEST(Param, NumbersArePromoted) {
  const std::tuple<XeDataType, XeDataType, float64> kCases[] = {
      {XeInt1Data, XeInt4Data, -128},        {XeUInt1Data, XeInt4Data, 255},
      {XeInt2Data, XeInt4Data, -32768},      {XeUInt2Data, XeInt4Data, 65535},
      {XeInt4Data, XeInt4Data, -2147483648}, {XeUInt4Data, XeUInt4Data, 4294967295},
      {XeFloatData, XeDoubleData, -0.5},     {XeDoubleData, XeDoubleData, 1e300},
      {XeNumericData, XeNumericData, 12.25}, {XeBoolean, XeBoolean, 1},
  };
  for (const auto& [declared, result, value] : kCases) {
    SCOPED_TRACE(declared);
    Block block(declared), computed(result);
    block.SetNumber(0, value);
    const auto param = block.Make();
    EXPECT_EQ(param->GetParamDataType(), declared);
    EXPECT_EQ(param->GetResultDataType(), result);
    // No indicator is looked at: a NULL is put into the tree as a constant.
    block.SetNull(0);
    EXPECT_EQ(param->Eval(computed.data(0)), kTrue);
    EXPECT_EQ(computed.GetNumber(0), value);
  }
}

TEST(Param, DatesAndTimesAreDateTimes) {
  Block date(XeDateData), time(XeTimeData), stamp(XeTimeStampData);
  date.Set(0, XeDate(2012, 2, 29));
  time.Set(0, XeTime(23, 59, 58, 5));
  stamp.Set(0, XeDateTime(2012, 2, 29, 1, 2, 3, 4));
  EXPECT_EQ(EvalAs<XeDateTime>(*date.Make()), XeDateTime(2012, 2, 29));
  EXPECT_EQ(EvalAs<XeDateTime>(*time.Make()), XeDateTime(1900, 1, 1, 23, 59, 58, 5));
  EXPECT_EQ(EvalAs<XeDateTime>(*stamp.Make()), XeDateTime(2012, 2, 29, 1, 2, 3, 4));
}

TEST(Param, TextsAreConvertedOnce) {
  for (const uint32 length : {3u, 200u}) {
    for (const XeDataType type : {XeCharData, XeVarCharData, XeLongVarCharData}) {
      Block block(type, length);
      block.SetText(0, L"ab ");
      const auto param = block.Make();
      EXPECT_EQ(param->GetResultDataType(), type == XeCharData ? XeCharData : XeLongVarCharData);
      block.SetText(0, L"xyz");
      XeString expected = L"ab ";
      if (type == XeCharData) expected.resize(length, L' ');
      EXPECT_EQ(EvalText(*param), expected);
    }
  }
  Block narrow(XeVarCharData, 4, false);
  narrow.Set(0, uint32{2});
  std::memcpy(narrow.data(0) + kLongVarPrefix, "hi", 2);
  EXPECT_EQ(EvalText(*narrow.Make()), L"hi");
}

TEST(Param, Binaries) {
  Block fixed(XeBinaryData, 4), varying(XeVarBinaryData, 4);
  varying.SetText(0, L"\x01\x02");
  EXPECT_EQ(EvalAs<uint8*>(*fixed.Make()), fixed.data(0));
  const auto value = EvalAs<RefLongVarBinary>(*varying.Make());
  EXPECT_EQ(value->length_, 2u);
  EXPECT_EQ(value->buffer_, varying.data(0) + kLongVarPrefix);
}

TEST(Param, TextsKeepTheirOwnLengthWhereTheyAreNotCompared) {
  for (const XeDataType type : {XeCharData, XeVarCharData}) {
    Block block(type, 3);
    block.SetText(0, L"cde");
    const auto concat = block.Bind(new Concat(new ConstantXeChar(L"ab"), block.Make().release()));
    EXPECT_EQ(EvalText(*concat), L"abcde");
    EXPECT_EQ(block.info.objectLength_, 5u);
    const auto between = block.Bind(new Between(new ConstantLongVarXeChar(L"cdd"),
                                                new ConstantXeChar(L"a"), block.Make().release()));
    EXPECT_EQ(EvalAs<uint8>(*between), 1);
  }
}

}  // namespace
}  // namespace sqxer::test
