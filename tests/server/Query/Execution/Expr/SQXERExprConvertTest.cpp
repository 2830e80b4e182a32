#include "OperatorOverStubs.h"
#include "SQXERExprCast.h"
#include "SQXERExprConstant.h"
#include "SQXERExprConvert.h"
#include "SQXERExprExtract.h"
#include "SQXERExprParam.h"

namespace sqxer::test {
namespace {

TEST(Convert, DoublesTruncateTowardZeroAndStopAtTheLimits) {
  // clang-format off
  const std::pair<float64, int32> kCases[] = {
      {-2.7, -2}, {2.7, 2}, {-0.0, 0}, {2147483646.9, 2147483646}, {2147483647.9, INT32_MAX},
      {1e300, INT32_MAX}, {-2147483648.9, INT32_MIN}, {-HUGE_VAL, INT32_MIN}, {std::nan(""), 0}};
  // clang-format on
  for (const auto& [value, expected] : kCases) {
    ConvertFloat64toInt32 node(new Stub<float64>(Double, value));
    EXPECT_EQ(EvalAs<int32>(node), expected) << value;
  }
}

TEST(Convert, DoublesToNumbers) {
  for (const float64 value : BoundaryValues<float64>()) {
    auto* stub = new Stub<float64>(Double, value);
    stub->SetSourcePosition(5);
    ConvertFloat64toNumber node(stub);
    if (std::isfinite(value) && std::fabs(value) < 1e100) {
      const float64 back = EvalAs<VelmarNumber>(node)->asDouble();
      EXPECT_EQ(back, std::fabs(value) < 1e-100 ? 0 : value);
    } else {
      ExpectErrorAt(5, 59161, {}, [&] { EvalAs<VelmarNumber>(node); });
    }
  }
}

/// The conversions that are offered, by target.
const std::map<XeDataType, std::set<XeDataType>> kOffered = {
    {LongChar, {Char}},
    {LongBin, {Bin}},
    {Int4, {Bit, Bool}},
    {UInt4, {Bit, Bool}},
    {Double, {Bit, Bool, Int4, UInt4, Numeric}},
    {Numeric, {Bit, Bool, Int4, UInt4}},
    {DateTime, {Date, Time}}};

TEST(Convert, AddConversionExpressionOffersExactlyTheTable) {
  const auto name = [](XeDataType of) { return SUXeDataTypeUtility::GetXeDataTypeName(of); };
  for (int t = Bit; t < XeMaxType; ++t) {
    for (int s = Bit; s < XeMaxType; ++s) {
      const auto target = static_cast<XeDataType>(t), source = static_cast<XeDataType>(s);
      SCOPED_TRACE(testing::Message() << source << " to " << target);
      std::unique_ptr<RExpression> node(Leaf(source));
      RExpression* const stub = node.get();
      stub->SetSourcePosition(3);
      const auto convert = [&] {
        return Convert::AddConversionExpression(target, source, stub, 5);
      };
      if (kOffered.contains(target) && kOffered.at(target).contains(source)) {
        node.release();
        node.reset(convert());
        EXPECT_EQ(NodeName(*node), Wrapper(source, target));
        EXPECT_EQ(node->GetIthOperand(0), stub);
        EXPECT_EQ(node->GetSourcePosition(), 3);
        // The long binary reports the long character type. Binding changes no type.
        const XeDataType result = target == LongBin ? LongChar : target;
        EXPECT_EQ(node->GetResultDataType(), result);
        EXPECT_EQ(Bound(node.release())->GetResultDataType(), result);
      } else if (target == source) {
        EXPECT_EQ(convert(), stub);
      } else {
        ExpectErrorAt(3, 59030, {name(source), name(target)}, convert);
      }
    }
  }
}

TEST(Convert, IsOfferedToEveryFoldOfComputationTypes) {
  using Types = SUXeDataTypeUtility;
  std::set<XeDataType> computed = {Char, Bin, Bit, Bool, Date, Time};
  for (const auto& [target, sources] : kOffered) computed.insert(target);
  for (const XeDataType a : computed) {
    for (const XeDataType b : computed) {
      const XeDataType pair = Types::GetUnionDataType(a, b);
      for (const XeDataType c : computed) {
        if (!Types::AreUnionCompatible(a, b) || !Types::AreUnionCompatible(pair, c)) continue;
        const XeDataType common = Types::GetUnionDataType(pair, c);
        for (const XeDataType member : {a, b, c}) {
          EXPECT_TRUE(member == common || kOffered.at(common).contains(member))
              << a << ", " << b << ", " << c << " fold to " << common;
        }
      }
    }
  }
}

TEST(Convert, StatusesPassThroughAndNullLeavesTheOutput) {
  for (const RExprReturn status : {kUnknown, kFalse, kError, kEod}) {
    const auto leaf = [&](XeDataType type) { return new Stub<void*>(type, nullptr, status); };
    const std::unique_ptr<RExpression> nodes[] = {
        std::make_unique<ConvertInt32toFloat64>(leaf(Int4)),
        std::make_unique<ConvertXeChartoXeDate>(leaf(Char), Date, 10),
        std::make_unique<ConvertXeChartoLongVarXeChar>(leaf(Char), LongChar, 3),
        std::make_unique<ConvertBinarytoLongVarBinary>(leaf(Bin), LongBin, 3)};
    for (const auto& node : nodes) {
      alignas(16) uint8 out[32];
      std::memset(out, 0x5A, sizeof(out));
      EXPECT_EQ(node->Eval(out), status);
      EXPECT_EQ(node->GetRetCode(), status);
      for (const uint8 byte : out) ASSERT_EQ(byte, 0x5A);
    }
  }
}

/// Reads the same text as a fixed and as a long one.
template <class Fixed, class Long, class Value>
void ExpectRead(XeDataType type, uint32 length, const Value& expected) {
  XeString text = L"2012-02-29 23:59:58.5";
  Fixed fixed(new Stub<wchar_t*>(Char, text.data()), type, length);
  Long varying(new Stub<RefLongVarChar>(LongChar, {length, text.data()}), type, 30);
  EXPECT_EQ(EvalAs<Value>(fixed), expected);
  EXPECT_EQ(EvalAs<Value>(varying), expected);
}

TEST(ConvertText, DatesAndTimes) {
  using FixedToStamp = ConvertXeChartoXeDateTime;
  using LongToStamp = ConvertXeLongVarChartoXeDateTime;
  const XeDate day(2012, 2, 29);
  const XeTime time(23, 59, 58, 500000000);
  ExpectRead<ConvertXeChartoXeDate, ConvertXeLongVarChartoXeDate>(Date, 21, day);
  ExpectRead<ConvertXeChartoXeTime, ConvertXeLongVarChartoXeTime>(Time, 21, time);
  ExpectRead<FixedToStamp, LongToStamp>(DateTime, 21,
                                        XeDateTime(2012, 2, 29, 23, 59, 58, 500000000));
  // No text is read beyond its length.
  ExpectRead<FixedToStamp, LongToStamp>(DateTime, 10, XeDateTime(2012, 2, 29));

  XeString wrong = L"2012-13-01";
  auto* stub = new Stub<wchar_t*>(Char, wrong.data());
  stub->SetSourcePosition(21);
  ConvertXeChartoXeDate node(stub, Date, 10);
  for (int twice = 0; twice < 2; ++twice) {
    ExpectErrorAt(21, 59172, {wrong, L"DATE"}, [&] { EvalAs<XeDate>(node); });
  }
}

TEST(ConvertText, TrailingBlanksOfFixedTexts) {
  // Operands: the column itself, the cast of one, or the cast of a literal.
  const struct {
    XeDataType castTo;
    const wchar_t* literal;
    const wchar_t* text;
    uint32 declared;
    const wchar_t* expected;
  } kCases[] = {
      // clang-format off
      {XeUnknown, nullptr, L"ab ", 3, L"ab"}, {XeUnknown, nullptr, L"   ", 3, L""},
      {XeUnknown, nullptr, L" a b  ", 6, L" a b"}, {XeUnknown, nullptr, L"abcdef", 3, L"abc"},
      // The text ends before the declared length: nothing pads it.
      {XeUnknown, nullptr, L"ab ", 10, L"ab "},
      {Char, nullptr, L"ab   ", 5, L"ab   "}, {LongChar, nullptr, L"ab   ", 5, L"ab"},
      {LongChar, L"ab ", L"ab   ", 5, L"ab "}, {LongChar, L"", L"", 5, L""},
      // clang-format on
  };
  for (const auto& c : kCases) {
    XeString text = c.text;
    RExpression* operand = new Stub<wchar_t*>(Char, text.data(), kTrue, c.declared);
    if (c.literal) delete std::exchange(operand, new ConstantLongVarXeChar(c.literal));
    if (c.castTo != XeUnknown) {
      operand = new CastToChar(operand, c.castTo, static_cast<int>(c.declared), 0);
    }
    const auto node = Bound(new ConvertXeChartoLongVarXeChar(operand, LongChar, c.declared));
    EXPECT_EQ(EvalText(*node), c.expected) << "case " << &c - kCases;
  }
}

TEST(ConvertText, OverUnboundOperands) {
  TestRecord record({{Char, 6, false}});
  record.SetText(0, L"ab");
  // The cast under it shows when it is bound.
  auto* cast = new Cast(new Extract(0), Char, 4, 0);
  const auto overCast = record.Bind(new ConvertXeChartoLongVarXeChar(cast, LongChar, 4));
  EXPECT_EQ(EvalText(*overCast), L"ab  ");
  EXPECT_EQ(record.info.objectLength_, 4u);
  // A parameter tells nothing by itself.
  auto* param = new Param(ExecutionParameter(&record.layout(), record.buffer(), 0));
  const auto overParam = record.Bind(new ConvertXeChartoLongVarXeChar(param, LongChar, 6));
  EXPECT_EQ(EvalText(*overParam), L"ab");
  EXPECT_EQ(record.info.objectLength_, 6u);
}

}  // namespace
}  // namespace sqxer::test
