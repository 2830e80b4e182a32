#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "SQXERExprConstant.h"
#include "SQXERExprConvert.h"
#include "support/Asserts.h"
#include "support/BoundaryValues.h"
#include "support/Stub.h"
#include "support/TestRecord.h"

namespace sqxer::test {
namespace {

/// Every boundary value of the operand gives what `expected` says.
template <class Node, class From, class To>
void ExpectConversion(XeDataType source, XeDataType target, To (*expected)(const From&)) {
  for (const From& value : BoundaryValues<From>()) {
    Node node(new Stub<From>(source, value));
    EXPECT_EQ(node.GetResultDataType(), target);
    const auto result = EvalAs<To>(node);
    ASSERT_TRUE(result);
    EXPECT_TRUE(*result == expected(value)) << NodeName(node).c_str();
  }
}

TEST(Convert, BoundaryValues) {
  ExpectConversion<ConvertBittoInt32, uint8, int32>(XeBitData, XeInt4Data,
                                                    [](const uint8& v) -> int32 { return v; });
  ExpectConversion<ConvertBittoUInt32, uint8, uint32>(XeBitData, XeUInt4Data,
                                                      [](const uint8& v) -> uint32 { return v; });
  ExpectConversion<ConvertBittoFloat64, uint8, float64>(
      XeBitData, XeDoubleData, [](const uint8& v) -> float64 { return v; });
  ExpectConversion<ConvertBittoNumber, uint8, VelmarNumber>(
      XeBitData, XeNumericData, [](const uint8& v) { return VelmarNumber(int64{v}); });
  ExpectConversion<ConvertInt32toUInt32, int32, uint32>(
      XeInt4Data, XeUInt4Data,
      [](const int32& v) { return static_cast<uint32>(v < 0 ? v + (int64{1} << 32) : v); });
  ExpectConversion<ConvertInt32toFloat64, int32, float64>(
      XeInt4Data, XeDoubleData, [](const int32& v) -> float64 { return v; });
  ExpectConversion<ConvertInt32toNumber, int32, VelmarNumber>(
      XeInt4Data, XeNumericData, [](const int32& v) { return VelmarNumber(int64{v}); });
  ExpectConversion<ConvertUInt32toFloat64, uint32, float64>(
      XeUInt4Data, XeDoubleData, [](const uint32& v) -> float64 { return v; });
  ExpectConversion<ConvertUInt32toNumber, uint32, VelmarNumber>(
      XeUInt4Data, XeNumericData, [](const uint32& v) { return VelmarNumber(int64{v}); });
  ExpectConversion<ConvertNumbertoFloat64, VelmarNumber, float64>(
      XeNumericData, XeDoubleData, [](const VelmarNumber& v) { return v.asDouble(); });
  ExpectConversion<ConvertXeDatetoXeDateTime, XeDate, XeDateTime>(
      XeDateData, XeDateTimeData,
      [](const XeDate& v) { return XeDateTime(v.GetYear(), v.GetMonth(), v.GetDay()); });
  ExpectConversion<ConvertXeTimetoXeDateTime, XeTime, XeDateTime>(
      XeTimeData, XeDateTimeData, [](const XeTime& v) {
        return XeDateTime(1900, 1, 1, v.GetHour(), v.GetMinute(), v.GetSecond(), v.GetNanosecond());
      });
}

TEST(Convert, DoublesTruncateTowardZeroAndStopAtTheLimits) {
  const std::pair<float64, int32> kCases[] = {
      {-2.7, -2},
      {2.7, 2},
      {-0.0, 0},
      {2147483646.9, 2147483646},
      {2147483647.9, 2147483647},
      {-2147483648.9, -2147483648},
      {1e300, 2147483647},
      {-HUGE_VAL, -2147483648},
      {std::nan(""), 0},
  };
  for (const auto& [value, expected] : kCases) {
    ConvertFloat64toInt32 node(new Stub<float64>(XeDoubleData, value));
    EXPECT_EQ(EvalAs<int32>(node), expected) << value;
  }
}

TEST(Convert, DoublesToNumbers) {
  for (const float64 value : BoundaryValues<float64>()) {
    auto* stub = new Stub<float64>(XeDoubleData, value);
    stub->SetSourcePosition(5);
    ConvertFloat64toNumber node(stub);
    if (std::isfinite(value) && std::fabs(value) < 1e100) {
      const float64 back = EvalAs<VelmarNumber>(node)->asDouble();
      EXPECT_EQ(back, std::fabs(value) < 1e-100 ? 0 : value);
    } else {
      try {
        alignas(16) VelmarNumber out;
        node.Eval(&out);
        ADD_FAILURE() << value;
      } catch (const ErrorMessage& error) {
        EXPECT_EQ(error.GetCode(), 59161);
        EXPECT_EQ(error.GetSourcePosition(), 5);
      }
    }
  }
}

/// The conversions that are offered, by their tables' types.
const std::map<std::pair<XeDataType, XeDataType>, const wchar_t*> kOffered = {
    {{XeLongVarCharData, XeCharData}, L"ConvertXeChartoLongVarXeChar"},
    {{XeLongVarBinaryData, XeBinaryData}, L"ConvertBinarytoLongVarBinary"},
    {{XeInt4Data, XeBitData}, L"ConvertBittoInt32"},
    {{XeInt4Data, XeBoolean}, L"ConvertBittoInt32"},
    {{XeUInt4Data, XeBitData}, L"ConvertBittoUInt32"},
    {{XeUInt4Data, XeBoolean}, L"ConvertBittoUInt32"},
    {{XeDoubleData, XeBitData}, L"ConvertBittoFloat64"},
    {{XeDoubleData, XeBoolean}, L"ConvertBittoFloat64"},
    {{XeDoubleData, XeInt4Data}, L"ConvertInt32toFloat64"},
    {{XeDoubleData, XeUInt4Data}, L"ConvertUInt32toFloat64"},
    {{XeDoubleData, XeNumericData}, L"ConvertNumbertoFloat64"},
    {{XeNumericData, XeInt4Data}, L"ConvertInt32toNumber"},
    {{XeNumericData, XeUInt4Data}, L"ConvertUInt32toNumber"},
    {{XeNumericData, XeBitData}, L"ConvertBittoNumber"},
    {{XeNumericData, XeBoolean}, L"ConvertBittoNumber"},
    {{XeDateTimeData, XeDateData}, L"ConvertXeDatetoXeDateTime"},
    {{XeDateTimeData, XeTimeData}, L"ConvertXeTimetoXeDateTime"},
};

TEST(Convert, AddConversionExpressionOffersExactlyTheTable) {
  for (int t = XeBitData; t < XeMaxType; ++t) {
    for (int s = XeBitData; s < XeMaxType; ++s) {
      const auto target = static_cast<XeDataType>(t), source = static_cast<XeDataType>(s);
      SCOPED_TRACE(testing::Message() << source << " to " << target);
      std::unique_ptr<RExpression> operand(new Stub<int32>(source));
      RExpression* const stub = operand.get();
      operand->SetSourcePosition(3);
      if (const auto offered = kOffered.find({target, source}); offered != kOffered.end()) {
        const std::unique_ptr<RExpression> node(
            Convert::AddConversionExpression(target, source, operand.release(), 5));
        EXPECT_EQ(NodeName(*node), offered->second);
        EXPECT_EQ(node->GetIthOperand(0), stub);
        EXPECT_EQ(node->GetSourcePosition(), 3);
        // The long binary reports the long character type.
        EXPECT_EQ(node->GetResultDataType(),
                  target == XeLongVarBinaryData ? XeLongVarCharData : target);
      } else if (target == source) {
        EXPECT_EQ(Convert::AddConversionExpression(target, source, stub, 5), stub);
      } else {
        ExpectError(
            59030,
            {SUXeDataTypeUtility::GetXeDataTypeName(source),
             SUXeDataTypeUtility::GetXeDataTypeName(target)},
            [&] { Convert::AddConversionExpression(target, source, stub, 5); }, 3);
      }
    }
  }
}

TEST(Convert, IntegersToDouble) {
  const auto leaf = [](XeDataType type) { return new Stub<int32>(type); };
  const struct {
    XeDataType left, right;
    const wchar_t* leftNode;
    const wchar_t* rightNode;
    bool acts;
  } kCases[] = {
      {XeInt4Data, XeUInt4Data, L"ConvertInt32toFloat64", L"ConvertUInt32toFloat64", true},
      {XeUInt4Data, XeInt4Data, L"ConvertUInt32toFloat64", L"ConvertInt32toFloat64", true},
      {XeInt2Data, XeInt4Data, L"test::Stub<int>", L"ConvertInt32toFloat64", true},
      {XeInt4Data, XeDoubleData, L"test::Stub<int>", L"test::Stub<int>", false},
      {XeBitData, XeInt4Data, L"test::Stub<int>", L"test::Stub<int>", false},
  };
  for (const auto& c : kCases) {
    RExpression* left = leaf(c.left);
    RExpression* right = leaf(c.right);
    MetaDataInfo info;
    info.objectLength_ = 4;
    XeDataType result = XeInt4Data;
    ConvertIntegerToDouble(left, right, info, result);
    const std::unique_ptr<RExpression> ownLeft(left), ownRight(right);
    EXPECT_EQ(NodeName(*left), c.leftNode);
    EXPECT_EQ(NodeName(*right), c.rightNode);
    EXPECT_EQ(result, c.acts ? XeDoubleData : XeInt4Data);
    EXPECT_EQ(info.objectLength_, c.acts ? 8u : 4u);
  }
}

TEST(Convert, StatusesPassThroughAndNullLeavesTheOutput) {
  for (const RExprReturn status : {kUnknown, kFalse, kError, kEod}) {
    ConvertInt32toFloat64 number(new Stub<int32>(XeInt4Data, 1, status));
    ConvertXeChartoXeDate date(new Stub<wchar_t*>(XeCharData, nullptr, status), XeDateData, 10);
    ConvertXeChartoLongVarXeChar text(new Stub<wchar_t*>(XeCharData, nullptr, status),
                                      XeLongVarCharData, 3);
    ConvertBinarytoLongVarBinary binary(new Stub<uint8*>(XeBinaryData, nullptr, status),
                                        XeLongVarBinaryData, 3);
    for (RExpression* node :
         {static_cast<RExpression*>(&number), static_cast<RExpression*>(&date),
          static_cast<RExpression*>(&text), static_cast<RExpression*>(&binary)}) {
      alignas(16) uint8 out[32];
      std::memset(out, 0x5A, sizeof(out));
      EXPECT_EQ(node->Eval(out), status);
      EXPECT_EQ(node->GetRetCode(), status);
      for (const uint8 byte : out) ASSERT_EQ(byte, 0x5A);
    }
  }
}

TEST(ConvertText, DatesAndTimes) {
  XeString text = L"2012-02-29 23:59:58.5";
  const auto fixed = [&] { return new Stub<wchar_t*>(XeCharData, text.data()); };
  const auto varying = [&] {
    return new Stub<RefLongVarChar>(XeLongVarCharData,
                                    RefLongVarChar{static_cast<uint32>(text.size()), text.data()});
  };
  const XeDateTime expected(2012, 2, 29, 23, 59, 58, 500000000);
  ConvertXeChartoXeDate date(fixed(), XeDateData, 30);
  ConvertXeLongVarChartoXeDate longDate(varying(), XeDateData, 30);
  ConvertXeChartoXeTime time(fixed(), XeTimeData, 30);
  ConvertXeLongVarChartoXeTime longTime(varying(), XeTimeData, 30);
  ConvertXeChartoXeDateTime dateTime(fixed(), XeDateTimeData, 30);
  ConvertXeLongVarChartoXeDateTime longDateTime(varying(), XeDateTimeData, 30);
  EXPECT_EQ(EvalAs<XeDate>(date), expected.GetDate());
  EXPECT_EQ(EvalAs<XeDate>(longDate), expected.GetDate());
  EXPECT_EQ(EvalAs<XeTime>(time), expected.GetTime());
  EXPECT_EQ(EvalAs<XeTime>(longTime), expected.GetTime());
  EXPECT_EQ(EvalAs<XeDateTime>(dateTime), expected);
  EXPECT_EQ(EvalAs<XeDateTime>(longDateTime), expected);
  // A fixed text is not read beyond its declared length.
  ConvertXeChartoXeDateTime cut(fixed(), XeDateTimeData, 10);
  EXPECT_EQ(EvalAs<XeDateTime>(cut), XeDateTime(2012, 2, 29));
}

TEST(ConvertText, ErrorsStandAtTheText) {
  XeString text = L"2012-13-01";
  auto* stub = new Stub<wchar_t*>(XeCharData, text.data());
  stub->SetSourcePosition(21);
  ConvertXeChartoXeDate node(stub, XeDateData, 10);
  for (int twice = 0; twice < 2; ++twice) {
    XeDate out;
    try {
      node.Eval(&out);
      ADD_FAILURE();
    } catch (const ErrorMessage& error) {
      EXPECT_EQ(error.GetCode(), 59172);
      EXPECT_EQ(error.GetArguments().at(0), text);
      EXPECT_EQ(error.GetSourcePosition(), 21);
    }
  }
}

/// Stands for the cast to character.
class CastStandIn : public UnaryOperator, public CastToCharOperand {
 public:
  CastStandIn(RExpression* literal, XeDataType target, wchar_t* result)
      : UnaryOperator(literal, XeCharData), target_(target), result_(result) {}
  RExprReturn Eval(void* out) override {
    *static_cast<wchar_t**>(out) = result_;
    return kTrue;
  }
  XeDataType GetCastTarget() const override { return target_; }
  RExpression* GetCastOperand() override { return only_; }

