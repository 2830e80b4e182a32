#include "OperatorOverStubs.h"
#include "SQXERExprCast.h"
#include "SQXERExprConstant.h"
#include "SQXERExprExtract.h"

namespace sqxer::test {
namespace {

constexpr int kPosition = 7;

template <class Value>
RExpression* Of(XeDataType type, const Value& value) {
  return new Stub<Value>(type, value);
}
RExpression* Of(XeDataType type, XeString& text) {
  if (type == Char) {
    return new Stub<wchar_t*>(type, text.data(), kTrue, static_cast<uint32>(text.size()));
  }
  const auto length = static_cast<uint32>(text.size());
  return new Stub<RefLongVarChar>(type, {length, text.data()}, kTrue, length);
}

std::unique_ptr<RExpression> BoundCast(RExpression* operand, XeDataType to, int precision = 0,
                                       const XeString& format = {}) {
  auto* cast = new Cast(operand, to, precision, 0, format);
  cast->SetSourcePosition(kPosition);
  return Bound(cast);
}

/// Every value goes where its double goes: cut off within the limits, an error beyond them.
template <class Integer, class Value>
void ExpectIntegers(XeDataType from, XeDataType to, std::vector<Value> values) {
  using Limits = std::numeric_limits<Integer>;
  for (const Value& value : values) {
    const float64 number = AsDouble(value);
    const auto cast = BoundCast(Of(from, value), to);
    if (number >= Limits::min() && number <= Limits::max()) {
      EXPECT_EQ(EvalAs<Integer>(*cast), static_cast<Integer>(number)) << number;
    } else {
      ExpectErrorAt(kPosition, 59013, {}, [&] { EvalAs<Integer>(*cast); });
    }
  }
}

template <class Integer>
void ExpectIntegers(XeDataType to) {
  ExpectIntegers<Integer>(Int4, to, BoundaryValues<int32>());
  ExpectIntegers<Integer>(UInt4, to, BoundaryValues<uint32>());
  ExpectIntegers<Integer>(Numeric, to, BoundaryValues<VelmarNumber>());
  auto doubles = BoundaryValues<float64>();
  for (const float64 limit : {-2147483648., 2147483647., -32768., 32767.}) {
    for (const float64 step : {-1., -0.5, 0., 0.5, 1.}) doubles.push_back(limit + step);
  }
  ExpectIntegers<Integer>(Double, to, doubles);
}

TEST(Cast, IntegersWithinTheLimits) {
  ExpectIntegers<int16>(Int2);
  ExpectIntegers<int32>(Int4);
}

/// What is written as a text of any length up to the longest reads back as the same value.
template <class Value>
void ExpectReadsBack(XeDataType type) {
  for (const Value& value : BoundaryValues<Value>()) {
    const auto back = BoundCast(new Cast(Of(type, value), Char, 80, 0), type);
    const auto read = EvalAs<Value>(*back);
    EXPECT_TRUE(Alike(*read, value)) << EvalText(*back->GetIthOperand(0))->c_str();
    EXPECT_EQ(EvalText(*back->GetIthOperand(0))->size(), 80u);
  }
}

TEST(Cast, TextsOfValuesReadBack) {
  ExpectReadsBack<int32>(Int4);
  ExpectReadsBack<float64>(Double);
  ExpectReadsBack<VelmarNumber>(Numeric);
  ExpectReadsBack<XeDate>(Date);
  ExpectReadsBack<XeTime>(Time);
  ExpectReadsBack<XeDateTime>(DateTime);
}

TEST(Cast, TextsAreCutAndFilledToTheLength) {
  for (const XeDataType from : {Char, LongChar}) {
    for (XeString text : BoundaryTexts(200)) {
      for (const int length : {1, 2, 150, 200, 300}) {
        const auto cast = BoundCast(Of(from, text), Char, length);
        XeString expected = text;
        expected.resize(static_cast<std::size_t>(length), L' ');
        EXPECT_EQ(EvalText(*cast), expected);
      }
    }
  }
  EXPECT_EQ(EvalText(*BoundCast(Of(Int4, int32{-1234}), Char, 3)), L"-12");
  EXPECT_EQ(EvalText(*BoundCast(Of(Double, 0.5), LongChar, 9)), L"0.5");
}

TEST(Cast, NumbersTextsAndBits) {
  XeString word = L"abc ", one = L" 1 ", two = L"2", big = L"1e39";
  const auto bit = [](RExpression* operand) { return *EvalAs<uint8>(*BoundCast(operand, Bit)); };
  for (const XeDataType from : {Char, LongChar}) {
    EXPECT_EQ(bit(Of(from, one)), 1);
    EXPECT_EQ(EvalAs<float64>(*BoundCast(Of(from, big), Double)), 1e39);
    ExpectErrorAt(kPosition, 59185, {L"2"}, [&] { bit(Of(from, two)); });
    ExpectErrorAt(kPosition, 59172, {word, L"INTEGER"},
                  [&] { EvalAs<int32>(*BoundCast(Of(from, word), Int4)); });
    const auto arguments = {L"CastToFloat32", from == Char ? L"CHAR" : L"LONG VARCHAR"};
    ExpectErrorAt(kPosition, 59013, {arguments.begin(), arguments.end()},
                  [&] { EvalAs<float32>(*BoundCast(Of(from, big), Float)); });
  }
  EXPECT_EQ(bit(Of(Numeric, VelmarNumber(1))) + bit(Of(Int4, int32{0})) + bit(Of(Bool, uint8{1})),
            2);
  ExpectErrorAt(kPosition, 59185, {L"0.5"}, [&] { bit(Of(Double, 0.5)); });
  EXPECT_EQ(EvalAs<float32>(*BoundCast(Of(Double, 0.1), Float)), 0.1f);
  EXPECT_EQ(EvalAs<float32>(*BoundCast(Of(Double, HUGE_VAL), Float)), HUGE_VALF);
  ExpectErrorAt(kPosition, 59013, {}, [] { EvalAs<float32>(*BoundCast(Of(Double, 1e39), Float)); });
  // No digit is lost, whatever precision was asked for.
  EXPECT_EQ(EvalAs<VelmarNumber>(*BoundCast(Of(Double, 12.375), Numeric, 3)), VelmarNumber(12.375));
}

TEST(Cast, BinariesAreCutAndFilled) {
  uint8 bytes[] = {1, 2, 3};
  const auto fixed = BoundCast(Of(LongBin, RefLongVarBinary{3, bytes}), Bin, 5);
  EXPECT_EQ(std::memcmp(*EvalAs<uint8*>(*fixed), "\1\2\3\0", 5), 0);
  for (const int length : {2, 5}) {
    const auto cut = BoundCast(new Stub<uint8*>(Bin, bytes, kTrue, 3), LongBin, length);
    EXPECT_EQ(EvalAs<RefLongVarBinary>(*cut)->length_, static_cast<uint32>(std::min(length, 3)));
  }
}

TEST(Cast, DateTimesLoseAHalf) {
  for (const XeDateTime& value : BoundaryValues<XeDateTime>()) {
    EXPECT_EQ(EvalAs<XeDate>(*BoundCast(Of(DateTime, value), Date)), value.GetDate());
    EXPECT_EQ(EvalAs<XeTime>(*BoundCast(Of(Stamp, value), Time)), value.GetTime());
  }
}

TEST(Cast, AFormatServesUntilATextDoesNotFollowIt) {
  for (const XeDataType from : {Char, LongChar}) {
    TestRecord record({{from, 12}});
    auto* node = new Cast(new Extract(0), Date, 0, 0, L"DD.MM.YYYY");
    node->SetSourcePosition(kPosition);
    const auto cast = record.Bind(node);
    const auto feed = [&](const XeString& text) {
      record.SetText(0, text);
      return *EvalAs<XeDate>(*cast);
    };
    EXPECT_EQ(feed(L"31.01.2012"), XeDate(2012, 1, 31));
    EXPECT_EQ(feed(L"2012-02-01"), XeDate(2012, 2, 1));
    ExpectErrorAt(kPosition, 59172, {from == Char ? L"31.01.2012  " : L"31.01.2012", L"DATE"},
                  [&] { feed(L"31.01.2012"); });
    // A parent that computes in date-times may say so after the binding.
    feed(L"2012-02-01");
    cast->SetResultDataType(DateTime);
    EXPECT_EQ(EvalAs<XeDateTime>(*cast), XeDateTime(2012, 2, 1));
  }
  ExpectErrorAt(kPosition, 59170, {L"QQ", L"1"}, [] { BoundCast(Leaf(Char), Time, 0, L"QQ"); });
}

/// A constant that counts its evaluations.
struct CountedConstant : Stub<int32> {
  using Stub::Stub;
  RExprType GetExpressionType() override { return kConstantExpression; }
};

TEST(Cast, AConstantIsConvertedOnce) {
  for (const RExprReturn status : {kTrue, kUnknown}) {
    auto* constant = new CountedConstant(Int4, 5, status);
    const auto cast = BoundCast(constant, Double);
    for (int rows = 0; rows < 3; ++rows) {
      EXPECT_EQ(EvalAs<float64>(*cast), status == kTrue ? std::optional(5.0) : std::nullopt);
    }
    EXPECT_EQ(constant->evaluations_, 1);
  }
}

TEST(Cast, TakesExactlyTheseOperands) {
  const std::set<XeDataType> texts = {Char, LongChar}, numbers = {Int4, UInt4, Double, Numeric};
  const auto with = [](std::set<XeDataType> a, std::set<XeDataType> b) {
    a.merge(b);
    return a;
  };
  const auto number = with(texts, numbers), bits = with(number, {Bit, Bool});
  const auto days = with(texts, {Date, Time, DateTime, Stamp});
  const struct {
    XeDataType to;
    XeString name;
    std::set<XeDataType> operands;
  } kCasts[] = {{Bit, L"CastToBinary", bits},
                {Bin, L"CastToBinary", {Bin, LongBin}},
                {LongBin, L"CastToBinary", {Bin, LongBin}},
                {Char, L"CastToChar", with(number, days)},
                {Int2, L"CastToInt16", number},
                {Int4, L"CastToInt32", number},
                {Float, L"CastToFloat32", bits},
                {Double, L"CastToFloat64", bits},
                {Numeric, L"CastToNumeric", number},
                {XeDecimalData, L"CastToNumeric", number},
                {Date, L"CastToDate", with(texts, {Date, DateTime, Stamp})},
                {Time, L"CastToTime", with(texts, {Time, DateTime, Stamp})},
                {DateTime, L"CastToDateTime", days},
                {Stamp, L"CastToDateTime", days}};
  std::set<XeDataType> targets = {LongChar};
  for (const auto& c : kCasts) {
    targets.insert(c.to);
    for (int t = Bit; t < XeMaxType; ++t) {
      const auto from = static_cast<XeDataType>(t);
      SCOPED_TRACE(testing::Message() << from << " to " << c.to);
      const auto bind = [&] { return BoundCast(Leaf(from, 4), c.to, 4); };
      if (!c.operands.contains(from)) {
        ExpectErrorAt(kPosition, 59001, TypeError(c.name, from), bind);
        continue;
      }
      const auto node = bind();
      EXPECT_EQ(NodeName(*node), c.name);
      EXPECT_EQ(node->GetResultDataType(), c.to);
      EXPECT_TRUE(node->GetIsRootNode());
      EXPECT_EQ(node->GetSourcePosition(), kPosition);
    }
    TestRecord record({});
    const auto null = record.Bind(new Cast(new ConstantNull, c.to, 4, 0));
    EXPECT_EQ(null->GetIthOperand(0)->GetResultDataType(),
              SUXeDataTypeUtility::GetPromotedDataType(c.to));
    EXPECT_TRUE(record.info.isNullable_);
    EXPECT_EQ(record.info.objectLength_, XeFieldDescriptor::GetObjectLength(c.to, 4));
    alignas(16) uint8 out[32];
    EXPECT_EQ(null->Eval(out), kUnknown);
  }
  for (int t = Bit; t <= XeMaxType; ++t) {
    const auto to = static_cast<XeDataType>(t);
    if (targets.contains(to)) continue;
    ExpectErrorAt(kPosition, 59002, TypeError(L"Cast", to), [&] { BoundCast(Leaf(Int4), to); });
  }
  EXPECT_EQ(DescribeTree(*BoundCast(new ConstantInt32(1), LongChar, 4)),
            L"ConvertXeChartoLongVarXeChar -> LONG VARCHAR\n  CastToChar -> CHAR\n"
            L"    ConstantInt32 1 -> INTEGER\n");
  for (const XeDataType to : {Char, LongChar}) {
    ExpectBroken([&] { BoundCast(new ConstantInt32(1), to, 0); });
  }
}

}  // namespace
}  // namespace sqxer::test