 private:
  XeDataType target_;
  wchar_t* result_;
};

TEST(ConvertText, TrailingBlanksOfFixedTexts) {
  enum Operand { kColumn, kCastToFixed, kCastToLong, kCastLiteralToLong };
  const struct {
    Operand operand;
    const wchar_t* literal;
    const wchar_t* text;
    uint32 declared;
    const wchar_t* expected;
  } kCases[] = {
      {kColumn, L"", L"ab ", 3, L"ab"},
      {kColumn, L"", L"   ", 3, L""},
      {kColumn, L"", L"", 0, L""},
      {kColumn, L"", L" a b  ", 6, L" a b"},
      {kColumn, L"", L"abcdef", 3, L"abc"},
      // The text ends before the declared length: nothing pads it.
      {kColumn, L"", L"ab ", 10, L"ab "},
      {kCastToFixed, L"", L"ab   ", 5, L"ab   "},
      {kCastToFixed, L"", L"ab", 5, L"ab"},
      {kCastToLong, L"", L"ab   ", 5, L"ab"},
      {kCastLiteralToLong, L"ab ", L"ab ", 3, L"ab "},
      {kCastLiteralToLong, L"ab ", L"ab   ", 5, L"ab "},
      {kCastLiteralToLong, L"", L"ab   ", 5, L"ab"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(testing::Message() << c.operand << " '" << testing::PrintToString(c.text) << "'");
    XeString text = c.text;
    RExpression* literal = c.operand == kCastLiteralToLong
                               ? static_cast<RExpression*>(new ConstantLongVarXeChar(c.literal))
                               : new ConstantXeChar(c.literal);
    RExpression* operand = literal;
    if (c.operand == kColumn) {
      delete literal;
      operand = new Stub<wchar_t*>(XeCharData, text.data());
    } else {
      operand = new CastStandIn(literal, c.operand == kCastToFixed ? XeCharData : XeLongVarCharData,
                                text.data());
    }
    ConvertXeChartoLongVarXeChar node(operand, XeLongVarCharData, c.declared);
    EXPECT_EQ(EvalText(node), c.expected);
  }
}

TEST(Convert, BoundAgainItKeepsItsType) {
  TestRecord record({});
  MetaDataInfo info;
  const auto node = record.Bind(new ConvertInt32toFloat64(new Stub<int32>(XeInt4Data, 3)), &info);
  EXPECT_EQ(node->GetResultDataType(), XeDoubleData);
  EXPECT_EQ(info.objectLength_, 8u);
  EXPECT_TRUE(info.isNullable_);
  EXPECT_EQ(EvalAs<float64>(*node), 3.0);
}

TEST(Convert, BinaryGetsTheDeclaredLength) {
  uint8 bytes[4] = {1, 2, 3, 4};
  ConvertBinarytoLongVarBinary node(new Stub<uint8*>(XeBinaryData, bytes), XeLongVarBinaryData, 4);
  const auto value = EvalAs<RefLongVarBinary>(node);
  ASSERT_TRUE(value);
  EXPECT_EQ(value->length_, 4u);
  EXPECT_EQ(value->buffer_, bytes);
}

}  // namespace
}  // namespace sqxer::test
